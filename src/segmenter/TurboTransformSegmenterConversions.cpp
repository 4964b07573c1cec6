/// @file
/// `TurboTransformSegmenter` per-segment coordinates: conversions between ART and (u, v), the
/// boundary accessors and normalised arc length along a span line.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/ParallelFor.h"
#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/QORVector.h"
#include "qor/segmenter/TurboTransformSegmenter.h"
#include "turbo/TurboTransformAccess.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

const char* const kClassName = "TurboTransformSegmenter";

/// Added to every denominator of the (u, v) interpolation: the smallest positive normal double.
constexpr double kEps = 2.2250738585072014e-308;

using PointList = std::vector<TripletBase<float>>;

/// Limits v to 0..1; NaN passes through.
double clamp01(double v) {
  if (v < 0.0) return 0.0;
  if (v > 1.0) return 1.0;
  return v;
}

/// Bracket of eta in the ascending span values S: j1 = first index with S[j1] >= eta, j0 = last
/// index with S[j0] <= eta. When no value reaches eta (S ends below it, or eta is NaN) both are the
/// last index; when none lies at or below eta, j0 = j1. An empty S fails with std::out_of_range.
void bracket(const std::vector<double>& S, double eta, std::size_t& j0, std::size_t& j1) {
  const std::size_t n = S.size();
  if (n == 0) (void)S.at(0);
  j1 = n - 1;
  for (std::size_t j = 0; j < n; ++j) {
    if (S[j] >= eta) {
      j1 = j;
      break;
    }
  }
  if (!(S[j1] >= eta)) {
    j0 = j1;
    return;
  }
  j0 = j1;
  for (std::size_t j = n; j-- > 0;) {
    if (S[j] <= eta) {
      j0 = j;
      break;
    }
  }
}

/// Relative position of x between the west value w and the east value e.
double ratio(double x, double w, double e) { return (x - w) / (e - w + kEps); }

/// The input of the transform's inverse for (u, v) in a segment whose west and east boundary lines
/// have the values W and E of the space at the span values S: (space value, 0, normalised span).
TripletBase<float> inverseInput(const std::vector<float>& W, const std::vector<float>& E,
                                const std::vector<double>& S, const TripletBase<float>& uv) {
  const double u = clamp01(uv[0]);
  double eta = uv[1];
  double w = 0.0;
  double e = 0.0;
  if (eta > 0.0 && eta < 1.0) {
    std::size_t j0 = 0;
    std::size_t j1 = 0;
    bracket(S, eta, j0, j1);
    const double t = (eta - S[j0]) / (S[j1] - S[j0] + kEps);
    w = (1.0 - t) * W.at(j0) + t * W.at(j1);
    e = (1.0 - t) * E.at(j0) + t * E.at(j1);
  } else if (eta >= 1.0) {
    eta = 1.0;
    w = W.at(W.size() - 1);
    e = E.at(E.size() - 1);
  } else {  // eta <= 0, and NaN taken as the hub
    eta = 0.0;
    w = W.at(0);
    e = E.at(0);
  }
  const double x = w + u * (e - w);
  return TripletBase<float>(static_cast<float>(x), 0.0f, static_cast<float>(eta));
}

internal::error outOfBounds(const char* function, int last, int id) {
  return internal::error(kClassName, function,
                         SystemMsg("Segment id out of bounds, Min = 0, Max = %1,  attempted %2.")
                             << last << id,
                         errorType::fatal);
}

}  // namespace

void TurboTransformSegmenter::requireInternalSet(const char* function) const {
  // Conversions need the boundary lines; before setInternalBoundaries there are none to use.
  if (!m_internalSet) {
    throw internal::error(kClassName, function, SystemMsg("Internal segments not set."),
                          errorType::fatal);
  }
}

// ---- boundary accessors -------------------------------------------------------------------------

