#pragma once
// Small integer helpers shared by the sizing and the clean-up code of the transform.

#include <climits>

namespace qor {

/// base^exponent by repeated squaring (exact for the small powers of 4 and 10 in use); the
/// reciprocal for a negative exponent.
inline double integerPower(double base, int exponent) {
  const bool negative = exponent < 0;
  unsigned int e =
      negative ? 0u - static_cast<unsigned int>(exponent) : static_cast<unsigned int>(exponent);
  double result = 1.0;
  double factor = base;
  while (e != 0u) {
    if ((e & 1u) != 0u) result *= factor;
    factor *= factor;
    e >>= 1u;
  }
  return negative ? 1.0 / result : result;
}

/// Truncation toward zero that is defined for every input: NaN, infinite and out-of-range values
/// give INT_MIN (what the hardware conversion yields).
inline int truncToInt(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
  return static_cast<int>(v);
}

}  // namespace qor
