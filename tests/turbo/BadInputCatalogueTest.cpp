// What TurboTransform does with bad input and in an unset state: a library exception whose message
// names the problem, or a documented valid result; where the failing operation changes nothing, the
// object is still usable afterwards.

#include <climits>
#include <functional>
#include <limits>

#include "support/Passages.h"

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;
using qortest::Passage;
using D3 = qor::TripletBase<double>;
using Space = TurboTransform::space;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();

// After a failed call the transform accepts a good passage and builds a good mesh.
void expectStillUsable(TurboTransform& t) {
  qortest::initializeART(t, qortest::annulus());
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, 400), 0);
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.5f, 0.0f)), 0.5f, 1e-5f);
}

// A call and the operation and message of its error; a row without them names itself.
struct Call {
  std::function<void()> call;
  const char* function;  // nullptr: only the type is checked
  std::string message, label = "";
};

template <typename E>
void expectCalls(const std::vector<Call>& table) {
  for (const Call& c : table) {
    SCOPED_TRACE(c.function != nullptr ? c.function + (": " + c.message) : c.label);
    const E e = qortest::captureError<E>(c.call);
    if (c.function != nullptr) qortest::expectError(e, "TurboTransform", c.function, c.message);
  }
}

}  // namespace

TEST(BadInput, unusableCurveIsRefusedNamingItAndProblemBeforeAnythingChanges) {
  const Passage good = qortest::annulus();
  const std::pair<const char*, std::vector<P3>> bads[] = {
      {"empty", {}},
      {"too few", std::vector<P3>(7, P3(0.5f, 1.5f, 0))},
      {"non-finite", {P3(0, 1, 0), P3(kNaN, 1.5f, 0), P3(1, kInf, 0), P3(1, 2, 0)}}};
  const char* names[4] = {"hub", "shroud", "inlet", "outlet"};
  for (int c = 0; c < 4; ++c) {
    TurboTransform t;
    for (const auto& [problem, points] : bads) {
      SCOPED_TRACE(std::string(names[c]) + ": " + problem);
      TripletQORVector curves[4] = {good.hub, good.shroud, good.inlet, good.outlet};
      curves[c] = TripletQORVector(points);
      for (const bool cartesian : {true, false}) {
        const auto e = qortest::captureError<qor::data::invalid>([&] {
          cartesian ? t.initializeFromXYZ(curves[0], curves[1], curves[2], curves[3], P3(1, 1, 1), P3(1, 0, 0))
                    : t.initializeFromART(curves[0], curves[1], curves[2], curves[3], P3(1, 1, 1), P3(1, 0, 0),
                                          -1, -1, -1, -1);
        });
        EXPECT_NE(e.getMessage().find(names[c]), std::string::npos) << e.getMessage();
        EXPECT_NE(e.getMessage().find(problem), std::string::npos) << e.getMessage();
        EXPECT_EQ(e.getFunctionName(), cartesian ? "initializeFromXYZ" : "initializeFromART");
      }
      P3 point, direction;
      t.getAxis(point, direction);
      EXPECT_EQ(std::make_pair(point, direction), std::make_pair(P3(0, 0, 0), P3(0, 0, 1)));
      EXPECT_FALSE(t.isGeometryInitialized());
    }
    expectStillUsable(t);
  }
  // A cloud start index beyond its curve.
  TurboTransform t;
  const auto e = qortest::captureError<qor::data::invalid>([&] {
    t.initializeFromART(good.hub, good.shroud, good.inlet, good.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1,
                        static_cast<int>(good.inlet.size()), -1);
  });
  EXPECT_NE(e.getMessage().find("inlet"), std::string::npos) << e.getMessage();
  EXPECT_FALSE(t.isGeometryInitialized());
}

