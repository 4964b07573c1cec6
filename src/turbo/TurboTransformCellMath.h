#pragma once
/// @file
/// Small float rules shared by the cell search and the node grid of the point location: squared
/// distances with the overflow rule of the location, the size test of a cell, and the distance of
/// a local coordinate outside [0, 1]. Internal; never installed.

#include <cmath>
#include <limits>

#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/TripletBase.h"

namespace qor {
namespace turbo_detail {

constexpr float kFloatMax = std::numeric_limits<float>::max();

/// Squared planar distance with the overflow rule of the location code: a difference component
/// at or beyond the largest float makes the result the largest float.
inline float squaredPlanar(float dx, float dy) {
  if (std::fabs(dx) >= kFloatMax || std::fabs(dy) >= kFloatMax) return kFloatMax;
  return static_cast<float>(double(dx) * dx + double(dy) * dy);
}

/// The test "1000 spacing(R) < R" of a cell of real size. For a normal finite R it always holds
/// (spacing is R's unit in the last place, about 1.2e-7 R), so the service is asked only about
/// zero, subnormal and non-finite radii.
inline bool hasRealSize(float radius) {
  if (radius >= std::numeric_limits<float>::min() && radius <= kFloatMax) return true;
  return 1000.0f * NumericalUtils::spacing(radius) < radius;
}

/// Below this magnitude the squared difference of two coordinates cannot overflow a float, so the
/// edge lengths of a cell are finite.
constexpr float kSafeCoordinate = 1e18f;

inline bool safeCorner(const TripletBase<float>& p) {
  return std::fabs(p[0]) < kSafeCoordinate && std::fabs(p[1]) < kSafeCoordinate;
}

inline float planarLength(float dx, float dy) {
  const float sq = squaredPlanar(dx, dy);
  return sq == kFloatMax ? kFloatMax : std::sqrt(sq);
}

/// How far a local coordinate lies outside [0, 1].
inline float outside(float v) {
  if (v < 0.0f) return -v;
  if (v > 1.0f) return v - 1.0f;
  return 0.0f;
}

}  // namespace turbo_detail
}  // namespace qor
