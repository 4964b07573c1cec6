/// @file
/// The cell-exclusion proof of the point location: the bound of a cell's bilinear map and the
/// stored quick test derived from it, which show that no solve of the cell search can place a
/// point inside the cell.

#include <algorithm>
#include <cmath>
#include <limits>

#include "turbo/TurboTransformCellExclusion.h"

namespace qor {
namespace turbo_detail {

CellBound boundOf(const TripletBase<float>& a, const TripletBase<float>& b,
                  const TripletBase<float>& c, const TripletBase<float>& d) {
  const double ax = a[0], ay = a[1], bx = b[0], by = b[1], cx = c[0], cy = c[1], dx = d[0],
               dy = d[1];
  CellBound r;
  r.centreX = 0.25 * ((ax + bx) + (cx + dx));
  r.centreY = 0.25 * ((ay + by) + (cy + dy));
  const double mux = 0.5 * ((bx - ax) + (dx - cx)), muy = 0.5 * ((by - ay) + (dy - cy));
  const double mvx = 0.5 * ((cx - ax) + (dx - bx)), mvy = 0.5 * ((cy - ay) + (dy - by));
  const double det = mux * mvy - mvx * muy;
  const double inv = 1.0 / det;
  const bool usable = std::fabs(det) > 0.0 && std::isfinite(inv) &&
                      // the edge lengths weighing a distance outside the cell must not underflow
                      mux * mux + muy * muy > 1e-60 && mvx * mvx + mvy * mvy > 1e-60;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  r.m00 = usable ? static_cast<float>(inv * mvy) : nan;
  r.m01 = usable ? static_cast<float>(-inv * mvx) : nan;
  r.m10 = usable ? static_cast<float>(-inv * muy) : nan;
  r.m11 = usable ? static_cast<float>(inv * mux) : nan;
  const double ddx = (ax - bx) - (cx - dx), ddy = (ay - by) - (cy - dy);
  const double h0 = inv * (mvy * ddx - mvx * ddy), h1 = inv * (mux * ddy - muy * ddx);
  r.skew = static_cast<float>(std::max(std::fabs(h0), std::fabs(h1)));
  r.normInv = static_cast<float>(
      std::fabs(inv) * std::max(std::fabs(mvy) + std::fabs(mvx), std::fabs(muy) + std::fabs(mux)));
  const double xs[4] = {ax, bx, cx, dx}, ys[4] = {ay, by, cy, dy};
  double big = 0.0, small = std::numeric_limits<double>::infinity();
  for (int k = 0; k < 4; ++k) {
    const double rx = xs[k] - r.centreX, ry = ys[k] - r.centreY;
    const double r2 = rx * rx + ry * ry;
    big = std::max(big, r2);
    small = std::min(small, r2);
  }
  r.big = static_cast<float>(std::sqrt(big));
  r.small = static_cast<float>(std::sqrt(small));
  return r;
}

// No solve of `solveInCell` can end with flag2 set and (s, t) in [0, 1]^2, the only way to a
// first-rank score of 0, when the point is clearly outside the cell:
//
// Write the cell's bilinear map about its centre C as X(u, v) = C + M (u, v) + D u v, with
// u = s - 1/2, v = t - 1/2, and let g = M^-1 (p - C): the point's local coordinates if the cell
// were the parallelogram M. A solve for the point pulled by the factor f (1 for the direct solve)
// that sets flag2 has converged to X(u, v) = C + f (p - C) + e with |e| bounded by the residual
// test of the solver (1e-4 of the cell size) and the float rounding of the pulled point; the
// rescaled coordinates (U, V) = (u, v) / f then satisfy
//     (U, V) = g - f M^-1 D U V + M^-1 e / f.
// If (U, V) were in the cell, |U V| <= 1/4 (plus rounding), so (U, V) lies within
//     f |M^-1 D| / 4 + |M^-1| |e| / f
// of g (max norms). The factors of the retries are radius / distance, which bounds them by fmin
// and fmax; when g is farther than the bound with f = fmax in the first term and f = fmin in the
// second from [-1/2, 1/2]^2, no solve can place the point in the cell.
namespace {

// The margin `needed` of the bound above for every point whose distance from the centre lies in
// [reachLo, reachHi] and whose offset from the centre is at most eMax in either coordinate; each
// quantity is monotone in the distance, so taking it at the worse end bounds it over the range.
// Infinite when nothing can be proved.
double neededMargin(const CellBound& cell, double reachLo, double reachHi, double eMax) {
  // Stored in float, every quantity of the cell is within 1e-7 of itself: the margins below
  // (1e-6 relative, the factor 1.001) cover that, and the rounded inverse moves g by at most
  // 1e-7 |M^-1| |p - C|.
  const double skew = cell.skew, normInv = cell.normInv, big = cell.big, small = cell.small;
  constexpr double kNever = std::numeric_limits<double>::infinity();
  // Every coordinate involved is at most this large; the retries compute the centre, the offset,
  // the radii and the pulled point in float, each within a few units in the last place of it.
  const double magnitude =
      std::max(std::fabs(cell.centreX), std::fabs(cell.centreY)) + big + reachHi;
  const double drift = 4e-7 * magnitude;
  // The pulling factors f = radius / distance of the retries lie in [fmin, fmax] (with the direct
  // solve's factor 1).
  const double lower = reachLo * (1.0 - 2e-6) - drift;
  if (!(lower > 0.0)) return kNever;
  const double fmax = std::max(1.0, (big * (1.0 + 2e-6) + drift) / lower);
  const double fmin =
      std::min(1.0, (small * (1.0 - 2e-6) - drift) / (reachHi * (1.0 + 2e-6) + drift));
  if (!(fmin > 0.0)) return kNever;
  // The residual accepted by the solver (its cell size is at most the diameter 2 R), with the
  // double rounding of its evaluation, and the float rounding of the pulled point.
  const double residual = 2e-4 * big * (1.0 + 2e-6) + 1e-12 * magnitude +
                          2e-6 * (1.0 + fmax) * (magnitude + reachHi);
  // The rounding of the rescaling U = (s - 1/2) / f, generously.
  const double rounding = 1e-6 * (1.0 + 1.0 / fmin);
  const double edge = 0.5 + rounding;
  const double needed = 1.001 * (fmax * skew * edge * edge + normInv * residual / fmin) +
                        rounding + 2e-7 * normInv * eMax;
  return std::isfinite(needed) ? needed : kNever;
}

}  // namespace

bool cannotHoldPoint(const CellBound& cell, const TripletBase<float>& p) {
  const double ex = double(p[0]) - cell.centreX, ey = double(p[1]) - cell.centreY;
  const double g0 = double(cell.m00) * ex + double(cell.m01) * ey;
  const double g1 = double(cell.m10) * ex + double(cell.m11) * ey;
  const double beyond = std::max(std::fabs(g0), std::fabs(g1)) - 0.5;
  if (!(beyond > 1e-6)) return false;  // in or near the cell (or unusable): solve it
  const double reach = std::sqrt(ex * ex + ey * ey);
  return beyond > neededMargin(cell, reach, reach, std::max(std::fabs(ex), std::fabs(ey)));
}

// The stored test covers the points within two corner radii of the centre: on the bend, every
// point inside the mesh whose nearest node is a corner of the cell (measured); a wider range
// makes the margin larger and leaves more points undecided. Points beyond it take the full bound.
//
// A point the test gets to prove something about is outside the parallelogram, |g| > 1/2 in the
// max norm; as |g| <= |M^-1| |p - C| (the max norm of M^-1 is `normInv`), it is at least
// 1 / (2 normInv) from the centre, which gives the lower end of the range (0.49 covers the
// rounding of g and of normInv). The centre is stored in float: it moves by at most
// 2e-7 max(|Cx|, |Cy|), which shortens the range checked and widens the margin accordingly.
CellTest testOf(const CellBound& cell) {
  CellTest r;
  r.centreX = static_cast<float>(cell.centreX);
  r.centreY = static_cast<float>(cell.centreY);
  r.m00 = cell.m00;
  r.m01 = cell.m01;
  r.m10 = cell.m10;
  r.m11 = cell.m11;
  r.quick = std::numeric_limits<float>::infinity();
  r.reach2 = -1.0f;
  const double normInv = cell.normInv;
  const double reachHi = 2.0 * double(cell.big);
  const double shift = 2e-7 * std::max(std::fabs(cell.centreX), std::fabs(cell.centreY));
  const double checked = reachHi - 2.0 * shift;
  if (!(normInv > 0.0) || !std::isfinite(normInv) || !(checked > 0.0)) return r;
  const double needed = neededMargin(cell, 0.49 / normInv, reachHi, reachHi) + normInv * shift;
  if (!(needed < 1e30)) return r;
  // Rounded to float outwards: the margin up, the squared range down.
  r.quick = std::nextafter(static_cast<float>(needed), std::numeric_limits<float>::infinity());
  r.reach2 = static_cast<float>(checked * checked * (1.0 - 1e-6));
  return r;
}
}  // namespace turbo_detail
}  // namespace qor
