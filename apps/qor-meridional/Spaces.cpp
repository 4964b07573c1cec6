#include "Spaces.h"

#include "ToolError.h"

namespace qormeridional {

const std::vector<std::string>& spaceNames() {
  static const std::vector<std::string> names = {"mprime", "span", "m",   "nmprime",
                                                 "nspan",  "nm",   "rnm", "mprimeScaled"};
  return names;
}

std::string spaceName(qor::TurboTransform::space s) {
  return spaceNames().at(static_cast<std::size_t>(s));
}

qor::TurboTransform::space spaceFromName(const std::string& name, const std::string& what) {
  const auto& names = spaceNames();
  for (std::size_t k = 0; k < names.size(); ++k) {
    if (names[k] == name) return static_cast<qor::TurboTransform::space>(k);
  }
  std::string list;
  for (const auto& n : names) list += (list.empty() ? "" : ", ") + n;
  throw ToolError(what + ": unknown space '" + name + "' (known: " + list + ")");
}

std::vector<qor::TurboTransform::space> spacesFromList(const std::string& list,
                                                       const std::string& what) {
  std::vector<qor::TurboTransform::space> out;
  if (list == "all") {
    for (std::size_t k = 0; k < spaceNames().size(); ++k)
      out.push_back(static_cast<qor::TurboTransform::space>(k));
    return out;
  }
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = list.find(',', start);
    out.push_back(spaceFromName(
        list.substr(start, comma == std::string::npos ? std::string::npos : comma - start), what));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return out;
}

}  // namespace qormeridional
