#pragma once
/// @file
/// `QORStream`: a text file stream. Mode 2 opens for writing (truncating), mode 1 for reading.

#include <fstream>
#include <string>

#include "qor/export.h"

namespace qor {

class QOR_API QORStream {
 public:
  enum openMode : int { read = 1, write = 2 };

  /// @throws data::error naming the file when it cannot be opened.
  QORStream(const std::string& fileName, int mode, int flag = 0, int extra = 1);
  QORStream(const QORStream&) = delete;
  QORStream& operator=(const QORStream&) = delete;
  QORStream(QORStream&&) noexcept;
  QORStream& operator=(QORStream&&) noexcept;
  ~QORStream();

  template <typename T>
  QORStream& operator<<(const T& value) {
    m_stream << value;
    return *this;
  }
  QORStream& operator<<(std::ostream& (*manip)(std::ostream&)) {
    manip(m_stream);
    return *this;
  }
  template <typename T>
  QORStream& operator>>(T& value) {
    m_stream >> value;
    return *this;
  }
  /// Reads one line; false at the end of the file.
  bool getline(std::string& line);
  bool good() const;
  bool eof() const;
  explicit operator bool() const;
  /// Closes the file; closing twice is harmless.
  void close();
  std::fstream& stream() noexcept { return m_stream; }
  const std::string& fileName() const noexcept { return m_fileName; }

 private:
  std::fstream m_stream;
  std::string m_fileName;
};

}  // namespace qor
