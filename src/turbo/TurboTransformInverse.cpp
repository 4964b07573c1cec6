/// @file
/// Inverse conversions of `TurboTransform`: (space value, theta, normalised span) back to
/// (axial, radial, theta), with the one-entry cache of the search line.

#include <cstddef>
#include <vector>

#include "foundation/ParallelFor.h"
#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformAccess.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

using turbo_detail::InverseCache;
using turbo_detail::MeshState;
using Access = turbo_detail::TurboTransformAccess;

// (axial, radial, theta) of the bilinear point (a, b) of the cell spanned by the nodes
// (i0, j0), (i1, j0), (i0, j1), (i1, j1), in single precision.
TripletBase<float> interpolateInCell(const Topo2dBase& level,
                                     const QORVector<TripletBase<float>>& nodes, int i0, int i1,
                                     int j0, int j1, double a, double b, float theta) {
  const TripletBase<float>& p00 = nodes.at(static_cast<std::size_t>(level.getij(i0, j0)));
  const TripletBase<float>& p10 = nodes.at(static_cast<std::size_t>(level.getij(i1, j0)));
  const TripletBase<float>& p01 = nodes.at(static_cast<std::size_t>(level.getij(i0, j1)));
  const TripletBase<float>& p11 = nodes.at(static_cast<std::size_t>(level.getij(i1, j1)));
  const float fa = static_cast<float>(a);
  const float fb = static_cast<float>(b);
  return {NumericalUtils::calculateValueInQuadFromST(fa, fb, p00[0], p10[0], p01[0], p11[0]),
          NumericalUtils::calculateValueInQuadFromST(fa, fb, p00[1], p10[1], p01[1], p11[1]),
          theta};
}

// The way a space is searched by the inverse conversions.
enum class InverseWay { full, simple, refused };

InverseWay inverseWayOf(TurboTransform::space s) {
  switch (static_cast<int>(s)) {
    case TurboTransform::mprime:
    case TurboTransform::m:
    case TurboTransform::nmprime:
    case TurboTransform::nm:
    case TurboTransform::mprimeScaled:
      return InverseWay::full;
    case TurboTransform::rnm:
      return InverseWay::simple;
    default:
      return InverseWay::refused;
  }
}

[[noreturn]] void throwSpaceRefused(TurboTransform::space s) {
  throw internal::error("TurboTransform", "convertSpaceTNsToART",
                        SystemMsg("Space (%1) not allowed for conversion here.") << static_cast<int>(s),
                        errorType::fatal);
}

// Clamps to [0, 1]; NaN goes to 0, like a value below the first entry of a search line.
double clampUnit(double v) {
  if (!(v > 0.0)) return 0.0;
  if (v > 1.0) return 1.0;
  return v;
}

// Bracket of x in the ascending sequence value(0) .. value(n - 1), n >= 2, read only where the
// search probes it: the lo, hi and w of interpolateOnDouble on the same values. The upper end (the
// first value greater than x) is searched from a guess by linear interpolation between the end
// values, with steps doubling until it is enclosed and then halving: a few probes on the smooth
// fields of a mesh instead of two full binary searches. The second search of interpolateOnDouble
// (the first value equal to x) runs only when the value just below the upper end is not below x.
// For ascending values the answers are those of interpolateOnDouble; for any values they stay in
// range.
template <typename Value>
void bracketOnLine(std::size_t n, const Value& value, double x, int& lo, int& hi, double& w) {
  const double v0 = value(0);
  if (!(x > v0)) {
    lo = 0;
    hi = 1;
    w = 0.0;
    return;
  }
  const double vLast = value(n - 1);
  if (x >= vLast) {
    lo = static_cast<int>(n) - 2;
    hi = static_cast<int>(n) - 1;
    w = 1.0;
    return;
  }
  // Here value(0) < x < value(n - 1). Invariant below: !(x < value(below)), x < value(above).
  const double guess = (x - v0) / (vLast - v0) * static_cast<double>(n - 1);
  std::size_t start = 0;
  if (guess > 0.0) start = guess < static_cast<double>(n - 2) ? static_cast<std::size_t>(guess) : n - 2;
  std::size_t below = 0, above = n - 1;
  if (x < value(start)) {
    above = start;
    std::size_t step = 1;
    while (above > step && x < value(above - step)) {
      above -= step;
      step *= 2;
    }
    below = above > step ? above - step : 0;
  } else {
    below = start;
    std::size_t step = 1;
    while (below + step < n - 1 && !(x < value(below + step))) {
      below += step;
      step *= 2;
    }
    above = below + step < n - 1 ? below + step : n - 1;
  }
  while (above - below > 1) {
    const std::size_t mid = below + (above - below) / 2;
    if (x < value(mid)) {
      above = mid;
    } else {
      below = mid;
    }
  }
  const std::size_t upper = above;
  const double vUpper = value(upper);
  std::size_t lower = upper - 1;
  double vLower = value(lower);
  if (!(vLower < x)) {
    std::size_t first = 0;
    std::size_t count = upper;
    while (count > 0) {
      const std::size_t step = count / 2;
      const std::size_t it = first + step;
      if (value(it) < x) {
        first = it + 1;
        count -= step + 1;
      } else {
        count = step;
      }
    }
    if (first < upper && value(first) == x) lower = first;
    vLower = value(lower);
  }
  lo = static_cast<int>(lower);
  hi = static_cast<int>(upper);
  const double d = vUpper - vLower;
  if (100.0 * NumericalUtils::spacing(vUpper) <= d) {
    w = (x - vLower) / d;
  } else {
    w = 0.5;
  }
}

