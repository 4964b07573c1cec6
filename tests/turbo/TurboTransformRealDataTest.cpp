// The real machines of the data directory (QOR_DATA_DIR): unfolded meshes by both methods and both
// set-ups, forward-then-inverse round trips, and every node of a real solver mesh converted.
#include "support/InverseChecks.h"

namespace {

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;

constexpr int kMeshSize = 2000;  // the default request

// Located through the mesh again, every node must give its own streamwise and spanwise position:
// nm strictly rising along each streamwise line, nspan along each spanwise line.
void checkMesh(const qortest::Built& b, const std::string& label) {
  SCOPED_TRACE(label);
  const TurboTransform& t = b.transform;
  for (int j = 0; j < b.nj; ++j) {
    float previous = -1.0f;
    for (int i = 0; i < b.ni; ++i) {
      const float value = t.convertARTtoSpace(TurboTransform::nm, b.node(i, j));
      EXPECT_GT(value, previous) << "streamwise line j=" << j << " at i=" << i;
      previous = value;
    }
    EXPECT_FLOAT_EQ(previous, 1.0f) << "j=" << j;
  }
  for (int i = 0; i < b.ni; ++i) {
    float previous = -1.0f;
    for (int j = 0; j < b.nj; ++j) {
      const float value = t.convertARTtoSpace(TurboTransform::nspan, b.node(i, j));
      EXPECT_GT(value, previous) << "spanwise line i=" << i << " at j=" << j;
      previous = value;
    }
  }
}

// Both methods on the ART set-up; the same machine set up from Cartesian points about its axis gives
// the same linear mesh (float rounding of coordinates of the passage size: 1e-5 of it); round trips
// on the smoothed mesh.
TEST(TurboTransformRealData, everyMachineMeshesWithoutFoldsByBothMethodsAndBothSetUpsAndRoundTrips) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  const auto cases = qortest::dataCases();
  ASSERT_FALSE(cases.empty()) << "no machine with hub.csv under " << qortest::dataDir();
  for (const std::string& name : cases) {
    const qortest::Passage p = qortest::loadCase(name);
    for (TurboTransform::BMmethod method : {TurboTransform::linear, TurboTransform::nonLinear}) {
      const std::string label = name + (method == TurboTransform::linear ? " linear" : " smoothed");
      qortest::Built art;
      EXPECT_EQ(qortest::build(art, p, method, kMeshSize), 0) << label;
      checkMesh(art, label);
      EXPECT_GT(art.transform.getAverageLengthInM(), 0.0f) << label;
      if (method != TurboTransform::linear) {
        // Round trips as for the analytic passages (1e-5), relative to the coordinates' magnitude
        // (millimetres, offsets).
        qortest::expectRoundTrips(art, 1e-5 * std::max(qortest::passageSize(p), qortest::meshScale(art)));
        qortest::expectArrayInverseMatchesOnePoint(art);
        continue;
      }
      TurboTransform xyz;
      qortest::initializeXYZ(xyz, qortest::toXYZ(p, p.axisPoint, p.axisDirection));
      xyz.createBackgroundMesh(method, kMeshSize);
      std::vector<P3> b;
      int ib = 0, jb = 0;
      xyz.getBackgroundMesh(b, ib, jb);
      ASSERT_EQ(std::make_pair(ib, jb), std::make_pair(art.ni, art.nj)) << label;
      const double tolerance = 1e-5 * qortest::passageSize(p);
      for (std::size_t k = 0; k < b.size(); ++k) {
        ASSERT_NEAR(art.nodes[k][0], b[k][0], tolerance) << label << " node " << k;
        ASSERT_NEAR(art.nodes[k][1], b[k][1], tolerance) << label << " node " << k;
      }
    }
  }
}

