#pragma once
/// @file
/// `ParametricDBFactory`: hands out fresh databases made from a process-wide prototype.

#include "qor/export.h"
#include "qor/parametric/ParametricDBInterface.h"

namespace qor {

class QOR_API ParametricDBFactory {
 public:
  /// A new, empty database made by the prototype's `makeNew()`; the caller owns it.
  /// The first call installs a default `ParametricDB` prototype if none was set.
  static ParametricDBInterface* createParametricDB();
  /// Replaces the prototype (not owned, not deleted). It must outlive every later
  /// `createParametricDB` call.
  static void setParametricDB(ParametricDBInterface* prototype);

 private:
  static ParametricDBInterface* m_parametricDB;
};

}  // namespace qor
