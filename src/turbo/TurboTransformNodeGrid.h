#pragma once
/// @file
/// The nearest-node search of the point location: a bucket grid over the background-mesh nodes
/// that answers what a brute-force scan answers. Internal; never installed.

#include <algorithm>
#include <cstddef>
#include <vector>

#include "qor/foundation/TripletBase.h"
#include "turbo/TurboTransformCellExclusion.h"

namespace qor {
namespace turbo_detail {

struct MeshView;

/// Asks the processor to fetch the cache line of `address` (a hint: never a fault, whatever the
/// address).
inline void prefetch(const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#else
  (void)address;
#endif
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

// The queries, inline: they run once or twice per point of every list.

inline void NodeGrid::prefetchBounds(int cell) const {
  prefetch(m_listStart.data() + cell);
}

inline void NodeGrid::prefetchList(int cell) const {
  const Entry* first = m_list.data() + m_listStart[static_cast<std::size_t>(cell)];
  prefetch(first);
  prefetch(first + 5);  // a list spans one or two cache lines, mostly
}

inline int NodeGrid::nearestInCell(int cell, const TripletBase<float>& p) const {
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

/// Index minimising (x - x_k)^2 + (y - y_k)^2 in float; the lowest index wins a tie; 0 when no
/// distance is finite.
int nearestNodeBruteForce(const TripletBase<float>* points, std::size_t count,
                          const TripletBase<float>& p);

}  // namespace turbo_detail
}  // namespace qor
