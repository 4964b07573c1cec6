#pragma once
/// @file
/// Names of the coordinate spaces as the tool's options and files spell them.

#include <string>
#include <vector>

#include "qor/turbo/TurboTransform.h"

namespace qormeridional {

/// "mprime", "span", "m", "nmprime", "nspan", "nm", "rnm", "mprimeScaled" by enumerator number.
const std::vector<std::string>& spaceNames();
std::string spaceName(qor::TurboTransform::space s);
/// @throws ToolError naming `what` for an unknown name
qor::TurboTransform::space spaceFromName(const std::string& name, const std::string& what);
/// A comma-separated list of names; "all" gives all eight.
std::vector<qor::TurboTransform::space> spacesFromList(const std::string& list,
                                                       const std::string& what);

}  // namespace qormeridional
