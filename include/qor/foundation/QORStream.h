#pragma once
/// @file
/// `QORStream`: a text file stream. Mode 2 opens for writing (truncating), mode 1 for reading.

#include <fstream>
#include <string>

#include "qor/export.h"

namespace qor {

/// Movable, not copyable; the file is closed by `close` or the destructor.
class QOR_API QORStream {
 public:
  /// Values of the `mode` argument.
  enum openMode : int { read = 1, write = 2 };

  /// Opens `fileName` as text: mode 2 (`write`) creates or truncates it, mode 1 (`read`) reads it.
  /// @param flag, extra kept for compatibility with the product line; not used.
  /// @throws data::invalid "Unknown open mode <mode> for file <fileName>" for another mode.
  /// @throws data::error "Cannot open file for writing: <fileName>" (or "... for reading: ...")
  ///         when it cannot be opened.
  QORStream(const std::string& fileName, int mode, int flag = 0, int extra = 1);
  QORStream(const QORStream&) = delete;
  QORStream& operator=(const QORStream&) = delete;
  /// Takes over the open file and its name.
  QORStream(QORStream&&) noexcept;
  QORStream& operator=(QORStream&&) noexcept;
  /// Closes the file if it is still open.
  ~QORStream();

  /// Formatted output and input exactly as the underlying `std::fstream` does (default
  /// formatting; failures set the stream state, they do not throw).
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
  /// State of the underlying stream: `good()` no error flag, `eof()` end of file reached, `bool`
  /// true unless an operation failed.
  bool good() const;
  bool eof() const;
  explicit operator bool() const;
  /// Closes the file; closing twice is harmless.
  void close();
  /// The underlying stream, for operations this class does not wrap.
  std::fstream& stream() noexcept { return m_stream; }
  /// The name the stream was opened with.
  const std::string& fileName() const noexcept { return m_fileName; }

 private:
  std::fstream m_stream;
  std::string m_fileName;
};

}  // namespace qor
