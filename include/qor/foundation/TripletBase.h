#pragma once
/// @file
/// `TripletBase<T>`: the point and direction type of every interface. XYZ points are (x, y, z);
/// meridional points are (axial, radial, theta in radians); background-mesh nodes are
/// (axial, radial, 0).

#include <cmath>
#include <limits>
#include <ostream>
#include <type_traits>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {

/// The largest finite float marks an invalid coordinate throughout the library.
inline constexpr float invalidCoordinate = std::numeric_limits<float>::max();

/// Three components of a floating-point type T (float in every point interface, double in the
/// higher-precision conversions). A plain value: copyable, no virtual operations; arithmetic is
/// component-wise and, except division by zero, never throws.
template <typename T>
class TripletBase {
  static_assert(std::is_floating_point<T>::value, "TripletBase holds floating-point components");

 public:
  using value_type = T;

  /// (0, 0, 0).
  constexpr TripletBase() noexcept : m_c{T(0), T(0), T(0)} {}
  /// (first, second, third): (x, y, z) or (axial, radial, theta in radians).
  constexpr TripletBase(T first, T second, T third) noexcept : m_c{first, second, third} {}
  /// Converts between precisions (double to float rounds each component once).
  template <typename U, typename = std::enable_if_t<!std::is_same<U, T>::value>>
  constexpr explicit TripletBase(const TripletBase<U>& other) noexcept
      : m_c{static_cast<T>(other[0]), static_cast<T>(other[1]), static_cast<T>(other[2])} {}

  /// Component by index 0..2 (not checked).
  constexpr T& operator[](int i) noexcept { return m_c[i]; }
  constexpr const T& operator[](int i) const noexcept { return m_c[i]; }

  /// Components 0, 1, 2 by name (also the axial, radial and theta components of ART points).
  constexpr T& x() noexcept { return m_c[0]; }
  constexpr T& y() noexcept { return m_c[1]; }
  constexpr T& z() noexcept { return m_c[2]; }
  constexpr T x() const noexcept { return m_c[0]; }
  constexpr T y() const noexcept { return m_c[1]; }
  constexpr T z() const noexcept { return m_c[2]; }

  /// Component-wise sum, difference and negation, in T (no widening), and the compound forms.
  constexpr TripletBase operator+(const TripletBase& o) const noexcept {
    return {m_c[0] + o.m_c[0], m_c[1] + o.m_c[1], m_c[2] + o.m_c[2]};
  }
  constexpr TripletBase operator-(const TripletBase& o) const noexcept {
    return {m_c[0] - o.m_c[0], m_c[1] - o.m_c[1], m_c[2] - o.m_c[2]};
  }
  constexpr TripletBase operator-() const noexcept { return {-m_c[0], -m_c[1], -m_c[2]}; }
  constexpr TripletBase& operator+=(const TripletBase& o) noexcept {
    m_c[0] += o.m_c[0];
    m_c[1] += o.m_c[1];
    m_c[2] += o.m_c[2];
    return *this;
  }
  constexpr TripletBase& operator-=(const TripletBase& o) noexcept {
    m_c[0] -= o.m_c[0];
    m_c[1] -= o.m_c[1];
    m_c[2] -= o.m_c[2];
    return *this;
  }

  /// Scales all three components; a float triplet is scaled in double and rounded once.
  template <typename S, typename = std::enable_if_t<std::is_arithmetic<S>::value>>
  constexpr TripletBase operator*(S scalar) const noexcept {
    using W = std::conditional_t<std::is_same<T, float>::value, double, T>;
    const W f = static_cast<W>(scalar);
    return {static_cast<T>(W(m_c[0]) * f), static_cast<T>(W(m_c[1]) * f),
            static_cast<T>(W(m_c[2]) * f)};
  }
  template <typename S, typename = std::enable_if_t<std::is_arithmetic<S>::value>>
  constexpr TripletBase& operator*=(S scalar) noexcept {
    return *this = *this * scalar;
  }

