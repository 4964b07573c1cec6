// What the library does with bad input: for each kind of bad input either a library exception
// whose message names the problem, or a documented valid result; afterwards the object is still
// usable where the failing operation changes nothing.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <string>

#include "Passages.h"

using qor::TurboTransform;
using qortest::P3;
using qortest::Passage;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Runs `setUp` and expects a data::invalid whose message contains every word of `words`.
template <typename F>
void expectInvalid(F&& setUp, std::initializer_list<const char*> words) {
  try {
    setUp();
    ADD_FAILURE() << "no exception";
  } catch (const qor::data::invalid& e) {
    for (const char* w : words) EXPECT_NE(e.getMessage().find(w), std::string::npos) << e.getMessage();
  }
}

// After a failed set-up the transform accepts a good passage and builds a good mesh.
void expectStillUsable(TurboTransform& t) {
  qortest::initializeART(t, qortest::annulus());
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, 400), 0);
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.5f, 0.0f)), 0.5f, 1e-5f);
}

Passage withPoint(Passage p, qor::TripletQORVector Passage::*curve, std::size_t k, P3 value) {
  std::vector<P3> pts((p.*curve).begin(), (p.*curve).end());
  pts.at(k) = value;
  p.*curve = qor::TripletQORVector(pts);
  return p;
}

}  // namespace

TEST(BadInput, nonFiniteCoordinatesAreRefusedNamingTheCurve) {
  const Passage good = qortest::annulus();
  struct Case {
    qor::TripletQORVector Passage::*curve;
    const char* name;
  };
  for (const Case c : {Case{&Passage::hub, "hub"}, Case{&Passage::shroud, "shroud"},
                       Case{&Passage::inlet, "inlet"}, Case{&Passage::outlet, "outlet"}}) {
    for (const float bad : {kNaN, kInf, -kInf}) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(bad));
      TurboTransform t;
      const Passage p = withPoint(good, c.curve, 1, P3(bad, 1.5f, 0.0f));
      expectInvalid([&] { qortest::initializeART(t, p); }, {c.name});
      EXPECT_FALSE(t.isGeometryInitialized());
      const Passage q = qortest::toXYZ(p, P3(0, 0, 0), P3(1, 0, 0));
      expectInvalid([&] { qortest::initializeXYZ(t, q); }, {c.name});
      expectStillUsable(t);
    }
  }
}

TEST(BadInput, emptyOnePointAndAllDuplicateCurvesAreRefused) {
  const Passage good = qortest::annulus();
  TurboTransform t;
  Passage p = good;
  p.inlet = qor::TripletQORVector();
  expectInvalid([&] { qortest::initializeART(t, p); }, {"inlet"});
  p = good;
  p.outlet = qor::TripletQORVector({P3(2, 1, 0)});
  expectInvalid([&] { qortest::initializeART(t, p); }, {"outlet"});
  p = good;
  p.hub = qor::TripletQORVector(std::vector<P3>(7, P3(1, 1, 0)));
  expectInvalid([&] { qortest::initializeART(t, p); }, {"hub"});
  expectStillUsable(t);
}

TEST(BadInput, hubEqualToShroudIsRefused) {
  Passage p = qortest::annulus();
  p.shroud = p.hub;
  TurboTransform t;
  try {
    qortest::initializeART(t, p);
    FAIL() << "no exception";
  } catch (const qor::internal::error& e) {
    EXPECT_EQ(e.getMessage(), "Hub and shroud curves seem to be the same.");
  }
  expectStillUsable(t);
}

TEST(BadInput, swappedHubAndShroudMeasureSpanFromTheCurveGivenAsHub) {
  Passage q = qortest::annulus();
  std::swap(q.hub, q.shroud);
  {
    // Hub and shroud swapped with inlet and outlet reversed to match: a mirrored but valid mesh.
    std::vector<P3> in(q.inlet.begin(), q.inlet.end()), out(q.outlet.begin(), q.outlet.end());
    std::reverse(in.begin(), in.end());
    std::reverse(out.begin(), out.end());
    q.inlet = in;
    q.outlet = out;
  }
  TurboTransform t;
  qortest::initializeART(t, q);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 600), 0);
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 2.0f, 0.0f)), 0.0f, 1e-5f);
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.25f, 0.0f)), 0.75f, 1e-4f);
}

TEST(BadInput, reversedInletAndOutletFoldTheSmoothedMeshAndSaySo) {
  Passage p = qortest::annulus();
  std::swap(p.inlet, p.outlet);
  TurboTransform t;
  qortest::initializeART(t, p);
  // The West side is laid on the outlet and the East side on the inlet: the mesh folds, which the
  // result reports; conversions still answer without failing.
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 600), 1);
  EXPECT_TRUE(std::isfinite(t.convertARTtoSpace(TurboTransform::nm, P3(1.0f, 1.5f, 0.0f))));
}

TEST(BadInput, curvesThatDoNotMeetStillGiveAMeshBetweenHubAndShroud) {
  Passage p = qortest::annulus();
  p.inlet = qortest::line(-0.5, 0.5, -0.5, 2.5, 11);  // ends beyond hub and shroud, upstream
  TurboTransform t;
  qortest::initializeART(t, p);
  const int quality = t.createBackgroundMesh(TurboTransform::linear, 400);
  EXPECT_EQ(quality, 0);  // the linear method spans hub to shroud only
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.5f, 0.0f)), 0.5f, 1e-5f);
}

