/// @file
/// The ranking of the point location: the solve of a point in a cell with its retries, the score
/// that ranks the candidate cells around the nearest node, and the search of one point and of a
/// block of points.

#include <cmath>
#include <cstddef>
#include <initializer_list>

#include "foundation/QuadSolve.h"
#include "qor/foundation/NumericalUtils.h"
#include "turbo/TurboTransformCellMath.h"
#include "turbo/TurboTransformLocate.h"

namespace qor {
namespace turbo_detail {

namespace {

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

void nodeRowColumn(const MeshView& mesh, int node, int& i, int& j) {
  const int local = node - mesh.begin;
  i = rowOf(mesh, local);
  j = local - i * mesh.jsize;
}

Candidates candidatesAround(const MeshView& mesh, int node) {
  int i, j;
  nodeRowColumn(mesh, node, i, j);
  return candidatesAt(i, j, mesh.icv, mesh.jcv);
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

// The best of the candidate cells `cells` for p, with its local coordinates.
void bestCellAmong(const MeshView& mesh, const Candidates& cells, const TripletBase<float>& p,
                   Location& out) {
  const int count = cells.count;
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
    nameCell(mesh, cells.i[n], cells.j[n], loc);
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
    nameCell(mesh, cells.i[0], cells.j[0], out);
    out.s = 0.0f;
    out.t = 0.0f;
  }
}

}  // namespace

void bestCellAroundNode(const MeshView& mesh, int node, const TripletBase<float>& p,
                        Location& out) {
  bestCellAmong(mesh, candidatesAround(mesh, node), p, out);
}

// ---- the block search ---------------------------------------------------------------------------
//
// locateBlock takes its points stage by stage, each stage running over the whole block before the
// next begins, so that the memory reads of one stage overlap between points and the direct solves
// run side by side. The result of every point is that of bestCellAroundNode: a point whose first
// open candidate (the first that cannot be excluded) holds it with score 0 is settled by that
// solve, exactly as the one-point search would settle it; any other point is searched in full.

namespace {

// The first open candidate of an interior node (i, j) (the first that cannot be excluded), with
// the cells
// taken straight from the ranking table: on this, the hottest path of the long lists, the cell
// indices and test addresses are then constant offsets from the node's. With stored cell tests
// and `quick`, the tests of the first three decide without a branch which one comes first,
// unless one of them is undecided.
inline int firstOpenInterior(const MeshView& mesh, int i, int j, const TripletBase<float>& p,
                             bool quick) {
  const int js = mesh.jsize;
  auto open = [&](int k) {
    const int ci = i - kAroundNode[k].di, cj = j - kAroundNode[k].dj;
    const int c0 = mesh.begin + ci * js + cj;
    const TripletBase<float>* P = mesh.points;
    return !excluded(mesh, ci, cj, P[c0], P[c0 + js], P[c0 + 1], P[c0 + js + 1], p);
  };
  auto oneByOne = [&] {
    int k = 0;
    while (k < 3 && !open(k)) ++k;
    return k;
  };
  if (!quick) return oneByOne();
  const long J = mesh.jcv;
  const CellTest* test = mesh.tests + static_cast<long>(i) * J + j;
  auto at = [&](int k) -> const CellTest& {
    return test[-(kAroundNode[k].di * J + kAroundNode[k].dj)];
  };
  bool u0, u1, u2;
  const unsigned proved = unsigned(quickExcludes(at(0), p, u0)) |
                          (unsigned(quickExcludes(at(1), p, u1)) << 1) |
                          (unsigned(quickExcludes(at(2), p, u2)) << 2);
  static constexpr int kLowestClear[8] = {0, 1, 0, 2, 0, 1, 0, 3};
  return (u0 | u1 | u2) ? oneByOne() : kLowestClear[proved];
}

}  // namespace

void locateBlock(const MeshView& mesh, const TripletBase<float>* const* points, int count,
                 Location* out, ListOrder order) {
  const bool prefetching = order.large;
  const TripletBase<float>* P = mesh.points;
  const NodeGrid& grid = *mesh.grid;
  // Work arrays, filled stage by stage. The stages are plain loops of this one function: written
  // as functions or lambdas over a shared block they measured 20-25 % slower on a 200000-node
  // mesh.
  int cell[kLocateBlock];  // the point's node-grid cell, -1 outside the grid
  int node[kLocateBlock];  // its nearest node
  foundation_detail::QuadSolve solve[kLocateBlock];

  // Stage 1, grid cells.
  for (int l = 0; l < count; ++l) cell[l] = grid.cellOf(*points[l]);

  // Stage 2, prefetching (large meshes only): the list bounds of the grid cells, then the lists.
  if (prefetching) {
    for (int l = 0; l < count; ++l) {
      if (cell[l] >= 0) grid.prefetchBounds(cell[l]);
    }
    for (int l = 0; l < count; ++l) {
      if (cell[l] >= 0) grid.prefetchList(cell[l]);
    }
  }
  // Stage 3, nearest nodes, with their rows and columns. On large meshes the nodes and cell tests
  // around each node, which stages 4 and 6 read, are requested as soon as the node is known, so
  // that the fetch overlaps with the searches of the following points.
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
  // Stage 4, first cells: per point, the first candidate that cannot be excluded, where the
  // search would solve first, and its direct solve started. The candidates are those of
  // candidatesAt, in its order (interior nodes take them from its table directly).
  const int I = mesh.icv, J = mesh.jcv;
  for (int l = 0; l < count; ++l) {
    const TripletBase<float>& p = *points[l];
    Location& loc = out[l];
    const int i = row[l], j = col[l];
    const bool interior = i > 0 && i < I && j > 0 && j < J;
    if (interior) {
      const int k = firstOpenInterior(mesh, i, j, p, mesh.tests != nullptr && !order.ordered);
      nameCell(mesh, i - kAroundNode[k].di, j - kAroundNode[k].dj, loc);
    } else {
      const Candidates cells = candidatesAt(i, j, I, J);
      const int n = cells.count;
      for (int k = 0; k < n; ++k) {
        nameCell(mesh, cells.i[k], cells.j[k], loc);
        if (k + 1 == n || !excluded(mesh, loc.i, loc.j, P[loc.c0], P[loc.c1], P[loc.c2],
                                    P[loc.c3], p)) {
          break;
        }
      }
    }
    const TripletBase<float>&a = P[loc.c0], &b = P[loc.c1], &c = P[loc.c2], &d = P[loc.c3];
    solve[l].start(p[0], p[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0], d[1]);
  }
  // Stage 5, direct solves, side by side: their dependency chains overlap in the processor.
  int running[kLocateBlock] = {};
  int active = 0;
  for (int l = 0; l < count; ++l) {
    if (!solve[l].done()) running[active++] = l;
  }
  foundation_detail::stepSideBySide(solve, running, active, 50, double(0.00001f));
  // Stage 6, settling: a direct solve that stands and holds the point decides the search, as it
  // would alone; any other point is searched in full by bestCellAroundNode.
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
  // Stage 7, exact walls.
  if (mesh.walls != nullptr) {
    for (int l = 0; l < count; ++l) measureFromWalls(mesh, *points[l], out[l]);
  }
}

}  // namespace turbo_detail
}  // namespace qor