TEST(BadInput, hubEqualToShroudFailsAfterTheAxisChangedAndStaysUsable) {
  const Passage p = qortest::annulus();
  TurboTransform t;
  const auto e = qortest::captureError<qor::internal::error>(
      [&] { t.initializeFromART(p.hub, p.hub, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 2, 0), -1, -1, -1, -1); });
  qortest::expectError(e, "TurboTransform", "initializeFromXYZ",  // also in the ART set-up
                       "Hub and shroud curves seem to be the same.");
  P3 point, direction;
  t.getAxis(point, direction);
  EXPECT_EQ(direction, P3(0, 1, 0));
  EXPECT_FALSE(t.isGeometryInitialized());
  // Sharing only the last point is enough; the Cartesian check compares the end points in
  // (axial, radial, 0): (3, 4, 7) and (5, 0, 7) are both (7, 5, 0) about the z axis.
  std::vector<P3> hub(p.hub.points()), shroud(p.shroud.points());
  shroud.back() = p.hub[p.hub.size() - 1];
  EXPECT_THROW(t.initializeFromXYZ(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1)), qor::internal::error);
  hub.front() = P3(3, 4, 7);
  shroud = p.shroud.points();
  shroud.front() = P3(5, 0, 7);
  EXPECT_THROW(t.initializeFromXYZ(hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1)), qor::internal::error);
  // In the ART set-up a shared first point is enough too, and theta counts.
  shroud = p.shroud.points();
  shroud.front() = p.hub[0];
  EXPECT_THROW(t.initializeFromART(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1, -1, -1),
               qor::internal::error);
  shroud.front() = P3(p.hub[0][0], p.hub[0][1], 0.5f);
  EXPECT_NO_THROW(t.initializeFromART(p.hub, shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1, -1, -1));
  expectStillUsable(t);
}

// Hub and shroud swapped: every cell turns the other way, which is not folded, and span is measured
// from the curve given as hub. Inlet and outlet swapped, or a hub running outlet to inlet, fold it.
TEST(BadInput, swappedHubAndShroudMirrorTheMeshAndReversedInletOutletOrHubFoldIt) {
  Passage q = qortest::annulus();
  std::swap(q.hub, q.shroud);
  q.inlet = std::vector<P3>(q.inlet.points().rbegin(), q.inlet.points().rend());
  q.outlet = std::vector<P3>(q.outlet.points().rbegin(), q.outlet.points().rend());
  TurboTransform t;
  qortest::initializeART(t, q);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 600), 0);  // mirrored but valid
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 2.0f, 0.0f)), 0.0f, 1e-5f);
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.25f, 0.0f)), 0.75f, 1e-4f);
  Passage p = qortest::annulus();
  std::swap(p.inlet, p.outlet);
  qortest::initializeART(t, p);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 600), 1);
  EXPECT_TRUE(std::isfinite(t.convertARTtoSpace(TurboTransform::nm, P3(1.0f, 1.5f, 0.0f))));
  // Hub running outlet to inlet: spanwise lines cross; the folded mesh stays in place and is used.
  const Passage a = qortest::annulus();
  std::vector<P3> reversedHub(a.hub.points().rbegin(), a.hub.points().rend());
  TurboTransform crossed;
  crossed.initializeFromART(reversedHub, a.shroud, a.inlet, a.outlet, a.axisPoint, a.axisDirection, -1, -1, -1, -1);
  EXPECT_EQ(crossed.createBackgroundMesh(TurboTransform::linear, 400), 1);
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  crossed.getBackgroundMesh(nodes, ni, nj);
  ASSERT_EQ(nodes.size(), static_cast<std::size_t>(ni * nj));
  EXPECT_FLOAT_EQ(crossed.convertARTtoSpace(TurboTransform::nspan, nodes[std::size_t((ni / 2) * nj + nj - 1)]), 1.0f);
}

TEST(BadInput, curvesThatDoNotMeetOrCrossThemselvesAndAxesThroughThePassageNeverFail) {
  Passage p = qortest::annulus(), crossing = qortest::annulus();
  p.inlet = qortest::line(-0.5, 0.5, -0.5, 2.5, 11);  // beyond hub and shroud, upstream
  TurboTransform t, u, v;
  qortest::initializeART(t, p);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, 400), 0);  // spans hub to shroud only
  EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nspan, P3(1.0f, 1.5f, 0.0f)), 0.5f, 1e-5f);
  // Any mesh and any value, but no failure: a hub crossing itself, an axis through the passage.
  crossing.hub = std::vector<P3>{P3(0, 1, 0), P3(1.5f, 1.8f, 0), P3(0.5f, 1.8f, 0), P3(2, 1, 0)};
  qortest::initializeART(u, crossing);
  for (auto method : {TurboTransform::linear, TurboTransform::nonLinear}) {
    EXPECT_LE(u.createBackgroundMesh(method, 400), 1);
    (void)u.convertARTtoSpace(TurboTransform::nm, P3(1.0f, 1.9f, 0.0f));
  }
  const Passage x = qortest::toXYZ(qortest::annulus(), P3(0, 0, 0), P3(1, 0, 0));
  v.initializeFromXYZ(x.hub, x.shroud, x.inlet, x.outlet, P3(0, 0, 0), P3(0, 1, 0));
  EXPECT_LE(v.createBackgroundMesh(TurboTransform::linear, 400), 1);
}

