/// @file
/// Exact walls: the wall curves between the wall nodes of the background mesh, and the spanwise
/// coordinate of the wall cells measured from them.

#include <algorithm>
#include <cmath>

#include "turbo/TurboTransformLocate.h"

namespace qor {
namespace turbo_detail {

namespace {

// The parameter along the line q0 + tau (q1 - q0) where it crosses the polyline a, inner..., b;
// `fallback` when it crosses none of its segments. Of several crossings the one nearest to
// `fallback` counts.
double crossing(const TripletBase<float>& q0, const TripletBase<float>& q1,
                const TripletBase<float>& a, const TripletBase<float>* inner, int count,
                const TripletBase<float>& b, double fallback) {
  const double dx = double(q1[0]) - q0[0], dy = double(q1[1]) - q0[1];
  double best = fallback;
  bool found = false;
  const TripletBase<float>* previous = &a;
  for (int k = 0; k <= count; ++k) {
    const TripletBase<float>* next = k < count ? &inner[k] : &b;
    const double ex = double((*next)[0]) - (*previous)[0], ey = double((*next)[1]) - (*previous)[1];
    const double det = ex * dy - ey * dx;
    if (det != 0.0) {
      const double wx = double((*previous)[0]) - q0[0], wy = double((*previous)[1]) - q0[1];
      const double tau = (ex * wy - ey * wx) / det;     // along the line
      const double along = (dx * wy - dy * wx) / det;   // along the segment
      if (along >= -1e-9 && along <= 1.0 + 1e-9 &&
          (!found || std::fabs(tau - fallback) < std::fabs(best - fallback))) {
        best = tau;
        found = true;
      }
    }
    previous = next;
  }
  return best;
}

// The wall points strictly between consecutive wall nodes: each node's position along the curve
// (the foot of its projection, searched forward from the previous node's), then the curve points
// beyond one foot and before the next.
void fitWall(const MeshView& mesh, const QORVector<TripletBase<float>>& curve, int j,
             std::vector<TripletBase<float>>& points, std::vector<int>& start) {
  points.clear();
  start.assign(static_cast<std::size_t>(mesh.icv) + 2, 0);
  const std::size_t n = curve.size();
  if (n < 2) return;
  double previous = 0.0;  // position as segment index + fraction
  std::vector<double> position(static_cast<std::size_t>(mesh.icv) + 1, 0.0);
  for (int i = 0; i <= mesh.icv; ++i) {
    const TripletBase<float>& p = mesh.points[mesh.begin + i * mesh.jsize + j];
    double best = previous, bestDistance = HUGE_VAL;
    for (std::size_t k = static_cast<std::size_t>(previous); k + 1 < n; ++k) {
      const double ex = double(curve[k + 1][0]) - curve[k][0];
      const double ey = double(curve[k + 1][1]) - curve[k][1];
      const double wx = double(p[0]) - curve[k][0], wy = double(p[1]) - curve[k][1];
      const double len2 = ex * ex + ey * ey;
      const double f = len2 > 0.0 ? std::min(1.0, std::max(0.0, (wx * ex + wy * ey) / len2)) : 0.0;
      const double d = std::hypot(wx - f * ex, wy - f * ey);
      if (d < bestDistance) {
        bestDistance = d;
        best = double(k) + f;
      }
    }
    position[static_cast<std::size_t>(i)] = previous = std::max(previous, best);
  }
  for (int i = 0; i < mesh.icv; ++i) {
    start[static_cast<std::size_t>(i)] = static_cast<int>(points.size());
    const double from = position[static_cast<std::size_t>(i)];
    const double to = position[static_cast<std::size_t>(i) + 1];
    for (std::size_t k = static_cast<std::size_t>(std::floor(from)) + 1; k < n && double(k) < to; ++k) {
      if (double(k) > from + 1e-6 && double(k) < to - 1e-6) points.push_back(curve[k]);
    }
  }
  start[static_cast<std::size_t>(mesh.icv)] = static_cast<int>(points.size());
  start[static_cast<std::size_t>(mesh.icv) + 1] = static_cast<int>(points.size());
}

}  // namespace

WallFit fitWalls(const MeshView& mesh, const QORVector<TripletBase<float>>& hub,
                 const QORVector<TripletBase<float>>& shroud) {
  WallFit fit;
  fitWall(mesh, hub, 0, fit.points[0], fit.start[0]);
  fitWall(mesh, shroud, mesh.jcv, fit.points[1], fit.start[1]);
  return fit;
}

void measureFromWalls(const MeshView& mesh, const TripletBase<float>& p, Location& loc) {
  const bool hub = loc.j == 0, shroud = loc.j + 1 == mesh.jcv;
  if (!(hub || shroud)) return;
  const WallFit& fit = *mesh.walls;
  const TripletBase<float>* P = mesh.points;
  const TripletBase<float>&a = P[loc.c0], &b = P[loc.c1], &c = P[loc.c2], &d = P[loc.c3];
  // Newton steps on X(s, t) = p, from the search's (s, t), in double.
  double s = loc.s, t = loc.t;
  for (int step = 0; step < 4; ++step) {
    double r[2], js[2], jt[2];
    for (int k = 0; k < 2; ++k) {
      r[k] = (1 - s) * (1 - t) * a[k] + s * (1 - t) * b[k] + (1 - s) * t * c[k] + s * t * d[k] -
             double(p[k]);
      js[k] = (1 - t) * (double(b[k]) - a[k]) + t * (double(d[k]) - c[k]);
      jt[k] = (1 - s) * (double(c[k]) - a[k]) + s * (double(d[k]) - b[k]);
    }
    const double det = js[0] * jt[1] - js[1] * jt[0];
    if (!(std::fabs(det) > 0.0)) break;
    const double ds = (r[0] * jt[1] - r[1] * jt[0]) / det;
    const double dt = (js[0] * r[1] - js[1] * r[0]) / det;
    if (!(std::isfinite(ds) && std::isfinite(dt))) break;
    s -= ds;
    t -= dt;
  }
  if (!(s >= 0.0 && s <= 1.0 && std::isfinite(t))) return;
  loc.s = static_cast<float>(s);
  loc.t = static_cast<float>(t);
  const TripletBase<float> q0 = a + (b - a) * static_cast<float>(s);
  const TripletBase<float> q1 = c + (d - c) * static_cast<float>(s);
  const auto i = static_cast<std::size_t>(loc.i);
  double from = 0.0, to = 1.0;
  if (hub && i + 1 < fit.start[0].size()) {
    const int k0 = fit.start[0][i], k1 = fit.start[0][i + 1];
    if (k1 > k0) from = crossing(q0, q1, a, fit.points[0].data() + k0, k1 - k0, b, 0.0);
  }
  if (shroud && i + 1 < fit.start[1].size()) {
    const int k0 = fit.start[1][i], k1 = fit.start[1][i + 1];
    if (k1 > k0) to = crossing(q0, q1, c, fit.points[1].data() + k0, k1 - k0, d, 1.0);
  }
  if (from == 0.0 && to == 1.0) return;
  if (!(to - from > 1e-6)) return;
  loc.t = static_cast<float>((double(loc.t) - from) / (to - from));
}
}  // namespace turbo_detail
}  // namespace qor
