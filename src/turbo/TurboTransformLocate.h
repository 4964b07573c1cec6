#pragma once
/// @file
/// Point location in the background mesh, shared by the location, forward-conversion and
/// unit-vector code of `TurboTransform`. Internal; never installed.
///
/// Everything here works on a plain view of the mesh so that the hot loops of the list
/// conversions can run without going through the public interface per point, and without
/// allocating anything.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

class QuadtreeBucket;
class Topo2dMultiLevel;

namespace turbo_detail {

struct MeshView;
struct Location;

/// Asks the processor to fetch the cache line of `address` (a hint: never a fault, whatever the
/// address).
inline void prefetch(const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#else
  (void)address;
#endif
}

/// What the location needs to know of a cell to prove, cheaply, that a point cannot lie in it:
/// the cell's bilinear map about its centre C is X(u, v) = C + M (u, v) + D u v (u = s - 1/2,
/// v = t - 1/2). Unusable cells (singular M, vanishing edges) have a NaN inverse.
struct CellBound {
  double centreX, centreY;    ///< C
  float m00, m01, m10, m11;   ///< M^-1, row by row
  float skew;                 ///< |M^-1 D| (max norm)
  float normInv;              ///< |M^-1| (max norm)
  float big, small;           ///< the largest and smallest corner distance from C
};

/// The bound of the cell with corners c0 = a, c1 = b, c2 = c, c3 = d.
CellBound boundOf(const TripletBase<float>& a, const TripletBase<float>& b,
                  const TripletBase<float>& c, const TripletBase<float>& d);

/// True when no solve of the cell search (the direct one and its two retries with the point
/// pulled onto a circle) can leave `p` inside the cell with the inside flag set: the cell is then
/// not a first-rank candidate with score 0. False whenever in doubt.
bool cannotHoldPoint(const CellBound& cell, const TripletBase<float>& p);

/// The part of a cell's bound that decides most points without a square root or a division,
/// stored per cell (32 bytes, two to a cache line): the centre and M^-1 in float, and the margin
/// that suffices for every point within `reach2` of the centre.
struct CellTest {
  float centreX, centreY;
  float m00, m01, m10, m11;
  float quick;   ///< beyond this distance outside [-1/2, 1/2]^2 the point is excluded
  float reach2;  ///< ... provided it lies at most sqrt(reach2) from the centre
};

/// The stored test of a cell with bound `cell`.
CellTest testOf(const CellBound& cell);

/// The quick test without branches: true when `p` provably cannot lie in the cell; `undecided` is
/// set when only the full bound can tell.
inline bool quickExcludes(const CellTest& cell, const TripletBase<float>& p, bool& undecided) {
  const double ex = double(p[0]) - double(cell.centreX), ey = double(p[1]) - double(cell.centreY);
  const double g0 = double(cell.m00) * ex + double(cell.m01) * ey;
  const double g1 = double(cell.m10) * ex + double(cell.m11) * ey;
  const double beyond = std::max(std::fabs(g0), std::fabs(g1)) - 0.5;
  const bool outside = beyond > 1e-6;  // NaN (an unusable cell) is never outside: solve it
  const bool proved = outside & (ex * ex + ey * ey <= double(cell.reach2)) &
                      (beyond > double(cell.quick));
  undecided = outside & !proved;
  return proved;
}

/// The quick test: 1 when `p` provably cannot lie in the cell (as `cannotHoldPoint`), 0 when the
/// cell must be solved (the point is in or near it), -1 when undecided: the full bound decides.
inline int quickTest(const CellTest& cell, const TripletBase<float>& p) {
  bool undecided;
  if (quickExcludes(cell, p, undecided)) return 1;
  return undecided ? -1 : 0;
}

/// A uniform bucket grid over the mesh nodes, built with the background mesh, that answers
/// exactly what the brute-force scan answers (the same float distance expression, the lowest index
/// winning a tie).
///
/// Each grid cell near the mesh keeps the short list of nodes that can be nearest to some point of
/// the cell (those no other node beats over the whole cell), so that a query there compares a few
/// distances. Cells far from every node, and points outside the grid, have no list: the caller
/// asks the quadtree there.
class NodeGrid {
 public:
  /// Builds the grid over `points`; the grid keeps no pointer to them, so that copies of a
  /// transform can share it. Queries pass the same nodes again.
  void build(const TripletBase<float>* points, std::size_t count);
  bool empty() const { return m_count == 0; }
  /// True when every node lies well inside the float range (|x|, |y| < 1e18), so that no edge
  /// length of a cell overflows.
  bool safeNodes() const { return m_safe; }
  /// The nearest node when the point's cell has a list of candidates, else -1.
  int nearestFromList(const TripletBase<float>& p) const {
    const int cell = cellOf(p);
    return cell < 0 ? -1 : nearestInCell(cell, p);
  }
  /// The grid cell of `p` when it lies inside the grid, else -1 (also for non-finite points).
  int cellOf(const TripletBase<float>& p) const {
    const double gx = (double(p[0]) - m_x0) * m_invW, gy = (double(p[1]) - m_y0) * m_invH;
    // NaN fails these tests. Truncation is the floor of cellX and cellY here, the values being
    // non-negative.
    if (!(gx >= 0.0 && gx < m_nx && gy >= 0.0 && gy < m_ny)) return -1;
    return static_cast<int>(gy) * m_nx + static_cast<int>(gx);
  }
  /// The nearest node from the list of grid cell `cell` (from cellOf(p)), or -1 without a list.
  int nearestInCell(int cell, const TripletBase<float>& p) const;
  /// Asks the processor to fetch what nearestInCell(cell, ...) reads: first the list bounds, then,
  /// once those have arrived, the list itself.
  void prefetchBounds(int cell) const;
  void prefetchList(int cell) const;