TEST(BadInput, hugeAndTinyCoordinatesAreRefusedAndOtherUnitsWork) {
  TurboTransform t;
  // 1e30 overflows single-precision lengths, 1e-30 is below their resolution: both refused.
  expectCalls<qor::data::invalid>(
      {{[&] { qortest::initializeART(t, qortest::annulus(0.0, 2e30, 1e30, 2e30)); }, nullptr, "", "huge"},
       {[&] { qortest::initializeART(t, qortest::annulus(0.0, 2e-30, 1e-30, 2e-30)); }, nullptr, "", "tiny"}});
  for (double scale : {1e-3, 1e3}) {
    TurboTransform u;
    qortest::initializeART(u, qortest::annulus(0.0, 2 * scale, 1 * scale, 2 * scale));
    ASSERT_EQ(u.createBackgroundMesh(TurboTransform::linear, 400), 0);
    EXPECT_NEAR(u.convertARTtoSpace(TurboTransform::nspan, P3(float(scale), float(1.5 * scale), 0.0f)), 0.5f, 1e-4f);
  }
  expectStillUsable(t);
}

TEST(BadInput, badSizesLevelsAndMethodsAreRefusedKeepingTheOldMesh) {
  qortest::Built b;
  qortest::build(b, qortest::annulus(), TurboTransform::linear, 300);
  TurboTransform& t = b.transform;
  EXPECT_THROW(t.createBackgroundMesh(TurboTransform::linear, 3), qor::data::invalid);
  EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, 3), qor::data::invalid);
  t.setNumberOfLevelsforBM(0);
  EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, 300), qor::data::invalid);
  t.setNumberOfLevelsforBM(3);
  // Absurd sizes are refused up front naming the size: INT_MAX nodes on one level need about
  // 500 GB; three levels hold a third more nodes than an int can index.
  const auto memory = qortest::captureError<qor::data::invalid>([&] { t.createBackgroundMesh(TurboTransform::linear, INT_MAX); });
  EXPECT_EQ(memory.getMessage().rfind("Background mesh size 2147483647 (2147450880 nodes) needs about 524280 MB of memory, more than the ", 0), 0u)
      << memory.getMessage();
  qortest::expectError(
      qortest::captureError<qor::data::invalid>([&] { t.createBackgroundMesh(TurboTransform::nonLinear, INT_MAX); }),
      "TurboTransform", "createBackgroundMesh",
      "Background mesh size 2147483647 needs more than 2147483647 nodes, beyond the index range.");
  // An unknown method is refused after the requested size was stored.
  qortest::expectError(qortest::captureError<qor::internal::error>(
                           [&] { t.createBackgroundMesh(static_cast<TurboTransform::BMmethod>(2), 555); }),
                       "TurboTransform", "createBackgroundMesh", "Unrecognised Method for creation of BM mesh.");
  EXPECT_EQ(t.getBackgroundMeshSize(), 555);
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  t.getBackgroundMesh(nodes, ni, nj);
  EXPECT_EQ(nodes, b.nodes);
  EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::nm, b.node(ni - 1, 2)), 1.0f);
  t.setNumberOfLevelsforBM(2);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 400), 0);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, 4), 0);  // the smallest mesh, 3 x 3
}

