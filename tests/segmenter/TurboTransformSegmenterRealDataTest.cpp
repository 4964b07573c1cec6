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

// The hub and shroud ends of a boundary line sit on common span values (up to the float
// rounding of the wall intersection), so u is 0 or 1 there up to interpolation in the mesh.
constexpr double kEndTol = 1e-3;

const TurboTransform::space kTransformSpace[] = {TurboTransform::m, TurboTransform::nm,
                                                 TurboTransform::rnm, TurboTransform::mprime};

/// A boundary line's own values in a transform space.
std::vector<float> valuesOf(const TurboTransform& t, TurboTransform::space space,
                            std::vector<P3> line) {
  std::vector<float> values;
  t.convertARTtoSpace(space, line, values);
  return values;
}

/// Checks that the points of `line` get u = `expected` in segment s. Interior points of a final
/// curve are samples between the few given points of a blade edge, so their true span lies
/// between two common span values and u is interpolated from the neighbouring samples: it may
/// deviate by the line's own change of value to a neighbour, relative to the segment's width.
void checkBoundaryU(const Seg& seg, const TurboTransform& t, int s, Seg::spaceSeg k, bool west,
                    double expected) {
  const std::vector<P3>& line =
      west ? seg.getInternalBoundaryWest(s) : seg.getInternalBoundaryEast(s);
  std::vector<P3> uv;
  seg.convertARTtoSpaceNspan(s, k, line, uv);
  const auto own = valuesOf(t, kTransformSpace[k], line);
  const auto other =
      valuesOf(t, kTransformSpace[k],
               west ? seg.getInternalBoundaryEast(s) : seg.getInternalBoundaryWest(s));
  ASSERT_EQ(uv.size(), line.size());
  ASSERT_EQ(other.size(), line.size());
  const std::size_t last = line.size() - 1;
  EXPECT_NEAR(uv[0][0], expected, kEndTol) << "hub end, space " << k;
  EXPECT_NEAR(uv[last][0], expected, kEndTol) << "shroud end, space " << k;
  for (std::size_t j = 1; j < last; ++j) {
    double allowed = 0.0;
    for (std::size_t nb : {j - 1, j + 1}) {
      allowed = std::max(
          allowed, std::fabs(double(own[j]) - own[nb]) / std::fabs(double(other[nb]) - own[nb]));
    }
    EXPECT_NEAR(uv[j][0], expected, kEndTol + allowed) << "point " << j << ", space " << k;
  }
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
      checkBoundaryU(seg, t, s, k, true, 0.0);
      checkBoundaryU(seg, t, s, k, false, 1.0);
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
    for (const auto& entry : named) curves.push_back(entry.second);
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