int TurboTransformSegmenter::getLastSegmentID() const {
  return static_cast<int>(m_boundaries.size()) - 2;
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getInternalBoundaryWest(
    int s) const {
  const int last = getLastSegmentID();
  if (s < 0 || s > last) throw outOfBounds("getInternalBoundaryLeft", last, s);
  return m_boundaries.at(static_cast<std::size_t>(s)).finalCurve;
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getInternalBoundaryEast(
    int s) const {
  const int last = getLastSegmentID();
  if (s < 0 || s > last) throw outOfBounds("getInternalBoundaryLeft", last, s);
  return m_boundaries.at(static_cast<std::size_t>(s) + 1).finalCurve;
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getFirstSegmenInternalBoundaryWest()
    const {
  return getInternalBoundaryWest(0);
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getFirstSegmenInternalBoundaryEast()
    const {
  return getInternalBoundaryEast(0);
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getLastSegmenInternalBoundaryWest()
    const {
  return getInternalBoundaryWest(getLastSegmentID());
}

const std::vector<TripletBase<float>>& TurboTransformSegmenter::getLastSegmenInternalBoundaryEast()
    const {
  return getInternalBoundaryEast(getLastSegmentID());
}

namespace {

/// The piece of `wall` between the wall ends of the west and east boundary lines of segment s.
/// `atHub` selects the first points of the boundary lines (hub) or their last points (shroud).
void wallPiece(const ParametricCurve& wall, const PointList& west, const PointList& east, int s,
               int last, bool atHub, PointList& out) {
  const TripletBase<float>& westEnd = atHub ? west.at(0) : west.at(west.size() - 1);
  const TripletBase<float>& eastEnd = atHub ? east.at(0) : east.at(east.size() - 1);
  double sE = 0.0;
  double sW = 0.0;
  wall.projectPoint(eastEnd, sE);
  wall.projectPoint(westEnd, sW);
  if (s == 0) {
    wall.getCurveBegin(sE, out);
  } else if (s == last) {
    wall.getCurveEnd(sW, out);
  } else {
    wall.getCurve(sW, sE, out);
  }
  // The pieces meet the boundary lines exactly.
  if (out.size() < 2) out.resize(2);
  out.front() = westEnd;
  out.back() = eastEnd;
}

}  // namespace

void TurboTransformSegmenter::getSegmentInternalBoundarySouth(
    int s, std::vector<TripletBase<float>>& out) const {
  const int last = getLastSegmentID();
  if (s < 0 || s > last) throw outOfBounds("getSegmentInternalBoundarySouth", last, s);
  wallPiece(m_spanCurves.at(0), getInternalBoundaryWest(s), getInternalBoundaryEast(s), s, last,
            true, out);
}

void TurboTransformSegmenter::getSegmentInternalBoundaryNorth(
    int s, std::vector<TripletBase<float>>& out) const {
  const int last = getLastSegmentID();
  if (s < 0 || s > last) throw outOfBounds("getSegmentInternalBoundaryNorth", last, s);
  wallPiece(m_spanCurves.at(m_spanCurves.size() - 1), getInternalBoundaryWest(s),
            getInternalBoundaryEast(s), s, last, false, out);
}

// ---- (u, v) conversions -------------------------------------------------------------------------

void TurboTransformSegmenter::convertSpaceThetaNspanToUV(int s, spaceSeg k,
                                                         const TripletBase<float>& sts,
                                                         TripletBase<float>& uv) const {
  const auto ks = static_cast<std::size_t>(k);
  const auto is = static_cast<std::size_t>(s);
  const std::vector<float>& W = m_boundaries.at(is).spaceValues.at(ks);
  const std::vector<float>& E = m_boundaries.at(is + 1).spaceValues.at(ks);
  const std::vector<double>& S = m_spanValues;

  double x = sts[0];
  if (k == nm || k == rnm) x = clamp01(x);
  const double eta = sts[2];

  double u = 0.0;
  double v = 0.0;
  if (eta <= 0.0) {
    u = clamp01(ratio(x, W.at(0), E.at(0)));
    v = 0.0;
  } else if (eta >= 1.0) {
    u = clamp01(ratio(x, W.at(W.size() - 1), E.at(E.size() - 1)));
    v = 1.0;
  } else {
    v = clamp01(eta);
    std::size_t j0 = 0;
    std::size_t j1 = 0;
    bracket(S, eta, j0, j1);
    if (S[j1] == eta) {
      u = clamp01(ratio(x, W.at(j1), E.at(j1)));
    } else {
      // Interpolated between two span values and deliberately not clamped.
      const double t = (eta - S[j0]) / (S[j1] - S[j0] + kEps);
      u = (1.0 - t) * ratio(x, W.at(j0), E.at(j0)) + t * ratio(x, W.at(j1), E.at(j1));
    }
  }
  uv = TripletBase<float>(static_cast<float>(u), static_cast<float>(v), 0.0f);
}

void TurboTransformSegmenter::convertARTtoSpaceNspan(int s, spaceSeg k,
                                                     const TripletBase<float>& art,
                                                     TripletBase<float>& uv) const {
  requireInternalSet("convertARTtoSpaceNspan");
  TripletBase<float> sts;
  m_turboTransform->convertARTtoSpaceTNs(m_segSpaces.at(static_cast<std::size_t>(k)), art, sts);
  convertSpaceThetaNspanToUV(s, k, sts, uv);
}

void TurboTransformSegmenter::convertARTtoSpaceNspan(int s, spaceSeg k,
                                                     const std::vector<TripletBase<float>>& art,
                                                     std::vector<TripletBase<float>>& uv) const {
  requireInternalSet("convertARTtoSpaceNspan");
  // Converted into a local list first, so that `art` and `uv` may be the same vector.
  PointList sts;
  m_turboTransform->convertARTtoSpaceTNs(m_segSpaces.at(static_cast<std::size_t>(k)), art, sts);
  PointList result(art.size(), TripletBase<float>());
  for (std::size_t p = 0; p < result.size(); ++p) {
    convertSpaceThetaNspanToUV(s, k, sts.at(p), result[p]);
  }
  uv.swap(result);
}

void TurboTransformSegmenter::convertSpaceNspanToARTimpl(const TurboTransform& transform, int s,
                                                         spaceSeg k, TripletBase<float>& art,
                                                         const TripletBase<float>& uv) const {
  const auto ks = static_cast<std::size_t>(k);
  const auto is = static_cast<std::size_t>(s);
  transform.convertSpaceTNsToART(
      m_segSpaces.at(ks),
      inverseInput(m_boundaries.at(is).spaceValues.at(ks),
                   m_boundaries.at(is + 1).spaceValues.at(ks), m_spanValues, uv),
      art);
}

void TurboTransformSegmenter::convertSpaceNspanToART(int s, spaceSeg k, TripletBase<float>& art,
                                                     const TripletBase<float>& uv) const {
  requireInternalSet("convertSpaceNspanToART");
  convertSpaceNspanToARTimpl(*m_turboTransform, s, k, art, uv);
}

void TurboTransformSegmenter::convertSpaceNspanToART(
    int s, spaceSeg k, std::vector<TripletBase<float>>& art,
    const std::vector<TripletBase<float>>& uv) const {
  requireInternalSet("convertSpaceNspanToART");
  PointList result(uv.size(), TripletBase<float>());
  for (std::size_t p = 0; p < result.size(); ++p)
    convertSpaceNspanToARTimpl(*m_turboTransform, s, k, result[p], uv[p]);
  art.swap(result);
}

// ---- array forms -------------------------------------------------------------------------------

void TurboTransformSegmenter::checkArrays(const char* function, int s, spaceSeg k,
                                          const TripletBase<float>* in,
                                          const TripletBase<float>* out, std::size_t n) const {
  requireInternalSet(function);
  const int last = getLastSegmentID();
  if (s < 0 || s > last) throw outOfBounds(function, last, s);
  if (static_cast<unsigned>(k) > static_cast<unsigned>(mprime)) {
    throw data::invalid(kClassName, function, SystemMsg("Segment space (%1) unknown.") << int(k),
                        errorType::fatal);
  }
  if (n == 0) return;
  if (in == nullptr || out == nullptr) {
    throw data::invalid(kClassName, function, SystemMsg("Null array of points."),
                        errorType::fatal);
  }
  const auto a = reinterpret_cast<std::uintptr_t>(in), b = reinterpret_cast<std::uintptr_t>(out);
  const std::uintptr_t bytes = n * sizeof(TripletBase<float>);
  if (a < b + bytes && b < a + bytes) {
    throw data::invalid(kClassName, function,
                        SystemMsg("The output array overlaps the input points."),
                        errorType::fatal);
  }
}

void TurboTransformSegmenter::convertARTtoSpaceNspan(
    int s, spaceSeg k, const TripletBase<float>* art, std::size_t n, TripletBase<float>* uv,
    const TurboTransform::ListOptions& options) const {
  const unsigned parts =
      detail::resolveThreads(options.threads, n, kClassName, "convertARTtoSpaceNspan");
  checkArrays("convertARTtoSpaceNspan", s, k, art, uv, n);
  if (n == 0) return;
  const TurboTransform::space space = m_segSpaces.at(static_cast<std::size_t>(k));
  // The forward conversions of the transform keep no state: the chunks share it.
  const TurboTransform::ListOptions one;
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    m_turboTransform->convertARTtoSpaceTNs(space, art + begin, end - begin, uv + begin, one);
    for (std::size_t p = begin; p < end; ++p) {
      const TripletBase<float> sts = uv[p];
      convertSpaceThetaNspanToUV(s, k, sts, uv[p]);
    }
  });
}

void TurboTransformSegmenter::convertSpaceNspanToART(
    int s, spaceSeg k, TripletBase<float>* art, const TripletBase<float>* uv, std::size_t n,
    const TurboTransform::ListOptions& options) const {
  const unsigned parts =
      detail::resolveThreads(options.threads, n, kClassName, "convertSpaceNspanToART");
  checkArrays("convertSpaceNspanToART", s, k, uv, art, n);
  if (n == 0) return;
  const auto ks = static_cast<std::size_t>(k);
  const auto is = static_cast<std::size_t>(s);
  const TurboTransform::space space = m_segSpaces.at(ks);
  const std::vector<float>& W = m_boundaries.at(is).spaceValues.at(ks);
  const std::vector<float>& E = m_boundaries.at(is + 1).spaceValues.at(ks);
  if (m_fastArrayInverse) {
    // (space value, theta, nspan) of each point, then the transform's array inverse in place on
    // the chunk (it keeps no state: the chunks share the transform).
    const TurboTransform::ListOptions one;
    detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
      for (std::size_t p = begin; p < end; ++p) art[p] = inverseInput(W, E, m_spanValues, uv[p]);
      m_turboTransform->convertSpaceTNsToART(space, art + begin, end - begin, art + begin, one);
    });
    return;
  }
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    // The one-point inverse of the transform with a search-line cache of the chunk's own, so that
    // the chunks share the transform. The cache only remembers a search line: the results do not
    // depend on its history.
    turbo_detail::InverseCache cache;
    for (std::size_t p = begin; p < end; ++p) {
      turbo_detail::TurboTransformAccess::convertSpaceTNsToART(
          *m_turboTransform, cache, space, inverseInput(W, E, m_spanValues, uv[p]), art[p]);
    }
  });
}

