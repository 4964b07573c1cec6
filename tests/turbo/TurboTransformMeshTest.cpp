// Background mesh of TurboTransform: sizing, levels, method errors, the coordinate fields at mesh
// nodes on analytic passages, fold detection and ownership between copies.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/Passages.h"

namespace {

using qor::TripletBase;
using qor::TurboTransform;
using qortest::P3;

constexpr double kNodeTol = 1e-5;        // normalised fields at nodes
constexpr double kRelTol = 1e-5;         // relative, m and m' on exact geometries
constexpr double kBendLinearTol = 1e-4;  // nodes of the bend lie on chords of its polylines
constexpr double kBendSmoothTol = 2e-3;  // the smoothed polar grid is not a fixed point
constexpr double kSetUpTol = 2e-5;       // Cartesian set-up against ART set-up (float rounding)

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

// Two-point straight curves of the rectangle A in [0, length], R in [r1, r2]: their lengths are
// exact, so the mesh dimensions follow the sizing rule without rounding doubts.
qortest::Passage rectangle(double length, double r1, double r2) {
  qortest::Passage p;
  p.name = "rectangle";
  p.hub = qortest::line(0, r1, length, r1, 2);
  p.shroud = qortest::line(0, r2, length, r2, 2);
  p.inlet = qortest::line(0, r1, 0, r2, 2);
  p.outlet = qortest::line(length, r1, length, r2, 2);
  return p;
}

struct Mesh {
  std::vector<P3> nodes;
  int isize = 0;
  int jsize = 0;
  const P3& at(int i, int j) const { return nodes.at(static_cast<std::size_t>(i * jsize + j)); }
};

Mesh meshOf(const TurboTransform& t) {
  Mesh m;
  t.getBackgroundMesh(m.nodes, m.isize, m.jsize);
  return m;
}

double fieldAt(const TurboTransform& t, TurboTransform::space s, const P3& node) {
  TripletBase<double> out;
  t.convertARTtoSpaceTNs(s, TripletBase<double>(node), out);
  return out[0];
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

// ---- sizing and levels -----------------------------------------------------------------------

TEST(TurboTransformMeshSize, oneToFourPassageKeepsThreeLevelsAndGives89x21) {
  TurboTransform t;
  qortest::initializeART(t, rectangle(4.0, 1.0, 2.0));  // a = 1, b = 4: coarsest 22 x 5 cells
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 2000), 0);
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  EXPECT_EQ(ni, 89);
  EXPECT_EQ(nj, 21);
  EXPECT_EQ(t.getNumberOfLevelsforBM(), 3);
  EXPECT_EQ(meshOf(t).nodes.size(), 89u * 21u);
}

TEST(TurboTransformMeshSize, smallRequestDropsLevelsPermanently) {
  TurboTransform t;
  qortest::initializeART(t, rectangle(1.0, 1.0, 2.0));
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 100), 0);
  EXPECT_EQ(t.getNumberOfLevelsforBM(), 2);
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  EXPECT_EQ(ni, 11);  // 5 coarse cells, refined once
  EXPECT_EQ(nj, 11);
}

TEST(TurboTransformMeshSize, linearMethodIgnoresLevelsAndGives45x45OnSquare) {
  TurboTransform t;
  t.setNumberOfLevelsforBM(4);
  qortest::initializeART(t, rectangle(1.0, 1.0, 2.0));
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, TurboTransform::BMmedium), 0);
  EXPECT_EQ(t.getBackgroundMeshSize(), 2000);
  int ni = 0, nj = 0;
  t.getBackgroundMeshSize(ni, nj);
  EXPECT_EQ(ni, 45);
  EXPECT_EQ(nj, 45);
  EXPECT_EQ(t.getNumberOfLevelsforBM(), 4);
}

// ---- refused requests ------------------------------------------------------------------------

TEST(TurboTransformMeshErrors, unknownMethodThrowsAfterStoringSizeAndKeepsOldMesh) {
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  t.createBackgroundMesh(TurboTransform::linear, 300);
  const Mesh before = meshOf(t);
  const auto e = captureError<qor::internal::error>(
      [&] { t.createBackgroundMesh(static_cast<TurboTransform::BMmethod>(2), 555); });
  EXPECT_EQ(e.getMessage(), "Unrecognised Method for creation of BM mesh.");
  EXPECT_EQ(e.getFunctionName(), "createBackgroundMesh");
  EXPECT_EQ(t.getBackgroundMeshSize(), 555);
  const Mesh after = meshOf(t);
  EXPECT_EQ(after.nodes, before.nodes);
  EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::nm, after.at(after.isize - 1, 2)), 1.0f);
}

