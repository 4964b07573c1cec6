#pragma once
/// @file
/// `ParametricDBFactory`: hands out fresh databases made from a process-wide prototype.

#include "qor/export.h"
#include "qor/parametric/ParametricDBInterface.h"

namespace qor {

/// Static functions only. The prototype pointer is process-wide and unguarded: set it before
/// other threads create databases.
class QOR_API ParametricDBFactory {
 public:
  /// A new, empty database made by the prototype's `makeNew()`; the caller owns it (delete it
  /// through `ParametricDBInterface*`). Two calls give two distinct databases; the prototype itself
  /// is never handed out. The first call installs a default `ParametricDB` prototype if none was
  /// set (also after `setParametricDB(nullptr)`).
  static ParametricDBInterface* createParametricDB();
  /// Replaces the prototype (not owned, not deleted). It must outlive every later
  /// `createParametricDB` call. nullptr restores the default `ParametricDB` prototype.
  static void setParametricDB(ParametricDBInterface* prototype);

 private:
  static ParametricDBInterface* m_parametricDB;
};

}  // namespace qor
