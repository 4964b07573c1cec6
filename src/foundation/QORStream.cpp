#include "qor/foundation/QORStream.h"

#include <utility>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {

QORStream::QORStream(const std::string& fileName, int mode, int /*flag*/, int /*extra*/)
    : m_fileName(fileName) {
  std::ios_base::openmode how;
  if (mode == write) {
    how = std::ios_base::out | std::ios_base::trunc;
  } else if (mode == read) {
    how = std::ios_base::in;
  } else {
    throw data::invalid("QORStream", "QORStream",
                        SystemMsg("Unknown open mode %1 for file %2") << mode << fileName,
                        errorType::fatal);
  }
  m_stream.open(fileName, how);
  if (!m_stream.is_open()) {
    throw data::error("QORStream", "QORStream",
                      SystemMsg(mode == write ? "Cannot open file for writing: %1"
                                              : "Cannot open file for reading: %1")
                          << fileName,
                      errorType::fatal);
  }
}

QORStream::QORStream(QORStream&& other) noexcept
    : m_stream(std::move(other.m_stream)), m_fileName(std::move(other.m_fileName)) {}

QORStream& QORStream::operator=(QORStream&& other) noexcept {
  if (this != &other) {
    m_stream = std::move(other.m_stream);
    m_fileName = std::move(other.m_fileName);
  }
  return *this;
}

QORStream::~QORStream() = default;  // the stream closes itself

bool QORStream::getline(std::string& line) { return static_cast<bool>(std::getline(m_stream, line)); }
bool QORStream::good() const { return m_stream.good(); }
bool QORStream::eof() const { return m_stream.eof(); }
QORStream::operator bool() const { return !m_stream.fail(); }

void QORStream::close() {
  if (m_stream.is_open()) m_stream.close();
}

}  // namespace qor