// Exact walls: every given hub and shroud point converts to nspan within 1e-4 of 0 and 1 with the
// default settings and with a coarse linear mesh; with the option off the chords of the mesh leave
// some machine's wall points farther off than that. Away from the walls nothing changes.
TEST(TurboTransformRealData, exactWallsPutEveryGivenWallPointOnSpanZeroOrOne) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  double worstOff = 0.0;
  for (const std::string& name : qortest::dataCases()) {
    const qortest::Passage p = qortest::loadCase(name);
    for (const auto& [method, size] : {std::make_pair(TurboTransform::nonLinear, kMeshSize),
                                       std::make_pair(TurboTransform::linear, 500)}) {
      SCOPED_TRACE(name + (method == TurboTransform::linear ? " linear 500" : " default"));
      TurboTransform t;
      qortest::initializeART(t, p);
      t.createBackgroundMesh(method, size);
      auto worst = [&] {  // the hub by the list form, the shroud point by point
        double e = 0.0;
        std::vector<P3> hub(p.hub.points());
        std::vector<float> spans;
        t.convertARTtoSpace(TurboTransform::nspan, hub, spans);
        for (float v : spans) e = std::max(e, std::fabs(double(v)));
        for (const auto& q : p.shroud) {
          e = std::max(e, std::fabs(1.0 - t.convertARTtoSpace(TurboTransform::nspan, q)));
        }
        return e;
      };
      worstOff = std::max(worstOff, worst());
      std::vector<P3> nodes;
      int ni = 0, nj = 0;
      t.getBackgroundMesh(nodes, ni, nj);
      std::vector<P3> inner;  // cell centres two rows and more from the walls
      for (int i = 0; i + 1 < ni; ++i) {
        for (int j = 2; j + 3 < nj; ++j) inner.push_back((nodes[i * nj + j] + nodes[(i + 1) * nj + j + 1]) * 0.5f);
      }
      std::vector<float> before, after;
      t.convertARTtoSpace(TurboTransform::m, inner, before);
      t.setExactWalls(true);
      EXPECT_LE(worst(), 1e-4);
      // and the given walls are inside, even where they bulge beyond the mesh's straight edges
      for (const auto* wall : {&p.hub, &p.shroud}) {
        std::vector<std::int8_t> status(wall->size());
        t.locationStatus(wall->data(), wall->size(), status.data());
        EXPECT_EQ(std::count(status.begin(), status.end(), TurboTransform::inside),
                  std::ptrdiff_t(status.size()));
      }
      t.convertARTtoSpace(TurboTransform::m, inner, after);
      EXPECT_EQ(before, after);
    }
  }
  EXPECT_GT(worstOff, 1e-3);
}

// ---- a solver mesh: a 3-degree wedge of a plain annulus, axis along z (see its README) ----

constexpr double kHubR = 0.25, kShroudR = 0.325, kInletZ = -0.15, kOutletZ = 0.20;

// Node radii are written to 7 digits (1e-6 m = 1.3e-5 of the 0.075 m span), plus float rounding.
constexpr double kSpanTol = 2e-5;
// nm is linear in z on the annulus grid: float rounding, 1e-6 of the 0.35 m length, with margin.
constexpr double kStreamTol = 5e-6;

class SolverMeshAnnulus : public testing::TestWithParam<TurboTransform::BMmethod> {};

TEST_P(SolverMeshAnnulus, everyNodeConvertsToItsExactSpanAndStreamwisePosition) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  // The nodes (rows: id, x, y, z) as Cartesian points, with their radius and z in double.
  std::vector<P3> xyz;
  std::vector<double> radius, z;
  for (const auto& row : qortest::readCsv(qortest::dataDir() + "/su2-axial-stage-bfm-mesh/nodes.csv")) {
    if (row.size() < 4) continue;
    const double x = std::stod(row[1]), y = std::stod(row[2]);
    z.push_back(std::stod(row[3]));
    radius.push_back(std::hypot(x, y));
    xyz.emplace_back(float(x), float(y), float(z.back()));
  }
  ASSERT_EQ(xyz.size(), 13572u);

  // The annulus of the README as (axial, radial) curves, hub and shroud inlet to outlet.
  const qortest::Passage p = qortest::annulus(kInletZ, kOutletZ - kInletZ, kHubR, kShroudR, 117, 29);
  TurboTransform t;
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1, -1, -1);
  t.createBackgroundMesh(GetParam(), 2000);
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  const double dR = (kShroudR - kHubR) / (nj - 1);

  const QORVector<TurboTransform::space> spaces = {TurboTransform::nspan, TurboTransform::nm,
                                                   TurboTransform::mprime};
  QORVector<std::vector<float>> values;
  t.convertXYZtoSpace(TripletQORVector(xyz), spaces, values);

  double worstSpan = 0, worstStream = 0;
  for (std::size_t k = 0; k < xyz.size(); ++k) {
    const double a = z[k] - kInletZ;
    worstSpan = std::max(worstSpan, std::fabs(values[0][k] - (radius[k] - kHubR) / (kShroudR - kHubR)));
    worstStream = std::max(worstStream, std::fabs(values[1][k] - a / (kOutletZ - kInletZ)));
    // m' = a / (R_j + 5e-7) on the j lines: interpolation of 1/R errs by a dR^2 / (4 R^3).
    const double mprimeTol = a * dR * dR / (4 * std::pow(kHubR, 3)) + a * 5e-7 / (kHubR * kHubR) +
                             a * kSpanTol * (kShroudR - kHubR) / (kHubR * kHubR) + 1e-6;
    const double mprimeErr = std::fabs(values[2][k] - a / radius[k]);
    EXPECT_LE(mprimeErr, mprimeTol) << "node " << k;
  }
  EXPECT_LE(worstSpan, kSpanTol);
  EXPECT_LE(worstStream, kStreamTol);
}

INSTANTIATE_TEST_SUITE_P(BothMeshMethods, SolverMeshAnnulus,
                         testing::Values(TurboTransform::linear, TurboTransform::nonLinear));

}  // namespace
