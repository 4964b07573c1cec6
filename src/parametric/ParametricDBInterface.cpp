#include "qor/parametric/ParametricDBInterface.h"

namespace qor {

// Out of line so that the vtable is emitted once, in this library.
ParametricDBInterface::~ParametricDBInterface() = default;

}  // namespace qor