TEST(BadInput, selfCrossingHubNeverCrashesAndReportsAFold) {
  Passage p = qortest::annulus();
  std::vector<P3> hub = {P3(0, 1, 0), P3(1.5f, 1.8f, 0), P3(0.5f, 1.8f, 0), P3(2, 1, 0)};
  p.hub = hub;
  TurboTransform t;
  qortest::initializeART(t, p);
  for (auto method : {TurboTransform::linear, TurboTransform::nonLinear}) {
    const int quality = t.createBackgroundMesh(method, 400);
    EXPECT_TRUE(quality == 0 || quality == 1);
    float s = t.convertARTtoSpace(TurboTransform::nm, P3(1.0f, 1.9f, 0.0f));
    (void)s;  // any value: the geometry has no meaning, the call must simply not fail
  }
}

TEST(BadInput, hugeAndTinyCoordinatesAreRefusedOrScaledCorrectly) {
  TurboTransform t;
  // Coordinates of 1e30 overflow single-precision lengths: refused with a message naming them.
  Passage huge = qortest::annulus(0.0, 2e30, 1e30, 2e30);
  expectInvalid([&] { qortest::initializeART(t, huge); }, {"hub"});
  // A passage of 1e-30 is below the resolution of single-precision lengths: refused.
  Passage tiny = qortest::annulus(0.0, 2e-30, 1e-30, 2e-30);
  expectInvalid([&] { qortest::initializeART(t, tiny); }, {"hub"});
  // Millimetres and kilometres both work: normalised spaces do not depend on the unit.
  for (double scale : {1e-3, 1e3}) {
    TurboTransform u;
    qortest::initializeART(u, qortest::annulus(0.0, 2 * scale, 1 * scale, 2 * scale));
    ASSERT_EQ(u.createBackgroundMesh(TurboTransform::linear, 400), 0);
    EXPECT_NEAR(u.convertARTtoSpace(TurboTransform::nspan, P3(float(scale), float(1.5 * scale), 0.0f)), 0.5f, 1e-4f);
  }
  expectStillUsable(t);
}

TEST(BadInput, axisThroughThePassageGivesRadiiAboutTheAxisWithoutFailing) {
  // An axis along A = 1 crossing the passage: radii fold back; the mesh reports whatever it is.
  Passage p = qortest::toXYZ(qortest::annulus(), P3(0, 0, 0), P3(1, 0, 0));
  TurboTransform t;
  qortest::initializeXYZ(t, Passage(p));
  (void)t.createBackgroundMesh(TurboTransform::linear, 400);
  TurboTransform u;
  EXPECT_NO_THROW(u.initializeFromXYZ(p.hub, p.shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 1, 0)));
  const int quality = u.createBackgroundMesh(TurboTransform::linear, 400);
  EXPECT_TRUE(quality == 0 || quality == 1);
}

TEST(BadInput, zeroOrNegativeSizesAndLevelsAreRefused) {
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  for (int size : {0, -5, 3}) {
    SCOPED_TRACE(size);
    EXPECT_THROW(t.createBackgroundMesh(TurboTransform::linear, size), qor::data::invalid);
    EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, size), qor::data::invalid);
  }
  for (int levels : {0, -1}) {
    t.setNumberOfLevelsforBM(levels);
    EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, 400), qor::data::invalid);
  }
  t.setNumberOfLevelsforBM(2);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 400), 0);
}

TEST(BadInput, outOfRangeEnumeratorsAreRefused) {
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  ASSERT_EQ(t.createBackgroundMesh(TurboTransform::linear, 400), 0);
  const P3 p(1.0f, 1.5f, 0.0f);
  P3 out;
  for (int s : {8, -1, 1000}) {
    SCOPED_TRACE(s);
    const auto bad = static_cast<TurboTransform::space>(s);
    EXPECT_THROW((void)t.convertARTtoSpace(bad, p), qor::internal::error);
    EXPECT_THROW(t.convertARTtoSpaceTNs(bad, p, out), qor::internal::error);
    EXPECT_THROW(t.convertSpaceTNsToART(bad, p, out), qor::internal::error);
  }
  qor::QORVector<P3> line;
  EXPECT_THROW(t.getConstantSpace(static_cast<TurboTransform::constSpace>(3), 0.5, line), qor::data::invalid);
  EXPECT_THROW(t.getConstantSpace(static_cast<TurboTransform::constSpace>(-1), 0.5, line), qor::data::invalid);
  EXPECT_THROW(t.createBackgroundMesh(static_cast<TurboTransform::BMmethod>(2), 400), qor::internal::error);
  EXPECT_THROW(t.createBackgroundMesh(static_cast<TurboTransform::BMmethod>(-1), 400), qor::internal::error);
  // The old mesh is kept after the refused method.
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, p), 0.5f, 1e-5f);
}

TEST(BadInput, malformedAndTruncatedPointFilesAreRefusedNamingTheFile) {
  qortest::ScopedTempDir dir;
  TurboTransform t;
  qor::QORVector<P3> pts;
  auto write = [](const char* name, const char* text) {
    std::ofstream(name) << text;
  };
  write("truncated", "3\n1 2 3\n4 5 6\n");
  write("malformed", "2\n1 2 3\n4 five 6\n");
  write("nocount", "one\n1 2 3\n");
  for (const char* name : {"truncated", "malformed", "nocount", "missing"}) {
    SCOPED_TRACE(name);
    try {
      t.getVectorFromFile(name, pts);
      ADD_FAILURE() << "no exception";
    } catch (const qor::data::error& e) {
      EXPECT_NE(e.getMessage().find(name), std::string::npos) << e.getMessage();
    }
  }
  write("good", "2\n1,2,3\n4 5 6\n");
  t.getVectorFromFile("good", pts);
  ASSERT_EQ(pts.size(), 2u);
  EXPECT_EQ(pts[1], P3(4, 5, 6));
}
