// Segmenter on the real machines of the data directory (QOR_DATA_DIR) that give blade leading- and
// trailing-edge lines: every segment's own coordinate runs from 0 on its west boundary to 1 on its
// east boundary, v is the normalised span, and the wall pieces of consecutive segments meet.

#include "support/Passages.h"
#include "support/SegmentChecks.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using Seg = qor::TurboTransformSegmenter;

// Edges resampled to 50 points: the curvature of span along 1/50 of an edge moves u by at most
// 2.5e-3 of the segment width (two-stage steam turbine); the same holds for the wall pieces' span.
constexpr double kEndTol = 3e-3;
constexpr int kEdgePoints = 50;

/// A blade edge resampled evenly along its length: the segmenter interpolates span linearly
/// between the points it is given, which the few points of a measured edge do not resolve.
std::vector<P3> dense(const std::vector<P3>& edge) {
  std::vector<P3> out;
  qor::ParametricCurve(edge, qor::ParametricCurve::curve2d).getCurveForEquidistantS(out, kEdgePoints);
  return out;
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
      qortest::checkSegmentCoordinates(seg, t, kEndTol, false);
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
