#pragma once
// Axial position and radius of a Cartesian point about an axis, in the arithmetic shared by
// TurboTransform's Cartesian conversions and AxisFrame: products in double from single-precision
// inputs, held in single precision between the steps, so both give the same bits.

#include <cstddef>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"

namespace qor {
namespace turbo_detail {

inline TripletBase<float> crossInDouble(const TripletBase<float>& a, const TripletBase<float>& b) {
  const double ax = a[0], ay = a[1], az = a[2];
  const double bx = b[0], by = b[1], bz = b[2];
  return {static_cast<float>(ay * bz - az * by), static_cast<float>(az * bx - ax * bz),
          static_cast<float>(ax * by - ay * bx)};
}

inline double dotInDouble(const TripletBase<float>& a, const TripletBase<float>& b) {
  return double(a[0]) * b[0] + double(a[1]) * b[1] + double(a[2]) * b[2];
}

/// (axial, radial, 0) of `xyz` about the axis through `point` along the unit `axial`. A point on
/// the axis gets radius 0.
inline TripletBase<float> axialRadial(const TripletBase<float>& xyz, const TripletBase<float>& point,
                                      const TripletBase<float>& axial) {
  const TripletBase<float> d = xyz - point;
  TripletBase<float> w = crossInDouble(axial, d);
  const float wl = w.length();
  if (wl != 0.0f) w /= wl;
  TripletBase<float> r = crossInDouble(w, axial);
  const float rl = r.length();
  if (rl != 0.0f) r /= rl;
  return {static_cast<float>(dotInDouble(axial, d)), static_cast<float>(dotInDouble(d, r)), 0.0f};
}

/// The list form: one (axial, radial, 0) per point of `xyz`; `art` is resized only when its size
/// differs and is left as it is for an empty list.
inline void axialRadial(const QORVector<TripletBase<float>>& xyz, const TripletBase<float>& point,
                        const TripletBase<float>& axial, QORVector<TripletBase<float>>& art) {
  if (xyz.empty()) return;
  if (art.size() != xyz.size()) art.assign(xyz.size(), TripletBase<float>());
  for (std::size_t k = 0; k < xyz.size(); ++k) art[k] = axialRadial(xyz[k], point, axial);
}

}  // namespace turbo_detail
}  // namespace qor
