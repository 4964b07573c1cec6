#pragma once
/// @file
/// `QuadtreeBucket`: nearest-point search in the plane of the first two components.

#include <cstdint>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

class QOR_API QuadtreeBucket {
 public:
  /// An empty index (size 0); `findNearestPoint` throws until `construct` is called.
  QuadtreeBucket();
  /// Deep copies: the copy answers like the source and is independent of it.
  QuadtreeBucket(const QuadtreeBucket&);
  QuadtreeBucket& operator=(const QuadtreeBucket&);
  ~QuadtreeBucket();

  /// Builds the index over a copy of the points' first two components (the third is ignored),
  /// replacing any earlier index; the answers are indices into `points`. Points with a NaN or
  /// infinite coordinate are counted but kept out of the tree: their distance is never below
  /// infinity, so the scan below never selects them.
  /// @throws data::invalid "Too many points for the quadtree: <n>" for 2^32 - 1 points or more
  ///         (the index is then unchanged).
  void construct(const std::vector<TripletBase<float>>& points);
  /// Index of the point nearest to `point` in the plane of the first two components: exactly what
  /// this scan returns:
  ///   best = 0, bestD = +infinity; for k = 0..n-1: d = (x - x_k)^2 + (y - y_k)^2 in float;
  ///   if (d < bestD) { best = k; bestD = d; }
  /// i.e. the lowest index wins a tie, and 0 is returned when no distance is finite (a NaN or
  /// infinite query). Queries outside the point set are answered as well. Logarithmic on average.
  /// Const and free of hidden state: several threads may query one tree at once.
  /// @throws data::invalid when the index was built from no points.
  unsigned int findNearestPoint(const TripletBase<float>& point) const;
  /// The same exact answer, found from the leaf of point `hint` instead of from the root: cheaper
  /// when `hint` lies near the answer, for example the previous answer while walking through
  /// spatially sorted queries. Any value is accepted as a hint; an index out of range, or of a
  /// point with a non-finite coordinate, gives the plain search.
  /// @throws data::invalid when the index was built from no points.
  unsigned int findNearestPoint(const TripletBase<float>& point, unsigned int hint) const;
  /// Number of points handed to `construct` (non-finite ones included); 0 before.
  std::size_t size() const noexcept;

 private:
  void throwIfEmpty() const;

  struct Impl;
  Impl* m_impl;
};

}  // namespace qor
