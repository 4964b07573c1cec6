#include "qor/parametric/ParametricDBFactory.h"

#include "qor/parametric/ParametricDB.h"

namespace qor {

ParametricDBInterface* ParametricDBFactory::m_parametricDB = nullptr;

namespace {

// The default prototype lives for the whole process and is never destroyed (no exit-order
// issues). Holding it here as well keeps it reachable after a user prototype replaces it.
ParametricDBInterface* defaultPrototype() {
  static ParametricDBInterface* const prototype = new ParametricDB();
  return prototype;
}

}  // namespace

ParametricDBInterface* ParametricDBFactory::createParametricDB() {
  if (m_parametricDB == nullptr) m_parametricDB = defaultPrototype();
  return m_parametricDB->makeNew();
}

void ParametricDBFactory::setParametricDB(ParametricDBInterface* prototype) {
  m_parametricDB = prototype;
}

}  // namespace qor
