#include "OutputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <utility>

#include "ToolError.h"

namespace qormeridional {

OutputFile::OutputFile(std::string path, Api api) : m_path(std::move(path)) {
  if (toStdout()) {
    if (api == Api::cstdio) m_cfile = stdout;
    return;
  }
  // A device or a pipe (/dev/null, /dev/stdout, a FIFO) is written directly: there is nothing to
  // move in place, and renaming over it would replace it.
  std::error_code ec;
  const auto kind = std::filesystem::status(m_path, ec).type();
  const bool special = !ec && kind != std::filesystem::file_type::regular &&
                       kind != std::filesystem::file_type::not_found;
  m_partial = special ? m_path : m_path + ".part";
  if (api == Api::cstdio) {
    m_cfile = std::fopen(m_partial.c_str(), "w");
  } else {
    m_stream.open(m_partial);
  }
  if (api == Api::cstdio ? m_cfile == nullptr : !m_stream) {
    throw ToolError(m_path + ": cannot write: " + std::strerror(errno));
  }
  m_open = !special;
  m_direct = special;
}

OutputFile::~OutputFile() {
  if (m_cfile != nullptr && m_cfile != stdout) std::fclose(m_cfile);
  if (m_open) {
    m_stream.close();
    std::remove(m_partial.c_str());
  }
}

std::ostream& OutputFile::stream() { return toStdout() ? std::cout : m_stream; }

void OutputFile::commit() {
  if (toStdout()) {
    const bool failed = m_cfile != nullptr ? std::fflush(m_cfile) != 0 : !std::cout.flush();
    if (failed) throw ToolError("standard output: write failed");
    return;
  }
  bool failed = false;
  if (m_cfile != nullptr) {
    failed = std::ferror(m_cfile) != 0;
    failed = std::fclose(m_cfile) != 0 || failed;
    m_cfile = nullptr;
  } else {
    m_stream.close();
    failed = !m_stream;
  }
  const int error = errno;
  if (failed || (!m_direct && std::rename(m_partial.c_str(), m_path.c_str()) != 0)) {
    throw ToolError(m_path + ": write failed: " + std::strerror(failed ? error : errno));
  }
  m_open = false;
}

}  // namespace qormeridional
