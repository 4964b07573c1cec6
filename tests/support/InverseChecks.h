#pragma once
// Shared checks of the inverse conversions: round trips, and the array inverse (any mix of spans,
// no cache) against the one-point path.

#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

#include "Passages.h"

namespace qortest {

/// Largest |A| or |R| of the mesh nodes.
inline double meshScale(const Built& b) {
  double s = 0.0;
  for (const P3& q : b.nodes) s = std::max({s, std::fabs(double(q[0])), std::fabs(double(q[1]))});
  return s;
}

/// The bound on the difference between the array inverse and the one-point path derived beside
/// the array form: FLT_EPSILON ((6 |P| |grad F| + 4 |F|) / (dF/dl) + 3 |P|), with |P| = meshScale,
/// the largest gradient and |F| of the space and its smallest rise per length along the streamwise
/// mesh lines, all taken from the space at the nodes (the gradient of each cell from its two edges
/// at corner (i, j)).
inline double derivedBound(const Built& b, qor::TurboTransform::space s) {
  std::vector<double> f(b.nodes.size());
  double fMax = 0.0, grad = 0.0, slope = HUGE_VAL;
  for (std::size_t k = 0; k < f.size(); ++k) {
    f[k] = b.transform.convertARTtoSpace(s, b.nodes[k]);
    fMax = std::max(fMax, std::fabs(f[k]));
  }
  for (int i = 0; i + 1 < b.ni; ++i) {
    for (int j = 0; j < b.nj; ++j) {
      const P3 ei = b.node(i + 1, j) - b.node(i, j), ej = b.node(i, j == 0 ? 1 : j - 1) - b.node(i, j);
      const double di = f[std::size_t(b.index(i + 1, j))] - f[std::size_t(b.index(i, j))];
      const double dj = f[std::size_t(b.index(i, j == 0 ? 1 : j - 1))] - f[std::size_t(b.index(i, j))];
      slope = std::min(slope, di / ei.length());
      const double det = double(ei[0]) * ej[1] - double(ei[1]) * ej[0];
      grad = std::max(grad, std::hypot(di * ej[1] - dj * ei[1], ei[0] * dj - ej[0] * di) / std::fabs(det));
    }
  }
  const double p = meshScale(b);
  return FLT_EPSILON * ((6.0 * p * grad + 4.0 * fMax) / slope + 3.0 * p);
}

/// Converts inputs of every accepted space at arbitrary spans with the array form (one thread) and
/// one point at a time, and expects them within derivedBound of each other (exactly equal for rnm,
/// which needs no line). The inputs: the (value, theta, nspan) of random points of the passage,
/// half of them given another span in [-0.1, 1.1], plus values beyond both ends of the lines.
inline void expectArrayInverseMatchesOnePoint(const Built& b, int n = 150) {
  std::mt19937 rng(42);
  SCOPED_TRACE(b.passage.name + ", seed 42");
  using T = qor::TurboTransform;
  std::uniform_real_distribution<float> span(-0.1f, 1.1f);
  for (T::space s : {T::mprime, T::m, T::nmprime, T::nm, T::rnm, T::mprimeScaled}) {
    SCOPED_TRACE("space " + std::to_string(static_cast<int>(s)));
    std::vector<P3> in;
    for (const P3& q : samplePoints(b, -1.0, rng, n, 0.0)) {
      in.emplace_back();
      b.transform.convertARTtoSpaceTNs(s, q, in.back());
      if (in.size() % 2 == 0) in.back()[2] = span(rng);
    }
    for (float v : {-1.0f, 2.0f * std::fabs(in.front()[0]) + 2.0f}) in.emplace_back(v, 0.5f, span(rng));
    const double bound = s == T::rnm ? 0.0 : derivedBound(b, s);
    std::vector<P3> fast(in.size());
    b.transform.convertSpaceTNsToART(s, in.data(), in.size(), fast.data(), T::ListOptions());
    for (std::size_t k = 0; k < in.size(); ++k) {
      P3 one;
      b.transform.convertSpaceTNsToART(s, in[k], one);
      EXPECT_EQ(fast[k][2], in[k][1]);
      EXPECT_LE(meridionalDistance(one, fast[k]), bound)
          << "point " << k << " in (" << in[k][0] << ", " << in[k][2] << ")";
    }
  }
}

/// Forward then inverse conversions of points on the lines of span 0, 0.5 and 1 and in random
/// cells, for every accepted space, by the one-point forms (float; double on hub and shroud), the
/// list form and the constant-span form: each point comes back within `tol`.
inline void expectRoundTrips(const Built& b, double tol) {
  using T = qor::TurboTransform;
  using D3 = qor::TripletBase<double>;
  std::mt19937 rng(42);
  SCOPED_TRACE(b.passage.name + ", seed 42");
  for (T::space s : {T::mprime, T::m, T::nmprime, T::nm, T::rnm, T::mprimeScaled}) {
    SCOPED_TRACE("space " + std::to_string(static_cast<int>(s)));
    for (double ns : {0.0, 0.5, 1.0, -1.0}) {
      std::vector<D3> tnsList, backList;
      std::vector<P3> tnsFloat, backFloat, list(3, P3(7, 7, 7));
      const std::vector<P3> points = samplePoints(b, ns, rng, 40, 0.02);
      for (const P3& p : points) {
        P3 tns, back;
        D3 tnsD, backD;
        b.transform.convertARTtoSpaceTNs(s, P3(p[0], p[1], 0.25f), tns);
        b.transform.convertSpaceTNsToART(s, tns, back);
        EXPECT_LE(meridionalDistance(p, back), tol) << "span " << ns;
        EXPECT_EQ(back[2], 0.25f);
        tnsFloat.push_back(tns);
        backFloat.push_back(back);
        b.transform.convertARTtoSpaceTNs(s, D3(p[0], p[1], 0.0), tnsD);
        tnsList.emplace_back(tnsD[0], 0.5, -1.0);  // theta 0.5, a span that must not be read
        if (ns == 0.0 || ns == 1.0) {  // hub or shroud in double precision
          b.transform.convertSpaceTNsToARTspanEQ0or1(s, tnsD, backD, ns == 0.0);
          EXPECT_LE(meridionalDistance(backD, p), tol) << "span " << ns;
        }
      }
      // The list form: the one-point results; an empty list leaves the output alone.
      b.transform.convertSpaceTNsToART(s, std::vector<P3>(), list);
      EXPECT_EQ(list, std::vector<P3>(3, P3(7, 7, 7)));
      b.transform.convertSpaceTNsToART(s, tnsFloat, list);
      EXPECT_EQ(list, backFloat);
      if (ns < 0.0) continue;
      // One span for all points: the inputs' span is ignored and their theta goes last.
      b.transform.convertOnConstantSpanSpaceTNsToART(s, ns, tnsList, backList);
      for (std::size_t k = 0; k < points.size(); ++k) {
        EXPECT_LE(meridionalDistance(backList[k], points[k]), tol);
        EXPECT_EQ(backList[k][2], 0.5);
      }
    }
  }
}

}  // namespace qortest
