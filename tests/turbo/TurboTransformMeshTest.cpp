// Background mesh and fields: sizing and levels, the fields at the nodes of analytic passages set up
// from ART and from XYZ and on the edges of the annulus, mesh shape, fold detection, copies and the
// mesh files. Cartesian points: AxisFrameTest.cpp; (value, theta, nspan): ArrayFormsTest.cpp.
#include <cstring>

#include "qor/smoothing/Smooth2dbs.h"
#include "support/Passages.h"

namespace {

using qor::TripletBase;
using qor::TurboTransform;
using qortest::Built;
using qortest::P3;

constexpr double kNodeTol = 1e-5;        // normalised fields at nodes
constexpr double kRelTol = 1e-5;         // relative, m and m' on exact geometries
constexpr double kBendLinearTol = 1e-4;  // nodes of the bend lie on chords of its polylines
constexpr double kBendSmoothTol = 2e-3;  // the smoothed polar grid is not a fixed point
constexpr double kSetUpTol = 2e-5;       // Cartesian set-up against ART set-up (float rounding)

// Two-point straight curves of the rectangle A in [0, length], R in [r1, r2]: their lengths are
// exact, so the mesh dimensions follow the sizing rule without rounding doubts.
qortest::Passage rectangle(double length, double r1, double r2) { return qortest::annulus(0, length, r1, r2, 2, 2); }

double fieldAt(const TurboTransform& t, TurboTransform::space s, const P3& node) {
  TripletBase<double> out;
  t.convertARTtoSpaceTNs(s, TripletBase<double>(node), out);
  return out[0];
}

TEST(TurboTransformMeshSize, workedExamplesOfTheSizeRule) {
  struct Case {
    double length;
    TurboTransform::BMmethod method;
    int request, levelsBefore, ni, nj, levelsAfter;
  };
  const Case cases[] = {
      {4.0, TurboTransform::nonLinear, 2000, 3, 89, 21, 3},  // a = 1, b = 4: coarsest 22 x 5 cells
      {1.0, TurboTransform::nonLinear, 100, 3, 11, 11, 2},   // 5 coarse cells refined once; levels dropped
      {1.0, TurboTransform::nonLinear, 144, 3, 13, 13, 2},   // 3 coarse cells are too few: the same size
      {1.0, TurboTransform::linear, TurboTransform::BMmedium, 4, 45, 45, 4},  // linear ignores levels
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.length << " " << c.request);
    TurboTransform t;
    if (c.levelsBefore != 3) t.setNumberOfLevelsforBM(c.levelsBefore);  // 3 levels by default
    qortest::initializeART(t, rectangle(c.length, 1.0, 2.0));
    EXPECT_EQ(t.createBackgroundMesh(c.method, c.request), 0);
    int ni = 0, nj = 0;
    t.getBackgroundMeshSize(ni, nj);
    EXPECT_EQ((std::vector<int>{t.getBackgroundMeshSize(), ni, nj, t.getNumberOfLevelsforBM()}),
              (std::vector<int>{c.request, c.ni, c.nj, c.levelsAfter}));
  }
}

