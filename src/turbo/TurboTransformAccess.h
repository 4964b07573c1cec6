#pragma once
/// @file
/// The private entry points of `TurboTransform` that need its members: the one friend of the
/// class. Internal; never installed. Everything else the class uses internally is a free function
/// of `turbo_detail` taking what it needs as arguments.

#include <iosfwd>
#include <string>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"
#include "qor/turbo/TurboTransform.h"

namespace qor {
namespace turbo_detail {

class InverseCache;
struct MeshState;

struct TurboTransformAccess {
  // ---- set-up (TurboTransformSetup.cpp) ----
  /// Takes the cleaned boundary curves (swapped in), builds the projection database on them and
  /// marks the geometry initialised.
  static void adoptCleanCurves(TurboTransform& t, QORVector<TripletBase<float>>& hub,
                               QORVector<TripletBase<float>>& shroud,
                               QORVector<TripletBase<float>>& inlet,
                               QORVector<TripletBase<float>>& outlet);
  /// Marks every field out of date and empties the inverse cache (a new set-up or mesh).
  static void resetFields(TurboTransform& t);

  // ---- background mesh (TurboTransformBackgroundMesh.cpp) ----
  /// The linear and the smoothed construction of a new mesh into `next`; the smoothed one lowers
  /// the transform's level count when the coarsest level would have fewer than 4 cells a side.
  static void buildLinear(const TurboTransform& t, MeshState& next);
  static void buildNonLinear(TurboTransform& t, MeshState& next);

  // ---- inverse (TurboTransformInverse.cpp) ----
  /// The one-point inverse conversion (`convertSpaceTNsToART`) searching with `cache` instead of
  /// the transform's own: one cache per thread lets threads share one transform.
  static void convertSpaceTNsToART(const TurboTransform& t, InverseCache& cache,
                                   TurboTransform::space s, const TripletBase<float>& in,
                                   TripletBase<float>& out);

  // ---- save and load (TurboTransformSaveLoad.cpp); `source` names the file or "stream" ----
  static void saveTo(const TurboTransform& t, std::ostream& out, const std::string& target);
  static void loadFrom(TurboTransform& t, std::istream& in, const std::string& source,
                       bool wholeInput);
};

}  // namespace turbo_detail
}  // namespace qor
