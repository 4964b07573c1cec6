#pragma once
/// @file
/// Floating-point spacing and bilinear cells.

#include "qor/export.h"

namespace qor {

/// Static functions only; no state, safe from any thread.
class QOR_API NumericalUtils {
 public:
  /// Distance from |x| to the next representable value away from zero (unit in the last place):
  /// spacing(0) is the smallest subnormal, spacing(-x) == spacing(x), and for the largest finite
  /// value (the invalid-coordinate mark) the gap below it (2^104 for float), so that the mark never
  /// counts as zero in relative tests. NaN for NaN or infinity.
  static float spacing(float x);
  static double spacing(double x);

  /// Bilinear value (1-s)(1-t) w0 + s(1-t) w1 + (1-s)t w2 + st w3, evaluated in this term order in
  /// float (D: double); corners (i,j), (i+1,j), (i,j+1), (i+1,j+1); s runs along i and t along j.
  /// s = t = 0 gives w0 exactly (likewise the other corners).
  static float calculateValueInQuadFromST(float s, float t, float w0, float w1, float w2, float w3);
  static double calculateValueInQuadFromSTD(double s, double t, double w0, double w1, double w2,
                                            double w3);

  /// Solves the bilinear map of the cell (x0,y0)..(x3,y3) (corner order as above) for the local
  /// coordinates (s, t) of (px, py). Newton iteration in double from the cell centre (0.5, 0.5);
  /// the incoming s, t are ignored. The solve has converged when a step is below tolerance2 in s
  /// and t (its error is then of the order of the step squared); s or t within 4 float epsilons of
  /// 0 or 1 is then set to exactly 0 or 1, so points on edges and corners get exact values. Points
  /// outside the cell get values outside [0, 1] (extrapolation).
  /// All three flags are assigned on every call:
  /// @param flag1 true when the solve is unreliable: not converged within maxIterations, or a final
  ///        residual above 1e-4 of the cell size
  /// @param flag2 true when the solution lies in the cell, within the margin tolerance1:
  ///        -tolerance1 <= s, t <= 1 + tolerance1, for a reliable solve only (flag1 and flag3
  ///        false): the bilinear map at (s, t) is then within 1e-4 of the cell size of the point
  /// @param flag3 true when the solution is unusable: a degenerate cell or singular Jacobian, a
  ///        non-finite input or iterate, or |s| or |t| above 1000. s and t then hold the last
  ///        finite iterate (0.5, 0.5 when none).
  /// @param maxIterations at most this many Newton steps (each capped at length 2 in s and t)
  /// @param tolerance1 inside margin for flag2 (0.01 for a direct solve, 1.0 for a retry)
  /// @param tolerance2 convergence tolerance on the Newton step in s and t
  static void searchForSTinQuad(float& s, float& t, float px, float py, float x0, float y0,
                                float x1, float y1, float x2, float y2, float x3, float y3,
                                bool& flag1, bool& flag2, bool& flag3, int maxIterations,
                                float tolerance1, float tolerance2);
};

}  // namespace qor