TEST(TurboTransformFields, threeByThreeRectangleGivesEvenFieldsAndItsSurfaceFile) {
  qortest::ScopedTempDir dir;
  Built b;
  {
    qortest::ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");  // the finished mesh: final.msh
    ASSERT_EQ(qortest::build(b, rectangle(2.0, 1.0, 3.0), TurboTransform::linear, 4), 0);
  }
  const TurboTransform& t = b.transform;
  ASSERT_EQ(std::make_pair(b.ni, b.nj), std::make_pair(3, 3));
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      SCOPED_TRACE(testing::Message() << "node " << i << "," << j);
      const P3 node = b.node(i, j);
      EXPECT_EQ(node, P3(float(i), float(1 + j), 0.0f));
      EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::m, node), i);
      for (auto s : {TurboTransform::nm, TurboTransform::rnm, TurboTransform::nmprime}) {
        EXPECT_DOUBLE_EQ(fieldAt(t, s, node), i * 0.5);
      }
      EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::nspan, node), float(j * 0.5));
      EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::span, node), float(j));
    }
  }
  // m' steps by dm / mean radius, with the radius shifted by 1e-6; the scaled form is the hub's,
  // and every line reaches the hub's total at the outlet.
  EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::mprime, b.node(1, 0)), 1.0 / ((1.0 + 1.0 + 1e-6) * 0.5));
  const double hubTotal = fieldAt(t, TurboTransform::mprime, b.node(2, 0));
  for (int i = 0; i < 3; ++i) {
    EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::mprimeScaled, b.node(i, 0)),
                     fieldAt(t, TurboTransform::mprime, b.node(i, 0)));
    EXPECT_NEAR(fieldAt(t, TurboTransform::mprimeScaled, b.node(2, i)), hubTotal, 1e-12);
    EXPECT_TRUE(i == 0 || fieldAt(t, TurboTransform::mprime, b.node(2, i)) < hubTotal) << i;  // larger radius
  }
  EXPECT_FLOAT_EQ(t.getAverageLengthInM(), 2.0f);
  t.exportFinalMeshToPostSurface("mesh.msh");
  const auto lines = qortest::readLines("mesh.msh");
  ASSERT_EQ(lines.size(), 9u + 2u + 4u);
  for (int k = 0; k < 9; ++k) {
    std::istringstream in(lines[k]);
    float x, y, z;
    ASSERT_TRUE(in >> x >> y >> z) << lines[k];
    EXPECT_NEAR(x, b.nodes[k][0], 1e-5f);  // default stream format: 6 significant digits
    EXPECT_NEAR(y, b.nodes[k][1], 1e-5f);
    EXPECT_EQ(z, 0.0f);
    EXPECT_NE(lines[k].back(), ' ');
    EXPECT_EQ(lines[k].find("  "), std::string::npos);
  }
  EXPECT_EQ(std::vector<std::string>(lines.begin() + 9, lines.end()),
            (std::vector<std::string>{"", "# Faces", "4 1 0 3", "5 2 1 4", "7 4 3 6", "8 5 4 7"}));
  EXPECT_EQ(qortest::readLines("final.msh"), lines);
}

struct AnalyticCase {
  std::string passage;
  TurboTransform::BMmethod method;
  bool cartesian;  // set up from XYZ about a non-default axis
};

const P3 kAxisPoint(0.3f, -0.2f, 1.0f), kAxisDirection(1.0f, 2.0f, 2.0f);

class TurboTransformAnalytic : public testing::TestWithParam<AnalyticCase> {};

