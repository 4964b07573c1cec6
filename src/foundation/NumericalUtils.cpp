#include "qor/foundation/NumericalUtils.h"

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

// The bilinear map of a cell relative to the target point, in the form
// X(s, t) - p = a + b s + c t + d s t (per component), which makes a Newton step cheap.
struct Cell {
  double ax, bx, cx, dx;
  double ay, by, cy, dy;

  Cell(double px, double py, double x0, double y0, double x1, double y1, double x2, double y2,
       double x3, double y3)
      : ax(x0 - px), bx(x1 - x0), cx(x2 - x0), dx((x3 - x1) - (x2 - x0)),
        ay(y0 - py), by(y1 - y0), cy(y2 - y0), dy((y3 - y1) - (y2 - y0)) {}

  void residual(double s, double t, double& rx, double& ry) const {
    rx = ax + bx * s + (cx + dx * s) * t;
    ry = ay + by * s + (cy + dy * s) * t;
  }
};

// Snaps a local coordinate that lies within a few float epsilons of a cell edge onto the edge, so
// that points on edges and corners give exactly 0 or 1.
double snapToEdge(double v) {
  const double eps = 4.0 * double(FLT_EPSILON);
  if (std::fabs(v) < eps) return 0.0;
  if (std::fabs(v - 1.0) < eps) return 1.0;
  return v;
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
  // Every flag is assigned on every call: callers reuse their flag variables between cells.
  flag1 = true;
  flag2 = false;
  flag3 = false;

  const double xmin = std::min(std::min(x0, x1), std::min(x2, x3));
  const double xmax = std::max(std::max(x0, x1), std::max(x2, x3));
  const double ymin = std::min(std::min(y0, y1), std::min(y2, y3));
  const double ymax = std::max(std::max(y0, y1), std::max(y2, y3));
  const double scale = std::max(xmax - xmin, ymax - ymin);

  double cs = 0.5, ct = 0.5;  // the incoming s, t are ignored: always start at the centre
  s = 0.5f;
  t = 0.5f;
  if (!(scale > 0.0) || !std::isfinite(scale)) {
    flag3 = true;
    return;
  }
  const Cell cell(px, py, x0, y0, x1, y1, x2, y2, x3, y3);
  const double singular = 1e-12 * scale * scale;
  const double maxStep = 2.0;

  // One Newton step on X(s, t) - p; false when the Jacobian is singular or the step not finite.
  auto newtonStep = [&](double& ds, double& dt) {
    double rx, ry;
    cell.residual(cs, ct, rx, ry);
    const double xs = cell.bx + cell.dx * ct, ys = cell.by + cell.dy * ct;
    const double xt = cell.cx + cell.dx * cs, yt = cell.cy + cell.dy * cs;
    const double det = xs * yt - xt * ys;
    if (!(std::fabs(det) > singular)) return false;
    const double inv = 1.0 / det;
    ds = (xt * ry - rx * yt) * inv;
    dt = (rx * ys - xs * ry) * inv;
    if (!std::isfinite(ds) || !std::isfinite(dt)) return false;
    const double largest = std::max(std::fabs(ds), std::fabs(dt));
    if (largest > maxStep) {
      ds *= maxStep / largest;
      dt *= maxStep / largest;
    }
    return true;
  };

  bool converged = false;
  for (int it = 0; it < maxIterations; ++it) {
    double ds = 0.0, dt = 0.0;
    if (!newtonStep(ds, dt)) {
      flag3 = true;
      break;
    }
    cs += ds;
    ct += dt;
    if (std::fabs(cs) > 1e3 || std::fabs(ct) > 1e3) {
      flag3 = true;
      break;
    }
    if (std::max(std::fabs(ds), std::fabs(dt)) < double(tolerance2)) {
      converged = true;
      break;
    }
  }
  // Newton converges quadratically: after a step below tolerance2 the error is of the order of its
  // square, far below float resolution, so no further step is needed before the snap.
  cs = snapToEdge(cs);
  ct = snapToEdge(ct);
  s = static_cast<float>(cs);
  t = static_cast<float>(ct);

  double rx, ry;
  cell.residual(cs, ct, rx, ry);
  const double residual = std::max(std::fabs(rx), std::fabs(ry));
  const bool finite = std::isfinite(cs) && std::isfinite(ct) && std::isfinite(s) && std::isfinite(t);
  if (!finite) flag3 = true;
  flag1 = !converged || !(residual <= 1e-4 * scale);
  // Only a converged solve with a small residual is a solution that can lie in the cell: an
  // iterate left over after maxIterations steps says nothing about where the point is. Callers
  // may therefore rely on X(s, t) being within 1e-4 of the cell size of the point when flag2 is set.
  const double margin = tolerance1;
  flag2 = finite && !flag3 && !flag1 && cs >= -margin && cs <= 1.0 + margin && ct >= -margin &&
          ct <= 1.0 + margin;
}

}  // namespace qor
