// Set-up of TurboTransform: defaults, the axis, the hub/shroud identity check, rejected input,
// and the clean-up of ordered curves and point clouds.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/Passages.h"

namespace {

using qor::TripletBase;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;

// Runs f and returns the library error of type E it throws (a test failure when it throws
// nothing or something else).
template <typename E, typename F>
E captureError(F f) {
  try {
    f();
  } catch (const E& e) {
    return e;
  } catch (const qor::Error& e) {
    ADD_FAILURE() << "unexpected error type: " << e.getDescription();
    return E("", "", "");
  }
  ADD_FAILURE() << "no error thrown";
  return E("", "", "");
}

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : m_name(name) { setenv(name, value, 1); }
  ~ScopedEnv() { unsetenv(m_name); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* m_name;
};

// ---- defaults and accessors --------------------------------------------------------------------

TEST(TurboTransformDefaults, defaultConstructedObjectReportsDocumentedSettings) {
  TurboTransform t;
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(point, P3(0, 0, 0));
  EXPECT_EQ(direction, P3(0, 0, 1));
  EXPECT_EQ(t.getCurveOptimizedSize(), 300);
  EXPECT_EQ(t.getBackgroundMeshSize(), 2000);
  EXPECT_EQ(t.getNumberOfLevelsforBM(), 3);
  EXPECT_FALSE(t.isGeometryInitialized());
  t.setCurveOptimizedSize(17);
  t.setNumberOfLevelsforBM(5);
  t.setBackgroundMeshSize(TurboTransform::BMfine);
  EXPECT_EQ(t.getCurveOptimizedSize(), 17);
  EXPECT_EQ(t.getNumberOfLevelsforBM(), 5);
  EXPECT_EQ(t.getBackgroundMeshSize(), 8000);
}

TEST(TurboTransformDefaults, meshAccessorsRefuseBeforeTheMeshExists) {
  TurboTransform t;
  int ni = 0, nj = 0;
  const auto e = captureError<qor::internal::nullPointer>([&] { t.getBackgroundMeshSize(ni, nj); });
  EXPECT_EQ(e.getMessage(), "Null pointer to m_topo.");
  EXPECT_EQ(e.getFunctionName(), "getBackgroundMeshSize");
  EXPECT_THROW(t.getAverageLengthInM(), qor::internal::nullPointer);
}

TEST(TurboTransformDefaults, stripstValueMeasuresDistanceOutsideUnitInterval) {
  TurboTransform t;
  EXPECT_FLOAT_EQ(t.stripstValue(-0.5f), 0.5f);
  EXPECT_FLOAT_EQ(t.stripstValue(1.25f), 0.25f);
  EXPECT_EQ(t.stripstValue(0.0f), 0.0f);
  EXPECT_EQ(t.stripstValue(1.0f), 0.0f);
  EXPECT_EQ(t.stripstValue(0.7f), 0.0f);
  EXPECT_EQ(t.stripstValue(std::numeric_limits<float>::quiet_NaN()), 0.0f);
}

// ---- axis ------------------------------------------------------------------------------------

TEST(TurboTransformAxis, directionIsStoredAsUnitVector) {
  TurboTransform t;
  const auto p = qortest::annulus();
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(1, 2, 3), P3(0, 0, 2), -1, -1, -1, -1);
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(point, P3(1, 2, 3));
  EXPECT_EQ(direction, P3(0, 0, 1));
  EXPECT_TRUE(t.isGeometryInitialized());
}

TEST(TurboTransformAxis, zeroDirectionThrowsShowingPreviousAxisAndChangesNothing) {
  TurboTransform t;
  const auto p = qortest::annulus();
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(4, 0, 0), -1, -1, -1, -1);
  TurboTransform fresh;
  const auto e = captureError<qor::data::invalid>([&] {
    fresh.initializeFromXYZ(p.hub, p.shroud, p.inlet, p.outlet, P3(5, 5, 5), P3(0, 0, 0));
  });
  EXPECT_EQ(e.getClassName(), "TurboTransform");
  EXPECT_EQ(e.getFunctionName(), "setAxis");
  EXPECT_EQ(e.getMessage(), "Axis vector definition insignificant. Axis vector= 0,0,1");
  const auto e2 = captureError<qor::data::invalid>([&] {
    t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(5, 5, 5), P3(0, 0, 0), -1, -1, -1,
                        -1);
  });
  EXPECT_EQ(e2.getMessage(), "Axis vector definition insignificant. Axis vector= 1,0,0");
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(point, P3(0, 0, 0));
  EXPECT_EQ(direction, P3(1, 0, 0));
  EXPECT_FALSE(fresh.isGeometryInitialized());
}