  /// Divides all three components; a float triplet is divided in double and rounded once.
  /// @throws data::invalid "Attempt to divide by zero." when the divisor is exactly zero (also -0);
  ///         the triplet is then unchanged.
  template <typename S, typename = std::enable_if_t<std::is_arithmetic<S>::value>>
  TripletBase operator/(S scalar) const {
    if (scalar == S(0)) throwDivideByZero("operator/");
    return divided(scalar);
  }
  template <typename S, typename = std::enable_if_t<std::is_arithmetic<S>::value>>
  TripletBase& operator/=(S scalar) {
    if (scalar == S(0)) throwDivideByZero("operator/=");
    return *this = divided(scalar);
  }

  /// Dot product of all three components, in T.
  constexpr T dot(const TripletBase& o) const noexcept {
    return m_c[0] * o.m_c[0] + m_c[1] * o.m_c[1] + m_c[2] * o.m_c[2];
  }
  /// Cross product this x o (right-handed), in T.
  constexpr TripletBase cross(const TripletBase& o) const noexcept {
    return {m_c[1] * o.m_c[2] - m_c[2] * o.m_c[1], m_c[2] * o.m_c[0] - m_c[0] * o.m_c[2],
            m_c[0] * o.m_c[1] - m_c[1] * o.m_c[0]};
  }

  /// Euclidean norm of the three components. For float: the invalid-coordinate mark (3.4028235e38)
  /// in any component gives that mark; otherwise the sum of squares is rounded to float once and
  /// its square root is rounded to float.
  T length() const noexcept {
    if constexpr (std::is_same<T, float>::value) {
      if (hasInvalidComponent()) return invalidCoordinate;
    }
    return std::sqrt(lengthSquared());
  }
  /// Squared norm; for float the invalid-coordinate mark in any component gives the mark.
  T lengthSquared() const noexcept {
    if constexpr (std::is_same<T, float>::value) {
      if (hasInvalidComponent()) return invalidCoordinate;
      const double sum = double(m_c[0]) * m_c[0] + double(m_c[1]) * m_c[1] + double(m_c[2]) * m_c[2];
      return static_cast<float>(sum);
    } else {
      return m_c[0] * m_c[0] + m_c[1] * m_c[1] + m_c[2] * m_c[2];
    }
  }
  /// True when a component equals the invalid-coordinate mark exactly.
  constexpr bool hasInvalidComponent() const noexcept {
    return m_c[0] == T(invalidCoordinate) || m_c[1] == T(invalidCoordinate) ||
           m_c[2] == T(invalidCoordinate);
  }

  /// Exact component-wise comparison (-0 equals +0; a NaN component is never equal).
  constexpr bool operator==(const TripletBase& o) const noexcept {
    return m_c[0] == o.m_c[0] && m_c[1] == o.m_c[1] && m_c[2] == o.m_c[2];
  }
  constexpr bool operator!=(const TripletBase& o) const noexcept { return !(*this == o); }

 private:
  template <typename S>
  TripletBase divided(S scalar) const noexcept {
    using W = std::conditional_t<std::is_same<T, float>::value, double, T>;
    const W d = static_cast<W>(scalar);
    return {static_cast<T>(W(m_c[0]) / d), static_cast<T>(W(m_c[1]) / d),
            static_cast<T>(W(m_c[2]) / d)};
  }
  [[noreturn]] static void throwDivideByZero(const char* operation) {
    throw data::invalid("Triplet", operation, UserMsg("Attempt to divide by zero."), errorType::fatal);
  }

  T m_c[3];
};

/// scalar * p, the same as p * scalar.
template <typename S, typename T, typename = std::enable_if_t<std::is_arithmetic<S>::value>>
constexpr TripletBase<T> operator*(S scalar, const TripletBase<T>& p) noexcept {
  return p * scalar;
}

/// Squared distance of two points, with the invalid-coordinate rule of `TripletBase::length`
/// applied to their difference.
template <typename T>
T squaredDistance(const TripletBase<T>& a, const TripletBase<T>& b) noexcept {
  return (b - a).lengthSquared();
}

/// Writes "(a, b, c)" with the stream's current formatting.
template <typename T>
std::ostream& operator<<(std::ostream& os, const TripletBase<T>& p) {
  return os << '(' << p[0] << ", " << p[1] << ", " << p[2] << ')';
}

}  // namespace qor
