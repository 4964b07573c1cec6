// Inverse conversions of TurboTransform: (space value, theta, normalised span) to (axial, radial,
// theta): the bracket search, clamping, the search-line cache and round trips on the analytic
// passages. Errors are in BadInputCatalogueTest.cpp.

#include <cfloat>
#include <cstring>
#include <limits>

#include "support/InverseChecks.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using D3 = qor::TripletBase<double>;

// Round trips are exact in exact arithmetic; about ten float roundings remain (~1e-6 of the size),
// while a wrong cell, weight or line errs by a fraction of a cell (>= 1e-3 of the size).
constexpr double kRoundTripRelTol = 1e-5;
// Points that the conversion copies or interpolates with weight 0 or 1: a few float ulps.
constexpr float kUlpTol = 4.0f * FLT_EPSILON;
constexpr float kBendScale = 4.5f;  // largest coordinate of the bend

using qortest::Built;
using qortest::meridionalDistance;

TEST(TurboTransformInterpolateOnDouble, bracketsClampsAndSplitsAsDocumentedAndStaysInRangeOnAnyData) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double one = 1.0, up1 = std::nextafter(one, 2.0), up3 = std::nextafter(std::nextafter(up1, 2.0), 2.0);
  struct Case {
    std::vector<double> values;
    double x;
    int lo, hi;
    double w;
  };
  const Case cases[] = {
      {{0, 1, 2}, 1.0, 1, 2, 0.0},    // exact hit: w = 0
      {{0, 1, 1, 2}, 1.0, 1, 3, 0.0}, // first of equal values
      {{0, 1, 2}, 1.5, 1, 2, 0.5},   {{0, 1, 5}, 2.0, 1, 2, 0.25},
      {{0, 1, 2}, -3.0, 0, 1, 0.0},  {{0, 1, 2}, 0.0, 0, 1, 0.0},  // no extrapolation below
      {{0, 1, 2}, 7.0, 1, 2, 1.0},   {{0, 1, 2}, 2.0, 1, 2, 1.0},  // nor above
      {{0, 1, 2}, nan, 0, 1, 0.0},   {{5}, 9.0, 0, 0, 0.0},        {{5}, -1.0, 0, 0, 0.0},
      {{0, one, up3, 2}, up1, 1, 2, 0.5},  // bracket too narrow to divide by
  };
  TurboTransform t;
  int lo = -7, hi = -7;
  double w = -7.0;
  t.interpolateOnDouble({}, 1.0, lo, hi, w);  // nothing written
  EXPECT_EQ(std::make_pair(lo, w), std::make_pair(-7, -7.0));
  for (const Case& c : cases) {
    t.interpolateOnDouble(c.values, c.x, lo, hi, w);
    EXPECT_EQ(std::make_pair(lo, hi), std::make_pair(c.lo, c.hi)) << "x = " << c.x;
    EXPECT_DOUBLE_EQ(w, c.w) << "x = " << c.x;
  }
  // Unsorted data with a NaN: any bracket, but within the data.
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> u(-1.0, 6.0);
  const std::vector<double> v = {3, 1, nan, 2, 0, 5, 4};
  for (int k = 0; k < 200; ++k) {
    t.interpolateOnDouble(v, u(rng), lo, hi, w);
    EXPECT_TRUE(0 <= lo && lo <= hi && hi < static_cast<int>(v.size())) << lo << " " << hi;
  }
}

TEST(TurboTransformInverse, inputOutsideTheMeshIsClampedToItsLines) {
  Built b;
  qortest::build(b, qortest::bend(), TurboTransform::linear, 2000);
  const qortest::Bend geo;
  for (TurboTransform::space s : {TurboTransform::nm, TurboTransform::rnm}) {
    const float spans[] = {1.7f, 1.0f, -0.2f, 0.0f};
    P3 q[4];
    for (int k = 0; k < 4; ++k) b.transform.convertSpaceTNsToART(s, P3(0.4f, 0.2f, spans[k]), q[k]);
    const P3 &above = q[0], &shroud = q[1], &hub = q[3];
    EXPECT_EQ(above, shroud);
    EXPECT_EQ(q[2], hub);  // below the hub
    EXPECT_FLOAT_EQ(above[2], 0.2f);
    EXPECT_NEAR(geo.rho(shroud[0], shroud[1]), geo.rhoShroud, 1e-3);
    EXPECT_NEAR(geo.rho(hub[0], hub[1]), geo.rhoHub, 1e-3);
  }
  // nm beyond the outlet (or before the inlet) gives the end node of its line, no extrapolation.
  for (float ns : {0.0f, 1.0f}) {
    const int j = ns == 0.0f ? 0 : b.nj - 1;
    P3 out;
    D3 outD;
    b.transform.convertSpaceTNsToART(TurboTransform::nm, P3(1.5f, 0.0f, ns), out);
    EXPECT_LE(meridionalDistance(out, b.node(b.ni - 1, j)), kUlpTol * kBendScale);
    b.transform.convertSpaceTNsToART(TurboTransform::nm, P3(-0.5f, 0.0f, ns), out);
    EXPECT_LE(meridionalDistance(out, b.node(0, j)), kUlpTol * kBendScale);
    b.transform.convertSpaceTNsToARTspanEQ0or1(TurboTransform::nm, D3(1.5, 0.0, 0.0), outD, ns == 0.0f);
    EXPECT_EQ(P3(outD), P3(b.node(b.ni - 1, j)[0], b.node(b.ni - 1, j)[1], 0.0f));
  }
  qor::QORVector<P3> line;
  b.transform.getConstantSpace(TurboTransform::nspanConst, 0.35, line);
  P3 out;
  b.transform.convertSpaceTNsToART(TurboTransform::nm, P3(2.0f, 0.0f, 0.35f), out);
  EXPECT_LE(meridionalDistance(out, line.back()), kUlpTol * kBendScale);
}

