// Segmenter on the real machines of the data directory (QOR_DATA_DIR) that give blade leading- and
// trailing-edge lines: every segment's own coordinate runs from 0 on its west boundary to 1 on its
// east boundary, v is the normalised span, and the wall pieces of consecutive segments meet.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "qor/CoordTransform.h"
#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using Seg = qor::TurboTransformSegmenter;

// With edges resampled to kEdgePoints points, the span of a final-line point differs from its
// sample's span by the curvature of span along about 1/50 of the edge; on the two-stage steam
// turbine, the worst case, that moves u by at most 2.5e-3 of the segment width.
constexpr double kEndTol = 3e-3;
constexpr int kEdgePoints = 50;

/// Checks that every point of `line` gets u = `expected` in segment s.
void checkBoundaryU(const Seg& seg, int s, Seg::spaceSeg k, bool west, double expected) {
  const std::vector<P3>& line =
      west ? seg.getInternalBoundaryWest(s) : seg.getInternalBoundaryEast(s);
  std::vector<P3> uv;
  seg.convertARTtoSpaceNspan(s, k, line, uv);
  ASSERT_EQ(uv.size(), line.size());
  for (std::size_t j = 0; j < line.size(); ++j) {
    EXPECT_NEAR(uv[j][0], expected, kEndTol) << "point " << j << ", space " << k;
  }
}

/// A blade edge resampled evenly along its length: the segmenter interpolates span linearly
/// between the points it is given, which the few points of a measured edge do not resolve.
std::vector<P3> dense(const std::vector<P3>& edge) {
  std::vector<P3> out;
  qor::ParametricCurve(edge, qor::ParametricCurve::curve2d).getCurveForEquidistantS(out, kEdgePoints);
  return out;
}

constexpr double kSpanTol = 1e-6;

void checkSegments(const Seg& seg, const TurboTransform& t, int expectedLast) {
  ASSERT_EQ(seg.getLastSegmentID(), expectedLast);
  for (int s = 0; s <= seg.getLastSegmentID(); ++s) {
    SCOPED_TRACE(::testing::Message() << "segment " << s);
    // m of the outlet line is stored as 1.0 whatever the length (kept for compatibility): it is
    // only meaningful in the segments upstream of the last one.
    for (Seg::spaceSeg k : {Seg::m, Seg::nm, Seg::rnm, Seg::mprime}) {
      if (k == Seg::m && s == seg.getLastSegmentID()) continue;
      checkBoundaryU(seg, s, k, true, 0.0);
      checkBoundaryU(seg, s, k, false, 1.0);
    }
    for (const P3& p : seg.getInternalBoundaryWest(s)) {
      P3 uv;
      seg.convertARTtoRnmNspan(s, p, uv);
      const double eta = t.convertARTtoSpace(TurboTransform::nspan, p);
      EXPECT_NEAR(uv[1], std::min(1.0, std::max(0.0, eta)), kSpanTol);
    }
    std::vector<P3> south;
    std::vector<P3> north;
    seg.getSegmentInternalBoundarySouth(s, south);
    seg.getSegmentInternalBoundaryNorth(s, north);
    EXPECT_EQ(south.front(), seg.getInternalBoundaryWest(s).front());
    EXPECT_EQ(south.back(), seg.getInternalBoundaryEast(s).front());
    EXPECT_EQ(north.front(), seg.getInternalBoundaryWest(s).back());
    EXPECT_EQ(north.back(), seg.getInternalBoundaryEast(s).back());
    if (s > 0) {
      std::vector<P3> previous;
      seg.getSegmentInternalBoundarySouth(s - 1, previous);
      EXPECT_EQ(previous.back(), south.front());
      seg.getSegmentInternalBoundaryNorth(s - 1, previous);
      EXPECT_EQ(previous.back(), north.front());
    }
  }
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
      checkSegments(seg, t, n);
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
