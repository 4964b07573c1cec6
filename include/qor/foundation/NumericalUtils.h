#pragma once
/// @file
/// Floating-point spacing and bilinear cells.

#include "qor/export.h"

namespace qor {

class QOR_API NumericalUtils {
 public:
  /// Distance from |x| to the next representable value (unit in the last place); NaN for NaN or inf.
  static float spacing(float x);
  static double spacing(double x);

  /// Bilinear value (1-s)(1-t) w0 + s(1-t) w1 + (1-s)t w2 + st w3, corners (i,j), (i+1,j), (i,j+1),
  /// (i+1,j+1); s runs along i and t along j.
  static float calculateValueInQuadFromST(float s, float t, float w0, float w1, float w2, float w3);
  static double calculateValueInQuadFromSTD(double s, double t, double w0, double w1, double w2,
                                            double w3);

  /// Solves the bilinear map of the cell (x0,y0)..(x3,y3) (corner order as above) for the local
  /// coordinates (s, t) of (px, py).
  /// @param flag1 set when the solve is unreliable (not converged within maxIterations)
  /// @param flag2 set when the solution lies in the cell, within the margin tolerance1
  /// @param flag3 set when the solution is unusable (singular cell, non-finite iterate)
  /// @param tolerance2 convergence tolerance on the Newton step in s and t
  static void searchForSTinQuad(float& s, float& t, float px, float py, float x0, float y0,
                                float x1, float y1, float x2, float y2, float x3, float y3,
                                bool& flag1, bool& flag2, bool& flag3, int maxIterations,
                                float tolerance1, float tolerance2);
};

}  // namespace qor