// Each conversion after a new mesh uses the same space and span as the one before it, so only the
// invalidation by createBackgroundMesh can make it rebuild its line; at the end only the space
// changes between two conversions, so only the space in the key can.
TEST(TurboTransformInverseCache, newBackgroundMeshOrSpaceForcesRebuild) {
  const qortest::Passage p = qortest::bend();
  TurboTransform t, fine, coarse;
  for (TurboTransform* x : {&t, &fine, &coarse}) qortest::initializeART(*x, p);
  fine.createBackgroundMesh(TurboTransform::linear, 2000);
  coarse.createBackgroundMesh(TurboTransform::linear, 300);
  const P3 in(0.37f, 0.0f, 0.5f);
  const D3 inD(0.8, 0.0, 0.0);
  P3 got, expected, before;
  D3 gotD, expectedD;

  t.createBackgroundMesh(TurboTransform::linear, 2000);
  t.convertSpaceTNsToART(TurboTransform::nm, in, before);
  t.createBackgroundMesh(TurboTransform::linear, 300);
  t.convertSpaceTNsToART(TurboTransform::nm, in, got);
  coarse.convertSpaceTNsToART(TurboTransform::nm, in, expected);
  EXPECT_EQ(got, expected);
  EXPECT_NE(got, before);  // the chords of a coarser mesh lie elsewhere on the bend

  t.convertSpaceTNsToARTspanEQ0or1(TurboTransform::m, inD, gotD, true);
  t.createBackgroundMesh(TurboTransform::linear, 2000);
  t.convertSpaceTNsToARTspanEQ0or1(TurboTransform::m, inD, gotD, true);
  fine.convertSpaceTNsToARTspanEQ0or1(TurboTransform::m, inD, expectedD, true);
  EXPECT_EQ(gotD, expectedD);
  fine.convertSpaceTNsToART(TurboTransform::mprime, in, before);
  fine.convertSpaceTNsToART(TurboTransform::nm, in, got);
  t.convertSpaceTNsToART(TurboTransform::nm, in, expected);  // the same mesh, last used at span 0
  EXPECT_EQ(got, expected);
}

// Round trips within their tolerance, and the array inverse at any mix of spans against the
// one-point path within the derived bound.
TEST(TurboTransformInverseRoundTrip, analyticPassagesComeBackAndTheArrayFormMatchesTheOnePointPath) {
  const std::pair<qortest::Passage, TurboTransform::BMmethod> cases[] = {
      {qortest::annulus(), TurboTransform::linear}, {qortest::cone(), TurboTransform::linear},
      {qortest::cone(), TurboTransform::nonLinear}, {qortest::bend(), TurboTransform::nonLinear}};
  for (const auto& c : cases) {
    Built b;
    qortest::build(b, c.first, c.second, 2000);
    qortest::expectRoundTrips(b, kRoundTripRelTol * qortest::passageSize(b.passage));
    qortest::expectArrayInverseMatchesOnePoint(b);
  }
}

TEST(TurboTransformInverseArray, everyThreadCountGivesTheSameBitsAlsoInPlace) {
  Built b;
  qortest::build(b, qortest::bend(), TurboTransform::nonLinear, 2000);
  std::mt19937 rng(42);
  SCOPED_TRACE("seed 42");
  std::uniform_real_distribution<float> u(-0.2f, 1.2f);
  std::vector<P3> in(3 * 4096 + 17);  // enough for three threads
  for (P3& p : in) p = P3(u(rng), u(rng), u(rng));
  in[5][0] = in[6][2] = std::numeric_limits<float>::quiet_NaN();
  TurboTransform::ListOptions options;
  for (TurboTransform::space s : {TurboTransform::nm, TurboTransform::mprime, TurboTransform::rnm}) {
    std::vector<P3> one(in.size()), other(in.size());
    b.transform.convertSpaceTNsToART(s, in.data(), in.size(), one.data(), options);
    for (int threads : {2, 3, 0}) {
      options.threads = threads;
      std::vector<P3> inPlace = in;
      b.transform.convertSpaceTNsToART(s, in.data(), in.size(), other.data(), options);
      b.transform.convertSpaceTNsToART(s, inPlace.data(), inPlace.size(), inPlace.data(), options);
      EXPECT_EQ(std::memcmp(one.data(), other.data(), one.size() * sizeof(P3)), 0) << threads << " threads";
      EXPECT_EQ(std::memcmp(one.data(), inPlace.data(), one.size() * sizeof(P3)), 0) << threads << " threads";
    }
    options.threads = 1;
    P3 single;
    b.transform.convertSpaceTNsToART(s, in[5], single);  // NaN value: the start of its line
    EXPECT_EQ(single, one[5]);
  }
  b.transform.convertSpaceTNsToART(TurboTransform::nm, nullptr, 0, nullptr, options);  // nothing to do
}

}  // namespace
