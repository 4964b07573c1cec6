#pragma once
/// @file
/// `QORVector<T>`: a growable list, a standard vector with a virtual destructor and nothing more.

#include <initializer_list>
#include <vector>

namespace qor {

/// Every operation is that of `std::vector<T>` (inherited constructors included); the only
/// addition is the virtual destructor, so a `QORVector` may be deleted through a pointer to its
/// vector base. It adds no data.
template <typename T>
class QORVector : public std::vector<T> {
 public:
  using std::vector<T>::vector;
  QORVector() = default;
  /// Implicit conversions from a standard vector (copying, or taking over its storage), so a
  /// `std::vector<T>` can be passed wherever a `QORVector<T>` is expected.
  QORVector(const std::vector<T>& other) : std::vector<T>(other) {}  // NOLINT: implicit on purpose
  QORVector(std::vector<T>&& other) noexcept : std::vector<T>(std::move(other)) {}  // NOLINT
  QORVector(const QORVector&) = default;
  QORVector(QORVector&&) noexcept = default;
  QORVector& operator=(const QORVector&) = default;
  QORVector& operator=(QORVector&&) noexcept = default;
  virtual ~QORVector() = default;
};

}  // namespace qor
