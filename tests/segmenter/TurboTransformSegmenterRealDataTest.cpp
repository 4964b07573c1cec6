// Segmenter on the real machines of the data directory (QOR_DATA_DIR) that give blade leading- and
// trailing-edge lines: every segment's own coordinate runs from 0 on its west boundary to 1 on its
// east boundary, v is the normalised span, and the wall pieces of consecutive segments meet.

#include "support/Passages.h"
#include "support/SegmentChecks.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using Seg = qor::TurboTransformSegmenter;

constexpr int kEdgePoints = 50;

/// A blade edge resampled evenly along its length: the segmenter interpolates span linearly
/// between the points it is given, which the few points of a measured edge do not resolve.
std::vector<P3> dense(const std::vector<P3>& edge) {
  std::vector<P3> out;
  qor::ParametricCurve(edge, qor::ParametricCurve::curve2d).getCurveForEquidistantS(out, kEdgePoints);
  return out;
}

/// How far u may stray from 0 or 1 on the boundary lines. A line point is placed at a span value by
/// interpolating linearly between the edge's points, but span is not linear along a chord of the
/// edge: the point's own span differs from the value it stands for by up to dEta, the largest
/// departure of span from linear along the chords. The conversion then reads the boundary's value
/// x at the wrong span, which moves u by dEta |dx/d(span)| / width. The bound takes, per edge chord
/// and space, its dEta and slope over the smaller width of the two segments beside the edge; 1e-4
/// covers the single-precision values.
double boundaryTolerance(const TurboTransform& t, const Seg& seg, const std::vector<std::vector<P3>>& edges) {
  const qor::QORVector<TurboTransform::space> spaces = {TurboTransform::m, TurboTransform::nm, TurboTransform::rnm,
                                                        TurboTransform::mprime};
  auto values = [&](const std::vector<P3>& points) {
    qor::QORVector<std::vector<float>> v;
    t.convertARTtoSpace(qor::TripletQORVector(points), spaces, v);
    return v;
  };
  double bound = 0.0;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    const int s = static_cast<int>(e) + 1;  // the edge is the west line of segment s
    const auto west = values(seg.getInternalBoundaryWest(s)), east = values(seg.getInternalBoundaryEast(s));
    const auto before = values(seg.getInternalBoundaryWest(s - 1));
    std::vector<P3> mids;
    std::vector<P3> c = edges[e];
    for (std::size_t k = 0; k + 1 < c.size(); ++k) mids.push_back((c[k] + c[k + 1]) * 0.5f);
    const auto at = values(c), mid = values(mids);
    std::vector<float> eta, etaMid;
    t.convertARTtoSpace(TurboTransform::nspan, c, eta);
    t.convertARTtoSpace(TurboTransform::nspan, mids, etaMid);
    for (std::size_t k = 0; k < spaces.size(); ++k) {
      double width = 1e300;
      for (std::size_t j = 0; j < west[k].size(); ++j) {
        width = std::min({width, std::fabs(double(east[k][j]) - west[k][j]), std::fabs(double(west[k][j]) - before[k][j])});
      }
      for (std::size_t j = 0; j + 1 < c.size(); ++j) {
        const double dEta = std::fabs(etaMid[j] - 0.5 * (double(eta[j]) + eta[j + 1]));
        const double slope = std::fabs(double(at[k][j + 1]) - at[k][j]) / (std::fabs(double(eta[j + 1]) - eta[j]) + 1e-12);
        bound = std::max(bound, dEta * slope / width);
      }
    }
  }
  return bound + 1e-4;
}

TEST(TurboTransformSegmenterRealData, bladeEdgesSplitEveryMachineIntoSegments) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  int machines = 0;
  for (const std::string& name : qortest::dataCases()) {
    const auto named = qortest::loadInternalBoundaries(name);
    if (named.empty()) continue;
    SCOPED_TRACE(name);
    ++machines;
    const qortest::Passage p = qortest::loadCase(name);
    TurboTransform t;
    qortest::initializeART(t, p);
    t.createBackgroundMesh(TurboTransform::nonLinear, 2000);

    std::vector<std::vector<P3>> curves;
    for (const auto& entry : named) curves.push_back(dense(entry.second));
    const int n = static_cast<int>(curves.size());
    for (Seg::segmentMethod method : {Seg::mergedSpan, Seg::backgroundMeshSpan}) {
      SCOPED_TRACE(::testing::Message() << "method " << method);
      Seg seg(&t, method);
      seg.setInternalBoundaries(curves, std::vector<bool>(curves.size(), true));
      ASSERT_EQ(seg.getLastSegmentID(), n);
      const double tolerance = boundaryTolerance(t, seg, curves);
      qortest::checkSegmentCoordinates(seg, t, tolerance, false);
      // The boundary lines follow each other downstream on the hub: the whole-passage rnm rises.
      for (int s = 1; s <= n; ++s) {
        EXPECT_LT(
            t.convertARTtoSpace(TurboTransform::rnm, seg.getInternalBoundaryWest(s - 1).front()),
            t.convertARTtoSpace(TurboTransform::rnm, seg.getInternalBoundaryWest(s).front()))
            << "boundary " << s;
      }
    }
  }
  EXPECT_GT(machines, 0) << "no machine with internal_boundaries.csv under " << qortest::dataDir();
}

}  // namespace
