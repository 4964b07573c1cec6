#include "qor/foundation/ParametricCurve.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <unordered_set>
#include <utility>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/QORStream.h"
#include "foundation/MemoryBudget.h"

namespace qor {

namespace {

using PointD = TripletBase<double>;
using PointF = TripletBase<float>;

PointD widen(const PointF& p) { return PointD(p); }
PointF narrow(const PointD& p) { return PointF(p); }

double distance(const PointF& a, const PointF& b) {
  const double dx = double(b[0]) - a[0], dy = double(b[1]) - a[1], dz = double(b[2]) - a[2];
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

/// a + w (b - a) per component in double; w == 0 gives a exactly.
PointD lerp(const PointD& a, const PointD& b, double w) {
  if (w == 0.0) return a;
  if (w == 1.0) return b;
  return {a[0] + w * (b[0] - a[0]), a[1] + w * (b[1] - a[1]), a[2] + w * (b[2] - a[2])};
}

/// Cumulative 3-component polyline length in double; cum[0] = 0.
std::vector<double> cumulativeLength(const std::vector<PointF>& points) {
  std::vector<double> cum(points.size(), 0.0);
  for (std::size_t k = 1; k < points.size(); ++k) cum[k] = cum[k - 1] + distance(points[k - 1], points[k]);
  return cum;
}

/// Normalised arc length: 0 at the first point, exactly 1 at the last; uniform when the length is
/// zero or not finite.
std::vector<double> normalisedArcLength(const std::vector<PointF>& points) {
  std::vector<double> s = cumulativeLength(points);
  const std::size_t n = s.size();
  if (n == 0) return s;
  if (n == 1) {
    s[0] = 0.0;
    return s;
  }
  const double total = s.back();
  if (total > 0.0 && std::isfinite(total)) {
    for (double& v : s) v /= total;
  } else {
    for (std::size_t k = 0; k < n; ++k) s[k] = double(k) / double(n - 1);
  }
  s.front() = 0.0;
  s.back() = 1.0;
  return s;
}

double powerOfTen(int k) {
  double r = 1.0;
  const double base = k >= 0 ? 10.0 : 0.1;
  for (int i = 0; i < std::abs(k); ++i) r *= base;
  return r;
}

/// Bit pattern of a float with -0 folded onto +0.
std::uint32_t bitsOf(float v) {
  if (v == 0.0f) v = 0.0f;
  std::uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

struct PointKey {
  std::uint32_t c[3];
  bool operator==(const PointKey& o) const { return c[0] == o.c[0] && c[1] == o.c[1] && c[2] == o.c[2]; }
};
struct PointKeyHash {
  std::size_t operator()(const PointKey& k) const noexcept {
    std::uint64_t h = 0x9E3779B97F4A7C15ull;
    for (std::uint32_t v : k.c) {
      h ^= v;
      h *= 0xFF51AFD7ED558CCDull;
      h ^= h >> 33;
    }
    return static_cast<std::size_t>(h);
  }
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction and state

ParametricCurve::ParametricCurve() = default;

ParametricCurve::ParametricCurve(const std::vector<TripletBase<float>>& points, dim d) {
  setPoints(points, d);
}

ParametricCurve::ParametricCurve(const std::vector<TripletBase<float>>& points,
                                 const std::vector<double>& svalues, dim d) {
  setPoints(points, svalues, d);
}

ParametricCurve::ParametricCurve(const ParametricCurve&) = default;
ParametricCurve::ParametricCurve(ParametricCurve&&) noexcept = default;
ParametricCurve& ParametricCurve::operator=(const ParametricCurve&) = default;
ParametricCurve& ParametricCurve::operator=(ParametricCurve&&) noexcept = default;
ParametricCurve::~ParametricCurve() = default;

void ParametricCurve::setPoints(const std::vector<TripletBase<float>>& points, dim d) {
  m_points = points;
  m_dim = d;
  m_callerParameters = false;
  recomputeArcLength();
}

void ParametricCurve::setPoints(const std::vector<TripletBase<float>>& points,
                                const std::vector<double>& svalues, dim d) {
  if (points.size() != svalues.size()) {
    throw data::invalid("ParametricCurve", "setPoints",
                        SystemMsg("Number of parameter values (%1) differs from the number of points (%2).")
                            << svalues.size() << points.size(),
                        errorType::fatal);
  }
  m_points = points;
  m_svalues = svalues;
  m_dim = d;
  m_callerParameters = true;
  recomputeArcLength();
}

void ParametricCurve::setPointsX(const std::vector<double>& values) {
  m_points.clear();
  m_points.reserve(values.size());
  for (double v : values) m_points.emplace_back(static_cast<float>(v), 0.0f, 0.0f);
  m_callerParameters = false;
  recomputeArcLength();
}

void ParametricCurve::getX(std::vector<double>& values) const {
  values.resize(m_points.size());
  for (std::size_t k = 0; k < m_points.size(); ++k) values[k] = m_points[k][0];
}

void ParametricCurve::getSvalues(std::vector<double>& values) const { values = m_svalues; }

std::size_t ParametricCurve::size() const noexcept { return m_points.size(); }
ParametricCurve::dim ParametricCurve::getDim() const noexcept { return m_dim; }
double ParametricCurve::getLength() const { return m_length; }

void ParametricCurve::recomputeArcLength() {
  const std::vector<double> cum = cumulativeLength(m_points);
  m_length = cum.empty() ? 0.0 : cum.back();
  if (!m_callerParameters) m_svalues = normalisedArcLength(m_points);
}

void ParametricCurve::requirePoints(const char* operation) const {
  if (m_points.empty()) {
    throw data::invalid("ParametricCurve", operation, SystemMsg("The curve has no points."),
                        errorType::fatal);
  }
}

// ---------------------------------------------------------------------------------------------
// Parameter look-up

ParametricCurve::Location ParametricCurve::locate(double s) const {
  const std::size_t n = m_points.size();
  if (n == 1 || std::isnan(s)) return {0, 0.0, m_svalues[0]};
  if (!m_callerParameters) {
    // Non-decreasing parameters: clamp, then binary search for the first bracketing segment.
    if (!(s > m_svalues.front())) return {0, 0.0, m_svalues.front()};
    if (!(s < m_svalues.back())) return {n - 1, 0.0, m_svalues.back()};
    const std::size_t j = static_cast<std::size_t>(
        std::lower_bound(m_svalues.begin() + 1, m_svalues.end(), s) - m_svalues.begin());
    if (m_svalues[j] == s) return {j, 0.0, s};
    const double a = m_svalues[j - 1], b = m_svalues[j];
    return {j - 1, (s - a) / (b - a), s};
  }
  // Caller parameters may be non-monotone or repeated: the first segment from the start whose
  // range brackets s wins.
  for (std::size_t i = 0; i + 1 < n; ++i) {
    const double a = m_svalues[i], b = m_svalues[i + 1];
    if (!(std::min(a, b) <= s && s <= std::max(a, b))) continue;
    if (a == b || s == a) return {i, 0.0, s};
    if (s == b) return {i + 1, 0.0, s};
    return {i, (s - a) / (b - a), s};
  }
  // Not bracketed: the end whose parameter is nearer.
  if (!(std::fabs(s - m_svalues.back()) < std::fabs(s - m_svalues.front())))
    return {0, 0.0, m_svalues.front()};
  return {n - 1, 0.0, m_svalues.back()};
}

TripletBase<double> ParametricCurve::pointAt(const Location& loc) const {
  if (loc.w == 0.0) return widen(m_points[loc.index]);
  return lerp(widen(m_points[loc.index]), widen(m_points[loc.index + 1]), loc.w);
}

TripletBase<double> ParametricCurve::getFirstPoint() const {
  requirePoints("getFirstPoint");
  return widen(m_points.front());
}

TripletBase<double> ParametricCurve::getLastPoint() const {
  requirePoints("getLastPoint");
  return widen(m_points.back());
}

TripletBase<double> ParametricCurve::getPointAtParameter(double s) const {
  requirePoints("getPointAtParameter");
  return pointAt(locate(s));
}

// ---------------------------------------------------------------------------------------------
// Projection

TripletBase<double> ParametricCurve::project(const TripletBase<double>& p, double& s) const {
  const std::size_t n = m_points.size();
  PointD best = widen(m_points[0]);
  s = m_svalues[0];
  if (n == 1) return best;
  double bestD2 = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i + 1 < n; ++i) {
    const PointD a = widen(m_points[i]), b = widen(m_points[i + 1]);
    const PointD d = b - a;
    const double len2 = d.dot(d);
    double t = 0.0;
    if (len2 > 0.0) {
      t = (p - a).dot(d) / len2;
      if (!(t > 0.0)) t = 0.0;  // also NaN
      if (t > 1.0) t = 1.0;
    }
    const PointD q = lerp(a, b, t);
    const PointD e = p - q;
    const double d2 = e.dot(e);
    // Only a strictly smaller distance replaces the best: the earliest segment wins a tie.
    if (d2 < bestD2) {
      bestD2 = d2;
      best = q;
      const double sa = m_svalues[i], sb = m_svalues[i + 1];
      s = t == 0.0 ? sa : (t == 1.0 ? sb : sa + t * (sb - sa));
    }
  }
  return best;
}

TripletBase<float> ParametricCurve::projectPoint(const TripletBase<float>& point) const {
  double s;
  return projectPoint(point, s);
}

TripletBase<float> ParametricCurve::projectPoint(const TripletBase<float>& point, double& s) const {
  requirePoints("projectPoint");
  return narrow(project(widen(point), s));
}

TripletBase<double> ParametricCurve::projectPoint(const TripletBase<double>& point) const {
  double s;
  return projectPoint(point, s);
}

TripletBase<double> ParametricCurve::projectPoint(const TripletBase<double>& point, double& s) const {
  requirePoints("projectPoint");
  return project(point, s);
}

// ---------------------------------------------------------------------------------------------
// Extraction

void ParametricCurve::getCurve(std::vector<TripletBase<float>>& out) const { out = m_points; }

void ParametricCurve::getCurve(double s1, double s2, std::vector<TripletBase<float>>& out) const {
  std::vector<double> svalues;
  getCurve(s1, s2, out, svalues);
}

void ParametricCurve::getCurve(double s1, double s2, std::vector<TripletBase<float>>& out,
                               std::vector<double>& svalues) const {
  requirePoints("getCurve");
  const Location from = locate(s1), to = locate(s2);
  const double pos1 = double(from.index) + from.w, pos2 = double(to.index) + to.w;
  out.clear();
  svalues.clear();
  out.push_back(narrow(pointAt(from)));
  svalues.push_back(from.s);
  // Vertices strictly between the two ends, in the running direction; a vertex whose parameter
  // equals an end is skipped, so that no zero-length segment appears.
  auto addVertex = [&](std::size_t k) {
    if (m_svalues[k] == from.s || m_svalues[k] == to.s) return;
    out.push_back(m_points[k]);
    svalues.push_back(m_svalues[k]);
  };
  if (pos1 <= pos2) {
    for (std::size_t k = from.index + 1; double(k) < pos2; ++k) addVertex(k);
  } else {
    std::size_t k = from.w > 0.0 ? from.index + 1 : from.index;
    while (k > 0 && double(k - 1) > pos2) addVertex(--k);
  }
  out.push_back(narrow(pointAt(to)));
  svalues.push_back(to.s);
}

void ParametricCurve::getCurveBySvalues(std::vector<TripletBase<float>>& out,
                                        const std::vector<double>& svalues, bool clamp) const {
  out.resize(svalues.size());
  if (svalues.empty()) return;
  requirePoints("getCurveBySvalues");
  const std::size_t n = m_points.size();
  const auto range = std::minmax_element(m_svalues.begin(), m_svalues.end());
  for (std::size_t k = 0; k < svalues.size(); ++k) {
    const double s = svalues[k];
    if (!clamp && n >= 2 && (s < *range.first || s > *range.second)) {
      // Extrapolate along the end segment whose end parameter is nearer.
      const bool atStart = std::fabs(s - m_svalues.front()) <= std::fabs(s - m_svalues.back());
      const std::size_t i = atStart ? 0 : n - 2;
      const double a = m_svalues[i], b = m_svalues[i + 1];
      if (a != b) {
        out[k] = narrow(lerp(widen(m_points[i]), widen(m_points[i + 1]), (s - a) / (b - a)));
        continue;
      }
    }
    out[k] = narrow(pointAt(locate(s)));
  }
}

void ParametricCurve::getCurveForEquidistantS(std::vector<TripletBase<float>>& out, int n) const {
  out.clear();
  if (n <= 0) return;
  requirePoints("getCurveForEquidistantS");
  memory_detail::requireMemory("ParametricCurve", "getCurveForEquidistantS",
                               SystemMsg("A curve of %1 points") << n,
                               double(n) * sizeof(TripletBase<float>));
  out.resize(static_cast<std::size_t>(n));
  out.front() = m_points.front();
  if (n == 1) return;
  for (int k = 1; k + 1 < n; ++k) out[k] = narrow(pointAt(locate(double(k) / double(n - 1))));
  out.back() = m_points.back();
}

void ParametricCurve::getCurveBegin(double s, std::vector<TripletBase<float>>& out) const {
  requirePoints("getCurveBegin");
  getCurve(m_svalues.front(), s, out);
}

void ParametricCurve::getCurveEnd(double s, std::vector<TripletBase<float>>& out) const {
  requirePoints("getCurveEnd");
  getCurve(s, m_svalues.back(), out);
}

void ParametricCurve::getCurveCleanEnds(std::vector<TripletBase<float>>& points,
                                        std::vector<double>& svalues, double from, double to) const {
  if (points.size() != svalues.size()) {
    throw data::invalid("ParametricCurve", "getCurveCleanEnds",
                        SystemMsg("Number of parameter values (%1) differs from the number of points (%2).")
                            << svalues.size() << points.size(),
                        errorType::fatal);
  }
  auto interpolate = [&](std::size_t a, std::size_t b, double s) {
    const double w = (s - svalues[a]) / (svalues[b] - svalues[a]);
    return narrow(lerp(widen(points[a]), widen(points[b]), w));
  };
  // Start: the first point that reaches `from`; the point before it moves onto `from` exactly.
  {
    std::size_t k = 0;
    while (k < svalues.size() && !(svalues[k] >= from)) ++k;
    if (k > 0 && k < svalues.size()) {
      std::size_t first = k;
      if (svalues[k] != from) {
        first = k - 1;
        points[first] = interpolate(k - 1, k, from);
        svalues[first] = from;
      }
      points.erase(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(first));
      svalues.erase(svalues.begin(), svalues.begin() + static_cast<std::ptrdiff_t>(first));
    }
  }
  // End: the last point within `to`; the point after it moves onto `to` exactly.
  {
    const std::size_t n = svalues.size();
    std::size_t k = n;
    while (k > 0 && !(svalues[k - 1] <= to)) --k;
    if (k > 0 && k < n) {
      std::size_t last = k - 1;  // index of the last point within `to`
      if (svalues[last] != to) {
        ++last;
        points[last] = interpolate(last - 1, last, to);
        svalues[last] = to;
      }
      points.resize(last + 1);
      svalues.resize(last + 1);
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Editing

void ParametricCurve::expandCurveBothEnds(double f) {
  const std::size_t n = m_points.size();
  const double length = m_length;
  if (n < 2 || !(length > 0.0) || !std::isfinite(length) || !(f > 0.0)) return;
  // The end direction is taken towards the first point at least 1e-3 of the length away, so that a
  // tiny end segment does not give an arbitrary direction.
  auto outward = [&](std::size_t end, bool forward) {
    const PointD e = widen(m_points[end]);
    std::size_t k = end;
    PointD d(0, 0, 0);
    for (std::size_t step = 1; step < n; ++step) {
      k = forward ? end + step : end - step;
      d = e - widen(m_points[k]);
      if (std::sqrt(d.dot(d)) >= 1e-3 * length) break;
    }
    const double len = std::sqrt(d.dot(d));
    return len > 0.0 ? PointD(d[0] / len, d[1] / len, d[2] / len) : PointD(0, 0, 0);
  };
  const PointD u0 = outward(0, true), u1 = outward(n - 1, false);
  const double ext = f * length;
  const PointD p0 = widen(m_points.front()), p1 = widen(m_points.back());
  m_points.insert(m_points.begin(),
                  narrow(PointD(p0[0] + ext * u0[0], p0[1] + ext * u0[1], p0[2] + ext * u0[2])));
  m_points.push_back(narrow(PointD(p1[0] + ext * u1[0], p1[1] + ext * u1[1], p1[2] + ext * u1[2])));
  // The extended curve is parameterised by its arc length again.
  m_callerParameters = false;
  recomputeArcLength();
}

void ParametricCurve::keepPoints(const std::vector<std::size_t>& kept) {
  if (kept.size() == m_points.size()) return;
  std::vector<PointF> points;
  std::vector<double> svalues;
  points.reserve(kept.size());
  svalues.reserve(kept.size());
  for (std::size_t k : kept) {
    points.push_back(m_points[k]);
    svalues.push_back(m_svalues[k]);
  }
  m_points.swap(points);
  if (m_callerParameters) m_svalues.swap(svalues);
  recomputeArcLength();
}

void ParametricCurve::eliminateDoublePoints(int k) {
  const std::size_t n = m_points.size();
  if (n < 2) return;
  const std::vector<double> cum = cumulativeLength(m_points);
  const double total = cum.back();
  std::vector<std::size_t> kept{0};
  if (!(total > 0.0) || !std::isfinite(total)) {
    if (total == 0.0) keepPoints(kept);  // all points coincide: the first one stays
    return;
  }
  const double factor = powerOfTen(k);
  double previous = 0.0;  // normalised arc length of the previous input point
  for (std::size_t j = 1; j < n; ++j) {
    const double s = j + 1 == n ? 1.0 : cum[j] / total;
    // The step is compared with the previous input point, in double spacing.
    if (s - previous > NumericalUtils::spacing(previous) * factor) {
      kept.push_back(j);
    } else if (j + 1 == n) {
      // The last point always stays; it replaces the last kept point unless that is the first.
      if (kept.size() > 1) kept.back() = j;
      else kept.push_back(j);
    }
    previous = s;
  }
  keepPoints(kept);
}

void ParametricCurve::makeUnique() {
  std::unordered_set<PointKey, PointKeyHash> seen;
  seen.reserve(m_points.size() * 2);
  std::vector<std::size_t> kept;
  kept.reserve(m_points.size());
  for (std::size_t k = 0; k < m_points.size(); ++k) {
    const PointF& p = m_points[k];
    if (std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2])) {
      kept.push_back(k);  // NaN equals nothing, not even itself
      continue;
    }
    if (seen.insert(PointKey{{bitsOf(p[0]), bitsOf(p[1]), bitsOf(p[2])}}).second) kept.push_back(k);
  }
  keepPoints(kept);
}

void ParametricCurve::makeContinuous() {
  const std::size_t n = m_points.size();
  if (n < 3) return;
  // A curve whose consecutive segments never turn back is already continuous and stays untouched.
  bool reverses = false;
  for (std::size_t k = 0; k + 2 < n && !reverses; ++k) {
    const PointD d0 = widen(m_points[k + 1]) - widen(m_points[k]);
    const PointD d1 = widen(m_points[k + 2]) - widen(m_points[k + 1]);
    reverses = !(d0.dot(d1) >= 0.0);
  }
  if (!reverses) return;
  // Greedy nearest-neighbour chain from the first point, which is taken to be a true end of the
  // curve; ties go to the lower original index.
  std::vector<std::size_t> remaining(n - 1);
  for (std::size_t k = 1; k < n; ++k) remaining[k - 1] = k;
  std::vector<PointF> chain;
  chain.reserve(n);
  chain.push_back(m_points[0]);
  PointD current = widen(m_points[0]);
  while (!remaining.empty()) {
    std::size_t bestPos = 0;
    double bestD2 = std::numeric_limits<double>::infinity();
    for (std::size_t r = 0; r < remaining.size(); ++r) {
      const PointD d = widen(m_points[remaining[r]]) - current;
      const double d2 = d.dot(d);
      if (d2 < bestD2) {
        bestD2 = d2;
        bestPos = r;
      }
    }
    const std::size_t next = remaining[bestPos];
    remaining.erase(remaining.begin() + static_cast<std::ptrdiff_t>(bestPos));
    chain.push_back(m_points[next]);
    current = widen(m_points[next]);
  }
  m_points.swap(chain);
  // Reordered points no longer match caller parameters: use arc length.
  m_callerParameters = false;
  recomputeArcLength();
}

void ParametricCurve::exportToFile(const std::string& fileName) const {
  QORStream out(fileName, QORStream::write);
  char line[128];
  for (const PointF& p : m_points) {
    std::snprintf(line, sizeof line, "%.9g %.9g %.9g\n", double(p[0]), double(p[1]), double(p[2]));
    out << line;
  }
  out.close();
}

}  // namespace qor
