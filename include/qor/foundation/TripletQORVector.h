#pragma once
/// @file
/// `TripletQORVector`: the point-list type of the set-up and multi-point conversion interfaces.

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

#include "qor/foundation/TripletBase.h"

namespace qor {

/// A list of float points ((x, y, z) or (axial, radial, theta in radians), as the taking
/// operation states), a thin wrapper of a standard vector. Header-only.
class TripletQORVector {
 public:
  using value_type = TripletBase<float>;
  using const_iterator = std::vector<TripletBase<float>>::const_iterator;

  TripletQORVector() = default;
  /// Copies the points.
  TripletQORVector(const std::vector<TripletBase<float>>& points) : m_points(points) {}  // NOLINT
  /// Takes over the vector's storage.
  TripletQORVector(std::vector<TripletBase<float>>&& points) noexcept  // NOLINT
      : m_points(std::move(points)) {}
  TripletQORVector(std::initializer_list<TripletBase<float>> points) : m_points(points) {}
  TripletQORVector(const TripletQORVector&) = default;
  TripletQORVector(TripletQORVector&&) noexcept = default;
  TripletQORVector& operator=(const TripletQORVector&) = default;
  TripletQORVector& operator=(TripletQORVector&&) noexcept = default;
  virtual ~TripletQORVector() = default;

  /// Number of points, as unsigned int (kept for compatibility; truncated above UINT_MAX).
  unsigned int size() const noexcept { return static_cast<unsigned int>(m_points.size()); }
  bool empty() const noexcept { return m_points.empty(); }
  /// Point by index (not checked).
  const TripletBase<float>& operator[](std::size_t i) const noexcept { return m_points[i]; }
  /// Exchanges the contents with a standard vector in constant time.
  void swap(std::vector<TripletBase<float>>& other) noexcept { m_points.swap(other); }

  /// Appending, reserving and clearing as the standard vector does.
  void push_back(const TripletBase<float>& p) { m_points.push_back(p); }
  void reserve(std::size_t n) { m_points.reserve(n); }
  void clear() noexcept { m_points.clear(); }
  /// Read-only iteration over the points in order.
  const_iterator begin() const noexcept { return m_points.begin(); }
  const_iterator end() const noexcept { return m_points.end(); }
  /// The contiguous points (size() triplets of 3 floats), e.g. for the array conversion forms.
  const TripletBase<float>* data() const noexcept { return m_points.data(); }
  /// The points as a standard vector.
  const std::vector<TripletBase<float>>& points() const noexcept { return m_points; }

 private:
  std::vector<TripletBase<float>> m_points;
};

}  // namespace qor