TEST(TurboTransformMeshErrors, tooSmallSizeOrNoLevelsIsRefusedKeepingOldMesh) {
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  t.createBackgroundMesh(TurboTransform::linear, 300);
  const Mesh before = meshOf(t);
  for (int size : {3, 0, -2000}) {
    SCOPED_TRACE(size);
    EXPECT_THROW(t.createBackgroundMesh(TurboTransform::linear, size), qor::data::invalid);
    EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, size), qor::data::invalid);
  }
  t.setNumberOfLevelsforBM(0);
  EXPECT_THROW(t.createBackgroundMesh(TurboTransform::nonLinear, 300), qor::data::invalid);
  EXPECT_EQ(meshOf(t).nodes, before.nodes);
  EXPECT_EQ(t.createBackgroundMesh(TurboTransform::linear, 4), 0);  // the smallest mesh, 3 x 3
}

TEST(TurboTransformMeshErrors, meshRequiresSetUpAndQueriesRequireMesh) {
  TurboTransform t;
  const auto e = captureError<qor::internal::nullPointer>(
      [&] { t.createBackgroundMesh(TurboTransform::linear, 300); });
  EXPECT_EQ(e.getMessage(), "Null pointer to m_projectionDB.");
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  const auto e2 =
      captureError<qor::internal::nullPointer>([&] { t.getBackgroundMesh(nodes, ni, nj); });
  EXPECT_EQ(e2.getMessage(), "Null pointer to m_topo.");
  EXPECT_EQ(e2.getFunctionName(), "getBackgroundMesh");
}

// ---- fields on the 3 x 3 rectangle -----------------------------------------------------------

TEST(TurboTransformFields, threeByThreeRectangleGivesEvenFields) {
  TurboTransform t;
  qortest::initializeART(t, rectangle(2.0, 1.0, 3.0));
  ASSERT_EQ(t.createBackgroundMesh(TurboTransform::linear, 4), 0);
  const Mesh mesh = meshOf(t);
  ASSERT_EQ(mesh.isize, 3);
  ASSERT_EQ(mesh.jsize, 3);
  const double half = 0.5;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      SCOPED_TRACE(testing::Message() << "node " << i << "," << j);
      const P3& node = mesh.at(i, j);
      EXPECT_EQ(node, P3(float(i), float(1 + j), 0.0f));
      EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::m, node), i);
      EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::nm, node), i * half);
      EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::rnm, node), i * half);
      EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::nmprime, node), i * half);
      EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::nspan, node), float(j * half));
      EXPECT_FLOAT_EQ(t.convertARTtoSpace(TurboTransform::span, node), float(j));
    }
  }
  const double hubStep = 1.0 / ((1.0 + 1.0 + 1e-6) * 0.5);
  EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::mprime, mesh.at(1, 0)), hubStep);
  const double hubTotal = fieldAt(t, TurboTransform::mprime, mesh.at(2, 0));
  for (int i = 0; i < 3; ++i) {
    EXPECT_DOUBLE_EQ(fieldAt(t, TurboTransform::mprimeScaled, mesh.at(i, 0)),
                     fieldAt(t, TurboTransform::mprime, mesh.at(i, 0)));
  }
  for (int j = 1; j < 3; ++j) {
    EXPECT_NEAR(fieldAt(t, TurboTransform::mprimeScaled, mesh.at(2, j)), hubTotal, 1e-12);
    EXPECT_LT(fieldAt(t, TurboTransform::mprime, mesh.at(2, j)), hubTotal);  // larger radius
  }
  EXPECT_FLOAT_EQ(t.getAverageLengthInM(), 2.0f);
}

// ---- analytic passages ------------------------------------------------------------------------

struct AnalyticCase {
  std::string passage;  // annulus, cone, bend
  TurboTransform::BMmethod method;
  bool cartesian;  // set up from XYZ about a non-default axis
};

std::string caseName(const testing::TestParamInfo<AnalyticCase>& info) {
  return info.param.passage +
         (info.param.method == TurboTransform::linear ? "Linear" : "Smoothed") +
         (info.param.cartesian ? "Xyz" : "Art");
}

qortest::Passage passageOf(const std::string& name) {
  if (name == "annulus") return qortest::annulus();
  if (name == "cone") return qortest::cone();
  return qortest::bend();
}

class TurboTransformAnalytic : public testing::TestWithParam<AnalyticCase> {
 protected:
  static constexpr int kSize = 800;
  const P3 m_axisPoint{0.3f, -0.2f, 1.0f};
  const P3 m_axisDirection{1.0f, 2.0f, 2.0f};

