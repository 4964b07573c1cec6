// Set-up of TurboTransform: the axis and the clean-up of ordered curves and point clouds. A new
// set-up keeps the previous mesh: TurboTransformMeshTest.cpp.
#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;

TEST(TurboTransformSetUp, stripstValueMeasuresDistanceOutsideUnitInterval) {
  TurboTransform t;
  EXPECT_EQ(std::make_pair(t.stripstValue(-0.5f), t.stripstValue(1.25f)), std::make_pair(0.5f, 0.25f));
  for (float inside : {0.0f, 1.0f, 0.7f, std::nanf("")}) EXPECT_EQ(t.stripstValue(inside), 0.0f) << inside;
}

TEST(TurboTransformAxis, directionIsStoredAsUnitVectorAndZeroIsRefusedShowingThePreviousAxis) {
  TurboTransform t, fresh;
  const auto p = qortest::annulus();
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(1, 2, 3), P3(4, 0, 0), -1, -1, -1, -1);
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(std::make_pair(point, direction), std::make_pair(P3(1, 2, 3), P3(1, 0, 0)));
  EXPECT_TRUE(t.isGeometryInitialized());
  const auto e = qortest::captureError<qor::data::invalid>(
      [&] { fresh.initializeFromXYZ(p.hub, p.shroud, p.inlet, p.outlet, P3(5, 5, 5), P3(0, 0, 0)); });
  qortest::expectError(e, "TurboTransform", "setAxis", "Axis vector definition insignificant. Axis vector= 0,0,1");
  const auto e2 = qortest::captureError<qor::data::invalid>([&] {
    t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(5, 5, 5), P3(0, 0, 0), -1, -1, -1, -1);
  });
  EXPECT_EQ(e2.getMessage(), "Axis vector definition insignificant. Axis vector= 1,0,0");
  t.getAxis(point, direction);
  EXPECT_EQ(std::make_pair(point, direction), std::make_pair(P3(1, 2, 3), P3(1, 0, 0)));
  EXPECT_FALSE(fresh.isGeometryInitialized());
}

// The cleaned hub is read back from the curve file written with QOR_OUTPUT_BACKGROUND_MESH (the
// meridional plane only: a cloud's third components hold sort keys).
qor::QORVector<P3> cleanedHub(const TurboTransform& t) {
  qor::QORVector<P3> hub;
  return t.getVectorFromFile("s_mp.dat", hub), hub;
}

TEST(TurboTransformCleanup, curvesAreReducedKeepingEndsRepeatedPointsDroppedAndCloudsOrdered) {
  qortest::ScopedTempDir dir;
  qortest::ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");
  const auto p = qortest::bend();  // 121 points on each arc
  TurboTransform t;
  t.setCurveOptimizedSize(7);
  qortest::initializeART(t, p);
  for (const char* name : {"s_mp", "n_mp", "w_mp", "e_mp", "s_mp.dat", "n_mp.dat", "w_mp.dat", "e_mp.dat"}) {
    EXPECT_TRUE(std::ifstream(name).good()) << name;
  }
  const auto hub = cleanedHub(t);
  ASSERT_EQ(hub.size(), 7u);
  EXPECT_EQ(hub.front(), p.hub[0]);
  EXPECT_EQ(hub.back(), p.hub[p.hub.size() - 1]);
  std::vector<P3> input(p.hub.points());  // points of the input, in input order
  auto previous = input.begin();
  for (const auto& q : hub) {
    previous = std::find(previous, input.end(), q);
    ASSERT_NE(previous, input.end());
  }
  // The reduction keeps the points farthest from the chords: on the 90-degree arc of radius 1.5 a
  // budget of 17 points leaves no chord wider than twice an even 16th of the arc, so no given
  // point lies farther from the reduced curve than that chord's sagitta (7.2e-3; 1.5e-3 for even
  // spacing).
  TurboTransform fine;
  fine.setCurveOptimizedSize(17);
  qortest::initializeART(fine, p);
  const auto reduced = cleanedHub(fine);
  ASSERT_EQ(reduced.size(), 17u);
  const double sagitta = qortest::Bend().rhoHub * (1.0 - std::cos(qortest::kPi / 2 / 16));
  for (const auto& q : p.hub) {
    double nearest = 1e300;
    for (std::size_t k = 0; k + 1 < reduced.size(); ++k) {
      const P3 a = reduced[k], d = reduced[k + 1] - a;
      const double f = std::clamp(double((q - a).dot(d)) / double(d.dot(d)), 0.0, 1.0);
      nearest = std::min(nearest, qortest::meridionalDistance(q, a + d * float(f)));
    }
    EXPECT_LE(nearest, sagitta) << q[0] << ", " << q[1];
  }
  const auto small = qortest::bend(qortest::Bend(), 31, 11);
  std::vector<P3> doubled;
  for (const auto& q : small.hub) doubled.insert(doubled.end(), 2, q);
  TurboTransform u;
  u.initializeFromART(doubled, small.shroud, small.inlet, small.outlet, small.axisPoint, small.axisDirection, -1, -1,
                      -1, -1);
  EXPECT_EQ(cleanedHub(u), small.hub.points());
  // A shuffled cloud is ordered from its start point.
  const auto arcs = qortest::bend(qortest::Bend(), 61, 11);
  std::mt19937 rng(42);
  for (int startCase = 0; startCase < 2; ++startCase) {
    SCOPED_TRACE(startCase);
    std::vector<P3> shuffled(arcs.hub.points());
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
    int start = static_cast<int>(std::find(shuffled.begin(), shuffled.end(), arcs.hub[0]) - shuffled.begin());
    if (startCase == 1) {  // start 0: the first given point begins the curve
      std::swap(shuffled[0], shuffled[static_cast<std::size_t>(start)]);
      start = 0;
    }
    TurboTransform cloud;
    cloud.initializeFromART(shuffled, arcs.shroud, arcs.inlet, arcs.outlet, arcs.axisPoint, arcs.axisDirection, start,
                            -1, -1, -1);
    const auto cleaned = cleanedHub(cloud);
    ASSERT_EQ(cleaned.size(), arcs.hub.size());
    for (std::size_t k = 0; k < cleaned.size(); ++k) EXPECT_EQ(P3(cleaned[k][0], cleaned[k][1], 0), arcs.hub[k]) << k;
  }
}

}  // namespace
