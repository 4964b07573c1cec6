#include "qor/foundation/NumericalUtils.h"

#include "foundation/QuadSolve.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace qor {

namespace {

template <typename T>
T spacingOf(T x) {
  if (!std::isfinite(x)) return std::numeric_limits<T>::quiet_NaN();
  const T a = std::fabs(x);
  const T big = std::numeric_limits<T>::max();
  // The largest finite value has no finite successor: use the gap below it, so that the
  // invalid-coordinate mark does not count as zero in relative tests.
  if (a == big) return a - std::nextafter(a, T(0));
  return std::nextafter(a, std::numeric_limits<T>::infinity()) - a;
}

}  // namespace

float NumericalUtils::spacing(float x) { return spacingOf(x); }
double NumericalUtils::spacing(double x) { return spacingOf(x); }

float NumericalUtils::calculateValueInQuadFromST(float s, float t, float w0, float w1, float w2,
                                                 float w3) {
  return (1.0f - s) * (1.0f - t) * w0 + s * (1.0f - t) * w1 + (1.0f - s) * t * w2 + s * t * w3;
}

double NumericalUtils::calculateValueInQuadFromSTD(double s, double t, double w0, double w1,
                                                   double w2, double w3) {
  return (1.0 - s) * (1.0 - t) * w0 + s * (1.0 - t) * w1 + (1.0 - s) * t * w2 + s * t * w3;
}

void NumericalUtils::searchForSTinQuad(float& s, float& t, float px, float py, float x0, float y0,
                                       float x1, float y1, float x2, float y2, float x3, float y3,
                                       bool& flag1, bool& flag2, bool& flag3, int maxIterations,
                                       float tolerance1, float tolerance2) {
  foundation_detail::QuadSolve solve;
  solve.start(px, py, x0, y0, x1, y1, x2, y2, x3, y3);
  for (int it = 0; it < maxIterations && !solve.done(); ++it) solve.step(double(tolerance2));
  // Every flag is assigned: callers reuse their flag variables between cells.
  solve.finish(s, t, flag1, flag2, flag3, tolerance1);
}

}  // namespace qor
