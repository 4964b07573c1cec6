#pragma once
/// @file
/// Point location in the background mesh, shared by the location, forward-conversion and
/// unit-vector code of `TurboTransform`. Internal; never installed.
///
/// Everything here works on a plain view of the mesh so that the hot loops of the list
/// conversions can run without going through the public interface per point, and without
/// allocating anything.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"
#include "turbo/TurboTransformCellExclusion.h"
#include "turbo/TurboTransformNodeGrid.h"

namespace qor {

class QuadtreeBucket;
class Topo2dMultiLevel;

namespace turbo_detail {

struct MeshView;
struct Location;

/// The wall curves between the wall nodes of the mesh, for exact walls: for the cells i of the hub
/// (wall 0, row j = 0) and of the shroud (wall 1, row j = jcv), the curve points strictly between
/// the cell's two wall nodes are points[w][start[w][i]] .. points[w][start[w][i + 1] - 1].
struct WallFit {
  std::array<std::vector<TripletBase<float>>, 2> points;
  std::array<std::vector<int>, 2> start;
};

/// A read-only view of level 0 of the background mesh and of its nearest-node search.
struct MeshView {
  const TripletBase<float>* points = nullptr;  ///< the mesh nodes, by global index
  std::size_t count = 0;                       ///< number of nodes
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

/// Nearest node by the grid or quadtree of the view, or by brute force when it has neither.
int nearestNode(const MeshView& mesh, const TripletBase<float>& p);

/// The cells touching a node, in ranking order: the order in which the search tries them and in
/// which ties between equal scores are settled. This table is the one place that order is written
/// down: cell k around node (i, j) is (i - kAroundNode[k].di, j - kAroundNode[k].dj), so an
/// interior node has (i, j), (i, j-1), (i-1, j), (i-1, j-1), and a node on the boundary keeps
/// those of them that exist, in the same order (two on a side, one at a corner).
struct CellOffset {
  int di, dj;
};
constexpr CellOffset kAroundNode[4] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}};

/// The candidate cells of a node, in ranking order.
struct Candidates {
  int count;  ///< 1 (a corner node), 2 (a side node) or 4 (an interior node)
  int i[4];   ///< cell k is (i[k], j[k]), for k < count
  int j[4];
};

/// The candidate cells of node (i, j) of a mesh of `icv` x `jcv` cells.
inline Candidates candidatesAt(int i, int j, int icv, int jcv) {
  Candidates c;
  c.count = 0;
  for (const CellOffset& o : kAroundNode) {
    const int ci = i - o.di, cj = j - o.dj;
    if (ci >= 0 && ci < icv && cj >= 0 && cj < jcv) {
      c.i[c.count] = ci;
      c.j[c.count] = cj;
      ++c.count;
    }
  }
  return c;
}

/// The row i and column j of global node `node`.
void nodeRowColumn(const MeshView& mesh, int node, int& i, int& j);

/// The candidate cells of node `node`, in ranking order.
Candidates candidatesAround(const MeshView& mesh, int node);

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
