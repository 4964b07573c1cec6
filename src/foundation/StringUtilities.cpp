#include "qor/foundation/StringUtilities.h"

namespace qor {

std::string StringUtilities::replaceSubstring(const std::string& text, const std::string& from,
                                              const std::string& to) {
  if (from.empty()) return text;
  std::string result;
  result.reserve(text.size());
  std::string::size_type start = 0;
  for (std::string::size_type pos = text.find(from); pos != std::string::npos;
       pos = text.find(from, start)) {
    result.append(text, start, pos - start);
    result += to;
    start = pos + from.size();
  }
  result.append(text, start, std::string::npos);
  return result;
}

}  // namespace qor