TEST_P(TurboTransformAnalytic, fieldsMatchAnalyticValuesAtNodes) {
  const AnalyticCase& c = GetParam();
  const auto p = c.passage == "annulus" ? qortest::annulus() : c.passage == "cone" ? qortest::cone() : qortest::bend();
  Built art;
  ASSERT_EQ(qortest::build(art, p, c.method, 800), 0);
  TurboTransform xyz, &t = c.cartesian ? xyz : art.transform;
  std::vector<P3> nodes = art.nodes;
  int ni = art.ni, nj = art.nj;
  if (c.cartesian) {  // the same mesh as the ART set-up, up to float rounding
    qortest::initializeXYZ(xyz, qortest::toXYZ(p, kAxisPoint, kAxisDirection));
    ASSERT_EQ(xyz.createBackgroundMesh(c.method, 800), 0);
    xyz.getBackgroundMesh(nodes, ni, nj);
    ASSERT_EQ(std::make_pair(ni, nj), std::make_pair(art.ni, art.nj));
    for (std::size_t k = 0; k < nodes.size(); ++k) {
      ASSERT_NEAR(nodes[k][0], art.nodes[k][0], kSetUpTol) << k;
      ASSERT_NEAR(nodes[k][1], art.nodes[k][1], kSetUpTol) << k;
    }
  }
  const double bendTol = c.method == TurboTransform::nonLinear ? kBendSmoothTol : kBendLinearTol;
  for (int i = 0; i < ni; ++i) {
    for (int j = 0; j < nj; ++j) {
      const P3& q = nodes[std::size_t(i * nj + j)];
      SCOPED_TRACE(testing::Message() << "node " << i << "," << j << " at " << q);
      const double nmValue = fieldAt(t, TurboTransform::nm, q), mValue = fieldAt(t, TurboTransform::m, q);
      const double nspanValue = t.convertARTtoSpace(TurboTransform::nspan, q);
      const double spanValue = t.convertARTtoSpace(TurboTransform::span, q);
      if (c.passage == "annulus") {
        EXPECT_NEAR(mValue, q[0], kRelTol * 2.0);
        EXPECT_NEAR(nmValue, q[0] / 2.0, kNodeTol);
        EXPECT_NEAR(fieldAt(t, TurboTransform::rnm, q), q[0] / 2.0, kNodeTol);
        EXPECT_NEAR(nspanValue, q[1] - 1.0, kNodeTol);
        EXPECT_NEAR(spanValue, q[1] - 1.0, kNodeTol);
        EXPECT_NEAR(fieldAt(t, TurboTransform::mprime, q), q[0] / (q[1] + 5e-7), kRelTol * 2.0);
        EXPECT_NEAR(fieldAt(t, TurboTransform::mprimeScaled, q), q[0] / (1.0 + 5e-7), kRelTol * 2.0);
      } else if (c.passage == "cone") {
        const qortest::Cone cone;
        const double xi = cone.xi(q[0], q[1]), eta = cone.eta(q[0], q[1]);
        EXPECT_NEAR(mValue, xi, kRelTol * cone.length);
        EXPECT_NEAR(nmValue, xi / cone.length, kNodeTol);
        EXPECT_NEAR(nspanValue, eta / cone.height, kNodeTol);
        EXPECT_NEAR(spanValue, eta, kNodeTol);
      } else {
        const qortest::Bend bend;
        const double rho = bend.rho(q[0], q[1]);
        EXPECT_NEAR(nmValue, bend.theta(q[0], q[1]) / (qortest::kPi / 2), bendTol);
        EXPECT_NEAR(nspanValue, (bend.rhoHub - rho) / (bend.rhoHub - bend.rhoShroud), bendTol);
        EXPECT_NEAR(spanValue, bend.rhoHub - rho, bendTol);
        if (!c.cartesian && (j == 0 || j == nj - 1)) {  // on the arcs, within the sag of their 121-point chords
          const double sag = 1.5 * (1.0 - std::cos(qortest::kPi / 480));
          EXPECT_NEAR(rho, j == 0 ? bend.rhoHub : bend.rhoShroud, sag + kNodeTol);
        }
        if (!c.cartesian && (i == 0 || i == ni - 1)) {  // inlet A = a0, outlet R = rc
          EXPECT_NEAR(q[i == 0 ? 0 : 1], i == 0 ? bend.a0 : bend.rc, kNodeTol);
        }
      }
      if (c.method == TurboTransform::linear) {  // spanwise lines run straight from hub to shroud
        const P3 &s = nodes[std::size_t(i * nj)], &n = nodes[std::size_t(i * nj + nj - 1)];
        const double len = std::hypot(n[0] - s[0], n[1] - s[1]);
        EXPECT_NEAR(((q[0] - s[0]) * (n[1] - s[1]) - (q[1] - s[1]) * (n[0] - s[0])) / len, 0.0, kNodeTol);
      }
      if (i == 0 || i == ni - 1) {  // exact on the edges
        EXPECT_EQ(nmValue, i == 0 ? 0.0 : 1.0);
      }
      if (j == 0 || j == nj - 1) {
        EXPECT_EQ(nspanValue, j == 0 ? 0.0 : 1.0);
      }
    }
  }
  const double meanLength = c.passage == "annulus" ? 2.0
                            : c.passage == "cone"  ? qortest::Cone().length
                                                   : (qortest::kPi / 2) * (1.5 + 1.0) / 2;
  EXPECT_NEAR(t.getAverageLengthInM(), meanLength, (c.passage == "bend" ? 1e-3 : kRelTol) * meanLength);
}