// ---- segment of a point ------------------------------------------------------------------------

void TurboTransformSegmenter::checkTolerance(const char* function, double tolerance) const {
  if (!(tolerance >= 0.0)) {
    throw data::invalid(kClassName, function,
                        SystemMsg("Tolerance (%1) must be a number >= 0.") << tolerance,
                        errorType::fatal);
  }
}

int TurboTransformSegmenter::segmentOf(const TripletBase<float>& art,
                                       const TripletBase<float>& rnmThetaNspan,
                                       double tolerance) const {
  // The transform places a NaN point in some cell and gives it finite values: refuse it here.
  if (std::isnan(art[0]) || std::isnan(art[1])) return -1;
  const double x = rnmThetaNspan[0];
  const double eta = rnmThetaNspan[2];
  // Written so that NaN fails every test and lands outside.
  if (!(x >= -tolerance && x <= 1.0 + tolerance && eta >= -tolerance && eta <= 1.0 + tolerance)) {
    return -1;
  }
  const std::vector<double>& S = m_spanValues;
  const auto k = static_cast<std::size_t>(rnm);
  std::size_t j0 = 0;
  std::size_t j1 = 0;
  double t = 0.0;
  if (eta >= 1.0) {
    j0 = j1 = S.size() - 1;
  } else if (eta > 0.0) {
    bracket(S, eta, j0, j1);
    t = (eta - S[j0]) / (S[j1] - S[j0] + kEps);
  }
  // The lines follow each other downstream: the last west line at or before x names the segment.
  const int last = getLastSegmentID();
  int segment = 0;
  for (int b = last; b >= 1; --b) {
    const std::vector<float>& W = m_boundaries[static_cast<std::size_t>(b)].spaceValues.at(k);
    const double west = (1.0 - t) * W.at(j0) + t * W.at(j1);
    if (x >= west) {
      segment = b;
      break;
    }
  }
  return segment;
}