TEST(BadInput, outOfRangeSpacesAreRefusedWithTheirNumbersAndLeaveOutputsAlone) {
  qortest::Built b;
  qortest::build(b, qortest::annulus(), TurboTransform::linear, 400);
  const TurboTransform& t = b.transform;
  const P3 p(0.5f, 1.5f, 0.2f);
  P3 out(9, 9, 9);
  D3 outD(9, 9, 9);
  std::vector<D3> list(3, D3(0.5, 0.0, 0.0)), outList;
  QORVector<P3> line;
  auto sp = [](int s) { return static_cast<Space>(s); };
  const std::string forward = "not allowed for conversion here";
  expectCalls<qor::internal::error>({
      {[&] { (void)t.convertARTtoSpace(sp(-1), p); }, "convertARTtoSpace", "Space (-1) " + forward},
      {[&] { t.convertARTtoSpaceTNs(TurboTransform::span, p, out); }, "convertARTtoSpaceTNs", "Space (1) " + forward},
      {[&] { t.convertARTtoSpaceTNs(sp(9), D3(0.5, 1.5, 0), outD); }, "convertARTtoSpaceTNs", "Space (9) " + forward},
      {[&] { t.convertSpaceTNsToART(sp(4), p, out); }, "convertSpaceTNsToART", "Space (4) " + forward + "."},
      {[&] { t.convertSpaceTNsToART(sp(1), &p, 1, &out, {}); }, "convertSpaceTNsToART", "Space (1) " + forward + "."},
      {[&] { t.convertSpaceTNsToART(sp(8), nullptr, 0, nullptr, {}); }, "convertSpaceTNsToART",
       "Space (8) " + forward + "."},
      {[&] { t.convertSpaceTNsToARTspanEQ0or1(sp(-1), D3(0.5, 0, 0), outD, true); }, "convertSpaceTNsToART",
       "Space (-1) " + forward + "."},
      {[&] { t.convertOnConstantSpanSpaceTNsToART(TurboTransform::span, 0.5, list, outList); },
       "getSpaceOnConstantSpan", "Space (1) not allowed here."},
  });
  EXPECT_EQ(out, P3(9, 9, 9));
  EXPECT_EQ(outD, D3(9, 9, 9));
  TurboTransform::ListOptions negative;
  negative.threads = -2;
  expectCalls<qor::data::invalid>(
      {{[&] { t.getConstantSpace(static_cast<TurboTransform::constSpace>(3), 0.5, line); }, "getConstantSpace",
        "Constant space (3) does not exist"},
       {[&] { t.convertSpaceTNsToART(TurboTransform::nm, &p, 1, nullptr, {}); }, "convertSpaceTNsToART",
        "Null array for a list of 1 points."},
       {[&] { t.convertSpaceTNsToART(TurboTransform::nm, &p, 1, &out, negative); }, "convertSpaceTNsToART",
        "Number of threads (-2) must be 0 (every hardware thread) or more."}});
  EXPECT_EQ(out, P3(9, 9, 9));
  // The multi-space form skips unknown spaces silently: a pre-sized list is untouched, a new one
  // is sized to the points and left at zero.
  const TripletQORVector pts = {P3(0.5f, 1.5f, 0), P3(1.2f, 1.1f, 0)};
  QORVector<std::vector<float>> values(3);
  values[1] = {42.0f, 43.0f};
  t.convertARTtoSpace(pts, QORVector<Space>{TurboTransform::nm, sp(9), sp(-3)}, values);
  EXPECT_EQ(values[1], (std::vector<float>{42.0f, 43.0f}));
  EXPECT_EQ(values[2], (std::vector<float>{0.0f, 0.0f}));
  EXPECT_EQ(values[0][0], t.convertARTtoSpace(TurboTransform::nm, pts[0]));
}

