#include "CliArgs.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <utility>

#include "ToolError.h"

namespace qormeridional {

CliArgs::CliArgs(std::string command, std::string usage, std::string summary,
                 std::vector<OptionSpec> options, int maxPositionals)
    : m_command(std::move(command)),
      m_usage(std::move(usage)),
      m_summary(std::move(summary)),
      m_options(std::move(options)),
      m_maxPositionals(maxPositionals) {
  m_options.push_back({"help", "", "show this help and exit"});
}

const OptionSpec* CliArgs::find(const std::string& name) const {
  for (const OptionSpec& o : m_options) {
    if (o.name == name) return &o;
  }
  return nullptr;
}

std::string CliArgs::optionError(const std::string& name, const std::string& problem) const {
  return "option --" + name + " of '" + m_command + "': " + problem;
}

void CliArgs::parse(int argc, char** argv, int first) {
  bool onlyPositionals = false;
  for (int k = first; k < argc; ++k) {
    const std::string arg = argv[k];
    if (onlyPositionals || arg.size() < 2 || arg.compare(0, 2, "--") != 0 || arg == "--") {
      if (!onlyPositionals && arg == "--") {
        onlyPositionals = true;
        continue;
      }
      if (!onlyPositionals && arg.size() > 1 && arg[0] == '-' &&
          !std::isdigit(static_cast<unsigned char>(arg[1])) && arg[1] != '.') {
        if (arg == "-h") {
          m_help = true;
          continue;
        }
        throw ToolError("unknown option '" + arg + "' for '" + m_command +
                        "' (see 'qor-meridional " + m_command + " --help')");
      }
      if (static_cast<int>(m_positionals.size()) >= m_maxPositionals) {
        throw ToolError("unexpected argument '" + arg + "' for '" + m_command +
                        "' (see 'qor-meridional " + m_command + " --help')");
      }
      m_positionals.push_back(arg);
      continue;
    }
    std::string name = arg.substr(2);
    std::string value;
    bool hasInlineValue = false;
    const std::size_t eq = name.find('=');
    if (eq != std::string::npos) {
      value = name.substr(eq + 1);
      name = name.substr(0, eq);
      hasInlineValue = true;
    }
    const OptionSpec* option = find(name);
    if (option == nullptr) {
      throw ToolError("unknown option '--" + name + "' for '" + m_command +
                      "' (see 'qor-meridional " + m_command + " --help')");
    }
    if (name == "help") {
      m_help = true;
      continue;
    }
    if (option->valueName.empty()) {
      if (hasInlineValue) throw ToolError(optionError(name, "takes no value"));
      m_values[name].push_back("");
      continue;
    }
    if (!hasInlineValue) {
      if (k + 1 >= argc)
        throw ToolError(optionError(name, "needs a value <" + option->valueName + ">"));
      value = argv[++k];
    }
    m_values[name].push_back(value);
  }
}

void CliArgs::printHelp(std::ostream& out) const {
  out << "usage: qor-meridional " << m_command << ' ' << m_usage << "\n\n"
      << m_summary << "\n\noptions:\n";
  for (const OptionSpec& o : m_options) {
    std::string head = "  --" + o.name;
    if (!o.valueName.empty()) head += " <" + o.valueName + ">";
    if (head.size() < 30) {
      head.resize(30, ' ');
      out << head << o.help << '\n';
    } else {
      out << head << "\n" << std::string(30, ' ') << o.help << '\n';
    }
  }
}

bool CliArgs::has(const std::string& name) const { return m_values.count(name) != 0; }

std::string CliArgs::value(const std::string& name, const std::string& fallback) const {
  const auto it = m_values.find(name);
  if (it == m_values.end() || it->second.empty()) return fallback;
  return it->second.back();
}

std::vector<std::string> CliArgs::values(const std::string& name) const {
  const auto it = m_values.find(name);
  if (it == m_values.end()) return {};
  return it->second;
}

bool CliArgs::parseNumber(const std::string& text, double& out) {
  std::size_t b = 0;
  std::size_t e = text.size();
  while (b < e && std::isspace(static_cast<unsigned char>(text[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(text[e - 1]))) --e;
  if (b == e) return false;
  const std::string t = text.substr(b, e - b);
  errno = 0;
  char* end = nullptr;
  const double v = std::strtod(t.c_str(), &end);
  if (end != t.c_str() + t.size() || errno == ERANGE || !std::isfinite(v)) return false;
  out = v;
  return true;
}

double CliArgs::number(const std::string& name, double fallback) const {
  if (!has(name)) return fallback;
  double v = 0.0;
  if (!parseNumber(value(name), v)) {
    throw ToolError(optionError(name, "'" + value(name) + "' is not a finite number"));
  }
  return v;
}

int CliArgs::integer(const std::string& name, int fallback, int lo, int hi) const {
  if (!has(name)) return fallback;
  const std::string text = value(name);
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE || v < lo || v > hi) {
    throw ToolError(optionError(name, "'" + text + "' is not an integer from " +
                                          std::to_string(lo) + " to " + std::to_string(hi)));
  }
  return static_cast<int>(v);
}

std::vector<double> CliArgs::parseNumberList(const std::string& text, const std::string& what) {
  std::vector<double> out;
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = text.find(',', start);
    const std::string item =
        text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    double v = 0.0;
    if (!parseNumber(item, v)) {
      std::string message = what;
      message.append(": '").append(item).append("' in '").append(text);
      throw ToolError(message.append("' is not a finite number"));
    }
    out.push_back(v);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return out;
}

std::vector<double> CliArgs::numberList(const std::string& name) const {
  std::vector<double> out;
  for (const std::string& v : values(name)) {
    const std::vector<double> part =
        parseNumberList(v, "option --" + name + " of '" + m_command + "'");
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

qor::TripletBase<float> CliArgs::triplet(const std::string& name,
                                         const qor::TripletBase<float>& fallback) const {
  if (!has(name)) return fallback;
  const std::vector<double> v =
      parseNumberList(value(name), "option --" + name + " of '" + m_command + "'");
  if (v.size() != 3) {
    throw ToolError(
        optionError(name, "expected three comma-separated numbers, got '" + value(name) + "'"));
  }
  return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

std::string CliArgs::choice(const std::string& name, const std::vector<std::string>& choices,
                            const std::string& fallback) const {
  if (!has(name)) return fallback;
  std::string v = value(name);
  std::string list;
  for (const std::string& c : choices) {
    if (c == v) return v;
    list += (list.empty() ? "" : "|") + c;
  }
  throw ToolError(optionError(name, "'" + v + "' is not one of " + list));
}

}  // namespace qormeridional