// The identity check compares the Cartesian end points after conversion to (axial, radial, 0),
// which makes the conversion observable: points at one axial position and one radius are equal.
TEST(TurboTransformAxis, identityCheckSeesPointsOfEqualAxialAndRadius) {
  auto p = qortest::annulus();
  std::vector<P3> hub(p.hub.points()), shroud(p.shroud.points());
  hub.front() = P3(3, 4, 7);     // (7, 5, 0) about the default axis
  shroud.front() = P3(5, 0, 7);  // (7, 5, 0) as well
  TurboTransform t;
  EXPECT_THROW(t.initializeFromXYZ(hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1)),
               qor::internal::error);
  shroud.front() = P3(5, 0, 8);
  EXPECT_NO_THROW(t.initializeFromXYZ(hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1)));

  // Axis through (0, 0, 1): (1, 0, 1) and (0, 1, 1) are both (0, 1, 0).
  hub.front() = P3(1, 0, 1);
  shroud.front() = P3(0, 1, 1);
  TurboTransform u;
  EXPECT_THROW(u.initializeFromXYZ(hub, shroud, p.inlet, p.outlet, P3(0, 0, 1), P3(0, 0, 1)),
               qor::internal::error);
}

// ---- hub and shroud identity ------------------------------------------------------------------

TEST(TurboTransformSetUp, sharedFirstOrLastPointFailsAfterAxisChanged) {
  const auto p = qortest::annulus();
  std::vector<P3> shroud(p.shroud.points());
  shroud.front() = p.hub[0];
  TurboTransform t;
  const auto e = captureError<qor::internal::error>([&] {
    t.initializeFromART(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 2, 0), -1, -1, -1, -1);
  });
  EXPECT_EQ(e.getMessage(), "Hub and shroud curves seem to be the same.");
  EXPECT_EQ(e.getFunctionName(), "initializeFromXYZ");  // also in the ART set-up
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(direction, P3(0, 1, 0));
  EXPECT_FALSE(t.isGeometryInitialized());

  shroud = p.shroud.points();
  shroud.back() = p.hub[p.hub.size() - 1];
  EXPECT_THROW(t.initializeFromXYZ(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1)),
               qor::internal::error);
  EXPECT_NO_THROW(qortest::initializeXYZ(t, p));
  EXPECT_TRUE(t.isGeometryInitialized());
}

TEST(TurboTransformSetUp, artIdentityCheckCountsTheta) {
  const auto p = qortest::annulus();
  std::vector<P3> shroud(p.shroud.points());
  shroud.front() = P3(p.hub[0][0], p.hub[0][1], 0.5f);
  TurboTransform t;
  EXPECT_NO_THROW(t.initializeFromART(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1),
                                      -1, -1, -1, -1));
}

TEST(TurboTransformSetUp, newSetUpKeepsThePreviousMeshUntilRebuilt) {
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  ASSERT_EQ(t.createBackgroundMesh(TurboTransform::linear, 100), 0);
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  qortest::initializeART(t, qortest::cone());
  int ni2 = 0, nj2 = 0;
  t.getBackgroundMeshSize(ni2, nj2);
  EXPECT_EQ(ni, ni2);
  EXPECT_EQ(nj, nj2);
}

// ---- rejected input --------------------------------------------------------------------------

struct BadCurveCase {
  const char* curve;
  const char* problem;  // a word the message must contain
  std::vector<P3> points;
};

std::vector<BadCurveCase> badCurveCases() {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<BadCurveCase> out;
  for (const char* c : {"hub", "shroud", "inlet", "outlet"}) {
    out.push_back({c, "empty", {}});
    out.push_back({c, "too few", {P3(0.5f, 1.5f, 0)}});
    out.push_back({c, "too few", {P3(0.5f, 1.5f, 0), P3(0.5f, 1.5f, 0), P3(0.5f, 1.5f, 0)}});
    out.push_back({c, "non-finite", {P3(0, 1, 0), P3(nan, 1.5f, 0), P3(1, 2, 0)}});
    out.push_back({c, "non-finite", {P3(0, 1, 0), P3(1, -inf, 0), P3(1, 2, 0)}});
  }
  return out;
}

TEST(TurboTransformBadInput, unusableCurveIsRefusedNamingItBeforeAnythingChanges) {
  const auto p = qortest::annulus();
  for (const auto& bad : badCurveCases()) {
    SCOPED_TRACE(std::string(bad.curve) + ": " + bad.problem);
    TripletQORVector curves[4] = {p.hub, p.shroud, p.inlet, p.outlet};
    const std::string names[4] = {"hub", "shroud", "inlet", "outlet"};
    for (int k = 0; k < 4; ++k) {
      if (names[k] == bad.curve) curves[k] = TripletQORVector(bad.points);
    }
    TurboTransform t;
    const auto e = captureError<qor::data::invalid>([&] {
      t.initializeFromXYZ(curves[0], curves[1], curves[2], curves[3], P3(1, 1, 1), P3(1, 0, 0));
    });
    EXPECT_NE(e.getMessage().find(bad.curve), std::string::npos) << e.getMessage();
    EXPECT_NE(e.getMessage().find(bad.problem), std::string::npos) << e.getMessage();
    EXPECT_EQ(e.getFunctionName(), "initializeFromXYZ");
    const auto e2 = captureError<qor::data::invalid>([&] {
      t.initializeFromART(curves[0], curves[1], curves[2], curves[3], P3(1, 1, 1), P3(1, 0, 0), -1,
                          -1, -1, -1);
    });
    EXPECT_NE(e2.getMessage().find(bad.curve), std::string::npos) << e2.getMessage();
    EXPECT_EQ(e2.getFunctionName(), "initializeFromART");
    P3 point, direction;
    t.getAxis(point, direction);
    EXPECT_EQ(point, P3(0, 0, 0));
    EXPECT_EQ(direction, P3(0, 0, 1));
    EXPECT_FALSE(t.isGeometryInitialized());
  }
}

