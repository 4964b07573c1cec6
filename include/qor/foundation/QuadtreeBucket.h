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
  QuadtreeBucket();
  QuadtreeBucket(const QuadtreeBucket&);
  QuadtreeBucket& operator=(const QuadtreeBucket&);
  ~QuadtreeBucket();

  /// Builds the index over a copy of the points' first two components.
  void construct(const std::vector<TripletBase<float>>& points);
  /// Index of the point nearest to `point`: exactly what a brute-force scan of
  /// (x - x_k)^2 + (y - y_k)^2 in float returns, the lowest index winning a tie.
  /// @throws data::invalid when the index is empty.
  unsigned int findNearestPoint(const TripletBase<float>& point) const;
  std::size_t size() const noexcept;

 private:
  struct Impl;
  Impl* m_impl;
};

}  // namespace qor