INSTANTIATE_TEST_SUITE_P(Passages, TurboTransformAnalytic,
                         testing::Values(AnalyticCase{"annulus", TurboTransform::linear, false},
                                         AnalyticCase{"annulus", TurboTransform::nonLinear, true},
                                         AnalyticCase{"annulus", TurboTransform::nonLinear, false},
                                         AnalyticCase{"cone", TurboTransform::linear, true},
                                         AnalyticCase{"cone", TurboTransform::nonLinear, false},
                                         AnalyticCase{"bend", TurboTransform::linear, true},
                                         AnalyticCase{"bend", TurboTransform::linear, false},
                                         AnalyticCase{"bend", TurboTransform::nonLinear, false}),
                         [](const testing::TestParamInfo<AnalyticCase>& c) {
                           return c.param.passage + (c.param.method == TurboTransform::linear ? "Linear" : "Smoothed") +
                                  (c.param.cartesian ? "Xyz" : "Art");
                         });

// Values inside the cells, the bilinear form of the node values checked above, are checked against
// the analytic annulus by the segmenter tests and on the solver mesh of the realdata tests.
TEST(TurboTransformForward, annulusEdgesAreExactAndValuesBeyondTheOutletExtrapolate) {
  Built mesh;
  qortest::build(mesh, qortest::annulus(), TurboTransform::linear, 400);
  const TurboTransform& t = mesh.transform;
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  for (int k = 0; k < 300; ++k) {
    const float a = 2.0f * u(rng), r = 1.0f + u(rng);
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nm, P3(0.0f, r, 0)), 0.0f) << r;
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nm, P3(2.0f, r, 0)), 1.0f) << r;
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nspan, P3(a, 1.0f, 0)), 0.0f) << a;
    EXPECT_EQ(t.convertARTtoSpace(TurboTransform::nspan, P3(a, 2.0f, 0)), 1.0f) << a;
  }
  // The fields are linear in A, so extrapolation past the outlet stays exact.
  const float dA = mesh.node(1, 0)[0] - mesh.node(0, 0)[0];
  for (float f : {0.05f, 0.2f, 0.4f}) {
    const P3 p(2.0f + f * dA, 1.37f, 0.0f);
    EXPECT_NEAR(t.convertARTtoSpace(TurboTransform::nm, p), p[0] / 2.0f, 2e-6);
    EXPECT_GT(t.convertARTtoSpace(TurboTransform::nm, p), 1.0f);
  }
}

// A hub with a square detour running backwards (no reversing consecutive segments, so the curve
// is kept as given): exactly one examined cell of the linear mesh (the first column is not
// examined) turns the other way.
int buildDetour(double length, double x1, double w, double h) {
  const double r = 1.0 - 2 * h;
  qortest::Passage p = rectangle(length, 1, 2);
  p.hub = std::vector<P3>{P3(0, 1, 0), P3(float(x1), 1, 0), P3(float(x1), float(1 - h), 0),
                          P3(float(x1 - w), float(1 - h), 0), P3(float(x1 - w), float(r), 0),
                          P3(float(length), float(r), 0)};
  p.outlet = qortest::line(length, r, length, 2, 2);
  Built b;
  return qortest::build(b, p, TurboTransform::linear, 25);
}

// A mirrored mesh (every cell turning the other way) is good: BadInputCatalogueTest.cpp.
TEST(TurboTransformMeshQuality, oneCellInTwentyCountsAsFolded) {
  // The share 1/20 is rounded to float (0.0500000007) before the test: folded; 1/21 is not.
  EXPECT_EQ(buildDetour(1.5, 0.2, 0.15, 0.16), 1);  // 1 of 20 examined cells
  EXPECT_EQ(buildDetour(2.5, 0.2, 0.3, 0.12), 0);   // 1 of 21
}