// ---- one point, the one-entry cache given ------------------------------------------------------

// The one-point inverse of the m-like spaces: the values of the space along the mesh line of the
// point's normalised span (kept in `cache`) give the bracket in i.
void fullToART(const TurboTransform& t, const MeshState& mesh, InverseCache& cache,
               TurboTransform::space s, const TripletBase<float>& in, TripletBase<float>& out) {
  const double ns = clampUnit(in[2]);

  const QORVector<double>* line = cache.find(static_cast<int>(s), ns);
  if (line == nullptr) {
    // Rebuild the search line.
    QORVector<TripletBase<float>> points;
    turbo_detail::getConstantSpaceNspan(mesh, ns, points);
    QORVector<double>& values = cache.refill();
    values.assign(points.size(), 0.0);
    for (std::size_t k = 0; k < points.size(); ++k) values[k] = t.convertARTtoSpace(s, points[k]);
    line = &cache.hold(static_cast<int>(s), ns);
  }

  int i0 = 0, i1 = 0, j0 = 0, j1 = 0;
  double a = 0.0, b = 0.0;
  turbo_detail::interpolateOnDouble(*line, static_cast<double>(in[0]), i0, i1, a);
  turbo_detail::interpolateOnDouble(mesh.fields.at(TurboTransform::nspan), ns, j0, j1, b);

  out = interpolateInCell(mesh.topo->getLevel(0), mesh.points, i0, i1, j0, j1, a, b, in[1]);
}

// The one-point inverse of rnm, one value per i row: no line to search.
void simpleToART(const MeshState& mesh, TurboTransform::space s, const TripletBase<float>& in,
                 TripletBase<float>& out) {
  const double value = clampUnit(in[0]);
  const double ns = clampUnit(in[2]);

  int i0 = 0, i1 = 0, j0 = 0, j1 = 0;
  double a = 0.0, b = 0.0;
  turbo_detail::interpolateOnDouble(mesh.fields.at(static_cast<std::size_t>(s)), value, i0, i1, a);
  turbo_detail::interpolateOnDouble(mesh.fields.at(TurboTransform::nspan), ns, j0, j1, b);

  out = interpolateInCell(mesh.topo->getLevel(0), mesh.points, i0, i1, j0, j1, a, b, in[1]);
}

// ---- double precision on the hub or the shroud ------------------------------------------------