  void build(TurboTransform& t, bool cartesian) const {
    const auto p = passageOf(GetParam().passage);
    if (cartesian) {
      qortest::initializeXYZ(t, qortest::toXYZ(p, m_axisPoint, m_axisDirection));
    } else {
      qortest::initializeART(t, p);
    }
    ASSERT_EQ(t.createBackgroundMesh(GetParam().method, kSize), 0);
  }
};

TEST_P(TurboTransformAnalytic, fieldsMatchAnalyticValuesAtNodes) {
  const AnalyticCase& c = GetParam();
  TurboTransform t;
  build(t, c.cartesian);
  const Mesh mesh = meshOf(t);
  const int icv = mesh.isize - 1, jcv = mesh.jsize - 1;
  const bool smoothed = c.method == TurboTransform::nonLinear;
  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      const P3& q = mesh.at(i, j);
      SCOPED_TRACE(testing::Message() << "node " << i << "," << j << " at " << q);
      const double nmValue = fieldAt(t, TurboTransform::nm, q);
      const double nspanValue = t.convertARTtoSpace(TurboTransform::nspan, q);
      const double spanValue = t.convertARTtoSpace(TurboTransform::span, q);
      const double mValue = fieldAt(t, TurboTransform::m, q);
      if (c.passage == "annulus") {
        EXPECT_NEAR(mValue, q[0], kRelTol * 2.0);
        EXPECT_NEAR(nmValue, q[0] / 2.0, kNodeTol);
        EXPECT_NEAR(fieldAt(t, TurboTransform::rnm, q), q[0] / 2.0, kNodeTol);
        EXPECT_NEAR(nspanValue, q[1] - 1.0, kNodeTol);
        EXPECT_NEAR(spanValue, q[1] - 1.0, kNodeTol);
        EXPECT_NEAR(fieldAt(t, TurboTransform::mprime, q), q[0] / (q[1] + 5e-7), kRelTol * 2.0);
        EXPECT_NEAR(fieldAt(t, TurboTransform::mprimeScaled, q), q[0] / (1.0 + 5e-7),
                    kRelTol * 2.0);
      } else if (c.passage == "cone") {
        const qortest::Cone cone;
        const double xi = cone.xi(q[0], q[1]), eta = cone.eta(q[0], q[1]);
        EXPECT_NEAR(mValue, xi, kRelTol * cone.length);
        EXPECT_NEAR(nmValue, xi / cone.length, kNodeTol);
        EXPECT_NEAR(nspanValue, eta / cone.height, kNodeTol);
        EXPECT_NEAR(spanValue, eta, kNodeTol);
      } else {
        const qortest::Bend bend;
        const double tol = smoothed ? kBendSmoothTol : kBendLinearTol;
        const double rho = bend.rho(q[0], q[1]);
        EXPECT_NEAR(nmValue, bend.theta(q[0], q[1]) / (qortest::kPi / 2), tol);
        EXPECT_NEAR(nspanValue, (bend.rhoHub - rho) / (bend.rhoHub - bend.rhoShroud), tol);
        EXPECT_NEAR(spanValue, bend.rhoHub - rho, tol);
      }
      // Exact on the edges of the passage.
      if (i == 0 || i == icv) {
        EXPECT_EQ(nmValue, i == 0 ? 0.0 : 1.0);
      }
      if (j == 0 || j == jcv) {
        EXPECT_EQ(nspanValue, j == 0 ? 0.0 : 1.0);
      }
    }
  }
  const double meanLength = c.passage == "annulus" ? 2.0
                            : c.passage == "cone"  ? qortest::Cone().length
                                                   : (qortest::kPi / 2) * (1.5 + 1.0) / 2;
  const double lengthTol = c.passage == "bend" ? 1e-3 : kRelTol;
  EXPECT_NEAR(t.getAverageLengthInM(), meanLength, lengthTol * meanLength);
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
                         caseName);

TEST(TurboTransformSetUps, cartesianAboutTiltedAxisAndArtGiveTheSameMesh) {
  const P3 axisPoint(0.3f, -0.2f, 1.0f), axisDirection(1.0f, 2.0f, 2.0f);
  for (const char* name : {"annulus", "cone", "bend"}) {
    for (auto method : {TurboTransform::linear, TurboTransform::nonLinear}) {
      SCOPED_TRACE(testing::Message() << name << " method " << method);
      const auto p = passageOf(name);
      TurboTransform art, xyz;
      qortest::initializeART(art, p);
      qortest::initializeXYZ(xyz, qortest::toXYZ(p, axisPoint, axisDirection));
      ASSERT_EQ(art.createBackgroundMesh(method, 600), 0);
      ASSERT_EQ(xyz.createBackgroundMesh(method, 600), 0);
      const Mesh a = meshOf(art), b = meshOf(xyz);
      ASSERT_EQ(a.isize, b.isize);
      ASSERT_EQ(a.jsize, b.jsize);
      for (std::size_t k = 0; k < a.nodes.size(); ++k) {
        ASSERT_NEAR(a.nodes[k][0], b.nodes[k][0], kSetUpTol) << k;
        ASSERT_NEAR(a.nodes[k][1], b.nodes[k][1], kSetUpTol) << k;
      }
    }
  }
}

