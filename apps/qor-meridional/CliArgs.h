#pragma once
/// @file
/// Option parsing of one subcommand: "--name value", "--name=value", switches and positional
/// arguments, with a generated --help text. Every misuse throws ToolError naming the option.

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qormeridional {

struct OptionSpec {
  std::string name;       ///< without the leading "--"
  std::string valueName;  ///< empty for a switch
  std::string help;
};

class CliArgs {
 public:
  /// @param command    subcommand name, used in messages and the help text
  /// @param usage      the usage line after "qor-meridional <command> "
  /// @param summary    one paragraph describing the subcommand
  /// @param options    accepted options ("help" is added automatically)
  /// @param maxPositionals how many positional arguments are accepted
  CliArgs(std::string command, std::string usage, std::string summary,
          std::vector<OptionSpec> options, int maxPositionals);

  /// Parses argv[first] .. argv[argc-1]. @throws ToolError for unknown options, missing values
  /// and too many positional arguments.
  void parse(int argc, char** argv, int first);

  bool helpRequested() const { return m_help; }
  void printHelp(std::ostream& out) const;

  bool has(const std::string& name) const;
  /// The last value given for the option, or `fallback`.
  std::string value(const std::string& name, const std::string& fallback = "") const;
  /// Every value given for a repeatable option, in order.
  std::vector<std::string> values(const std::string& name) const;
  /// @throws ToolError when the value is not a finite number
  double number(const std::string& name, double fallback) const;
  /// @throws ToolError when the value is not an integer in [lo, hi]
  int integer(const std::string& name, int fallback, int lo, int hi) const;
  /// Comma-separated numbers ("0.1,0.5,0.9"). @throws ToolError for a malformed list
  std::vector<double> numberList(const std::string& name) const;
  /// Three comma-separated numbers. @throws ToolError otherwise
  qor::TripletBase<float> triplet(const std::string& name,
                                  const qor::TripletBase<float>& fallback) const;
  /// One of `choices`. @throws ToolError for anything else
  std::string choice(const std::string& name, const std::vector<std::string>& choices,
                     const std::string& fallback) const;

  const std::vector<std::string>& positionals() const { return m_positionals; }
  const std::string& command() const { return m_command; }

  /// Parses "a,b,c" into numbers; `what` names the source in the error.
  static std::vector<double> parseNumberList(const std::string& text, const std::string& what);
  /// Parses a whole string as a finite double; false when it is not one.
  static bool parseNumber(const std::string& text, double& out);

 private:
  const OptionSpec* find(const std::string& name) const;
  std::string optionError(const std::string& name, const std::string& problem) const;

  std::string m_command;
  std::string m_usage;
  std::string m_summary;
  std::vector<OptionSpec> m_options;
  int m_maxPositionals;
  bool m_help = false;
  std::map<std::string, std::vector<std::string>> m_values;
  std::vector<std::string> m_positionals;
};

}  // namespace qormeridional
