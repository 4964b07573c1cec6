/// @file
/// Point location in the background mesh: the nearest node, the cells around it and the best cell
/// with the local coordinates (s, t) of the point.

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>

#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformLocate.h"
#include "foundation/QuadSolve.h"

namespace qor {
namespace turbo_detail {

namespace {

constexpr float kFloatMax = std::numeric_limits<float>::max();

// Squared planar distance with the overflow rule of the location code: a difference component
// at or beyond the largest float makes the result the largest float.
inline float squaredPlanar(float dx, float dy) {
  if (std::fabs(dx) >= kFloatMax || std::fabs(dy) >= kFloatMax) return kFloatMax;
  return static_cast<float>(double(dx) * dx + double(dy) * dy);
}

// The test "1000 spacing(R) < R" of a cell of real size. For a normal finite R it always holds
// (spacing is R's unit in the last place, about 1.2e-7 R), so the service is asked only about
// zero, subnormal and non-finite radii.
inline bool hasRealSize(float radius) {
  if (radius >= std::numeric_limits<float>::min() && radius <= kFloatMax) return true;
  return 1000.0f * NumericalUtils::spacing(radius) < radius;
}

// Below this magnitude the squared difference of two coordinates cannot overflow a float, so the
// edge lengths of a cell are finite.
constexpr float kSafeCoordinate = 1e18f;

inline bool safeCorner(const TripletBase<float>& p) {
  return std::fabs(p[0]) < kSafeCoordinate && std::fabs(p[1]) < kSafeCoordinate;
}

inline float planarLength(float dx, float dy) {
  const float sq = squaredPlanar(dx, dy);
  return sq == kFloatMax ? kFloatMax : std::sqrt(sq);
}

// The centre of a cell and the pulled-point geometry of the retries, in the float arithmetic of
// the retries themselves.
struct CellFrame {
  TripletBase<float> centre;
  TripletBase<float> offset;  // point - centre, third component 0
  float largest;              // squared distances of the corners from the centre
  float smallest;
  float distance;             // |offset|
};

inline void frameOf(const TripletBase<float>& p, const TripletBase<float>& a,
                    const TripletBase<float>& b, const TripletBase<float>& c,
                    const TripletBase<float>& d, CellFrame& fr) {
  fr.centre = (a + b + c + d) * 0.25;
  const TripletBase<float>& centre = fr.centre;
  fr.largest = squaredPlanar(a[0] - centre[0], a[1] - centre[1]);
  fr.smallest = fr.largest;
  for (const TripletBase<float>* corner : {&b, &c, &d}) {
    const float sq = squaredPlanar((*corner)[0] - centre[0], (*corner)[1] - centre[1]);
    if (sq > fr.largest) fr.largest = sq;
    if (sq < fr.smallest) fr.smallest = sq;
  }
  fr.offset = TripletBase<float>(p[0] - centre[0], p[1] - centre[1], 0.0f);
  fr.distance = fr.offset.length();
}

// The direct solve and its two retries with the point pulled onto a circle around the cell
// centre. Returns the flags of the last solve that stands.
void solveInCell(const TripletBase<float>& p, const TripletBase<float>& a,
                 const TripletBase<float>& b, const TripletBase<float>& c,
                 const TripletBase<float>& d, float& s, float& t, bool& flag1, bool& flag2,
                 bool& flag3) {
  NumericalUtils::searchForSTinQuad(s, t, p[0], p[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0],
                                    d[1], flag1, flag2, flag3, 50, 0.01f, 0.00001f);
  if (!flag1 && flag2) return;
  CellFrame fr;
  frameOf(p, a, b, c, d, fr);

  const float bigRadius = std::sqrt(fr.largest);
  if (!hasRealSize(bigRadius)) return;  // degenerate cell
  // A point at the centre cannot be pulled onto a circle: the direct solve stands.
  if (fr.distance == 0.0f) return;

  auto retry = [&](float radius) {
    const float f = radius / fr.distance;
    const TripletBase<float> q = fr.centre + fr.offset * f;
    NumericalUtils::searchForSTinQuad(s, t, q[0], q[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0],
                                      d[1], flag1, flag2, flag3, 50, 1.0f, 0.00001f);
    s = (s - 0.5f) / f + 0.5f;
    t = (t - 0.5f) / f + 0.5f;
  };
  retry(bigRadius);
  if (flag2) return;
  const float smallRadius = std::sqrt(fr.smallest);
  if (hasRealSize(smallRadius)) retry(smallRadius);
}

}  // namespace

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

namespace {

inline float outside(float v) {
  if (v < 0.0f) return -v;
  if (v > 1.0f) return v - 1.0f;
  return 0.0f;
}

}  // namespace

int nearestNodeBruteForce(const TripletBase<float>* points, std::size_t count,
                          const TripletBase<float>& p) {
  const float px = p[0], py = p[1];
  int best = 0;
  float bestDistance = std::numeric_limits<float>::infinity();
  for (std::size_t k = 0; k < count; ++k) {
    const float dx = px - points[k][0];
    const float dy = py - points[k][1];
    const float sq = dx * dx + dy * dy;
    if (sq < bestDistance) {
      bestDistance = sq;
      best = static_cast<int>(k);
    }
  }
  return best;
}

void NodeGrid::build(const TripletBase<float>* points, std::size_t count) {
  m_count = count;
  m_safe = false;
  if (count == 0) return;
  double xmin = points[0][0], xmax = xmin, ymin = points[0][1], ymax = ymin;
  for (std::size_t k = 1; k < count; ++k) {
    const double x = points[k][0], y = points[k][1];
    if (x < xmin) xmin = x;
    if (x > xmax) xmax = x;
    if (y < ymin) ymin = y;
    if (y > ymax) ymax = y;
  }
  double w = xmax - xmin, h = ymax - ymin;
  if (!std::isfinite(w) || !std::isfinite(h)) {  // marked or non-finite nodes: scan instead
    m_count = 0;
    return;
  }
  m_safe = std::max(std::max(-xmin, xmax), std::max(-ymin, ymax)) < double(kSafeCoordinate);
  const double extent = std::max(std::max(w, h), 1e-30);
  if (w < 1e-6 * extent) w = extent;
  if (h < 1e-6 * extent) h = extent;
  // About two cells per node over the bounding box: on curved passages, which fill a part of
  // their box, an occupied cell then holds about one node, and its list of possible nearest
  // nodes has a handful of entries.
  const double cells = std::min(2.0 * static_cast<double>(count), 4.0e6);
  m_nx = static_cast<int>(std::clamp(std::sqrt(cells * w / h), 1.0, 4096.0));
  m_ny = static_cast<int>(std::clamp(cells / m_nx, 1.0, 4096.0));
  m_x0 = xmin;
  m_y0 = ymin;
  m_cw = w / m_nx;
  m_ch = h / m_ny;
  m_invW = 1.0 / m_cw;
  m_invH = 1.0 / m_ch;
  // Cell bounds are recomputed from the same formulas; this covers their rounding.
  m_slack = 1e-9 * extent + 4.0 * std::numeric_limits<double>::epsilon() *
                                (std::fabs(xmin) + std::fabs(ymin) + 2.0 * extent);

  const std::size_t ncell = static_cast<std::size_t>(m_nx) * static_cast<std::size_t>(m_ny);
  std::vector<int> cellOf(count);
  m_start.assign(ncell + 1, 0);
  for (std::size_t k = 0; k < count; ++k) {
    const int c = cellY(points[k][1]) * m_nx + cellX(points[k][0]);
    cellOf[k] = c;
    ++m_start[static_cast<std::size_t>(c) + 1];
  }
  for (std::size_t c = 0; c < ncell; ++c) m_start[c + 1] += m_start[c];
  m_bx = (m_nx + kBlockCells - 1) / kBlockCells;
  m_by = (m_ny + kBlockCells - 1) / kBlockCells;
  std::vector<int> fill(m_start.begin(), m_start.end() - 1);
  m_entries.resize(count);
  for (std::size_t k = 0; k < count; ++k) {
    const int e = fill[static_cast<std::size_t>(cellOf[k])]++;
    m_entries[static_cast<std::size_t>(e)] = {points[k][0], points[k][1], static_cast<int>(k)};
  }
  buildCandidateLists();
  // The buckets served the building only.
  std::vector<int>().swap(m_start);
  std::vector<Entry>().swap(m_entries);
}

void NodeGrid::buildCandidateLists() {
  // Float distances of the query differ from exact ones by a few units in the last place (the
  // subtraction, the squares and the sum each round once): a node at exact squared distance more
  // than (1 + kRelative) times another's can never win against it, not even a tie.
  constexpr double kRelative = 1e-5;
  constexpr int kMaxRings = 3;             // farther than this from every node: the quadtree
  constexpr std::size_t kMaxSeen = 96;     // crowded cells (duplicates, collapsed rows) likewise
  constexpr std::size_t kStrongNodes = 4;  // nodes tried as dominators of the others
  const std::size_t ncell = static_cast<std::size_t>(m_nx) * static_cast<std::size_t>(m_ny);
  m_listStart.assign(ncell + 1, 0);
  m_list.clear();
  m_list.reserve(ncell * 4);
  const double gap = std::min(m_cw, m_ch);
  struct Seen {
    double x, y, minD2, maxD2;
    int index;
  };
  std::vector<Seen> seen;
  std::vector<Entry> chosen;
  for (int cy = 0; cy < m_ny; ++cy) {
    for (int cx = 0; cx < m_nx; ++cx) {
      const std::size_t cell = static_cast<std::size_t>(cy) * static_cast<std::size_t>(m_nx) +
                               static_cast<std::size_t>(cx);
      m_listStart[cell] = static_cast<int>(m_list.size());
      // The cell widened by the rounding slack: every point the query assigns to it lies inside.
      const double gx0 = m_x0 + cx * m_cw - m_slack, gx1 = m_x0 + (cx + 1) * m_cw + m_slack;
      const double gy0 = m_y0 + cy * m_ch - m_slack, gy1 = m_y0 + (cy + 1) * m_ch + m_slack;
      const double corners[4][2] = {{gx0, gy0}, {gx1, gy0}, {gx0, gy1}, {gx1, gy1}};
      seen.clear();
      double bound = std::numeric_limits<double>::infinity();  // least max distance seen, squared
      bool complete = false;
      // The cells xa..xb of row y are consecutive in the buckets: one loop covers them.
      auto scanRow = [&](int y, int xa, int xb) {
        if (y < 0 || y >= m_ny) return;
        xa = std::max(xa, 0);
        xb = std::min(xb, m_nx - 1);
        if (xa > xb) return;
        const std::size_t row = static_cast<std::size_t>(y) * static_cast<std::size_t>(m_nx);
        const int end = m_start[row + static_cast<std::size_t>(xb) + 1];
        for (int e = m_start[row + static_cast<std::size_t>(xa)]; e < end; ++e) {
          const Entry& n = m_entries[static_cast<std::size_t>(e)];
          const double ex = std::max(std::max(gx0 - n.x, 0.0), n.x - gx1);
          const double ey = std::max(std::max(gy0 - n.y, 0.0), n.y - gy1);
          const double fx = std::max(std::fabs(n.x - gx0), std::fabs(n.x - gx1));
          const double fy = std::max(std::fabs(n.y - gy0), std::fabs(n.y - gy1));
          const double maxD2 = fx * fx + fy * fy;
          seen.push_back({n.x, n.y, ex * ex + ey * ey, maxD2, n.index});
          bound = std::min(bound, maxD2);
        }
      };
      for (int r = 0; r <= kMaxRings && seen.size() <= kMaxSeen; ++r) {
        if (r == 0) {
          scanRow(cy, cx, cx);
        } else {
          scanRow(cy - r, cx - r, cx + r);
          scanRow(cy + r, cx - r, cx + r);
          for (int y = cy - r + 1; y <= cy + r - 1; ++y) {
            scanRow(y, cx - r, cx - r);
            scanRow(y, cx + r, cx + r);
          }
        }
        // Nodes not seen yet lie at least r gaps away from the cell (less the slack).
        const double reach = r * gap - 2.0 * m_slack;
        if (reach > 0.0 && reach * reach > bound * (1.0 + kRelative)) {
          complete = true;
          break;
        }
      }
      if (!complete || seen.size() > kMaxSeen) continue;  // empty list: the quadtree answers

      // Possible nearest nodes: not farther from the cell than the best node's farthest point...
      chosen.clear();
      const double limit = bound * (1.0 + 2.0 * kRelative);
      const std::size_t strong = std::min(kStrongNodes, seen.size());
      std::partial_sort(seen.begin(), seen.begin() + static_cast<std::ptrdiff_t>(strong),
                        seen.end(), [](const Seen& a, const Seen& b) { return a.maxD2 < b.maxD2; });
      // The squared corner distances of the strong nodes, and the margin each must win by.
      double strongD2[kStrongNodes][4], margin[kStrongNodes];
      for (std::size_t m = 0; m < strong; ++m) {
        margin[m] = 0.0;
        for (int c = 0; c < 4; ++c) {
          const double ox = corners[c][0] - seen[m].x, oy = corners[c][1] - seen[m].y;
          strongD2[m][c] = ox * ox + oy * oy;
          margin[m] = std::max(margin[m], strongD2[m][c]);
        }
        margin[m] *= kRelative;
      }
      for (std::size_t k = 0; k < seen.size(); ++k) {
        const Seen& n = seen[k];
        if (n.minD2 > limit) continue;
        // ...and not beaten over the whole cell by one of the nearest nodes. The difference of two
        // squared distances is affine in the point, so beating at the four corners with a margin
        // beats everywhere in the cell.
        double nd2[4];
        for (int c = 0; c < 4; ++c) {
          const double nx = corners[c][0] - n.x, ny = corners[c][1] - n.y;
          nd2[c] = nx * nx + ny * ny;
        }
        bool beaten = false;
        for (std::size_t m = 0; m < strong && !beaten; ++m) {
          if (m == k) continue;
          beaten = nd2[0] - strongD2[m][0] > margin[m] && nd2[1] - strongD2[m][1] > margin[m] &&
                   nd2[2] - strongD2[m][2] > margin[m] && nd2[3] - strongD2[m][3] > margin[m];
        }
        if (!beaten) chosen.push_back({static_cast<float>(n.x), static_cast<float>(n.y), n.index});
      }
      std::sort(chosen.begin(), chosen.end(),
                [](const Entry& a, const Entry& b) { return a.index < b.index; });
      m_list.insert(m_list.end(), chosen.begin(), chosen.end());
    }
  }
  m_listStart[ncell] = static_cast<int>(m_list.size());
}

int NodeGrid::cellX(double x) const {
  const double c = std::floor((x - m_x0) * m_invW);
  if (!(c > 0.0)) return 0;
  return c >= m_nx - 1 ? m_nx - 1 : static_cast<int>(c);
}

int NodeGrid::cellY(double y) const {
  const double c = std::floor((y - m_y0) * m_invH);
  if (!(c > 0.0)) return 0;
  return c >= m_ny - 1 ? m_ny - 1 : static_cast<int>(c);
}

void NodeGrid::buildCellTests(const MeshView& mesh) {
  m_tests.clear();
  m_testsI = m_testsJ = 0;
  if (mesh.icv <= 0 || mesh.jcv <= 0) return;
  m_tests.resize(static_cast<std::size_t>(mesh.icv) * static_cast<std::size_t>(mesh.jcv));
  for (int i = 0; i < mesh.icv; ++i) {
    for (int j = 0; j < mesh.jcv; ++j) {
      const int c0 = mesh.begin + i * mesh.jsize + j, c1 = c0 + mesh.jsize;
      const TripletBase<float>* P = mesh.points;
      m_tests[static_cast<std::size_t>(i) * static_cast<std::size_t>(mesh.jcv) +
               static_cast<std::size_t>(j)] = testOf(boundOf(P[c0], P[c1], P[c0 + 1], P[c1 + 1]));
    }
  }
  m_testsI = mesh.icv;
  m_testsJ = mesh.jcv;
}

const CellTest* NodeGrid::cellTests(int icv, int jcv) const {
  if (m_tests.empty() || icv != m_testsI || jcv != m_testsJ) return nullptr;
  return m_tests.data();
}

int NodeGrid::blockOf(const TripletBase<float>& p) const {
  return (cellY(p[1]) / kBlockCells) * m_bx + cellX(p[0]) / kBlockCells;
}

void NodeGrid::prefetchBounds(int cell) const {
  prefetch(m_listStart.data() + cell);
}

void NodeGrid::prefetchList(int cell) const {
  const Entry* first = m_list.data() + m_listStart[static_cast<std::size_t>(cell)];
  prefetch(first);
  prefetch(first + 5);  // a list spans one or two cache lines, mostly
}

int NodeGrid::nearestInCell(int cell, const TripletBase<float>& p) const {
  const float px = p[0], py = p[1];
  const std::size_t c = static_cast<std::size_t>(cell);
  const int first = m_listStart[c], end = m_listStart[c + 1];
  if (first == end) return -1;
  // Ascending indices and a strict comparison: the lowest index wins a tie.
  const Entry* entry = m_list.data() + first;
  const Entry* const last = m_list.data() + end;
  int bestIndex = entry->index;
  float best;
  {
    const float dx = px - entry->x;
    const float dy = py - entry->y;
    best = dx * dx + dy * dy;
  }
  // Without branches: which entry wins is as good as random to the branch predictor.
  for (++entry; entry != last; ++entry) {
    const float dx = px - entry->x;
    const float dy = py - entry->y;
    const float sq = dx * dx + dy * dy;
    const int closer = -static_cast<int>(sq < best);  // all ones when closer
    bestIndex = (entry->index & closer) | (bestIndex & ~closer);
    best = std::min(best, sq);  // the same value as `sq < best ? sq : best` (no NaN here)
  }
  return bestIndex;
}

int nearestNode(const MeshView& mesh, const TripletBase<float>& p) {
  // A non-finite point is at no finite distance: the scan's answer (node 0 on any valid mesh).
  if (!std::isfinite(p[0]) || !std::isfinite(p[1])) {
    return nearestNodeBruteForce(mesh.points, mesh.count, p);
  }
  if (mesh.grid != nullptr) {
    const int listed = mesh.grid->nearestFromList(p);
    if (listed >= 0) return listed;
  }
  // Far from every node (no list there) the tree is faster than a walk through empty cells.
  if (mesh.tree != nullptr) return static_cast<int>(mesh.tree->findNearestPoint(p));
  return nearestNodeBruteForce(mesh.points, mesh.count, p);
}

int nearestNodeFrom(const MeshView& mesh, const TripletBase<float>& p, unsigned int hint) {
  if (mesh.grid == nullptr && mesh.tree != nullptr) {
    return static_cast<int>(mesh.tree->findNearestPoint(p, hint));
  }
  return nearestNode(mesh, p);
}

namespace {

// The row of local node `local`: a multiplication, corrected by one where the rounded reciprocal
// misses an exact multiple; the division itself where no reciprocal is at hand.
inline int rowOf(const MeshView& mesh, int local) {
  if (local < 0 || !(mesh.rowsPerNode > 0.0)) return local / mesh.jsize;
  int i = static_cast<int>(static_cast<double>(local) * mesh.rowsPerNode);
  if (i * mesh.jsize > local) {
    --i;
  } else if ((i + 1) * mesh.jsize <= local) {
    ++i;
  }
  return i;
}

}  // namespace

int cellsAroundNode(const MeshView& mesh, int node, int cells[4][2]) {
  const int local = node - mesh.begin;
  const int i = rowOf(mesh, local);
  const int j = local - i * mesh.jsize;
  const int I = mesh.icv, J = mesh.jcv;
  auto put = [&](int n, int ci, int cj) {
    cells[n][0] = ci;
    cells[n][1] = cj;
  };
  if (i == 0 && j == 0) {
    put(0, 0, 0);
    return 1;
  }
  if (i == 0 && j == J) {
    put(0, 0, J - 1);
    return 1;
  }
  if (i == I && j == 0) {
    put(0, I - 1, 0);
    return 1;
  }
  if (i == I && j == J) {
    put(0, I - 1, J - 1);
    return 1;
  }
  if (i == 0) {
    put(0, 0, j);
    put(1, 0, j - 1);
    return 2;
  }
  if (i == I) {
    put(0, I - 1, j);
    put(1, I - 1, j - 1);
    return 2;
  }
  if (j == 0) {
    put(0, i, 0);
    put(1, i - 1, 0);
    return 2;
  }
  if (j == J) {
    put(0, i, J - 1);
    put(1, i - 1, J - 1);
    return 2;
  }
  put(0, i, j);
  put(1, i, j - 1);
  put(2, i - 1, j);
  put(3, i - 1, j - 1);
  return 4;
}

namespace {

// The ranking score of (s, t) in the cell a, b, c, d: the distance outside the cell in s and t,
// weighed by the mean edge lengths. Inside the cell both distances are 0, and with finite lengths
// their products are 0: the lengths are then not needed.
float scoreOf(float s, float t, const TripletBase<float>& a, const TripletBase<float>& b,
              const TripletBase<float>& c, const TripletBase<float>& d) {
  const float os = outside(s), ot = outside(t);
  if (os == 0.0f && ot == 0.0f && safeCorner(a) && safeCorner(b) && safeCorner(c) &&
      safeCorner(d)) {
    return 0.0f;
  }
  const float li =
      0.5f * (planarLength(b[0] - a[0], b[1] - a[1]) + planarLength(d[0] - c[0], d[1] - c[1]));
  const float lj =
      0.5f * (planarLength(c[0] - a[0], c[1] - a[1]) + planarLength(d[0] - b[0], d[1] - b[1]));
  return os * li + ot * lj;
}

// Cell (i, j) with corners a, b, c, d provably cannot hold p (stored test, or the bound computed
// from the corners where that test is undecided or not stored).
inline bool excluded(const MeshView& mesh, int i, int j, const TripletBase<float>& a,
                     const TripletBase<float>& b, const TripletBase<float>& c,
                     const TripletBase<float>& d, const TripletBase<float>& p) {
  if (mesh.tests != nullptr) {
    const int quick = quickTest(mesh.tests[static_cast<std::size_t>(i) *
                                                static_cast<std::size_t>(mesh.jcv) +
                                            static_cast<std::size_t>(j)],
                                p);
    if (quick >= 0) return quick == 1;
  }
  return cannotHoldPoint(boundOf(a, b, c, d), p);
}

// Names cell (i, j) in `cell`: its indices and its corners (i,j), (i+1,j), (i,j+1), (i+1,j+1).
template <typename CellT>
inline void nameCell(const MeshView& mesh, int i, int j, CellT& cell) {
  cell.i = i;
  cell.j = j;
  cell.c0 = mesh.begin + i * mesh.jsize + j;
  cell.c1 = cell.c0 + mesh.jsize;
  cell.c2 = cell.c0 + 1;
  cell.c3 = cell.c1 + 1;
}

}  // namespace

void bestCellAroundNode(const MeshView& mesh, int node, const TripletBase<float>& p,
                        Location& out) {
  int cells[4][2];
  const int count = cellsAroundNode(mesh, node, cells);
  const TripletBase<float>* P = mesh.points;

  // Per candidate: 0 not solved yet, 1 first rank, 2 second rank, 3 not a candidate.
  int rank[4] = {0, 0, 0, 0};
  float score[4];
  struct Cell {  // no initialisers: filled before use
    int i, j, c0, c1, c2, c3;
    float s, t;
  } candidate[4];

  auto solve = [&](int n) {
    Cell& loc = candidate[n];
    const TripletBase<float>&a = P[loc.c0], &b = P[loc.c1], &c = P[loc.c2], &d = P[loc.c3];
    bool flag1 = false, flag2 = false, flag3 = false;
    solveInCell(p, a, b, c, d, loc.s, loc.t, flag1, flag2, flag3);
    if (!flag2 && flag3) {
      rank[n] = 3;  // not a candidate at all
      return;
    }
    rank[n] = flag2 ? 1 : 2;
    score[n] = scoreOf(loc.s, loc.t, a, b, c, d);
  };

  // Scores are never negative and only a strictly smaller one replaces the best: the first
  // first-rank cell with score 0 in list order is the answer. Cells before it that provably cannot
  // be such a cell need not be solved; if no such cell turns up, they are solved after all and
  // every candidate is ranked.
  auto deliver = [&out](const Cell& c) {
    out.i = c.i;
    out.j = c.j;
    out.c0 = c.c0;
    out.c1 = c.c1;
    out.c2 = c.c2;
    out.c3 = c.c3;
    out.s = c.s;
    out.t = c.t;
  };
  bool deferred = false;
  for (int n = 0; n < count; ++n) {
    Cell& loc = candidate[n];
    nameCell(mesh, cells[n][0], cells[n][1], loc);
    const TripletBase<float>&a = P[loc.c0], &b = P[loc.c1], &c = P[loc.c2], &d = P[loc.c3];
    if (n + 1 < count && excluded(mesh, loc.i, loc.j, a, b, c, d, p)) {
      deferred = true;
      continue;
    }
    solve(n);
    if (rank[n] == 1 && score[n] == 0.0f) {
      deliver(loc);
      return;
    }
  }
  if (deferred) {
    for (int n = 0; n < count; ++n) {
      if (rank[n] == 0) solve(n);
    }
  }

  int bestFirst = -1, bestSecond = -1;
  for (int n = 0; n < count; ++n) {
    if (rank[n] == 1) {
      if (bestFirst < 0 || score[n] < score[bestFirst]) bestFirst = n;
    } else if (rank[n] == 2) {
      if (bestSecond < 0 || score[n] < score[bestSecond]) bestSecond = n;
    }
  }
  if (bestFirst >= 0) {
    deliver(candidate[bestFirst]);
  } else if (bestSecond >= 0) {
    deliver(candidate[bestSecond]);
  } else {
    nameCell(mesh, cells[0][0], cells[0][1], out);
    out.s = 0.0f;
    out.t = 0.0f;
  }
}

void locateBlock(const MeshView& mesh, const TripletBase<float>* const* points, int count,
                 Location* out, ListOrder order) {
  const bool prefetching = order.large;
  const TripletBase<float>* P = mesh.points;
  const NodeGrid& grid = *mesh.grid;
  int cell[kLocateBlock];
  int node[kLocateBlock];
  foundation_detail::QuadSolve solve[kLocateBlock];

  // The grid cells, and their list bounds requested.
  for (int l = 0; l < count; ++l) cell[l] = grid.cellOf(*points[l]);
  if (prefetching) {
    for (int l = 0; l < count; ++l) {
      if (cell[l] >= 0) grid.prefetchBounds(cell[l]);
    }
    for (int l = 0; l < count; ++l) {
      if (cell[l] >= 0) grid.prefetchList(cell[l]);
    }
  }
  // The nearest nodes, and the nodes and cell tests around them requested.
  const std::size_t jsize = static_cast<std::size_t>(mesh.jsize);
  int row[kLocateBlock], col[kLocateBlock];
  for (int l = 0; l < count; ++l) {
    const int n = cell[l] >= 0 ? grid.nearestInCell(cell[l], *points[l]) : -1;
    node[l] = n >= 0 ? n : nearestNode(mesh, *points[l]);
    const int local = node[l] - mesh.begin;
    row[l] = rowOf(mesh, local);
    col[l] = local - row[l] * mesh.jsize;
    if (!prefetching) continue;
    const std::size_t k = static_cast<std::size_t>(node[l]);
    // The three rows of three nodes around it (those inside the array).
    for (std::size_t first : {k - jsize - 1, k - 1, k + jsize - 1}) {
      if (first < mesh.count && first + 2 < mesh.count) {  // wrapped-around values fail too
        prefetch(P + first);
        prefetch(P + first + 2);
      }
    }
    if (mesh.tests != nullptr) {
      // Cells (i - 1, j - 1 .. j) and (i, j - 1 .. j), where they exist.
      const long jcv = mesh.jcv, at = static_cast<long>(row[l]) * jcv + col[l] - 1;
      const long cells = static_cast<long>(mesh.icv) * jcv;
      for (long c : {at - jcv, at}) {
        if (c >= 0 && c + 1 < cells) {
          prefetch(mesh.tests + c);
          prefetch(mesh.tests + c + 1);
        }
      }
    }
  }
  // Per point: the first candidate cell that cannot be excluded, where the search would solve
  // first, and its direct solve, started.
  const int I = mesh.icv, J = mesh.jcv, js = mesh.jsize;
  for (int l = 0; l < count; ++l) {
    const TripletBase<float>& p = *points[l];
    Location& loc = out[l];
    const int i = row[l], j = col[l];
    const bool interior = i > 0 && i < I && j > 0 && j < J;
    // An interior node: the cells (i, j), (i, j - 1), (i - 1, j), (i - 1, j - 1) in that order,
    // as cellsAroundNode lists them; candidate k is cell (i - k / 2, j - k % 2).
    auto firstOpen = [&]() {
      int k = 0;
      for (; k < 3; ++k) {
        const int ci = i - k / 2, cj = j - k % 2, c0 = mesh.begin + ci * js + cj;
        if (!excluded(mesh, ci, cj, P[c0], P[c0 + js], P[c0 + 1], P[c0 + js + 1], p)) break;
      }
      return k;
    };
    if (interior && mesh.tests != nullptr && !order.ordered) {
      // Unordered points: the quick tests of the first three decide without a branch which one
      // comes first, unless one of them is undecided.
      const CellTest* test = mesh.tests + static_cast<std::size_t>(i) * static_cast<std::size_t>(J) +
                             static_cast<std::size_t>(j);
      bool u0, u1, u2;
      const unsigned proved = unsigned(quickExcludes(test[0], p, u0)) |
                              (unsigned(quickExcludes(test[-1], p, u1)) << 1) |
                              (unsigned(quickExcludes(test[-J], p, u2)) << 2);
      static constexpr int kFirstOpen[8] = {0, 1, 0, 2, 0, 1, 0, 3};  // lowest clear bit
      const int k = (u0 | u1 | u2) ? firstOpen() : kFirstOpen[proved];
      nameCell(mesh, i - k / 2, j - k % 2, loc);
    } else if (interior) {
      // Ordered points: one by one, the branches going the same way from point to point.
      const int k = firstOpen();
      nameCell(mesh, i - k / 2, j - k % 2, loc);
    } else {
      int cells[4][2];
      const int n = cellsAroundNode(mesh, node[l], cells);
      for (int k = 0; k < n; ++k) {
        nameCell(mesh, cells[k][0], cells[k][1], loc);
        if (k + 1 == n || !excluded(mesh, loc.i, loc.j, P[loc.c0], P[loc.c1], P[loc.c2],
                                    P[loc.c3], p)) {
          break;
        }
      }
    }
    const TripletBase<float>&a = P[loc.c0], &b = P[loc.c1], &c = P[loc.c2], &d = P[loc.c3];
    solve[l].start(p[0], p[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0], d[1]);
  }
  // The direct solves side by side: their dependency chains overlap in the processor.
  int running[kLocateBlock] = {};
  int active = 0;
  for (int l = 0; l < count; ++l) {
    if (!solve[l].done()) running[active++] = l;
  }
  foundation_detail::stepSideBySide(solve, running, active, 50, double(0.00001f));
  // A direct solve that stands and holds the point decides the search, as it would alone; any
  // other point is searched in full.
  for (int l = 0; l < count; ++l) {
    Location& loc = out[l];
    bool flag1, flag2, flag3;
    solve[l].finish(loc.s, loc.t, flag1, flag2, flag3, 0.01f);
    if (!flag1 && flag2) {
      // With every corner safely finite, the score is 0 exactly when (s, t) lies in the cell.
      const bool zero =
          mesh.safeNodes
              ? outside(loc.s) == 0.0f && outside(loc.t) == 0.0f
              : scoreOf(loc.s, loc.t, P[loc.c0], P[loc.c1], P[loc.c2], P[loc.c3]) == 0.0f;
      if (zero) continue;
    }
    bestCellAroundNode(mesh, node[l], *points[l], loc);
  }
  if (mesh.walls != nullptr) {
    for (int l = 0; l < count; ++l) measureFromWalls(mesh, *points[l], out[l]);
  }
}

// ---- exact walls -------------------------------------------------------------------------------

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

void cellDirections(const TripletBase<float>* points, const Location& cell,
                    TripletBase<float>& streamwise, TripletBase<float>& spanwise) {
  const TripletBase<float>&a = points[cell.c0], &b = points[cell.c1], &c = points[cell.c2],
                          &d = points[cell.c3];
  streamwise = ((b + d) - (a + c)) * 0.5;
  spanwise = ((c + d) - (a + b)) * 0.5;
  const float ls = streamwise.length();
  if (ls != 0.0f) streamwise /= ls;
  const float lt = spanwise.length();
  if (lt != 0.0f) spanwise /= lt;
}

}  // namespace turbo_detail

turbo_detail::MeshView turbo_detail::viewOf(const Topo2dMultiLevel& topo,
                                            const QORVector<TripletBase<float>>& points,
                                            const QuadtreeBucket* tree,
                                            const turbo_detail::NodeGrid* grid) {
  const Topo2dBase& level = topo.getLevel(0);
  // Nodes missing behind the topology reach the checked container's failure path, not the search.
  if (level.getSize() > 0) (void)points.at(static_cast<std::size_t>(level.end() - 1));
  turbo_detail::MeshView v;
  v.points = points.data();
  v.count = points.size();
  v.begin = level.begin();
  v.jsize = level.getJsize();
  v.rowsPerNode = v.jsize > 0 ? 1.0 / v.jsize : 0.0;
  v.icv = level.getIcv();
  v.jcv = level.getJcv();
  v.tree = tree;
  v.grid = (grid != nullptr && !grid->empty()) ? grid : nullptr;
  v.tests = (v.grid != nullptr) ? v.grid->cellTests(v.icv, v.jcv) : nullptr;
  v.safeNodes = v.grid != nullptr && v.grid->safeNodes();
  return v;
}


turbo_detail::MeshView TurboTransform::meshView() const {
  turbo_detail::MeshView view =
      turbo_detail::viewOf(*m_topo, m_meshPoints, m_noQuadtree ? nullptr : m_quadtree.get(),
                           m_noQuadtree ? nullptr : m_nodeGrid.get());
  if (m_exactWalls) view.walls = m_wallFit.get();
  return view;
}

void TurboTransform::setExactWalls(bool on) {
  m_exactWalls = on;
  m_cacheInvalid = 1;
}

bool TurboTransform::getExactWalls() const { return m_exactWalls; }

int TurboTransform::getClosestIndex(const TripletBase<float>& point) const {
  if (m_noQuadtree || !m_quadtree) return getClosestIndexBruteForce(point);
  return static_cast<int>(m_quadtree->findNearestPoint(point));
}

int TurboTransform::getClosestIndexBruteForce(const TripletBase<float>& point) const {
  return turbo_detail::nearestNodeBruteForce(m_meshPoints.data(), m_meshPoints.size(), point);
}

int TurboTransform::findClosestElements(const TripletBase<float>& point, int cells[4][2]) const {
  requireMesh("findClosestElements");
  const turbo_detail::MeshView view = turbo_detail::viewOf(*m_topo, m_meshPoints, nullptr, nullptr);
  return turbo_detail::cellsAroundNode(view, getClosestIndex(point), cells);
}

void TurboTransform::getBestQuad(const TripletBase<float>& point, int& corner0, int& corner1,
                                 int& corner2, int& corner3, float& s, float& t) const {
  requireMesh("getBestQuad");
  // The cell's own local coordinates, exact walls or not.
  turbo_detail::MeshView view = turbo_detail::singlePointView(meshView());
  view.walls = nullptr;
  turbo_detail::Location loc;
  turbo_detail::locate(view, point, loc);
  corner0 = loc.c0;
  corner1 = loc.c1;
  corner2 = loc.c2;
  corner3 = loc.c3;
  s = loc.s;
  t = loc.t;
}

}  // namespace qor
