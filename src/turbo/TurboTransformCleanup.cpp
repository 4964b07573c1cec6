// Clean-up and reduction of the boundary curves of TurboTransform: repeated points are removed,
// unordered clouds are ordered along the curve and every curve is cut down to a point budget.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/IntegerMath.h"
#include "turbo/TurboTransformCleanup.h"

namespace qor {

namespace {

// Length of the planar difference (x, y) in single precision: the sum of squares is rounded to
// float before the root.
float planarLength(float dx, float dy) {
  return std::sqrt(static_cast<float>(double(dx) * dx + double(dy) * dy));
}

float planarDistance(const TripletBase<float>& a, const TripletBase<float>& b) {
  return planarLength(b[0] - a[0], b[1] - a[1]);
}

// Orders by the sort key held in the third component; NaN keys go last so that the ordering stays
// a strict weak ordering.
bool keyLess(const TripletBase<float>& a, const TripletBase<float>& b) {
  const bool aNaN = std::isnan(a[2]);
  const bool bNaN = std::isnan(b[2]);
  if (aNaN || bNaN) return !aNaN && bNaN;
  return a[2] < b[2];
}

struct Edge {
  int first;
  int last;
  double best;
  int bestIndex;
  bool noneFound;
};

}  // namespace

namespace turbo_detail {

void inContARToutCleanART(const QORVector<TripletBase<float>>& in,
                          QORVector<TripletBase<float>>& out, int size) {
  ParametricCurve curve(in, ParametricCurve::curve1d);
  curve.makeUnique();
  curve.eliminateDoublePoints(2);
  curve.makeContinuous();
  curve.getCurve(out);
  // A budget below two points still keeps both ends.
  const unsigned int budget = size < 2 ? 2u : static_cast<unsigned int>(size);
  optimizeListOfPoints(out, budget);
}

void inCloudARToutCleanART(const QORVector<TripletBase<float>>& in,
                           QORVector<TripletBase<float>>& out, const int& size,
                           const int& start) {
  if (in.empty()) return;
  out.assign(in.begin(), in.end());
  if (start > 0) std::swap(out[0], out.at(static_cast<std::size_t>(start)));

  distanceFromFirstXY(out.begin(), out.end());
  std::stable_sort(out.begin() + 1, out.end(), keyLess);

  // Each block of `step` points is ordered outward from the last point of the previous block.
  const std::size_t n = out.size();
  if (n > 2) {
    const std::size_t step = std::max<std::size_t>(n / 10, 2);
    for (std::size_t p = step - 1; p < n - 1; p += step) {
      const auto from = out.begin() + static_cast<std::ptrdiff_t>(p);
      distanceFromFirstXY(from, out.end());
      std::stable_sort(from + 1, out.end(), keyLess);
    }
  }

  ParametricCurve curve(out, ParametricCurve::curve1d);
  curve.eliminateDoublePoints(2);
  curve.getCurve(out);
  const unsigned int budget = size < 2 ? 2u : static_cast<unsigned int>(size);
  optimizeListOfPoints(out, budget);

  // Only subjects the result to the database's checks.
  ParametricDB check;
  check.createCurve("cleanART", out, ParametricCurve::curve1d);
}

void eliminateDoublePointsBySXY(QORVector<TripletBase<float>>& points,
                                const int& exponent) {
  const std::size_t n = points.size();
  if (n == 0) return;
  QORVector<double> s(n, 0.0);
  calculateArcValueXY(points, s);
  const double factor = integerPower(10.0, exponent);
  QORVector<TripletBase<float>> kept;
  kept.reserve(n);
  kept.push_back(points[0]);
  // Compared with the previous input point, not the last kept one: a run of coincident points
  // keeps only its first.
  for (std::size_t k = 1; k < n; ++k) {
    const double tolerance = NumericalUtils::spacing(s[k - 1]) * factor;
    if (s[k] - s[k - 1] > tolerance) kept.push_back(points[k]);
  }
  points.swap(kept);
}

void calculateArcValueXY(const QORVector<TripletBase<float>>& points,
                         QORVector<double>& s) {
  const std::size_t n = points.size();
  if (n == 0) return;
  s.at(0) = 0.0;
  for (std::size_t k = 1; k < n; ++k) {
    s.at(k) = s[k - 1] + planarDistance(points[k - 1], points[k]);
  }
  const double total = s[n - 1];
  for (std::size_t k = 1; k + 1 < n; ++k) s[k] = s[k] / total;
  s[n - 1] = 1.0;
}

void distanceFirstLastSimpleXY(const QORVector<TripletBase<float>>& points,
                               int& first, int& last, double& best, int& bestIndex,
                               bool& noneFound) {
  const TripletBase<float> f = points.at(static_cast<std::size_t>(first));
  const TripletBase<float> l = points.at(static_cast<std::size_t>(last));
  noneFound = true;
  best = 0.0;
  bestIndex = (first + last) / 2;
  if (last == first || first + 1 >= last) return;
  for (int k = first + 1; k <= last - 1; ++k) {
    const TripletBase<float>& p = points.at(static_cast<std::size_t>(k));
    const double d = double(planarDistance(f, p)) + double(planarDistance(l, p));
    if (d > best) {
      best = d;
      bestIndex = k;
      noneFound = false;
    }
  }
}

void distanceFirstLastNormalXY(const QORVector<TripletBase<float>>& points,
                               int& first, int& last, double& best, int& bestIndex,
                               bool& noneFound) {
  const TripletBase<float> f = points.at(static_cast<std::size_t>(first));
  const TripletBase<float> l = points.at(static_cast<std::size_t>(last));
  const float chord = planarDistance(f, l);
  const float tolerance = 1000.0f * NumericalUtils::spacing(planarLength(f[0], f[1]));
  if (chord <= tolerance) {
    // A closed or degenerate chord: the farthest point from both ends instead.
    distanceFirstLastSimpleXY(points, first, last, best, bestIndex, noneFound);
    return;
  }
  noneFound = true;
  best = 0.0;
  bestIndex = (first + last) / 2;
  if (last == first || first + 1 >= last) return;
  const double cx = double(l[0]) - f[0];
  const double cy = double(l[1]) - f[1];
  for (int k = first + 1; k <= last - 1; ++k) {
    const TripletBase<float>& p = points.at(static_cast<std::size_t>(k));
    const float cross = static_cast<float>((double(p[1]) - f[1]) * cx - (double(p[0]) - f[0]) * cy);
    const double d = std::fabs(double(cross)) / chord;
    if (d > best) {
      best = d;
      bestIndex = k;
      noneFound = false;
    }
  }
}

void distanceFromFirstXY(
    const std::vector<TripletBase<float>>::iterator& first,
    const std::vector<TripletBase<float>>::iterator& last) {
  if (first == last) return;
  const float fx = (*first)[0];
  const float fy = (*first)[1];
  for (auto it = first; it != last; ++it) {
    const double dx = double((*it)[0]) - fx;
    const double dy = double((*it)[1]) - fy;
    (*it)[2] = static_cast<float>(dx * dx + dy * dy);
  }
}

void optimizeListOfPoints(QORVector<TripletBase<float>>& points,
                          const unsigned int& size) {
  const std::size_t n = points.size();
  if (n <= size || n < 2) return;
  // The two end points are always kept, whatever the budget.
  const std::size_t budget = std::max<std::size_t>(size, 2);

  std::vector<Edge> edges;
  {
    Edge e{0, static_cast<int>(n - 1), 0.0, 0, true};
    distanceFirstLastSimpleXY(points, e.first, e.last, e.best, e.bestIndex, e.noneFound);
    edges.push_back(e);
  }
  std::vector<int> chosen{0, static_cast<int>(n - 1)};

  while (chosen.size() < budget) {
    int pick = -1;
    for (std::size_t k = 0; k < edges.size(); ++k) {
      if (edges[k].noneFound) continue;
      if (pick < 0 || edges[k].best > edges[static_cast<std::size_t>(pick)].best) {
        pick = static_cast<int>(k);
      }
    }
    if (pick < 0) break;
    const Edge split = edges[static_cast<std::size_t>(pick)];
    chosen.push_back(split.bestIndex);
    if (chosen.size() == budget) break;

    Edge lower{split.first, split.bestIndex, 0.0, 0, true};
    distanceFirstLastNormalXY(points, lower.first, lower.last, lower.best, lower.bestIndex,
                              lower.noneFound);
    Edge upper{split.bestIndex, split.last, 0.0, 0, true};
    distanceFirstLastNormalXY(points, upper.first, upper.last, upper.best, upper.bestIndex,
                              upper.noneFound);
    edges[static_cast<std::size_t>(pick)] = lower;
    edges.push_back(upper);
  }

  std::sort(chosen.begin(), chosen.end());
  QORVector<TripletBase<float>> reduced;
  reduced.reserve(chosen.size());
  for (int index : chosen) reduced.push_back(points.at(static_cast<std::size_t>(index)));
  points.swap(reduced);
}

}  // namespace turbo_detail

}  // namespace qor