// The inverse in double precision on the hub or the shroud line, m-like spaces.
void fullToARTspanEQ0or1(const TurboTransform& t, const MeshState& mesh, InverseCache& cache,
                         TurboTransform::space s, const TripletBase<double>& in,
                         TripletBase<double>& out, bool onHub) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int jStar = onHub ? 0 : level.getJcv();
  // Same key as the single-precision line at span 0 or 1: either form reuses the other's line.
  const double key = onHub ? 0.0 : 1.0;

  const QORVector<double>* line = cache.find(static_cast<int>(s), key);
  if (line == nullptr) {
    const int isize = level.getIsize();
    QORVector<double>& values = cache.refill();
    values.assign(static_cast<std::size_t>(isize), 0.0);
    for (int i = 0; i < isize; ++i) {
      const TripletBase<float>& node =
          mesh.points.at(static_cast<std::size_t>(level.getij(i, jStar)));
      values[static_cast<std::size_t>(i)] = t.convertARTtoSpace(s, node);
    }
    line = &cache.hold(static_cast<int>(s), key);
  }

  int lo = 0, hi = 0;
  double w = 0.0;
  turbo_detail::interpolateOnDouble(*line, in[0], lo, hi, w);
  const TripletBase<float>& pLo = mesh.points.at(static_cast<std::size_t>(level.getij(lo, jStar)));
  const TripletBase<float>& pHi = mesh.points.at(static_cast<std::size_t>(level.getij(hi, jStar)));
  out[0] = w * pHi[0] + (1.0 - w) * pLo[0];
  out[1] = w * pHi[1] + (1.0 - w) * pLo[1];
  out[2] = in[1];
}

// The same for rnm.
void simpleToARTspanEQ0or1(const MeshState& mesh, TurboTransform::space s,
                           const TripletBase<double>& in, TripletBase<double>& out, bool onHub) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const int jStar = onHub ? 0 : level.getJcv();
  const double value = clampUnit(in[0]);

  int lo = 0, hi = 0;
  double w = 0.0;
  turbo_detail::interpolateOnDouble(mesh.fields.at(static_cast<std::size_t>(s)), value, lo, hi, w);
  const TripletBase<float>& pLo = mesh.points.at(static_cast<std::size_t>(level.getij(lo, jStar)));
  const TripletBase<float>& pHi = mesh.points.at(static_cast<std::size_t>(level.getij(hi, jStar)));
  out[0] = w * pHi[0] + (1.0 - w) * pLo[0];
  out[1] = w * pHi[1] + (1.0 - w) * pLo[1];
  out[2] = in[1];
}

}  // namespace

// ---- dispatch -------------------------------------------------------------------------------

void TurboTransform::convertSpaceTNsToART(space s, const TripletBase<float>& in,
                                          TripletBase<float>& out) const {
  Access::convertSpaceTNsToART(*this, *m_inverseCache, s, in, out);
}

void Access::convertSpaceTNsToART(const TurboTransform& t, InverseCache& cache,
                                  TurboTransform::space s, const TripletBase<float>& in,
                                  TripletBase<float>& out) {
  switch (inverseWayOf(s)) {
    case InverseWay::full:
      turbo_detail::requireMesh(t.m_mesh, "convertARTtoSpace");
      fullToART(t, *t.m_mesh, cache, s, in, out);
      return;
    case InverseWay::simple:
      turbo_detail::requireMesh(t.m_mesh, "convertARTtoSpace");
      simpleToART(*t.m_mesh, s, in, out);
      return;
    case InverseWay::refused:
      break;
  }
  throwSpaceRefused(s);
}

void TurboTransform::convertSpaceTNsToART(space s, const std::vector<TripletBase<float>>& in,
                                          std::vector<TripletBase<float>>& out) const {
  if (in.empty()) return;
  if (out.size() != in.size()) out.resize(in.size());
  for (std::size_t k = 0; k < in.size(); ++k) convertSpaceTNsToART(s, in[k], out[k]);
}

void TurboTransform::convertSpaceTNsToARTspanEQ0or1(space s, const TripletBase<double>& in,
                                                    TripletBase<double>& out, bool onHub) const {
  switch (inverseWayOf(s)) {
    case InverseWay::full:
      turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
      fullToARTspanEQ0or1(*this, *m_mesh, *m_inverseCache, s, in, out, onHub);
      return;
    case InverseWay::simple:
      turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
      simpleToARTspanEQ0or1(*m_mesh, s, in, out, onHub);
      return;
    case InverseWay::refused:
      break;
  }
  throwSpaceRefused(s);
}

