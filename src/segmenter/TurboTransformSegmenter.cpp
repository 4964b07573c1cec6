/// @file
/// `TurboTransformSegmenter` set-up: attaching to a transform, cleaning the internal boundaries,
/// fitting them to hub and shroud, resampling them at common span values and converting every
/// boundary line into the transform's spaces.

#include "qor/segmenter/TurboTransformSegmenter.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <string>
#include <utility>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletQORVector.h"

namespace qor {

namespace {

const char* const kClassName = "TurboTransformSegmenter";

using PointList = std::vector<TripletBase<float>>;

/// Strict weak order on doubles with every NaN after every number (std::sort needs one).
bool spanLess(double a, double b) {
  if (std::isnan(a)) return false;
  if (std::isnan(b)) return true;
  return a < b;
}

/// Writes a point list with the curve service's export format and reports it on standard output.
void savePoints(const PointList& points, const std::string& fileName, const char* label) {
  ParametricCurve(points, ParametricCurve::curve2d).exportToFile(fileName);
  std::cout << label << fileName << std::endl;
}

/// The background mesh's normalised span values (one per span line, 0 .. 1).
std::vector<double> meshSpanValues(const TurboTransform& transform) {
  std::vector<double> values;
  transform.getNSpanValues(values);
  return values;
}

PointList constantLine(const TurboTransform& transform, TurboTransform::constSpace c,
                       double value) {
  QORVector<TripletBase<float>> line;
  transform.getConstantSpace(c, value, line);
  return PointList(line.begin(), line.end());
}

}  // namespace

// ---- construction ---------------------------------------------------------------------------

TurboTransformSegmenter::TurboTransformSegmenter(const TurboTransform* transform,
                                                 segmentMethod method) {
  setTurboTransform(transform, method);
}

TurboTransformSegmenter::TurboTransformSegmenter(const TurboTransformSegmenter&) = default;
TurboTransformSegmenter& TurboTransformSegmenter::operator=(const TurboTransformSegmenter&) =
    default;
TurboTransformSegmenter::~TurboTransformSegmenter() = default;

const TurboTransform* TurboTransformSegmenter::getTurboTransform() const {
  return m_turboTransform;
}

void TurboTransformSegmenter::setExactBoundaries(bool on) { m_exactBoundaries = on; }

bool TurboTransformSegmenter::getExactBoundaries() const { return m_exactBoundaries; }

void TurboTransformSegmenter::setFastArrayInverse(bool on) { m_fastArrayInverse = on; }

bool TurboTransformSegmenter::getFastArrayInverse() const { return m_fastArrayInverse; }

void TurboTransformSegmenter::setDebug(bool on) {
  m_debug = on;
  if (on) m_turboTransform->exportInput();
}

void TurboTransformSegmenter::setTurboTransform(const TurboTransform* transform,
                                                segmentMethod method) {
  if (transform == nullptr) {
    throw internal::nullPointer(kClassName, "setTurboTransform",
                                SystemMsg("Null pointer to Turbo Transform."), errorType::fatal);
  }
  // Everything is built in locals and committed at the end, so a failure changes nothing.
  int sizeI = 0;
  int sizeJ = 0;
  transform->getBackgroundMeshSize(sizeI, sizeJ);

  std::vector<ParametricCurve> spanCurves = m_spanCurves;
  if (method == mergedSpan) {
    spanCurves.resize(2);
  } else if (method == backgroundMeshSpan) {
    spanCurves.resize(static_cast<std::size_t>(std::max(0, sizeJ)));
  }
  // Any other method keeps the list as it is; an empty list fails here with std::out_of_range.
  spanCurves.at(0) = ParametricCurve(constantLine(*transform, TurboTransform::nspanConst, 0.0),
                                     ParametricCurve::curve2d);
  spanCurves.at(spanCurves.size() - 1) = ParametricCurve(
      constantLine(*transform, TurboTransform::nspanConst, 1.0), ParametricCurve::curve2d);
  if (method == backgroundMeshSpan) {
    const std::vector<double> nspan = meshSpanValues(*transform);
    for (int j = 1; j <= sizeJ - 2; ++j) {
      const auto jj = static_cast<std::size_t>(j);
      spanCurves.at(jj) =
          ParametricCurve(constantLine(*transform, TurboTransform::nspanConst, nspan.at(jj)),
                          ParametricCurve::curve2d);
    }
  }

  m_turboTransform = transform;
  m_segmentMethod = method;
  m_bmSizeI = sizeI;
  m_bmSizeJ = sizeJ;
  m_attached = true;
  m_internalSet = false;
  m_segSpaces = {TurboTransform::m, TurboTransform::nm, TurboTransform::rnm,
                 TurboTransform::mprime};
  m_spanCurves = std::move(spanCurves);
}

// ---- internal boundaries ----------------------------------------------------------------------

void TurboTransformSegmenter::setInternalBoundaries(
    const std::vector<std::vector<TripletBase<float>>>& curves, const std::vector<bool>& clean) {
  const std::size_t n = curves.size();
  if (clean.size() < n) {
    throw data::invalid(kClassName, "setInternalBoundaries",
                        SystemMsg("Number of clean flags (%1) less than number of curves (%2).")
                            << static_cast<unsigned long>(clean.size())
                            << static_cast<unsigned long>(n),
                        errorType::fatal);
  }
  // Work on a copy and commit at the end: a failing boundary leaves the segmenter as it was.
  TurboTransformSegmenter work(*this);
  work.m_internalSet = true;
  work.m_rawBoundaries.assign(n, PointList());
  work.m_cleanBoundaries.assign(n, PointList());
  for (std::size_t i = 0; i < n; ++i) {
    work.m_rawBoundaries[i] = curves[i];
    work.cleanInternalBoundaryInMeridionalSpace(
        static_cast<unsigned int>(i), work.m_rawBoundaries[i], work.m_cleanBoundaries[i], clean[i]);
  }
  work.m_boundaries.assign(n + 2, SegmentBoundary());
  work.setLeftRighSide();
  for (std::size_t r = 1; r <= n; ++r) {
    const auto record = static_cast<unsigned int>(r);
    work.cleanInternalBoundaryToFitEndsOfBackGroundMesh(record, work.m_cleanBoundaries[r - 1]);
    // Exact boundaries keep the given points: no resampling at the mesh's span values.
    if (work.m_segmentMethod == backgroundMeshSpan && !work.m_exactBoundaries) {
      work.setInternalCurveToFollowSpanOfBackgroundMesh(record);
    }
  }
  work.updateFinalCoordinatesAndSpanValues();
  for (std::size_t r = 0; r < n + 2; ++r) {
    const auto record = static_cast<unsigned int>(r);
    work.updateCurveTransformedSpaces(record);
    if (work.m_debug) {
      savePoints(work.m_boundaries[r].finalCurve, "ibound" + std::to_string(record),
                 " Exported : ");
    }
  }
  *this = work;
}

void TurboTransformSegmenter::setInternalBoundaryWest(int segmentId,
                                                      const std::vector<TripletBase<float>>& curve,
                                                      bool clean) {
  if (!m_internalSet) {
    throw internal::error(kClassName, "setInternalBoundaryWest",
                          SystemMsg("Internal segments not set."), errorType::fatal);
  }
  const int n = static_cast<int>(m_rawBoundaries.size());
  if (segmentId < 1 || segmentId > n) {
    throw internal::error(
        kClassName, "setInternalBoundaryLeft",
        SystemMsg("Segment id out of bounds, Min = 1, Max = %1,  attempted be set %2.")
            << n << segmentId,
        errorType::fatal);
  }
  setInternalBoundary(static_cast<unsigned int>(segmentId - 1), curve, clean);
}

void TurboTransformSegmenter::setInternalBoundaryEast(int segmentId,
                                                      const std::vector<TripletBase<float>>& curve,
                                                      bool clean) {
  if (!m_internalSet) {
    throw internal::error(kClassName, "setInternalBoundaryWest",
                          SystemMsg("Internal segments not set."), errorType::fatal);
  }
  const int n = static_cast<int>(m_rawBoundaries.size());
  if (segmentId < 0 || segmentId > n - 1) {
    throw internal::error(
        kClassName, "setInternalBoundaryLeft",
        SystemMsg("Segment id out of bounds, Min = 0, Max = %1,  attempted to set %2. ")
            << (n - 1) << segmentId,
        errorType::fatal);
  }
  setInternalBoundary(static_cast<unsigned int>(segmentId), curve, clean);
}

void TurboTransformSegmenter::setInternalBoundary(unsigned int i,
                                                  const std::vector<TripletBase<float>>& curve,
                                                  bool clean) {
  TurboTransformSegmenter work(*this);
  PointList& raw = work.m_rawBoundaries.at(i);
  PointList& cleaned = work.m_cleanBoundaries.at(i);
  raw = curve;
  work.cleanInternalBoundaryInMeridionalSpace(i, raw, cleaned, clean);
  work.cleanInternalBoundaryToFitEndsOfBackGroundMesh(i + 1, cleaned);
  if (work.m_segmentMethod == backgroundMeshSpan && !work.m_exactBoundaries) {
    work.setInternalCurveToFollowSpanOfBackgroundMesh(i + 1);
  }
  // With mergedSpan this recomputes the common span values and every final curve, but only this
  // record's space values below: the partial refresh is kept for compatibility. Exact boundaries
  // refresh every record.
  work.updateFinalCoordinatesAndSpanValues(i + 1);
  if (work.m_exactBoundaries && work.usesCommonSpans()) {
    for (std::size_t r = 0; r < work.m_boundaries.size(); ++r) {
      work.updateCurveTransformedSpaces(static_cast<unsigned int>(r));
    }
  } else {
    work.updateCurveTransformedSpaces(i + 1);
  }
  *this = work;
}

void TurboTransformSegmenter::cleanInternalBoundaryInMeridionalSpace(
    unsigned int i, std::vector<TripletBase<float>>& raw, std::vector<TripletBase<float>>& cleaned,
    bool clean) {
  if (m_debug) {
    std::cout << " cleanInternalBoundaryInMeridionalSpace " << i << "Size =" << raw.size()
              << std::endl;
    savePoints(raw, "cRaw" + std::to_string(i), " Saved ");
  }
  for (auto& p : raw) p[2] = 0.0f;
  if (clean) {
    cleanUpCurve(raw, cleaned);
  } else {
    cleaned = raw;
  }
  if (m_debug) savePoints(cleaned, "cCle" + std::to_string(i), " Saved ");
}

void TurboTransformSegmenter::cleanUpCurve(const std::vector<TripletBase<float>>& in,
                                           std::vector<TripletBase<float>>& out) {
  ParametricCurve curve(in, ParametricCurve::curve2d);
  curve.makeContinuous();
  curve.makeUnique();
  curve.eliminateDoublePoints(2);
  curve.getCurve(out);
}

void TurboTransformSegmenter::setLeftRighSide() {
  const std::vector<double> nspan = meshSpanValues(*m_turboTransform);
  SegmentBoundary& left = m_boundaries.at(0);
  SegmentBoundary& right = m_boundaries.at(m_boundaries.size() - 1);
  left.spanValues = nspan;
  right.spanValues = nspan;
  left.cleanedCurve = constantLine(*m_turboTransform, TurboTransform::rnmConst, 0.0);
  right.cleanedCurve = constantLine(*m_turboTransform, TurboTransform::rnmConst, 1.0);
}

void TurboTransformSegmenter::cleanInternalBoundaryToFitEndsOfBackGroundMesh(
    unsigned int record, const std::vector<TripletBase<float>>& cleaned) {
  const char* const function = "cleanInternalBoundaryToFitEndsOfBackGroundMesh";
  if (cleaned.empty()) {
    throw data::invalid(kClassName, function,
                        SystemMsg("Internal boundary has no points. Boundary = %1") << (record - 1),
                        errorType::fatal);
  }
  SegmentBoundary& rec = m_boundaries.at(record);
  PointList points = cleaned;

  // Extend the line to the hub and the shroud along its own rnm when it stops short of them.
  TripletBase<float> first;
  TripletBase<float> last;
  m_turboTransform->convertARTtoSpaceTNs(TurboTransform::rnm, points.front(), first);
  m_turboTransform->convertARTtoSpaceTNs(TurboTransform::rnm, points.back(), last);
  if (first[2] > 0.0f) {
    TripletBase<float> onHub;
    m_turboTransform->convertSpaceTNsToART(TurboTransform::rnm, TripletBase<float>(first[0], 0, 0),
                                           onHub);
    points.insert(points.begin(), onHub);
  }
  if (last[2] < 1.0f) {
    TripletBase<float> onShroud;
    m_turboTransform->convertSpaceTNsToART(TurboTransform::rnm, TripletBase<float>(last[0], 0, 1),
                                           onShroud);
    points.push_back(onShroud);
  }

  std::vector<float> spans;
  m_turboTransform->convertARTtoSpace(TurboTransform::nspan, points, spans);
  std::vector<double> spanValues(spans.begin(), spans.end());

  // Cut the parts beyond hub and shroud; the curve service returns equally long lists.
  ParametricCurve spanCurve;
  spanCurve.getCurveCleanEnds(points, spanValues, 0.0, 1.0);
  spanCurve.setPoints(points, spanValues, ParametricCurve::curve2d);

  ParametricCurve extended(points, ParametricCurve::curve2d);
  extended.expandCurveBothEnds(0.05);

  PointList result;
  spanCurve.getCurve(0.0, 1.0, result);
  // The ends lie exactly on the hub and the shroud curves.
  intersectTwoCurve(extended, m_spanCurves.at(0), result.at(0));
  intersectTwoCurve(extended, m_spanCurves.at(m_spanCurves.size() - 1),
                    result.at(result.size() - 1));
  if (m_exactBoundaries) {
    // Along the boundary's own points, without the points added above along lines of constant
    // rnm: those leave the boundary's direction.
    ParametricCurve own(cleaned, ParametricCurve::curve2d);
    own.expandCurveBothEnds(0.05);
    placeEndOnWall(own, 0.0, result.at(0));
    placeEndOnWall(own, 1.0, result.at(result.size() - 1));
  }

  spans.clear();
  m_turboTransform->convertARTtoSpace(TurboTransform::nspan, result, spans);
  spanValues.assign(spans.begin(), spans.end());
  spanValues.at(0) = 0.0;
  spanValues.at(spanValues.size() - 1) = 1.0;

  if (result.size() != spanValues.size()) {
    throw internal::error(kClassName, function,
                          SystemMsg("Curve size and corresponding parametric values not equal."),
                          errorType::fatal);
  }
  rec.cleanedCurve = std::move(result);
  rec.spanValues = std::move(spanValues);

  if (m_debug) {
    std::cout << " cleanedEnd " << record << "Size =" << rec.cleanedCurve.size() << std::endl;
    savePoints(rec.cleanedCurve, "clEnd" + std::to_string(record), " Saved ");
  }
}

void TurboTransformSegmenter::setInternalCurveToFollowSpanOfBackgroundMesh(unsigned int record) {
  SegmentBoundary& rec = m_boundaries.at(record);
  if (rec.cleanedCurve.size() != rec.spanValues.size()) {
    throw internal::error(kClassName, "setInternalCurveToFollowSpanOfBackgroundMesh",
                          SystemMsg("Curve size and corresponding parametric values not equal."),
                          errorType::fatal);
  }
  ParametricCurve curve(rec.cleanedCurve, rec.spanValues, ParametricCurve::curve2d);
  const TripletBase<float> first = rec.cleanedCurve.at(0);
  const TripletBase<float> last = rec.cleanedCurve.at(rec.cleanedCurve.size() - 1);

  const std::vector<double> nspan = meshSpanValues(*m_turboTransform);
  PointList samples;
  curve.getCurveBySvalues(samples, nspan, true);
  samples.at(0) = first;
  samples.at(samples.size() - 1) = last;

  rec.cleanedCurve = std::move(samples);
  rec.spanValues = nspan;

  if (m_debug) {
    std::cout << " cleanedEndByBM " << record << "Size =" << rec.cleanedCurve.size() << std::endl;
    savePoints(rec.cleanedCurve, "clEndBM" + std::to_string(record), " Saved ");
  }
}

void TurboTransformSegmenter::intersectTwoCurve(const ParametricCurve& a, const ParametricCurve& b,
                                                TripletBase<float>& point) const {
  // A fixed number of alternating projections; no convergence test.
  for (int pass = 0; pass < 25; ++pass) {
    const TripletBase<float> onA = a.projectPoint(point);
    point = b.projectPoint(onA);
  }
}

void TurboTransformSegmenter::placeEndOnWall(const ParametricCurve& extended, double target,
                                             TripletBase<float>& end) const {
  // The transform's nspan along the extended boundary; the end goes to the crossing of `target`
  // nearest (along the boundary) to where the intersection with the mesh's wall line put it.
  PointList points;
  std::vector<double> params;
  extended.getCurve(points);
  extended.getSvalues(params);
  if (points.size() < 2 || params.size() != points.size()) return;
  std::vector<float> spans;
  m_turboTransform->convertARTtoSpace(TurboTransform::nspan, points, spans);
  double near = 0.0;
  extended.projectPoint(end, near);
  std::size_t best = points.size();
  double bestDistance = 0.0;
  for (std::size_t k = 0; k + 1 < points.size(); ++k) {
    const double a = double(spans[k]) - target;
    const double b = double(spans[k + 1]) - target;
    if (!((a <= 0.0 && b >= 0.0) || (a >= 0.0 && b <= 0.0))) continue;  // also skips NaN
    const double distance = near < params[k]       ? params[k] - near
                            : near > params[k + 1] ? near - params[k + 1]
                                                   : 0.0;
    if (best == points.size() || distance < bestDistance) {
      best = k;
      bestDistance = distance;
    }
  }
  if (best == points.size()) return;  // the boundary does not reach the wall: keep the line's end

  // Bisection on the chord between the two points, in its own parameter 0..1.
  const TripletBase<double> p0(points[best][0], points[best][1], 0.0);
  const TripletBase<double> p1(points[best + 1][0], points[best + 1][1], 0.0);
  auto at = [&](double w) {
    return TripletBase<float>(static_cast<float>(p0[0] + w * (p1[0] - p0[0])),
                              static_cast<float>(p0[1] + w * (p1[1] - p0[1])), 0.0f);
  };
  auto offset = [&](const TripletBase<float>& p) {
    return double(m_turboTransform->convertARTtoSpace(TurboTransform::nspan, p)) - target;
  };
  double lo = 0.0, hi = 1.0;
  TripletBase<float> loPoint = points[best], hiPoint = points[best + 1];
  double fLo = double(spans[best]) - target, fHi = double(spans[best + 1]) - target;
  // 60 halvings take the chord below a float ulp; stop early once the points stop moving.
  for (int pass = 0; pass < 60 && fLo != 0.0 && fHi != 0.0; ++pass) {
    const double mid = 0.5 * (lo + hi);
    const TripletBase<float> midPoint = at(mid);
    if (midPoint == loPoint || midPoint == hiPoint) break;
    const double fMid = offset(midPoint);
    if ((fMid <= 0.0) == (fLo <= 0.0)) {
      lo = mid;
      loPoint = midPoint;
      fLo = fMid;
    } else {
      hi = mid;
      hiPoint = midPoint;
      fHi = fMid;
    }
  }
  end = std::fabs(fLo) <= std::fabs(fHi) ? loPoint : hiPoint;
}

void TurboTransformSegmenter::copyToFinal(unsigned int record) {
  SegmentBoundary& rec = m_boundaries.at(record);
  rec.finalCurve = rec.cleanedCurve;
}

bool TurboTransformSegmenter::usesCommonSpans() const {
  return m_segmentMethod == mergedSpan ||
         (m_segmentMethod == backgroundMeshSpan && m_exactBoundaries);
}

void TurboTransformSegmenter::updateFinalCoordinatesAndSpanValues() {
  if (m_segmentMethod == backgroundMeshSpan && !m_exactBoundaries) {
    m_spanValues = meshSpanValues(*m_turboTransform);
    for (std::size_t r = 0; r < m_boundaries.size(); ++r) copyToFinal(static_cast<unsigned int>(r));
  } else if (usesCommonSpans()) {
    std::vector<double> all = meshSpanValues(*m_turboTransform);
    for (const SegmentBoundary& rec : m_boundaries) {
      all.insert(all.end(), rec.spanValues.begin(), rec.spanValues.end());
    }
    std::stable_sort(all.begin(), all.end(), spanLess);
    all.erase(std::unique(all.begin(), all.end()), all.end());
    // Drop near-duplicates with the curve service's tolerance on one-component data.
    ParametricCurve numbers;
    numbers.setPointsX(all);
    numbers.eliminateDoublePoints(10);
    numbers.getX(all);
    m_spanValues = std::move(all);
    for (SegmentBoundary& rec : m_boundaries) {
      ParametricCurve curve(rec.cleanedCurve, rec.spanValues, ParametricCurve::curve2d);
      curve.getCurveBySvalues(rec.finalCurve, m_spanValues, true);
    }
  }
}

void TurboTransformSegmenter::updateFinalCoordinatesAndSpanValues(unsigned int record) {
  if (usesCommonSpans()) {
    updateFinalCoordinatesAndSpanValues();
  } else {
    copyToFinal(record);
  }
}

void TurboTransformSegmenter::updateCurveTransformedSpaces(unsigned int record) {
  SegmentBoundary& rec = m_boundaries.at(record);
  const TripletQORVector points(rec.finalCurve);
  const QORVector<TurboTransform::space> spaces(m_segSpaces);
  QORVector<std::vector<float>> values;
  m_turboTransform->convertARTtoSpace(points, spaces, values);
  rec.spaceValues.assign(values.begin(), values.end());

  // The inlet and outlet lines are exactly 0 and 1 in m, nm and rnm (m included, whatever the
  // passage length); m' keeps its converted values.
  const bool left = record == 0;
  const bool right = record + 1 == m_boundaries.size();
  if (left || right) {
    const float value = left ? 0.0f : 1.0f;
    for (std::size_t k = 0; k < 3; ++k) {
      std::vector<float>& list = rec.spaceValues.at(k);
      std::fill(list.begin(), list.end(), value);
    }
  }

  if (m_debug) {
    std::cout << " finalART " << record << "Size =" << rec.finalCurve.size() << std::endl;
    savePoints(rec.finalCurve, "final" + std::to_string(record), " Saved ");
  }
}

}  // namespace qor