int TurboTransformSegmenter::findSegment(const TripletBase<float>& art, double tolerance) const {
  requireInternalSet("findSegment");
  checkTolerance("findSegment", tolerance);
  TripletBase<float> sts;
  m_turboTransform->convertARTtoSpaceTNs(TurboTransform::rnm, art, sts);
  return segmentOf(art, sts, tolerance);
}

void TurboTransformSegmenter::findSegment(const TripletBase<float>* art, std::size_t n,
                                          int* segment, double tolerance,
                                          const TurboTransform::ListOptions& options) const {
  findSegment(art, n, segment, nullptr, tolerance, options);
}

void TurboTransformSegmenter::findSegment(const TripletBase<float>* art, std::size_t n,
                                          int* segment, std::int8_t* status, double tolerance,
                                          const TurboTransform::ListOptions& options) const {
  const unsigned parts = detail::resolveThreads(options.threads, n, kClassName, "findSegment");
  requireInternalSet("findSegment");
  checkTolerance("findSegment", tolerance);
  if (n == 0) return;
  if (art == nullptr || segment == nullptr) {
    throw data::invalid(kClassName, "findSegment", SystemMsg("Null array of points."),
                        errorType::fatal);
  }
  const TurboTransform::ListOptions one;
  detail::parallelChunks(n, parts, [&](std::size_t begin, std::size_t end, unsigned) {
    // Blocks through a buffer on the stack: rnm, nspan and the status from one location of each
    // point by the transform's array form (the values of its one-point forms), nothing allocated.
    constexpr std::size_t kBlock = 256;
    static constexpr TurboTransform::space kSpaces[2] = {TurboTransform::rnm,
                                                         TurboTransform::nspan};
    float values[2 * kBlock];
    for (std::size_t b = begin; b < end; b += kBlock) {
      const std::size_t count = std::min(kBlock, end - b);
      m_turboTransform->convertARTtoSpace(art + b, count, kSpaces, 2, values, nullptr, nullptr,
                                          status == nullptr ? nullptr : status + b, one);
      for (std::size_t p = 0; p < count; ++p) {
        const TripletBase<float> rnmThetaNspan(values[2 * p], 0.0f, values[2 * p + 1]);
        segment[b + p] = segmentOf(art[b + p], rnmThetaNspan, tolerance);
      }
    }
  });
}

