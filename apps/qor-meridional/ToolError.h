#pragma once
/// @file
/// The one failure type of the command-line tool: a bad argument, a bad input file or a file that
/// cannot be written. main() prints its text as a single line and exits with status 2.

#include <stdexcept>
#include <string>

namespace qormeridional {

/// Exit status of every failure the tool reports (bad usage, bad input, library errors).
inline constexpr int kExitFailure = 2;

class ToolError : public std::runtime_error {
 public:
  explicit ToolError(const std::string& what) : std::runtime_error(what) {}
};

/// "file:line: problem", the form of every input-file error.
inline ToolError fileError(const std::string& path, int line, const std::string& problem) {
  if (line > 0) return ToolError(path + ":" + std::to_string(line) + ": " + problem);
  return ToolError(path + ": " + problem);
}

}  // namespace qormeridional
