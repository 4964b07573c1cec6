#pragma once
/// @file
/// The Newton solve behind `NumericalUtils::searchForSTinQuad`, as a state that advances one step
/// at a time, so that callers can interleave the solves of several points (their dependency
/// chains then overlap in the processor). Internal; never installed.
///
/// Every solve performs exactly the arithmetic of `searchForSTinQuad`, in the same order, so an
/// interleaved solve gives its results to the last bit.

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace qor {
namespace foundation_detail {

class QuadSolve {
 public:
  friend struct SideBySide;  // steps several solves in the lanes of vector registers

  /// Sets up the solve of the cell (x0,y0)..(x3,y3) for (px, py), starting at the centre.
  void start(float px, float py, float x0, float y0, float x1, float y1, float x2, float y2,
             float x3, float y3) {
    const double xmin = std::min(std::min(x0, x1), std::min(x2, x3));
    const double xmax = std::max(std::max(x0, x1), std::max(x2, x3));
    const double ymin = std::min(std::min(y0, y1), std::min(y2, y3));
    const double ymax = std::max(std::max(y0, y1), std::max(y2, y3));
    m_scale = std::max(xmax - xmin, ymax - ymin);
    m_cs = 0.5;  // any incoming s, t are ignored: always start at the centre
    m_ct = 0.5;
    m_converged = false;
    m_unusable = false;
    m_done = false;
    m_degenerate = !(m_scale > 0.0) || !std::isfinite(m_scale);
    if (m_degenerate) {
      m_unusable = true;
      m_done = true;
      return;
    }
    // X(s, t) - p = a + b s + c t + d s t per component, which makes a Newton step cheap.
    m_ax = double(x0) - px;
    m_bx = double(x1) - x0;
    m_cx = double(x2) - x0;
    m_dx = (double(x3) - x1) - (double(x2) - x0);
    m_ay = double(y0) - py;
    m_by = double(y1) - y0;
    m_cy = double(y2) - y0;
    m_dy = (double(y3) - y1) - (double(y2) - y0);
    m_singular = 1e-12 * m_scale * m_scale;
  }

  bool done() const { return m_done; }

  /// One Newton step (at most `maxIterations` of them are taken by the caller); sets done() when
  /// the solve has converged or failed.
  void step(double tolerance2) {
    constexpr double maxStep = 2.0;
    double rx, ry;
    residual(m_cs, m_ct, rx, ry);
    const double xs = m_bx + m_dx * m_ct, ys = m_by + m_dy * m_ct;
    const double xt = m_cx + m_dx * m_cs, yt = m_cy + m_dy * m_cs;
    const double det = xs * yt - xt * ys;
    if (!(std::fabs(det) > m_singular)) return fail();
    const double inv = 1.0 / det;
    double ds = (xt * ry - rx * yt) * inv;
    double dt = (rx * ys - xs * ry) * inv;
    if (!std::isfinite(ds) || !std::isfinite(dt)) return fail();
    const double largest = std::max(std::fabs(ds), std::fabs(dt));
    if (largest > maxStep) {
      ds *= maxStep / largest;
      dt *= maxStep / largest;
    }
    m_cs += ds;
    m_ct += dt;
    if (std::fabs(m_cs) > 1e3 || std::fabs(m_ct) > 1e3) return fail();
    if (std::max(std::fabs(ds), std::fabs(dt)) < tolerance2) {
      m_converged = true;
      m_done = true;
    }
  }

  /// The result with the flags of `searchForSTinQuad`.
  void finish(float& s, float& t, bool& flag1, bool& flag2, bool& flag3, float tolerance1) const {
    flag1 = true;
    flag2 = false;
    flag3 = m_unusable;
    if (m_degenerate) {
      s = 0.5f;
      t = 0.5f;
      return;
    }
    // Newton converges quadratically: after a step below tolerance2 the error is of the order of
    // its square, far below float resolution, so no further step is needed before the snap.
    const double cs = snapToEdge(m_cs), ct = snapToEdge(m_ct);
    s = static_cast<float>(cs);
    t = static_cast<float>(ct);
    double rx, ry;
    residual(cs, ct, rx, ry);
    const double res = std::max(std::fabs(rx), std::fabs(ry));
    const bool finite =
        std::isfinite(cs) && std::isfinite(ct) && std::isfinite(s) && std::isfinite(t);
    if (!finite) flag3 = true;
    flag1 = !m_converged || !(res <= 1e-4 * m_scale);
    // Only a converged solve with a small residual is a solution that can lie in the cell: an
    // iterate left over after maxIterations steps says nothing about where the point is. Callers
    // may therefore rely on X(s, t) being within 1e-4 of the cell size of the point when flag2 is
    // set.
    const double margin = tolerance1;
    flag2 = finite && !flag3 && !flag1 && cs >= -margin && cs <= 1.0 + margin && ct >= -margin &&
            ct <= 1.0 + margin;
  }

 private:
  void fail() {
    m_unusable = true;
    m_done = true;
  }

  void residual(double s, double t, double& rx, double& ry) const {
    rx = m_ax + m_bx * s + (m_cx + m_dx * s) * t;
    ry = m_ay + m_by * s + (m_cy + m_dy * s) * t;
  }

  // Snaps a local coordinate that lies within a few float epsilons of a cell edge onto the edge,
  // so that points on edges and corners give exactly 0 or 1.
  static double snapToEdge(double v) {
    const double eps = 4.0 * double(FLT_EPSILON);
    if (std::fabs(v) < eps) return 0.0;
    if (std::fabs(v - 1.0) < eps) return 1.0;
    return v;
  }

  double m_ax, m_bx, m_cx, m_dx, m_ay, m_by, m_cy, m_dy;
  double m_scale, m_singular, m_cs, m_ct;
  bool m_converged, m_unusable, m_done, m_degenerate;
};

/// Takes the solves solves[which[0 .. count - 1]] (started, none of them done) to the end, at most
/// `maxIterations` steps each, exactly as calling step(tolerance2) on each until done() would. On
/// processors with AVX four solves share the vector registers, lane by lane the same operations
/// in the same order (IEEE arithmetic is the same in any lane); elsewhere they are stepped in turn.
void stepSideBySide(QuadSolve* solves, const int* which, int count, int maxIterations,
                    double tolerance2);

}  // namespace foundation_detail
}  // namespace qor
