#pragma once
// Checks shared by the segmenter suites: in every segment u is 0 on the west boundary line and 1 on
// the east one, v is the normalised span, the third component is 0, and the hub and shroud pieces
// end on the segment's boundary lines (so consecutive pieces meet) and lie on the walls.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "qor/CoordTransform.h"

namespace qortest {

/// @param tolerance   allowed deviation of u from 0 or 1 on the boundary lines, and of the wall
///                    pieces' span from 0 or 1
/// @param checkMInLastSegment the outlet line's m is stored as 1.0 whatever the passage length
///                    (kept for compatibility), so space m is right in the last segment only for a
///                    passage of length 1
inline void checkSegmentCoordinates(const qor::TurboTransformSegmenter& seg,
                                    const qor::TurboTransform& t, double tolerance,
                                    bool checkMInLastSegment) {
  using Seg = qor::TurboTransformSegmenter;
  using P = qor::TripletBase<float>;
  const int last = seg.getLastSegmentID();
  for (int s = 0; s <= last; ++s) {
    SCOPED_TRACE(::testing::Message() << "segment " << s);
    for (Seg::spaceSeg k : {Seg::m, Seg::nm, Seg::rnm, Seg::mprime}) {
      if (k == Seg::m && s == last && !checkMInLastSegment) continue;
      for (const bool west : {true, false}) {
        const std::vector<P>& line = west ? seg.getInternalBoundaryWest(s) : seg.getInternalBoundaryEast(s);
        std::vector<P> uv;
        seg.convertARTtoSpaceNspan(s, k, line, uv);
        ASSERT_EQ(uv.size(), line.size());
        for (std::size_t j = 0; j < uv.size(); ++j) {
          EXPECT_NEAR(uv[j][0], west ? 0.0 : 1.0, tolerance) << "point " << j << ", space " << k;
          EXPECT_EQ(uv[j][2], 0.0f);
        }
      }
    }
    for (const P& p : seg.getInternalBoundaryWest(s)) {
      P uv;
      seg.convertARTtoRnmNspan(s, p, uv);
      const double eta = t.convertARTtoSpace(qor::TurboTransform::nspan, p);
      EXPECT_NEAR(uv[1], std::min(1.0, std::max(0.0, eta)), 1e-6);
    }
    std::vector<P> south, north;
    seg.getSegmentInternalBoundarySouth(s, south);
    seg.getSegmentInternalBoundaryNorth(s, north);
    EXPECT_EQ(south.front(), seg.getInternalBoundaryWest(s).front());
    EXPECT_EQ(south.back(), seg.getInternalBoundaryEast(s).front());
    EXPECT_EQ(north.front(), seg.getInternalBoundaryWest(s).back());
    EXPECT_EQ(north.back(), seg.getInternalBoundaryEast(s).back());
    for (const P& p : south) EXPECT_NEAR(t.convertARTtoSpace(qor::TurboTransform::nspan, p), 0.0, tolerance);
    for (const P& p : north) EXPECT_NEAR(t.convertARTtoSpace(qor::TurboTransform::nspan, p), 1.0, tolerance);
  }
}

}  // namespace qortest