// ---- any spans, arrays, no cache -----------------------------------------------------------------
//
// The one-point path searches the values c_i = F(P~_i) of its line: P_i = node (i, j0) +
// b (node (i, j1) - node (i, j0)), rounded to float (P~_i), and F the forward conversion (cell search
// and bilinear interpolation in float). P_i lies on the mesh edge between the nodes (i, j0) and
// (i, j1), along which F is exactly linear, so in exact arithmetic c_i = g_i = (1 - b) f(i, j0) +
// b f(i, j1), f the field at the nodes. This form searches g_i, computed in double where the search
// probes it, and then interpolates in the cell exactly as the one-point path does: the same j lines
// and weight b, the same cell formula. The results differ only through the float roundings in c_i
// (u = 2^-24, |P| the largest coordinate of the mesh, F the space):
//   - P~_i: the blend of two float nodes rounds to within 2 u |P|, which moves F by 2 u |P| |grad F|;
//   - the cell search solves X(s, t) = P~_i in float to a residual of about 4 u |P|: 4 u |P| |grad F|;
//   - the float interpolation of the float-rounded corner values: within 4 u |F|max.
// So |c_i - g_i| <= e = 6 u |P| |grad F| + 4 u |F|max. With the weight along the line
// a = (x - c_lo) / (c_hi - c_lo), an error e in the bracket values moves the point along the line by
// at most e / (dF/dl) to first order, dF/dl the rise of the space per length along the line; twice
// that covers the second-order terms and a neighbouring bracket chosen near a node (the point is
// continuous in x there). The final interpolation in float adds 3 u |P| to each result. Hence
//   |out - out_one_point| <= 2 (6 u |P| |grad F| + 4 u |F|max) / min (dF/dl) + 6 u |P|
//                          = FLT_EPSILON ((6 |P| |grad F| + 4 |F|max) / min (dF/dl) + 3 |P|).
// For m and nm, |grad F| / (dF/dl) is about 1 (the gradient runs along the streamwise lines) and
// |F|max / (dF/dl) is the line length, so the bound is a few tens of FLT_EPSILON |P|; for the m'
// spaces r max / r min multiplies the second term. The tests evaluate this bound from the mesh of
// each passage. `rnm` needs no line: its results are those of the one-point path, bit for bit.

void TurboTransform::convertSpaceTNsToART(space s, const TripletBase<float>* in, std::size_t n,
                                          TripletBase<float>* out,
                                          const ListOptions& options) const {
  const InverseWay way = inverseWayOf(s);
  if (way == InverseWay::refused) throwSpaceRefused(s);
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");
  if (n > 0 && (in == nullptr || out == nullptr)) {
    throw data::invalid("TurboTransform", "convertSpaceTNsToART",
                        SystemMsg("Null array for a list of %1 points.") << static_cast<unsigned long long>(n),
                        errorType::fatal);
  }
  const unsigned parts =
      detail::resolveThreads(options.threads, n, "TurboTransform", "convertSpaceTNsToART");
  if (n == 0) return;

  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  const std::size_t isize = static_cast<std::size_t>(level.getIsize());
  const std::size_t jsize = static_cast<std::size_t>(level.getJsize());
  const std::vector<double>& spans = m_mesh->fields.at(nspan);
  const std::vector<double>& field = m_mesh->fields.at(static_cast<std::size_t>(s));
  const std::size_t fieldSize = way == InverseWay::full ? isize * jsize : isize;
  if (isize < 2 || jsize < 2 || spans.size() != jsize || field.size() < fieldSize ||
      m_mesh->points.size() < isize * jsize || level.getij(1, 0) != static_cast<int>(jsize) ||
      level.getij(0, 0) != 0) {
    throw internal::error("TurboTransform", "convertSpaceTNsToART",
                          SystemMsg("Background mesh and fields do not match."), errorType::fatal);
  }
  const TripletBase<float>* nodes = m_mesh->points.data();
  const double* f = field.data();

  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    for (std::size_t k = begin; k < end; ++k) {
      const TripletBase<float> p = in[k];  // a copy: out may be in
      const double ns = clampUnit(p[2]);
      int i0 = 0, i1 = 0, j0 = 0, j1 = 0;
      double a = 0.0, b = 0.0;
      bracketOnLine(jsize, [&spans](std::size_t j) { return spans[j]; }, ns, j0, j1, b);
      if (way == InverseWay::full) {
        const double* f0 = f + j0;
        const double* f1 = f + j1;
        const double b0 = 1.0 - b;
        // (1 - b) f0 + b f1 is exact at b = 0 and 1 and, like the fields, ascending along i.
        bracketOnLine(
            isize, [=](std::size_t i) { return b0 * f0[i * jsize] + b * f1[i * jsize]; },
            static_cast<double>(p[0]), i0, i1, a);
      } else {
        interpolateOnDouble(field, clampUnit(p[0]), i0, i1, a);
      }
      const TripletBase<float>& p00 = nodes[static_cast<std::size_t>(i0) * jsize + j0];
      const TripletBase<float>& p10 = nodes[static_cast<std::size_t>(i1) * jsize + j0];
      const TripletBase<float>& p01 = nodes[static_cast<std::size_t>(i0) * jsize + j1];
      const TripletBase<float>& p11 = nodes[static_cast<std::size_t>(i1) * jsize + j1];
      const float fa = static_cast<float>(a);
      const float fb = static_cast<float>(b);
      out[k] = TripletBase<float>(
          NumericalUtils::calculateValueInQuadFromST(fa, fb, p00[0], p10[0], p01[0], p11[0]),
          NumericalUtils::calculateValueInQuadFromST(fa, fb, p00[1], p10[1], p01[1], p11[1]),
          p[1]);
    }
  });
}

