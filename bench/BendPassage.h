#pragma once
// The 90-degree bend of the benchmarks (the meridional passage of a centrifugal impeller):
// centre (0, 3), hub the outer arc of radius 1.5, shroud the inner arc of radius 1.0, axial inlet
// at A = 0, radial outlet at R = 3.

#include <cmath>
#include <vector>

#include "qor/CoordTransform.h"

namespace qorbench {

using P3 = qor::TripletBase<float>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kCentreR = 3.0, kRhoHub = 1.5, kRhoShroud = 1.0;

/// The point at angle theta (0 at the inlet, pi/2 at the outlet) and distance rho from the centre.
inline P3 bendPoint(double theta, double rho) {
  return P3(static_cast<float>(rho * std::sin(theta)),
            static_cast<float>(kCentreR - rho * std::cos(theta)), 0.0f);
}

/// n points of the arc of radius rho, inlet to outlet.
inline std::vector<P3> bendArc(double rho, int n) {
  std::vector<P3> out;
  for (int k = 0; k < n; ++k) out.push_back(bendPoint((kPi / 2) * k / (n - 1), rho));
  return out;
}

/// n points of the straight line from a to b.
inline std::vector<P3> straight(const P3& a, const P3& b, int n) {
  std::vector<P3> out;
  for (int k = 0; k < n; ++k) {
    const float f = static_cast<float>(k) / static_cast<float>(n - 1);
    out.emplace_back(a[0] + f * (b[0] - a[0]), a[1] + f * (b[1] - a[1]), 0.0f);
  }
  return out;
}

/// Sets the transform up on the bend with `arcPoints` points per wall and 11 per end line.
inline void initializeBend(qor::TurboTransform& t, int arcPoints) {
  const qor::TripletQORVector hub(bendArc(kRhoHub, arcPoints)), shroud(bendArc(kRhoShroud, arcPoints));
  const qor::TripletQORVector inlet(straight(bendPoint(0, kRhoHub), bendPoint(0, kRhoShroud), 11));
  const qor::TripletQORVector outlet(
      straight(bendPoint(kPi / 2, kRhoHub), bendPoint(kPi / 2, kRhoShroud), 11));
  t.initializeFromART(hub, shroud, inlet, outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1, -1, -1);
}

}  // namespace qorbench