TEST(BadInput, everyMeshOperationBeforeTheMeshThrowsNullPointerNamingIt) {
  qortest::ScopedTempDir dir;  // nothing may be written, but never into the working directory
  TurboTransform fresh, initialised;
  qortest::initializeART(initialised, qortest::annulus());
  const std::string topo = "Null pointer to m_topo.";
  expectCalls<qor::internal::nullPointer>(
      {{[&] { fresh.createBackgroundMesh(TurboTransform::linear, 300); }, "createBackgroundMesh",
        "Null pointer to m_projectionDB."}});
  for (TurboTransform* t : {&fresh, &initialised}) {
    const P3 p(0.5f, 1.5f, 0.0f);
    P3 out;
    std::vector<P3> nodes;
    QORVector<P3> none, line;
    QORVector<float> values;
    QORVector<std::vector<float>> lists;
    const QORVector<Space> spaces = {TurboTransform::nm};
    int ni = 0, nj = 0, c0, c1, c2, c3, cells[4][2];
    float s, tt;
    expectCalls<qor::internal::nullPointer>({
        {[&] { (void)t->convertARTtoSpace(TurboTransform::nm, p); }, "convertARTtoSpace", topo},
        {[&] { (void)t->convertXYZtoSpace(TurboTransform::nm, p); }, "convertXYZtoSpace", topo},
        {[&] { t->convertARTtoSpaceTNs(TurboTransform::nm, p, out); }, "convertARTtoSpaceTNs", topo},
        // The Cartesian and multi-space lists fail even for no points; the list and inverse forms
        // report the point conversion.
        {[&] { t->convertXYZtoSpace(TurboTransform::nm, none, values); }, "convertARTtoSpace", topo},
        {[&] { t->convertARTtoSpace(TripletQORVector(), spaces, lists); }, "convertARTtoSpace", topo},
        {[&] { t->convertSpaceTNsToART(TurboTransform::rnm, P3(0.5f, 0, 0.5f), out); }, "convertARTtoSpace", topo},
        {[&] { t->convertSpaceTNsToART(TurboTransform::nm, &p, 1, &out, {}); }, "convertARTtoSpace", topo},
        {[&] { t->getConstantSpace(TurboTransform::nspanConst, 0.5, line); }, "getConstantSpace", topo},
        {[&] { t->getConstantSpace(TurboTransform::nmConst, 0.5, 4, 0.1, 0.9, line); }, nullptr, "", "cut resampled"},
        {[&] { t->getBackgroundMesh(nodes, ni, nj); }, "getBackgroundMesh", topo},
        {[&] { t->getBackgroundMeshSize(ni, nj); }, "getBackgroundMeshSize", topo},
        {[&] { (void)t->getAverageLengthInM(); }, nullptr, "", "length"},
        {[&] { t->getBestQuad(p, c0, c1, c2, c3, s, tt); }, nullptr, "", "best quad"},
        {[&] { (void)t->findClosestElements(p, cells); }, nullptr, "", "elements"},
        {[&] { t->exportFinalMeshToPostSurface("never-written.msh"); }, nullptr, "", "surface file"},
    });
    // The checks that come first still win.
    expectCalls<qor::internal::error>(
        {{[&] { t->convertSpaceTNsToART(TurboTransform::nspan, p, out); }, "convertSpaceTNsToART",
          "Space (4) not allowed for conversion here."},
         {[&] { t->convertSpaceTNsToART(TurboTransform::nspan, &p, 1, &out, {}); }, "convertSpaceTNsToART",
          "Space (4) not allowed for conversion here."}});
    expectCalls<qor::data::invalid>(
        {{[&] { t->getConstantSpace(static_cast<TurboTransform::constSpace>(7), 0.5, line); }, nullptr, "",
          "constSpace 7"},
         {[&] { t->getConstantSpace(TurboTransform::nmConst, 0.5, 1, line); }, nullptr, "", "one point"}});
    // The single-space ART list converts nothing and succeeds; the span list is simply empty.
    values.assign(3, 7.0f);
    EXPECT_NO_THROW(t->convertARTtoSpace(TurboTransform::nm, none, values));
    EXPECT_TRUE(values.empty());
    std::vector<double> nspan(3, 9.0);
    t->getNSpanValues(nspan);
    EXPECT_TRUE(nspan.empty());
  }
}

TEST(BadInput, malformedOrTruncatedPointFilesAreReportedWithFileAndLine) {
  qortest::ScopedTempDir dir;
  std::ofstream("badnumber") << "3\n1 2 3\n4 five 6\n7 8 9\n";
  std::ofstream("short") << "3\n1 2 3\n4 5 6\n";
  std::ofstream("nocount") << "x\n";
  TurboTransform t;
  for (const auto& c : std::vector<std::pair<std::string, std::string>>{
           {"badnumber", "3"}, {"short", "4"}, {"nocount", "1"}}) {
    SCOPED_TRACE(c.first);
    QORVector<P3> pts = {P3(9, 9, 9)};
    const auto e = qortest::captureError<qor::data::invalid>([&] { t.getVectorFromFile(c.first, pts); });
    EXPECT_EQ(e.getFunctionName(), "getVectorFromFile");
    EXPECT_NE(e.getMessage().find(c.first), std::string::npos) << e.getMessage();
    EXPECT_NE(e.getMessage().find("line " + c.second), std::string::npos) << e.getMessage();
    EXPECT_EQ(pts, QORVector<P3>{P3(9, 9, 9)});  // left as it was
  }
  QORVector<P3> pts;
  const auto e = qortest::captureError<qor::data::error>([&] { t.getVectorFromFile("missing", pts); });
  EXPECT_NE(e.getMessage().find("missing"), std::string::npos) << e.getMessage();
}
