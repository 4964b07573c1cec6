// Forward conversions on a real CFD mesh (QOR_DATA_DIR/su2-axial-stage-bfm-mesh): a 3-degree wedge
// of a plain annulus, axis along z, hub r = 0.25 m, shroud r = 0.325 m, inlet z = -0.15 m, outlet
// z = 0.20 m. The transform is set up from that annulus and every node of the solver mesh is
// converted from Cartesian coordinates; normalised span, normalised meridional position and m'
// are compared with their exact values. The largest errors are reported.

#include <iostream>

#include "support/Passages.h"

namespace {

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;

constexpr double kHubR = 0.25, kShroudR = 0.325, kInletZ = -0.15, kOutletZ = 0.20;

// The node radii of the file deviate from the walls' by up to 1e-6 m (7 significant digits),
// which is 1.3e-5 of the 0.075 m span; the conversion itself rounds to float (about 1e-7
// relative). The normalised span of a node is therefore exact to 2e-5.
constexpr double kSpanTol = 2e-5;
// Axial positions are written to 16 digits; nm is linear in z on the annulus grid and bilinear
// interpolation reproduces it up to float rounding: 1e-6 of the 0.35 m length, with margin 5e-6.
constexpr double kStreamTol = 5e-6;

struct Node {
  P3 xyz;
  double r, z;
};

std::vector<Node> readNodes(const std::string& path) {
  std::vector<Node> nodes;
  for (const auto& row : qortest::readCsv(path)) {
    if (row.size() < 4) continue;
    Node n;
    const double x = std::stod(row[1]), y = std::stod(row[2]), z = std::stod(row[3]);
    n.xyz = P3(float(x), float(y), float(z));
    n.r = std::hypot(x, y);
    n.z = z;
    nodes.push_back(n);
  }
  return nodes;
}

// The annulus of the README as (axial, radial) curves, hub and shroud inlet to outlet.
void setUp(TurboTransform& t, TurboTransform::BMmethod method) {
  const qortest::Passage p = qortest::annulus(kInletZ, kOutletZ - kInletZ, kHubR, kShroudR, 117, 29);
  t.initializeFromART(p.hub, p.shroud, p.inlet, p.outlet, P3(0, 0, 0), P3(0, 0, 1), -1, -1, -1, -1);
  t.createBackgroundMesh(method, 2000);
}

class SolverMeshAnnulus : public testing::TestWithParam<TurboTransform::BMmethod> {};

TEST_P(SolverMeshAnnulus, everyNodeConvertsToItsExactSpanAndStreamwisePosition) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  const std::vector<Node> nodes =
      readNodes(qortest::dataDir() + "/su2-axial-stage-bfm-mesh/nodes.csv");
  ASSERT_EQ(nodes.size(), 13572u);

  TurboTransform t;
  setUp(t, GetParam());
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  const double dR = (kShroudR - kHubR) / (nj - 1);

  std::vector<P3> xyz;
  for (const Node& n : nodes) xyz.push_back(n.xyz);
  const QORVector<TurboTransform::space> spaces = {TurboTransform::nspan, TurboTransform::nm,
                                                   TurboTransform::mprime};
  QORVector<std::vector<float>> values;
  t.convertXYZtoSpace(TripletQORVector(xyz), spaces, values);

  double worstSpan = 0, worstStream = 0, worstMprime = 0;
  for (std::size_t k = 0; k < nodes.size(); ++k) {
    const Node& n = nodes[k];
    const double a = n.z - kInletZ;
    worstSpan = std::max(worstSpan, std::fabs(values[0][k] - (n.r - kHubR) / (kShroudR - kHubR)));
    worstStream = std::max(worstStream, std::fabs(values[1][k] - a / (kOutletZ - kInletZ)));
    // m' is a / (R_j + 5e-7) on the mesh's j lines and bilinear in between: the interpolation of
    // 1/R errs by at most a dR^2 / (4 R^3); the shift adds a 5e-7 / R^2, rounding 1e-6.
    const double mprimeTol = a * dR * dR / (4 * std::pow(kHubR, 3)) + a * 5e-7 / (kHubR * kHubR) +
                             a * kSpanTol * (kShroudR - kHubR) / (kHubR * kHubR) + 1e-6;
    const double mprimeErr = std::fabs(values[2][k] - a / n.r);
    EXPECT_LE(mprimeErr, mprimeTol) << "node " << k;
    worstMprime = std::max(worstMprime, mprimeErr / mprimeTol);
  }
  EXPECT_LE(worstSpan, kSpanTol);
  EXPECT_LE(worstStream, kStreamTol);

  const std::string method = GetParam() == TurboTransform::linear ? "linear" : "nonLinear";
  RecordProperty("largestNspanError", std::to_string(worstSpan));
  RecordProperty("largestNmError", std::to_string(worstStream));
  std::cout << "su2-axial-stage-bfm-mesh (" << method << " mesh " << ni << " x " << nj << ", "
            << nodes.size() << " nodes): largest |nspan error| = " << worstSpan
            << ", largest |nm error| = " << worstStream
            << ", largest m' error / its bound = " << worstMprime << std::endl;
}

INSTANTIATE_TEST_SUITE_P(BothMeshMethods, SolverMeshAnnulus,
                         testing::Values(TurboTransform::linear, TurboTransform::nonLinear));

}  // namespace
