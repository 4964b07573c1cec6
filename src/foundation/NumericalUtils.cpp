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

struct Cell {
  double x[4];
  double y[4];

  void map(double s, double t, double& px, double& py) const {
    const double a = (1.0 - s) * (1.0 - t), b = s * (1.0 - t), c = (1.0 - s) * t, d = s * t;
    px = a * x[0] + b * x[1] + c * x[2] + d * x[3];
    py = a * y[0] + b * y[1] + c * y[2] + d * y[3];
  }
  // Partial derivatives of the bilinear map at (s, t).
  void jacobian(double s, double t, double& xs, double& xt, double& ys, double& yt) const {
    xs = (1.0 - t) * (x[1] - x[0]) + t * (x[3] - x[2]);
    ys = (1.0 - t) * (y[1] - y[0]) + t * (y[3] - y[2]);
    xt = (1.0 - s) * (x[2] - x[0]) + s * (x[3] - x[1]);
    yt = (1.0 - s) * (y[2] - y[0]) + s * (y[3] - y[1]);
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

  const Cell cell{{x0, x1, x2, x3}, {y0, y1, y2, y3}};
  const double xmin = std::min({cell.x[0], cell.x[1], cell.x[2], cell.x[3]});
  const double xmax = std::max({cell.x[0], cell.x[1], cell.x[2], cell.x[3]});
  const double ymin = std::min({cell.y[0], cell.y[1], cell.y[2], cell.y[3]});
  const double ymax = std::max({cell.y[0], cell.y[1], cell.y[2], cell.y[3]});
  const double scale = std::max(xmax - xmin, ymax - ymin);
  const double tx = px, ty = py;

  double cs = 0.5, ct = 0.5;  // the incoming s, t are ignored: always start at the centre
  s = 0.5f;
  t = 0.5f;
  if (!(scale > 0.0) || !std::isfinite(scale)) {
    flag3 = true;
    return;
  }
  const double singular = 1e-12 * scale * scale;
  const double maxStep = 2.0;

  // One Newton step on X(s, t) - p; false when the Jacobian is singular or the step not finite.
  auto newtonStep = [&](double& ds, double& dt) {
    double mx, my, xs, xt, ys, yt;
    cell.map(cs, ct, mx, my);
    cell.jacobian(cs, ct, xs, xt, ys, yt);
    const double rx = mx - tx, ry = my - ty;
    const double det = xs * yt - xt * ys;
    if (!(std::fabs(det) > singular)) return false;
    ds = -(rx * yt - xt * ry) / det;
    dt = -(xs * ry - rx * ys) / det;
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
  if (converged) {
    // One polishing step brings the converged iterate to full double accuracy.
    double ds = 0.0, dt = 0.0;
    if (newtonStep(ds, dt)) {
      cs += ds;
      ct += dt;
    }
  }
  cs = snapToEdge(cs);
  ct = snapToEdge(ct);
  s = static_cast<float>(cs);
  t = static_cast<float>(ct);

  double mx, my;
  cell.map(cs, ct, mx, my);
  const double residual = std::max(std::fabs(mx - tx), std::fabs(my - ty));
  const bool finite = std::isfinite(cs) && std::isfinite(ct) && std::isfinite(s) && std::isfinite(t);
  if (!finite) flag3 = true;
  flag1 = !converged || !(residual <= 1e-4 * scale);
  const double margin = tolerance1;
  flag2 = finite && !flag3 && cs >= -margin && cs <= 1.0 + margin && ct >= -margin &&
          ct <= 1.0 + margin;
}

}  // namespace qor