  /// Builds the tests of the cells of `mesh` (numbered i * jcv + j).
  void buildCellTests(const MeshView& mesh);
  /// The cell tests when built for a mesh of icv x jcv cells, else null.
  const CellTest* cellTests(int icv, int jcv) const;

  /// Blocks of kBlockCells x kBlockCells grid cells, numbered row by row: a processing order for
  /// long lists. The nodes, cells and values a block's points need fit the first-level cache, so
  /// the order within a block hardly matters. A point's block is that of its (clamped) cell.
  static constexpr int kBlockCells = 16;
  int blockCount() const { return m_bx * m_by; }
  int blockOf(const TripletBase<float>& p) const;

 private:
  int cellX(double x) const;
  int cellY(double y) const;
  void buildCandidateLists();

  std::size_t m_count = 0;
  bool m_safe = false;
  double m_x0 = 0, m_y0 = 0, m_cw = 1, m_ch = 1, m_invW = 1, m_invH = 1, m_slack = 0;
  int m_nx = 1, m_ny = 1;
  int m_bx = 1, m_by = 1;     // blocks per row and per column
  // While building: the nodes bucketed by cell (cells y-major), ascending index within a cell.
  std::vector<int> m_start;
  struct Entry {
    float x, y;
    int index;
  };
  std::vector<Entry> m_entries;
  // Per cell, the nodes that can be nearest to a point of the cell, in ascending index order
  // (entries m_listStart[c] .. m_listStart[c + 1] - 1 of m_list); an empty list sends the query to
  // the quadtree.
  std::vector<int> m_listStart;
  std::vector<Entry> m_list;
  std::vector<CellTest> m_tests;
  int m_testsI = 0, m_testsJ = 0;
};

/// A read-only view of level 0 of the background mesh and of its nearest-node search.
/// The wall curves between the wall nodes of the mesh, for exact walls: for the cells i of the hub
/// (wall 0, row j = 0) and of the shroud (wall 1, row j = jcv), the curve points strictly between
/// the cell's two wall nodes are points[w][start[w][i]] .. points[w][start[w][i + 1] - 1].
struct WallFit {
  std::vector<TripletBase<float>> points[2];
  std::vector<int> start[2];
};

struct MeshView {
  const TripletBase<float>* points = nullptr;  ///< m_meshPoints
  std::size_t count = 0;                       ///< number of entries of m_meshPoints
  int begin = 0;                               ///< global index of node (0, 0)
  int jsize = 0;                               ///< nodes per i row
  double rowsPerNode = 0.0;                    ///< 1 / jsize, to find a node's row
  int icv = 0;                                 ///< last i
  int jcv = 0;                                 ///< last j
  const QuadtreeBucket* tree = nullptr;        ///< the quadtree, if used
  const NodeGrid* grid = nullptr;              ///< the grid, preferred when present
  const CellTest* tests = nullptr;             ///< the cells' tests, if built
  bool safeNodes = false;                      ///< every node within |x|, |y| < 1e18
  const WallFit* walls = nullptr;              ///< exact walls when set
};

/// The wall fit of a finished mesh from the boundary curves it was built on (inlet to outlet).
WallFit fitWalls(const MeshView& mesh, const QORVector<TripletBase<float>>& hub,
                 const QORVector<TripletBase<float>>& shroud);

/// Exact walls: in a cell along the hub or the shroud, t is measured from the wall curve instead
/// of the cell's straight wall edge, along the cell's line of constant s (a straight line in a
/// bilinear cell), so that points on the wall curve get t = 0 (hub) or t = 1 (shroud). (s, t) of
/// such a cell are first refined to the exact inverse of the bilinear map in double precision.
void measureFromWalls(const MeshView& mesh, const TripletBase<float>& p, Location& loc);

/// The view of level 0 of a background mesh with its node searches (either may be null); the
/// nodes behind the topology must exist (std::out_of_range otherwise).
MeshView viewOf(const Topo2dMultiLevel& topo, const QORVector<TripletBase<float>>& points,
                const QuadtreeBucket* tree, const NodeGrid* grid);

/// The view for converting a single point. A point alone finds the caches cold: on large meshes,
/// reading a cell's stored test costs more than computing its bound from the corners, which the
/// search reads anyway, so the tests are used only while they fit the processor's caches.
inline MeshView singlePointView(MeshView view) {
  constexpr long kCachedCells = 16384;  // about 0.5 MB of tests
  if (static_cast<long>(view.icv) * static_cast<long>(view.jcv) > kCachedCells) view.tests = nullptr;
  return view;
}

/// Result of a cell search: the cell (i, j), its corners (i,j), (i+1,j), (i,j+1), (i+1,j+1) as
/// global node indices, and the local coordinates of the point (s along i, t along j).
struct Location {
  int i = 0;
  int j = 0;
  int c0 = 0;
  int c1 = 0;
  int c2 = 0;
  int c3 = 0;
  float s = 0.0f;
  float t = 0.0f;
};

/// Index minimising (x - x_k)^2 + (y - y_k)^2 in float; the lowest index wins a tie; 0 when no
/// distance is finite.
int nearestNodeBruteForce(const TripletBase<float>* points, std::size_t count,
                          const TripletBase<float>& p);

/// Nearest node by the grid or quadtree of the view, or by brute force when it has neither.
int nearestNode(const MeshView& mesh, const TripletBase<float>& p);

/// The cells (i, j) touching node `node`, in ranking order; returns 1, 2 or 4.
int cellsAroundNode(const MeshView& mesh, int node, int cells[4][2]);

/// The best cell for `p` among the cells around node `node`, and the local coordinates of `p`.
void bestCellAroundNode(const MeshView& mesh, int node, const TripletBase<float>& p,
                        Location& out);

/// How many points `locateBlock` takes at once.
constexpr int kLocateBlock = 32;

/// How the points of a list follow each other, which the block location tunes itself to.
struct ListOrder {
  /// Each point lies near the one before (a structured flow mesh, a line): the branches of the
  /// search then go the same way from point to point, and a test is skipped where it can be.
  bool ordered = false;
  /// The mesh is larger than the caches: the memory each stage of the search reads is requested
  /// ahead for the whole block (on small meshes that only costs time).
  bool large = false;
};

/// The nearest node and the best cell for `count` (at most kLocateBlock) points, with the results
/// of `locate` for each. The mesh must have a node grid. The points are taken stage by stage
/// (grid cells, node lists, nearest nodes, first cells, solves), and their solves run side by
/// side.
void locateBlock(const MeshView& mesh, const TripletBase<float>* const* points, int count,
                 Location* out, ListOrder order);

/// Nearest node by the quadtree, starting from `hint` (the previous answer of a list).
int nearestNodeFrom(const MeshView& mesh, const TripletBase<float>& p, unsigned int hint);

/// Nearest node, then the best cell around it.
inline void locate(const MeshView& mesh, const TripletBase<float>& p, Location& out) {
  bestCellAroundNode(mesh, nearestNode(mesh, p), p, out);
  if (mesh.walls != nullptr) measureFromWalls(mesh, p, out);
}

/// The same for the points of a list: `hint` carries the previous nearest node (start with 0).
inline void locateNext(const MeshView& mesh, const TripletBase<float>& p, Location& out,
                       unsigned int& hint) {
  const int node = nearestNodeFrom(mesh, p, hint);
  hint = static_cast<unsigned int>(node);
  bestCellAroundNode(mesh, node, p, out);
  if (mesh.walls != nullptr) measureFromWalls(mesh, p, out);
}

/// Unit directions of increasing i (streamwise) and increasing j (spanwise) of the cell: the
/// differences of the mid-edge points, each divided by its length unless that is 0.
void cellDirections(const TripletBase<float>* points, const Location& cell,
                    TripletBase<float>& streamwise, TripletBase<float>& spanwise);

/// The bilinear value of a cell, term by term as `NumericalUtils::calculateValueInQuadFromST`
/// evaluates it, so that the result is bit-identical while the compiler may inline it.
inline float bilinear(float s, float t, float w0, float w1, float w2, float w3) {
  return (1.0f - s) * (1.0f - t) * w0 + s * (1.0f - t) * w1 + (1.0f - s) * t * w2 + s * t * w3;
}

}  // namespace turbo_detail
}  // namespace qor