// ---- double precision on the hub or the shroud ------------------------------------------------

// ---- many points at one span ------------------------------------------------------------------

void TurboTransform::convertOnConstantSpanSpaceTNsToART(space s, double spanValue,
                                                        const std::vector<TripletBase<double>>& in,
                                                        std::vector<TripletBase<double>>& out) const {
  if (out.size() != in.size()) out.resize(in.size());
  turbo_detail::requireMesh(m_mesh, "convertARTtoSpace");

  QORVector<double> values;
  QORVector<TripletBase<float>> points;
  turbo_detail::getSpaceOnConstantSpan(*m_mesh, s, spanValue, values, points);

  for (std::size_t k = 0; k < in.size(); ++k) {
    int lo = 0, hi = 0;
    double w = 0.0;
    interpolateOnDouble(values, in[k][0], lo, hi, w);
    const TripletBase<double> pLo(points.at(static_cast<std::size_t>(lo)));
    const TripletBase<double> pHi(points.at(static_cast<std::size_t>(hi)));
    const TripletBase<double> p = pLo + (pHi - pLo) * w;
    out[k] = TripletBase<double>(p[0], p[1], in[k][1]);
  }
}

// ---- search helpers ---------------------------------------------------------------------------

void turbo_detail::interpolateOnDouble(const std::vector<double>& values, double x, int& lo,
                                       int& hi, double& w) {
  const std::size_t n = values.size();
  if (n == 0) return;
  if (n == 1) {
    lo = 0;
    hi = 0;
    w = 0.0;
    return;
  }
  // Written so that NaN x falls here too: no extrapolation before the first value.
  if (!(x > values[0])) {
    lo = 0;
    hi = 1;
    w = 0.0;
    return;
  }
  if (x >= values[n - 1]) {
    lo = static_cast<int>(n) - 2;
    hi = static_cast<int>(n) - 1;
    w = 1.0;
    return;
  }

  // upper: first index whose value is greater than x. The binary searches stay within the array
  // even for unsorted or NaN data; the result is then clamped to a valid bracket.
  std::size_t first = 0;
  std::size_t count = n;
  while (count > 0) {
    const std::size_t step = count / 2;
    const std::size_t it = first + step;
    if (!(x < values[it])) {
      first = it + 1;
      count -= step + 1;
    } else {
      count = step;
    }
  }
  std::size_t upper = first;
  if (upper > n - 1) upper = n - 1;
  if (upper < 1) upper = 1;

  // lower: first index whose value is not below x, searched within [0, upper].
  first = 0;
  count = upper;
  while (count > 0) {
    const std::size_t step = count / 2;
    const std::size_t it = first + step;
    if (values[it] < x) {
      first = it + 1;
      count -= step + 1;
    } else {
      count = step;
    }
  }
  const std::size_t lower = (first < upper && values[first] == x) ? first : upper - 1;

  lo = static_cast<int>(lower);
  hi = static_cast<int>(upper);
  const double d = values[upper] - values[lower];
  // A bracket narrower than a few ulps of its upper value is not divided by.
  if (100.0 * NumericalUtils::spacing(values[upper]) <= d) {
    w = (x - values[lower]) / d;
  } else {
    w = 0.5;
  }
}

void TurboTransform::interpolateOnDouble(const std::vector<double>& values, double x, int& lo,
                                         int& hi, double& w) const {
  turbo_detail::interpolateOnDouble(values, x, lo, hi, w);
}

void TurboTransform::getNSpanValues(std::vector<double>& out) const {
  if (m_mesh) {
    out = m_mesh->fields.at(nspan);
  } else {
    out.clear();  // no mesh, no lines
  }
}

}  // namespace qor
