#include "DemoPassage.h"

#include <algorithm>
#include <cmath>

namespace qormeridional {
namespace {

using P = qor::TripletBase<float>;

constexpr double kPi = 3.14159265358979323846;

/// One wall: a straight axial run at radius r0 from axial 0 to a1, a circular bend of radius rc
/// turning the wall from axial to radial, then a straight radial run at constant axial position up
/// to radius rOut. Points are spaced about `step` apart.
std::vector<P> wall(double r0, double a1, double rc, double rOut, double step) {
  std::vector<P> pts;
  const int nAxial = static_cast<int>(std::ceil(a1 / step));
  const int nBend = static_cast<int>(std::ceil(0.5 * kPi * rc / step));
  const double aRadial = a1 + rc;
  const double rStart = r0 + rc;
  const int nRadial = static_cast<int>(std::ceil((rOut - rStart) / step));
  const auto count = [](int n) { return static_cast<std::size_t>(std::max(0, n)); };
  pts.reserve(count(nAxial) + count(nBend) + count(nRadial + 1));
  for (int k = 0; k < nAxial; ++k)
    pts.emplace_back(static_cast<float>(a1 * k / nAxial), static_cast<float>(r0), 0.0f);
  for (int k = 0; k < nBend; ++k) {
    const double phi = 0.5 * kPi * k / nBend;
    pts.emplace_back(static_cast<float>(a1 + rc * std::sin(phi)),
                     static_cast<float>(r0 + rc * (1.0 - std::cos(phi))), 0.0f);
  }
  for (int k = 0; k <= nRadial; ++k) {
    pts.emplace_back(static_cast<float>(aRadial),
                     static_cast<float>(rStart + (rOut - rStart) * k / nRadial), 0.0f);
  }
  return pts;
}

std::vector<P> line(const P& a, const P& b, int n) {
  std::vector<P> pts;
  for (int k = 0; k <= n; ++k) {
    const double t = double(k) / n;
    pts.emplace_back(static_cast<float>(a[0] + t * (b[0] - a[0])),
                     static_cast<float>(a[1] + t * (b[1] - a[1])), 0.0f);
  }
  return pts;
}

}  // namespace

DemoPassage makeDemoPassage() {
  // Inducer: hub radius 25 mm, tip radius 70 mm. The hub bends on a 65 mm radius, the shroud on a
  // 12 mm radius; the radial part is a vaneless diffuser 12 mm wide from r = 90 mm (impeller tip)
  // to r = 180 mm (outlet). The diffuser walls are planes of constant axial position:
  // hub at 20 + 65 = 85 mm, shroud at 61 + 12 = 73 mm.
  DemoPassage d;
  d.hub = wall(25.0, 20.0, 65.0, 180.0, 1.5);
  d.shroud = wall(70.0, 61.0, 12.0, 180.0, 1.5);
  d.inlet = line(d.hub.front(), d.shroud.front(), 20);
  d.outlet = line(d.hub.back(), d.shroud.back(), 8);
  // Impeller leading edge in the inducer and trailing edge at the impeller tip (r = 100 mm).
  d.bladeEdges.push_back(line(P(12.0f, 25.0f, 0.0f), P(12.0f, 70.0f, 0.0f), 10));
  d.bladeEdges.push_back(line(P(85.0f, 100.0f, 0.0f), P(73.0f, 100.0f, 0.0f), 6));
  return d;
}

}  // namespace qormeridional
