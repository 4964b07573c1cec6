/// @file
/// The nearest-node search of the point location: the bucket grid with its per-cell lists of
/// possible nearest nodes, the brute-force scan it must agree with, and the choice between grid,
/// quadtree and scan.

#include <algorithm>
#include <cmath>
#include <limits>

#include "qor/foundation/QuadtreeBucket.h"
#include "turbo/TurboTransformCellMath.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformNodeGrid.h"

namespace qor {
namespace turbo_detail {

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
}  // namespace turbo_detail
}  // namespace qor