TEST(TurboTransformMeshShape, linearSpanwiseLinesAreStraight) {
  TurboTransform t;
  qortest::initializeART(t, qortest::bend());
  ASSERT_EQ(t.createBackgroundMesh(TurboTransform::linear, 600), 0);
  const Mesh mesh = meshOf(t);
  const int jcv = mesh.jsize - 1;
  for (int i = 0; i < mesh.isize; ++i) {
    const P3 s = mesh.at(i, 0), n = mesh.at(i, jcv);
    const double len = std::hypot(n[0] - s[0], n[1] - s[1]);
    for (int j = 1; j < jcv; ++j) {
      const P3 q = mesh.at(i, j);
      const double offLine = ((q[0] - s[0]) * (n[1] - s[1]) - (q[1] - s[1]) * (n[0] - s[0])) / len;
      EXPECT_NEAR(offLine, 0.0, kNodeTol) << i << "," << j;
    }
  }
}

TEST(TurboTransformMeshShape, smoothedMeshKeepsBoundaryNodesOnTheirCurves) {
  const qortest::Bend bend;
  TurboTransform t;
  qortest::initializeART(t, qortest::bend(bend));
  ASSERT_EQ(t.createBackgroundMesh(TurboTransform::nonLinear, 800), 0);
  const Mesh mesh = meshOf(t);
  const int icv = mesh.isize - 1, jcv = mesh.jsize - 1;
  const double chordSag = 1.5 * (1.0 - std::cos(qortest::kPi / 2 / 120 / 2));
  for (int i = 0; i <= icv; ++i) {
    EXPECT_NEAR(bend.rho(mesh.at(i, 0)[0], mesh.at(i, 0)[1]), bend.rhoHub, chordSag + kNodeTol);
    EXPECT_NEAR(bend.rho(mesh.at(i, jcv)[0], mesh.at(i, jcv)[1]), bend.rhoShroud,
                chordSag + kNodeTol);
  }
  for (int j = 0; j <= jcv; ++j) {
    EXPECT_NEAR(mesh.at(0, j)[0], bend.a0, kNodeTol);    // inlet A = a0
    EXPECT_NEAR(mesh.at(icv, j)[1], bend.rc, kNodeTol);  // outlet R = rc
  }
}

// ---- fold detection --------------------------------------------------------------------------

TEST(TurboTransformMeshQuality, mirroredMeshIsGoodAndCrossedMeshIsFolded) {
  const auto p = qortest::annulus();
  TurboTransform mirrored;  // hub and shroud exchanged: every cell turns the other way
  mirrored.initializeFromART(p.shroud, p.hub, p.outlet, p.inlet, p.axisPoint, p.axisDirection, -1,
                             -1, -1, -1);
  EXPECT_EQ(mirrored.createBackgroundMesh(TurboTransform::linear, 400), 0);

  std::vector<P3> reversedHub(p.hub.points().rbegin(), p.hub.points().rend());
  TurboTransform crossed;  // hub runs outlet to inlet: spanwise lines cross
  crossed.initializeFromART(reversedHub, p.shroud, p.inlet, p.outlet, p.axisPoint, p.axisDirection,
                            -1, -1, -1, -1);
  EXPECT_EQ(crossed.createBackgroundMesh(TurboTransform::linear, 400), 1);
  // The folded mesh stays in place and is used.
  int ni = 0, nj = 0;
  crossed.getBackgroundMeshSize(ni, nj);
  EXPECT_EQ(meshOf(crossed).nodes.size(), static_cast<std::size_t>(ni * nj));
  EXPECT_FLOAT_EQ(
      crossed.convertARTtoSpace(TurboTransform::nspan, meshOf(crossed).at(ni / 2, nj - 1)), 1.0f);
}

// A hub with a square detour running backwards (no reversing consecutive segments, so the curve
// is kept as given): exactly one examined cell of the linear mesh turns the other way.
struct Detour {
  double length, x1, w, h;
  int size;
};