TEST(TurboTransformBadInput, cloudStartBeyondTheCurveIsRefused) {
  const auto p = qortest::annulus();
  TurboTransform t;
  const auto e = captureError<qor::data::invalid>([&] {
    t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1,
                        static_cast<int>(p.inlet.size()), -1);
  });
  EXPECT_NE(e.getMessage().find("inlet"), std::string::npos) << e.getMessage();
  EXPECT_FALSE(t.isGeometryInitialized());
}

// ---- clean-up of curves and clouds -------------------------------------------------------------

// A shuffled cloud with the start index at the inlet end comes out as the ordered curve. (Its
// third components then hold sort keys, so the cleaned curve is compared in the meridional plane
// through the written curve file, which carries no third component.)
TEST(TurboTransformCloud, shuffledCloudIsOrderedFromTheStartPoint) {
  qortest::ScopedTempDir dir;
  ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");
  const auto p = qortest::bend(qortest::Bend(), 61, 11);
  std::mt19937 rng(42);
  for (int startCase = 0; startCase < 2; ++startCase) {
    SCOPED_TRACE(startCase);
    std::vector<P3> hub(p.hub.points());
    std::shuffle(hub.begin(), hub.end(), rng);
    int hubStart = static_cast<int>(std::find(hub.begin(), hub.end(), p.hub[0]) - hub.begin());
    if (startCase == 1) {  // start 0: the first given point begins the curve
      std::swap(hub[0], hub[static_cast<std::size_t>(hubStart)]);
      hubStart = 0;
    }
    TurboTransform cloud;
    cloud.initializeFromART(hub, p.shroud, p.inlet, p.outlet, p.axisPoint, p.axisDirection,
                            hubStart, -1, -1, -1);
    qor::QORVector<P3> cleaned;
    cloud.getVectorFromFile("s_mp.dat", cleaned);
    ASSERT_EQ(cleaned.size(), p.hub.size());
    for (std::size_t k = 0; k < cleaned.size(); ++k) {
      EXPECT_EQ(cleaned[k][0], p.hub[k][0]) << k;
      EXPECT_EQ(cleaned[k][1], p.hub[k][1]) << k;
    }
  }
}

TEST(TurboTransformCleanup, cleanedCurvesAreWrittenReducedWithTheirEndsKept) {
  qortest::ScopedTempDir dir;
  ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");
  const auto p = qortest::bend();  // 121 points on each arc
  TurboTransform t;
  t.setCurveOptimizedSize(7);
  qortest::initializeART(t, p);
  for (const char* name :
       {"s_mp", "n_mp", "w_mp", "e_mp", "s_mp.dat", "n_mp.dat", "w_mp.dat", "e_mp.dat"}) {
    EXPECT_TRUE(std::ifstream(name).good()) << name;
  }
  qor::QORVector<P3> hub;
  t.getVectorFromFile("s_mp.dat", hub);
  ASSERT_EQ(hub.size(), 7u);
  EXPECT_EQ(hub.front(), p.hub[0]);
  EXPECT_EQ(hub.back(), p.hub[p.hub.size() - 1]);
  // The points kept are points of the input, in input order.
  std::vector<P3> input(p.hub.points());
  auto previous = input.begin();
  for (const auto& q : hub) {
    const auto it = std::find(previous, input.end(), q);
    ASSERT_NE(it, input.end());
    previous = it;
  }
}

TEST(TurboTransformCleanup, repeatedPointsAreDroppedBeforeReduction) {
  qortest::ScopedTempDir dir;
  ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");
  const auto p = qortest::bend(qortest::Bend(), 31, 11);
  std::vector<P3> hub;
  for (const auto& q : p.hub) {
    hub.push_back(q);
    hub.push_back(q);  // every point twice
  }
  TurboTransform t;
  t.initializeFromART(hub, p.shroud, p.inlet, p.outlet, p.axisPoint, p.axisDirection, -1, -1, -1,
                      -1);
  qor::QORVector<P3> cleaned;
  t.getVectorFromFile("s_mp.dat", cleaned);
  ASSERT_EQ(cleaned.size(), p.hub.size());
  for (std::size_t k = 0; k < cleaned.size(); ++k) EXPECT_EQ(cleaned[k], p.hub[k]);
}

}  // namespace
