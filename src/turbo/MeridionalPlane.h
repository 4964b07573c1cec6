#pragma once
// The cleaned boundary curves keep the caller's theta (a cleaned cloud: its sort keys) in their
// third component. The curves that mesh nodes are laid on, measured along and projected onto live
// in the meridional plane, so that every length, the smoother and the coordinate fields see
// (axial, radial) only and the nodes are (axial, radial, 0).

#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qor {

inline std::vector<TripletBase<float>> inMeridionalPlane(const std::vector<TripletBase<float>>& curve) {
  std::vector<TripletBase<float>> out(curve);
  for (auto& p : out) p[2] = 0.0f;
  return out;
}

}  // namespace qor