int countInvertedCells(const Mesh& mesh, int& examined) {
  int negative = 0;
  examined = 0;
  for (int i = 1; i < mesh.isize - 1; ++i) {  // the first column is not examined
    for (int j = 0; j < mesh.jsize - 1; ++j) {
      const P3 a = mesh.at(i, j), b = mesh.at(i + 1, j), c = mesh.at(i, j + 1),
               d = mesh.at(i + 1, j + 1);
      const double eix = (b[0] + d[0]) - (a[0] + c[0]), eiy = (b[1] + d[1]) - (a[1] + c[1]);
      const double ejx = (c[0] + d[0]) - (a[0] + b[0]), ejy = (c[1] + d[1]) - (a[1] + b[1]);
      negative += (eix * ejy - eiy * ejx < 0.0) ? 1 : 0;
      ++examined;
    }
  }
  return negative;
}

int buildDetour(const Detour& d, int& negative, int& examined) {
  const double r = 1.0 - 2 * d.h;
  qortest::Passage p;
  p.hub = std::vector<P3>{P3(0, 1, 0),
                          P3(float(d.x1), 1, 0),
                          P3(float(d.x1), float(1 - d.h), 0),
                          P3(float(d.x1 - d.w), float(1 - d.h), 0),
                          P3(float(d.x1 - d.w), float(r), 0),
                          P3(float(d.length), float(r), 0)};
  p.shroud = qortest::line(0, 2, d.length, 2, 2);
  p.inlet = qortest::line(0, 1, 0, 2, 2);
  p.outlet = qortest::line(d.length, r, d.length, 2, 2);
  TurboTransform t;
  qortest::initializeART(t, p);
  const int result = t.createBackgroundMesh(TurboTransform::linear, d.size);
  negative = countInvertedCells(meshOf(t), examined);
  return result;
}

TEST(TurboTransformMeshQuality, oneCellInTwentyCountsAsFoldedOneInTwentyOneDoesNot) {
  int negative = 0, examined = 0;
  const int twenty = buildDetour(Detour{1.5, 0.2, 0.15, 0.16, 25}, negative, examined);
  ASSERT_EQ(examined, 20);
  ASSERT_EQ(negative, 1);
  EXPECT_EQ(twenty, 1);  // the share 1/20 is rounded to float (0.0500000007) before the test
  const int twentyOne = buildDetour(Detour{2.5, 0.2, 0.3, 0.12, 25}, negative, examined);
  ASSERT_EQ(examined, 21);
  ASSERT_EQ(negative, 1);
  EXPECT_EQ(twentyOne, 0);
}

// ---- ownership and environment ----------------------------------------------------------------

TEST(TurboTransformOwnership, copyThatRebuildsLeavesSourceIntact) {
  TurboTransform source;
  qortest::initializeART(source, qortest::annulus());
  ASSERT_EQ(source.createBackgroundMesh(TurboTransform::linear, 300), 0);
  const Mesh before = meshOf(source);
  const P3 probe(0.7f, 1.3f, 0.0f);
  const float nmBefore = source.convertARTtoSpace(TurboTransform::nm, probe);

  TurboTransform copy(source);
  EXPECT_EQ(meshOf(copy).nodes, before.nodes);
  ASSERT_EQ(copy.createBackgroundMesh(TurboTransform::nonLinear, 2000), 0);
  TurboTransform assigned;
  assigned = source;
  ASSERT_EQ(assigned.createBackgroundMesh(TurboTransform::linear, 1200), 0);

  const Mesh after = meshOf(source);
  EXPECT_EQ(after.isize, before.isize);
  EXPECT_EQ(after.jsize, before.jsize);
  EXPECT_EQ(after.nodes, before.nodes);
  EXPECT_EQ(source.convertARTtoSpace(TurboTransform::nm, probe), nmBefore);
  EXPECT_NE(meshOf(copy).nodes.size(), before.nodes.size());
}

TEST(TurboTransformEnvironment, finishedMeshIsWrittenWhenRequested) {
  qortest::ScopedTempDir dir;
  ScopedEnv env("QOR_OUTPUT_BACKGROUND_MESH", "1");
  TurboTransform t;
  qortest::initializeART(t, qortest::annulus());
  t.createBackgroundMesh(TurboTransform::linear, 100);
  const Mesh mesh = meshOf(t);
  std::ifstream in("final.msh");
  ASSERT_TRUE(in.good());
  int lines = 0;
  std::string text;
  while (std::getline(in, text)) ++lines;
  const int cells = (mesh.isize - 1) * (mesh.jsize - 1);
  EXPECT_EQ(lines, mesh.isize * mesh.jsize + 2 + cells);
}

}  // namespace
