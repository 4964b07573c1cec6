#pragma once
/// @file
/// `OutputFile`: a file written whole or not at all.

#include <cstdio>
#include <fstream>
#include <iosfwd>
#include <string>

namespace qormeridional {

/// The text goes to "<path>.part" and `commit` moves it onto `path` once it is complete; an object
/// destroyed before `commit` (an error on the way) removes the partial file, so a failed command
/// never leaves a half-written output. An empty path or "-" writes to standard output; a device or
/// a pipe (an existing path that is not a regular file) is written directly.
class OutputFile {
 public:
  /// How the text is written: through `stream()` or through C stdio's `cfile()`.
  enum class Api { stream, cstdio };

  /// @throws ToolError when the file cannot be opened
  explicit OutputFile(std::string path, Api api = Api::stream);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  std::ostream& stream();
  std::FILE* cfile() { return m_cfile; }

  /// Flushes, checks that every write succeeded and moves the file in place.
  /// @throws ToolError when a write failed or the file cannot be moved
  void commit();

 private:
  bool toStdout() const { return m_path.empty() || m_path == "-"; }

  std::string m_path;
  std::string m_partial;
  std::ofstream m_stream;
  std::FILE* m_cfile = nullptr;
  bool m_open = false;    // a partial file exists and is ours to move or remove
  bool m_direct = false;  // a device or pipe, written in place
};

}  // namespace qormeridional
