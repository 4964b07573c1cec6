#pragma once
/// @file
/// The cell-exclusion proof of the point location: cheap tests that show a point cannot lie in a
/// cell, so that the search need not solve for it there. Internal; never installed.

#include <algorithm>
#include <cmath>

#include "qor/foundation/TripletBase.h"

namespace qor {
namespace turbo_detail {

/// What the location needs to know of a cell to prove, cheaply, that a point cannot lie in it:
/// the cell's bilinear map about its centre C is X(u, v) = C + M (u, v) + D u v (u = s - 1/2,
/// v = t - 1/2). Unusable cells (singular M, vanishing edges) have a NaN inverse.
struct CellBound {
  double centreX, centreY;    ///< C
  float m00, m01, m10, m11;   ///< M^-1, row by row
  float skew;                 ///< |M^-1 D| (max norm)
  float normInv;              ///< |M^-1| (max norm)
  float big, small;           ///< the largest and smallest corner distance from C
};

/// The bound of the cell with corners c0 = a, c1 = b, c2 = c, c3 = d.
CellBound boundOf(const TripletBase<float>& a, const TripletBase<float>& b,
                  const TripletBase<float>& c, const TripletBase<float>& d);

/// True when no solve of the cell search (the direct one and its two retries with the point
/// pulled onto a circle) can leave `p` inside the cell with the inside flag set: the cell is then
/// not a first-rank candidate with score 0. False whenever in doubt.
bool cannotHoldPoint(const CellBound& cell, const TripletBase<float>& p);

/// The part of a cell's bound that decides most points without a square root or a division,
/// stored per cell (32 bytes, two to a cache line): the centre and M^-1 in float, and the margin
/// that suffices for every point within `reach2` of the centre.
struct CellTest {
  float centreX, centreY;
  float m00, m01, m10, m11;
  float quick;   ///< beyond this distance outside [-1/2, 1/2]^2 the point is excluded
  float reach2;  ///< ... provided it lies at most sqrt(reach2) from the centre
};

/// The stored test of a cell with bound `cell`.
CellTest testOf(const CellBound& cell);

/// The quick test without branches: true when `p` provably cannot lie in the cell; `undecided` is
/// set when only the full bound can tell.
inline bool quickExcludes(const CellTest& cell, const TripletBase<float>& p, bool& undecided) {
  const double ex = double(p[0]) - double(cell.centreX), ey = double(p[1]) - double(cell.centreY);
  const double g0 = double(cell.m00) * ex + double(cell.m01) * ey;
  const double g1 = double(cell.m10) * ex + double(cell.m11) * ey;
  const double beyond = std::max(std::fabs(g0), std::fabs(g1)) - 0.5;
  const bool outside = beyond > 1e-6;  // NaN (an unusable cell) is never outside: solve it
  const bool proved = outside & (ex * ex + ey * ey <= double(cell.reach2)) &
                      (beyond > double(cell.quick));
  undecided = outside & !proved;
  return proved;
}

/// The quick test: 1 when `p` provably cannot lie in the cell (as `cannotHoldPoint`), 0 when the
/// cell must be solved (the point is in or near it), -1 when undecided: the full bound decides.
inline int quickTest(const CellTest& cell, const TripletBase<float>& p) {
  bool undecided;
  if (quickExcludes(cell, p, undecided)) return 1;
  return undecided ? -1 : 0;
}

}  // namespace turbo_detail
}  // namespace qor