void TurboTransformSegmenter::convertARTtoRnmNspan(int s, const TripletBase<float>& art,
                                                   TripletBase<float>& uv) const {
  requireInternalSet("convertARTtoRnmNspan");
  convertARTtoSpaceNspan(s, rnm, art, uv);
}

void TurboTransformSegmenter::convertARTtoRnmNspan(int s,
                                                   const std::vector<TripletBase<float>>& art,
                                                   std::vector<TripletBase<float>>& uv) const {
  requireInternalSet("convertARTtoRnmNspan");
  convertARTtoSpaceNspan(s, rnm, art, uv);
}

void TurboTransformSegmenter::convertRnmNspanToART(int s, TripletBase<float>& art,
                                                   const TripletBase<float>& uv) const {
  requireInternalSet("convertRnmNspanToART");
  convertSpaceNspanToARTimpl(*m_turboTransform, s, rnm, art, uv);
}

void TurboTransformSegmenter::convertRnmNspanToART(
    int s, std::vector<TripletBase<float>>& art, const std::vector<TripletBase<float>>& uv) const {
  requireInternalSet("convertRnmNspanToART");
  convertSpaceNspanToART(s, rnm, art, uv);
}

// ---- arc length along a span line -------------------------------------------------------------

void TurboTransformSegmenter::getArcNdfromRnmNd(int s, float span,
                                                const std::vector<double>& positions,
                                                std::vector<double>& arc) const {
  requireInternalSet("getArcNdfromRnmNd");
  const PointList& west = getInternalBoundaryWest(s);
  const PointList& east = getInternalBoundaryEast(s);

  QORVector<TripletBase<float>> line;
  m_turboTransform->getConstantSpace(TurboTransform::nspanConst, static_cast<double>(span), line);
  const std::size_t n = line.size();
  std::vector<double> uniform(n, 0.0);
  for (std::size_t j = 0; j < n; ++j) {
    uniform[j] = (n > 1) ? static_cast<double>(j) / static_cast<double>(n - 1) : 0.0;
  }
  if (n > 1) uniform[n - 1] = 1.0;

  const ParametricCurve spanLine(line, uniform, ParametricCurve::curve2d);
  const ParametricCurve westCurve(west, ParametricCurve::curve2d);
  const ParametricCurve eastCurve(east, ParametricCurve::curve2d);

  TripletBase<float> westPoint(westCurve.getPointAtParameter(0.5));
  TripletBase<float> eastPoint(eastCurve.getPointAtParameter(0.5));
  intersectTwoCurve(westCurve, spanLine, westPoint);
  intersectTwoCurve(eastCurve, spanLine, eastPoint);

  double a = 0.0;
  double b = 0.0;
  spanLine.projectPoint(westPoint, a);
  spanLine.projectPoint(eastPoint, b);
  if (b - a == 0.0) {
    // Both boundary lines meet the span line at one point: no length to normalise by.
    arc.resize(positions.size());
    for (std::size_t p = 0; p < positions.size(); ++p) arc[p] = clamp01(positions[p]);
    return;
  }
  PointList piece;
  std::vector<double> params;
  spanLine.getCurve(a, b, piece, params);
  for (double& q : params) q = (q - a) / (b - a);
  params.at(0) = 0.0;
  params.at(params.size() - 1) = 1.0;

  if (positions.empty()) {
    arc.clear();
    return;
  }
  const ParametricCurve pieceCurve(piece, params, ParametricCurve::curve2d);
  PointList samples;
  pieceCurve.getCurveBySvalues(samples, positions, true);
  ParametricCurve sampled;
  sampled.setPoints(samples, ParametricCurve::curve2d);
  sampled.getSvalues(arc);
}

}  // namespace qor