// Each sweep of the smoother reads only the previous iterate, so its rows can be shared out among
// threads without changing a bit. At 12 000 nodes the two finer levels are split.
TEST(TurboTransformMeshThreads, smoothedMeshIsTheSameBitForBitOnAnyNumberOfThreads) {
  TurboTransform t;
  EXPECT_EQ(t.getNumberOfThreadsForBM(), 1);
  qortest::initializeART(t, qortest::bend());
  std::vector<P3> reference, nodes;
  int ni = 0, nj = 0;
  for (bool closedForm : {false, true}) {
    t.setClosedFormSmoothingForBM(closedForm);
    for (int threads : {1, 2, 0}) {
      t.setNumberOfThreadsForBM(threads);
      ASSERT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 12000), 0);
      t.getBackgroundMesh(threads == 1 ? reference : nodes, ni, nj);
      if (threads == 1) continue;
      ASSERT_EQ(nodes.size(), reference.size());
      EXPECT_EQ(std::memcmp(nodes.data(), reference.data(), nodes.size() * sizeof(P3)), 0) << threads << " threads";
    }
    EXPECT_EQ(t.getClosedFormSmoothingForBM(), closedForm);
  }
  qortest::expectError(qortest::captureError<qor::data::invalid>([&] { t.setNumberOfThreadsForBM(-1); }),
                       "TurboTransform", "setNumberOfThreadsForBM",
                       "Number of threads (-1) must be 0 (every hardware thread) or more.");
  EXPECT_EQ(t.getNumberOfThreadsForBM(), 0);
  qor::Smooth2dbs smoother;
  EXPECT_THROW(smoother.setNumberOfThreads(-3), qor::data::invalid);
  EXPECT_EQ(smoother.getNumberOfThreads(), 1);
}

TEST(TurboTransformOwnership, copyThatRebuildsOrIsSetUpAgainLeavesSourceIntact) {
  Built source;
  ASSERT_EQ(qortest::build(source, qortest::annulus(), TurboTransform::linear, 300), 0);
  const P3 probe(0.7f, 1.3f, 0.0f);
  const float nmBefore = source.transform.convertARTtoSpace(TurboTransform::nm, probe);
  TurboTransform copy(source.transform), assigned;
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  copy.getBackgroundMesh(nodes, ni, nj);
  EXPECT_EQ(nodes, source.nodes);
  ASSERT_EQ(copy.createBackgroundMesh(TurboTransform::nonLinear, 2000), 0);
  assigned = source.transform;
  ASSERT_EQ(assigned.createBackgroundMesh(TurboTransform::linear, 1200), 0);
  source.transform.getBackgroundMesh(nodes, ni, nj);
  EXPECT_EQ(std::make_pair(ni, nj), std::make_pair(source.ni, source.nj));
  EXPECT_EQ(nodes, source.nodes);
  EXPECT_EQ(source.transform.convertARTtoSpace(TurboTransform::nm, probe), nmBefore);
  copy.getBackgroundMesh(nodes, ni, nj);
  EXPECT_NE(nodes.size(), source.nodes.size());
  // Nor does a new set-up of the copy change the curves the source builds its next mesh on; the
  // copy keeps its mesh until it builds a new one.
  const std::vector<P3> copyNodes = nodes;
  qortest::initializeART(copy, qortest::bend());
  copy.getBackgroundMesh(nodes, ni, nj);
  EXPECT_EQ(nodes, copyNodes);
  ASSERT_EQ(source.transform.createBackgroundMesh(TurboTransform::linear, 300), 0);
  source.transform.getBackgroundMesh(nodes, ni, nj);
  EXPECT_EQ(nodes, source.nodes);
}

}  // namespace
