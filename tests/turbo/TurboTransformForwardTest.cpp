// Forward conversions of single points: the analytic fields inside the cells of the annulus (at the
// nodes of other passages: TurboTransformMeshTest.cpp), and the (value, theta, nspan) forms.
// Cartesian points: AxisFrameTest.cpp.
#include <cfloat>

#include "support/Passages.h"

namespace {

using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::P3;
using D3 = qor::TripletBase<double>;
using Space = TurboTransform::space;
using Mesh = qortest::Built;

TEST(TurboTransformForward, annulusMatchesAnalyticFieldsInsideOnTheEdgesAndBeyondTheOutlet) {
  // Uniform rectangular grid: fields linear in (A, R) are reproduced up to float rounding (2e-6);
  // m' = A / (R_j + 5e-7) at the nodes, and linear interpolation of 1/R across a cell errs by at most
  // dR^2/8 * 2/R^3, so m' gets A dR^2 / (4 R^3) + 2e-6.
  Mesh mesh;
  qortest::build(mesh, qortest::annulus(), TurboTransform::linear, 400);
  const TurboTransform& t = mesh.transform;
  const double dR = 1.0 / (mesh.nj - 1), tol = 2e-6;
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> a(0.0f, 2.0f), r(1.0f, 2.0f);
  for (int k = 0; k < 300; ++k) {
    const P3 p(a(rng), r(rng), 0.0f);
    const double A = p[0], R = p[1];
    SCOPED_TRACE(testing::Message() << "seed 42, point " << p);
    const std::pair<Space, double> expected[] = {
        {TurboTransform::m, A},          {TurboTransform::nm, A / 2},     {TurboTransform::rnm, A / 2},
        {TurboTransform::span, R - 1},   {TurboTransform::nspan, R - 1},  {TurboTransform::nmprime, A / 2},
        {TurboTransform::mprimeScaled, A}};
    for (const auto& [s, v] : expected) EXPECT_NEAR(t.convertARTtoSpace(s, p), v, 2 * tol) << s;
    EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::mprime, p), A / R, A * dR * dR / (4 * R * R * R) + tol);
    // Exact zeros and ones on the edges of the passage.
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nm, P3(0.0f, p[1], 0)), 0.0f);
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nm, P3(2.0f, p[1], 0)), 1.0f);
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nspan, P3(p[0], 1.0f, 0)), 0.0f);
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nspan, P3(p[0], 2.0f, 0)), 1.0f);
  }
  // The fields are linear in A, so extrapolation past the outlet stays exact.
  const float dA = mesh.node(1, 0)[0] - mesh.node(0, 0)[0];
  for (float f : {0.05f, 0.2f, 0.4f}) {
    const P3 p(2.0f + f * dA, 1.37f, 0.0f);
    EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nm, p), p[0] / 2.0f, 2e-6);
    EXPECT_GT(t.convertARTtoSpace(TurboTransform::nm, p), 1.0f);
  }
}

TEST(TurboTransformForward, tnsFormsPassThetaAndGiveNspanAndTheDoubleFormFollowsTheFloatOne) {
  Mesh mesh;
  qortest::build(mesh, qortest::bend(), TurboTransform::linear, 600);
  const TurboTransform& t = mesh.transform;
  std::mt19937 rng(42);
  SCOPED_TRACE("seed 42");
  std::uniform_real_distribution<float> a(-0.2f, 1.7f), r(1.3f, 3.2f), th(-1.0f, 1.0f);
  std::vector<P3> pts;
  for (int k = 0; k < 200; ++k) pts.emplace_back(a(rng), r(rng), th(rng));
  QORVector<P3> streamwise, spanwise;
  t.getUnitVectorsFromART(TripletQORVector(pts), streamwise, spanwise);
  for (std::size_t k = 0; k < pts.size(); ++k) {
    EXPECT_NEAR(streamwise[k].length(), 1.0f, 1e-6f);
    EXPECT_NEAR(spanwise[k].length(), 1.0f, 1e-6f);
    // Float against double evaluation of the same bilinear formula: a few float roundings of terms
    // summing to at most (1 + |s|)(1 + |t|) max|w|, max|w| <= 3: tolerance 1e-5 (1 + |s|)(1 + |t|).
    int c0, c1, c2, c3;
    float ls, lt;
    t.getBestQuad(pts[k], c0, c1, c2, c3, ls, lt);
    const double tol = 1e-5 * (1 + std::fabs(ls)) * (1 + std::fabs(lt));
    for (const Space s : qortest::allSpaces()) {
      if (s == TurboTransform::span || s == TurboTransform::nspan) continue;
      const float single = t.convertARTtoSpace(s, pts[k]);
      P3 tns;
      t.convertARTtoSpaceTNs(s, pts[k], tns);
      ASSERT_EQ(tns, P3(single, pts[k][2], t.convertARTtoSpace(TurboTransform::nspan, pts[k])));
      D3 tnsD;
      t.convertARTtoSpaceTNs(s, D3(pts[k][0], pts[k][1], 0.123456789012345), tnsD);
      EXPECT_EQ(tnsD[1], 0.123456789012345);
      EXPECT_NEAR(tnsD[0], single, tol);
      EXPECT_NEAR(tnsD[2], tns[2], tol);
    }
  }
}

}  // namespace
