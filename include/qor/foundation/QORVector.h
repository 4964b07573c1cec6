#pragma once
/// @file
/// `QORVector<T>`: a growable list, a standard vector with a virtual destructor and nothing more.

#include <initializer_list>
#include <vector>

namespace qor {

template <typename T>
class QORVector : public std::vector<T> {
 public:
  using std::vector<T>::vector;
  QORVector() = default;
  QORVector(const std::vector<T>& other) : std::vector<T>(other) {}  // NOLINT: implicit on purpose
  QORVector(std::vector<T>&& other) noexcept : std::vector<T>(std::move(other)) {}  // NOLINT
  QORVector(const QORVector&) = default;
  QORVector(QORVector&&) noexcept = default;
  QORVector& operator=(const QORVector&) = default;
  QORVector& operator=(QORVector&&) noexcept = default;
  virtual ~QORVector() = default;
};

}  // namespace qor
