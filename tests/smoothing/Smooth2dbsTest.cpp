// Smooth2dbs: set-up, boundary conditions, iteration spreads and the coarse-to-fine smoothing on
// domains whose answer is known (uniform rectangle, quarter annulus, impeller bend).

#include <cstdio>

#include "support/Passages.h"

using qor::ParametricCurve;
using qor::ParametricDB;
using qor::QORVector;
using qor::Smooth2dbs;
using qor::Topo2dBase;
using qor::Topo2dMultiLevel;
using P3 = qor::TripletBase<float>;

namespace {

constexpr float kOnCurveTol = 2e-6f;        // relative to the domain size: a few float spacings
constexpr float kFixedPointTol = 2e-6f;     // relative to the domain size
constexpr double kSymmetryTol = 1e-4;       // mirror symmetry kept by Jacobi updates
constexpr double kMaxCellRatio = 1.6;       // neighbouring finest cells differ at most this much
constexpr double kOrthogonalityGain = 4.0;  // mean |cos| of grid-line angles falls at least this much
constexpr float kPrintTol = 1e-5f;          // the surface file prints six significant digits

const std::vector<std::string> kNames{"west", "east", "south", "north"};

std::vector<P3> arc(double radius, double from, double to, int n) {
  std::vector<P3> out;
  for (int k = 0; k < n; ++k) {
    const double t = from + (to - from) * k / (n - 1);
    out.emplace_back(float(radius * std::cos(t)), float(radius * std::sin(t)), 0.0f);
  }
  return out;
}

// Four boundary curves, in the West, East, South, North order of kNames.
struct Domain {
  ParametricDB db;
  double size = 1.0;
  Domain(const std::vector<P3>& w, const std::vector<P3>& e, const std::vector<P3>& s, const std::vector<P3>& n,
         double extent) {
    db.createCurve(kNames[0], w, ParametricCurve::curve2d);
    db.createCurve(kNames[1], e, ParametricCurve::curve2d);
    db.createCurve(kNames[2], s, ParametricCurve::curve2d);
    db.createCurve(kNames[3], n, ParametricCurve::curve2d);
    size = extent;
  }
};

Domain rectangle(float width, float height) {
  return Domain(qortest::line(0, 0, 0, height, 2), qortest::line(width, 0, width, height, 2),
                qortest::line(0, 0, width, 0, 2), qortest::line(0, height, width, height, 2), std::max(width, height));
}

// Quarter annulus: South the inner arc r = 1, North the outer arc r = 2, West and East radial.
Domain quarterAnnulus() {
  const double h = qortest::kPi / 2;
  return Domain(qortest::line(1, 0, 2, 0, 2), qortest::line(0, 1, 0, 2, 2), arc(1, 0, h, 201), arc(2, 0, h, 201), 2.0);
}

// The meridional passage of a centrifugal impeller: axial inlet, 90-degree bend, radial outlet.
Domain bendDomain() {
  const qortest::Passage p = qortest::bend();
  return Domain(p.inlet.points(), p.outlet.points(), p.hub.points(), p.shroud.points(), 3.0);
}

// The set-up of the background-mesh builder: sliding sides, pinned corners, smoothed interior.
void configure(Smooth2dbs& s, QORVector<P3>& mesh, const Topo2dMultiLevel& topo, const Domain& d) {
  s.setmtopo(mesh, topo, &d.db);
  s.addgeoName(kNames);
  s.setbcgeoIDmAll(Smooth2dbs::smoothed, 0);
  s.setbcgeoIDmWest(Smooth2dbs::onCurve, 0);
  s.setbcgeoIDmEast(Smooth2dbs::onCurve, 1);
  s.setbcgeoIDSouth(Smooth2dbs::onCurve, 2);
  s.setbcgeoIDNorth(Smooth2dbs::onCurve, 3);
  s.setbcgeoIDsw(Smooth2dbs::pinned, 2);
  s.setbcgeoIDse(Smooth2dbs::pinned, 2);
  s.setbcgeoIDnw(Smooth2dbs::pinned, 3);
  s.setbcgeoIDne(Smooth2dbs::pinned, 3);
  s.setSpreadIterationSqr(200, 30);
}

struct SmoothCase {
  Topo2dMultiLevel topo;
  QORVector<P3> mesh;
  SmoothCase(int levels, int ni, int nj) : topo(levels, ni, nj), mesh(std::size_t(topo.getAllSize())) {}
  const P3& at(int level, int i, int j) const { return mesh.at(std::size_t(topo.getij(level, i, j))); }
  const Topo2dBase& finest() const { return topo.getLevel(topo.getLevelsSize() - 1); }
};

// Runs in debug mode in a temporary directory: returns the console lines and checks that the
// level files "strStart.NN" (before the sweeps) and "str.NN" (after) were written.
std::vector<std::string> debugRun(Smooth2dbs& s, int levels) {
  qortest::ScopedTempDir dir;
  s.setDebug(true);
  const auto lines = qortest::readLines(std::istringstream(qortest::captureStdout([&] { s.runSmoothAll(); })));
  char name[32];
  for (int level = 0; level < levels; ++level) {
    for (const char* format : {"strStart.%02d", "str.%02d"}) {
      std::snprintf(name, sizeof name, format, level);
      EXPECT_TRUE(std::ifstream(name).good()) << name;
    }
  }
  return lines;
}

// The per-level counts printed as "do level Nmax iter= M".
std::vector<int> printedIterations(Smooth2dbs& s, int levels) {
  std::vector<int> counts;
  const std::string key = "max iter= ";
  for (const std::string& line : debugRun(s, levels)) {
    const std::size_t pos = line.find(key);
    if (pos != std::string::npos) counts.push_back(std::stoi(line.substr(pos + key.size())));
  }
  return counts;
}

// The bcType (which 0) or geo id (which 1) map of level 0, printed by the smoother, as [i][j].
using Grid = std::vector<std::vector<int>>;

Grid printedMap(const Smooth2dbs& s, int which, int icv, int jcv) {
  std::istringstream in(qortest::captureStdout([&] { which == 0 ? s.writebcID(0) : s.writegeoID(0); }));
  std::string line;
  std::getline(in, line);  // title
  std::getline(in, line);  // empty
  std::getline(in, line);  // column numbers
  std::getline(in, line);  // empty
  Grid map(std::size_t(icv + 1), std::vector<int>(std::size_t(jcv + 1)));
  for (int row = jcv; row >= 0; --row) {
    std::getline(in, line);
    std::istringstream values(line);
    int j = -1;
    values >> j;
    EXPECT_EQ(j, row);
    for (int i = 0; i <= icv; ++i) values >> map[std::size_t(i)][std::size_t(row)];
  }
  return map;
}

// Signed area of cell (i, j) of a level, from its edge-midpoint vectors.
double cellArea(const SmoothCase& r, int level, int i, int j) {
  const P3 a = r.at(level, i, j), b = r.at(level, i + 1, j);
  const P3 c = r.at(level, i, j + 1), d = r.at(level, i + 1, j + 1);
  const P3 ei = ((b + d) - (a + c)) * 0.5;
  const P3 ej = ((c + d) - (a + b)) * 0.5;
  return double(ei[0]) * ej[1] - double(ei[1]) * ej[0];
}

// Checks the finest level of a curved domain: sides on their curves, no folded cell, smooth sizes.
void expectGoodFinestLevel(const SmoothCase& r, const Domain& d, bool checkSizes = true) {
  const int level = r.topo.getLevelsSize() - 1;
  const int icv = r.finest().getIcv(), jcv = r.finest().getJcv();
  auto onCurve = [&](const std::string& name, const P3& p) { return (d.db.projectPoint(name, p) - p).length(); };
  const float tol = kOnCurveTol * float(d.size);
  for (int i = 0; i <= icv; ++i) {
    EXPECT_LE(onCurve(kNames[2], r.at(level, i, 0)), tol) << "south i=" << i;
    EXPECT_LE(onCurve(kNames[3], r.at(level, i, jcv)), tol) << "north i=" << i;
  }
  for (int j = 0; j <= jcv; ++j) {
    EXPECT_LE(onCurve(kNames[0], r.at(level, 0, j)), tol) << "west j=" << j;
    EXPECT_LE(onCurve(kNames[1], r.at(level, icv, j)), tol) << "east j=" << j;
  }
  int positive = 0, negative = 0;
  double worstRatio = 1.0;
  for (int i = 0; i < icv; ++i) {
    for (int j = 0; j < jcv; ++j) {
      const double area = cellArea(r, level, i, j);
      (area > 0 ? positive : negative)++;
      for (const double other :
           {i + 1 < icv ? cellArea(r, level, i + 1, j) : area, j + 1 < jcv ? cellArea(r, level, i, j + 1) : area}) {
        worstRatio = std::max({worstRatio, std::fabs(area / other), std::fabs(other / area)});
      }
    }
  }
  EXPECT_TRUE(positive == 0 || negative == 0) << positive << " positive, " << negative << " negative";
  if (checkSizes) {
    EXPECT_LT(worstRatio, kMaxCellRatio);
  }
}

}  // namespace

TEST(Smooth2dbsSetup, stateAndSizeErrorsBeforeAValidSetmtopo) {
  Smooth2dbs s;
  qortest::expectError(qortest::captureError<qor::internal::error>([&] { s.setMaxNumberOfIteration(5); }), "Smooth2dbs",
                       "checkTheGoodState", "Mesh and topology is not set");
  EXPECT_THROW(s.runSmoothAll(), qor::internal::error);
  EXPECT_THROW(s.setbcgeoIDAll(Smooth2dbs::pinned, 0), std::out_of_range);
  Topo2dMultiLevel topo(2, 2, 2);
  QORVector<P3> mesh(std::size_t(topo.getAllSize() - 1));
  qortest::expectError(qortest::captureError<qor::internal::error>([&] { s.setmtopo(mesh, topo, nullptr); }),
                       "Smooth2dbs", "setmtopo", "Topology size not equal to the mesh size");
  EXPECT_THROW(s.setMaxNumberOfIteration(1), qor::internal::error);  // still not set
}

TEST(Smooth2dbsSetup, addgeoNameReturnsIdOfLastNameAdded) {
  Smooth2dbs s;
  char first[] = "w_mp";
  EXPECT_EQ(s.addgeoName(first), 0u);
  EXPECT_EQ(s.addgeoName(std::string("e_mp")), 1u);
  EXPECT_EQ(s.addgeoName(std::vector<std::string>{"s_mp", "n_mp"}), 3u);
  EXPECT_THROW(s.addgeoName(static_cast<char*>(nullptr)), qor::data::invalid);
}

TEST(Smooth2dbsSetup, spreadsOfIterationCountsOverLevels) {
  const Domain d = rectangle(1, 1);
  auto spread = [&](int levels, bool linear, int first, int last) {
    SmoothCase r(levels, 2, 2);
    Smooth2dbs s;
    configure(s, r.mesh, r.topo, d);
    linear ? s.setSpreadIterationLin(first, last) : s.setSpreadIterationSqr(first, last);
    return printedIterations(s, levels);
  };
  EXPECT_EQ(spread(3, true, 100, 20), (std::vector<int>{100, 60, 20}));
  EXPECT_EQ(spread(4, true, 100, 20), (std::vector<int>{100, 74, 48, 20}));  // integer step 26
  EXPECT_EQ(spread(3, false, 10, 50), (std::vector<int>{10, 20, 50}));
  EXPECT_EQ(spread(1, true, 7, 3), (std::vector<int>{7}));
  EXPECT_EQ(spread(1, false, 9, 3), (std::vector<int>{9}));
}

TEST(Smooth2dbsSetup, setmtopoResetsTuningAndConditions) {
  const Domain d = rectangle(1, 1);
  SmoothCase r(2, 3, 2);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.setMaxNumberOfIteration(5);
  s.setMaxNumberOfIteration(9, 1);
  const std::vector<std::string> expected{" Post Mesh saved in:strStart.00", "do level 0max iter= 5",
                                          " Post Mesh saved in:str.00",      " Post Mesh saved in:strStart.01",
                                          "do level 1max iter= 9",           " Post Mesh saved in:str.01"};
  EXPECT_EQ(debugRun(s, 2), expected);
  EXPECT_THROW(s.setMaxNumberOfIteration(1, 2), std::out_of_range);  // index == number of levels

  s.setmtopo(r.mesh, r.topo, &d.db);
  EXPECT_EQ(printedIterations(s, 2), (std::vector<int>{200, 200}));
  const Grid expectedTypes(4, std::vector<int>(3, 0)), expectedIds(4, std::vector<int>(3, -1));
  EXPECT_EQ(printedMap(s, 0, 3, 2), expectedTypes);
  EXPECT_EQ(printedMap(s, 1, 3, 2), expectedIds);
}

TEST(Smooth2dbsSetup, sideFormsAreClampedLeaveCornersOutAndWholeWestSetsOnlyTheNorthWestCorner) {
  Topo2dMultiLevel topo(1, 3, 2);
  QORVector<P3> mesh(std::size_t(topo.getAllSize()));
  Smooth2dbs s;
  s.setmtopo(mesh, topo, nullptr);
  s.setbcgeoIDSouth(-5, 1000, Smooth2dbs::pinned, 2);
  s.setbcgeoIDmNorth(Smooth2dbs::smoothed, 3);
  s.setbcgeoIDEast(2, 1, Smooth2dbs::onCurve, 1);                                         // empty range: nothing
  EXPECT_EQ(printedMap(s, 0, 3, 2), (Grid{{1, 0, 0}, {1, 0, 2}, {1, 0, 2}, {1, 0, 0}}));  // [i][j]
  s.setbcgeoIDWest(Smooth2dbs::onCurve, 7);
  EXPECT_EQ(printedMap(s, 0, 3, 2), (Grid{{1, 0, 4}, {1, 0, 2}, {1, 0, 2}, {1, 0, 0}}));
  EXPECT_EQ(printedMap(s, 1, 3, 2), (Grid{{2, -1, 7}, {2, -1, 3}, {2, -1, 3}, {2, -1, -1}}));
}

TEST(Smooth2dbsIteration, zeroIterationsLeaveTheInitialMesh) {
  const Domain d = quarterAnnulus();
  SmoothCase r(2, 4, 3);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.setMaxNumberOfIteration(0);
  s.runSmoothAll();
  // Level 0: sides evenly in parameter on their curves, interior straight between South and North.
  for (int i = 0; i <= 4; ++i) {
    const P3 south(d.db.getPointAtParameter(kNames[2], i / 4.0));
    const P3 north(d.db.getPointAtParameter(kNames[3], i / 4.0));
    EXPECT_EQ(r.at(0, i, 0), south);
    EXPECT_EQ(r.at(0, i, 3), north);
    for (int j = 1; j < 3; ++j) {
      if (i == 0 || i == 4) continue;
      const P3 expected = (north * j) / 3 + (south * (3 - j)) / 3;
      EXPECT_EQ(r.at(0, i, j), expected);
    }
  }
  // Level 1 carries level 0 over at even indices, and its new side points lie on the curves.
  for (int i = 0; i <= 4; ++i) {
    for (int j = 0; j <= 3; ++j) EXPECT_EQ(r.at(1, 2 * i, 2 * j), r.at(0, i, j));
  }
  for (int i = 0; i <= 8; ++i) {
    const P3 p = r.at(1, i, 0);
    EXPECT_LE((d.db.projectPoint(kNames[2], p) - p).length(), kOnCurveTol * d.size);
  }
}

TEST(Smooth2dbsIteration, refinedSideParametersAreOldValuesAndExactMeans) {
  const Domain d = rectangle(2, 1);
  SmoothCase r(3, 3, 2);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.setMaxNumberOfIteration(0);
  s.runSmoothAll();
  std::vector<float> south, north;
  s.getFinalSvalues(south, north);
  ASSERT_EQ(south.size(), std::size_t(r.finest().getIsize()));  // 13 = 4 * 3 + 1
  EXPECT_EQ(north, south);
  for (std::size_t k = 0; k <= 3; ++k) EXPECT_EQ(south[4 * k], float(double(k) * (1.0 / 3)));
  for (std::size_t k = 1; k < south.size(); k += 2) {
    EXPECT_EQ(south[k], 0.5f * (south[k - 1] + south[k + 1])) << k;  // level 2 means
  }
  for (std::size_t k = 2; k < south.size(); k += 4) {
    EXPECT_EQ(south[k], 0.5f * (south[k - 2] + south[k + 2])) << k;  // level 1 means
  }
}

TEST(Smooth2dbsIteration, interiorOfTypeNoneNeverMoves) {
  const Domain d = quarterAnnulus();
  SmoothCase still(1, 5, 4), moved(1, 5, 4);
  Smooth2dbs a, b;
  configure(a, still.mesh, still.topo, d);
  a.setMaxNumberOfIteration(0);
  a.runSmoothAll();
  configure(b, moved.mesh, moved.topo, d);
  b.setbcgeoIDmAll(Smooth2dbs::none, -1);
  b.setMaxNumberOfIteration(50);
  b.runSmoothAll();
  bool sideMoved = false;
  for (int i = 0; i <= 5; ++i) {
    for (int j = 0; j <= 4; ++j) {
      if (i > 0 && i < 5 && j > 0 && j < 4) {
        EXPECT_EQ(moved.at(0, i, j), still.at(0, i, j)) << i << "," << j;
      } else if (moved.at(0, i, j) != still.at(0, i, j)) {
        sideMoved = true;
      }
    }
  }
  EXPECT_TRUE(sideMoved);  // the sliding sides still react to the interior
}

TEST(Smooth2dbsIteration, oneLevelRunEqualsCoarsestLevelOfDeeperRun) {
  const Domain d = bendDomain();
  SmoothCase one(1, 6, 4), two(2, 6, 4);
  Smooth2dbs a, b;
  configure(a, one.mesh, one.topo, d);
  a.setMaxNumberOfIteration(40);
  a.runSmoothAll();
  configure(b, two.mesh, two.topo, d);
  b.setMaxNumberOfIteration(40);
  b.runSmoothAll();
  for (int i = 0; i <= 6; ++i) {
    for (int j = 0; j <= 4; ++j) EXPECT_EQ(one.at(0, i, j), two.at(0, i, j));
  }
}

TEST(Smooth2dbsIteration, uniformRectangleIsAFixedPoint) {
  const Domain d = rectangle(3, 2);
  SmoothCase r(3, 3, 2);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.setSpreadIterationLin(30, 10);
  s.runSmoothAll();
  const Topo2dBase& f = r.finest();
  for (int i = 0; i <= f.getIcv(); ++i) {
    for (int j = 0; j <= f.getJcv(); ++j) {
      const P3 p = r.at(2, i, j);
      EXPECT_NEAR(p[0], 3.0 * i / f.getIcv(), kFixedPointTol * d.size) << i << "," << j;
      EXPECT_NEAR(p[1], 2.0 * j / f.getJcv(), kFixedPointTol * d.size) << i << "," << j;
    }
  }
}

TEST(Smooth2dbsIteration, quarterAnnulusStaysOnCurvesUnfoldedAndSymmetric) {
  const Domain d = quarterAnnulus();
  SmoothCase r(3, 4, 3);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.runSmoothAll();
  expectGoodFinestLevel(r, d);
  // The domain is symmetric about the diagonal x = y, with West and East exchanged; simultaneous
  // (Jacobi) updates keep the mesh symmetric.
  const int level = 2, icv = r.finest().getIcv(), jcv = r.finest().getJcv();
  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) {
      const P3 p = r.at(level, i, j), m = r.at(level, icv - i, j);
      EXPECT_NEAR(p[0], m[1], kSymmetryTol) << i << "," << j;
      EXPECT_NEAR(p[1], m[0], kSymmetryTol) << i << "," << j;
    }
  }
}

TEST(Smooth2dbsIteration, impellerBendStaysOnCurvesAndUnfolded) {
  const Domain d = bendDomain();
  SmoothCase r(3, 8, 3);
  Smooth2dbs s;
  configure(s, r.mesh, r.topo, d);
  s.runSmoothAll();
  expectGoodFinestLevel(r, d);
  // Running again starts over from the initial mesh and gives the same result.
  const QORVector<P3> first = r.mesh;
  s.runSmoothAll();
  EXPECT_TRUE(first == r.mesh);
}

// Mean |cos| of the angle between the i and j grid lines at the interior nodes of a level.
double meanSkew(const SmoothCase& r, int level) {
  const Topo2dBase& f = r.topo.getLevel(level);
  double sum = 0;
  int count = 0;
  for (int i = 1; i < f.getIcv(); ++i) {
    for (int j = 1; j < f.getJcv(); ++j) {
      const P3 ei = r.at(level, i + 1, j) - r.at(level, i - 1, j);
      const P3 ej = r.at(level, i, j + 1) - r.at(level, i, j - 1);
      sum += std::fabs(double(ei.dot(ej))) / (double(ei.length()) * ej.length());
      ++count;
    }
  }
  return sum / count;
}

TEST(Smooth2dbsIteration, skewedQuadrilateralBecomesOrthogonalWithOrderedSlidingSides) {
  // A trapezoid with a leaning West side: the straight initial lines are strongly skewed.
  const Domain d(qortest::line(0, 0, 1.5, 2, 2), qortest::line(4, 0, 4, 2, 2), qortest::line(0, 0, 4, 0, 2),
                 qortest::line(1.5, 2, 4, 2, 2), 4.0);
  SmoothCase initial(2, 4, 2), smoothed(2, 4, 2);
  Smooth2dbs a, b;
  configure(a, initial.mesh, initial.topo, d);
  a.setMaxNumberOfIteration(0);
  a.runSmoothAll();
  configure(b, smoothed.mesh, smoothed.topo, d);
  b.runSmoothAll();
  EXPECT_LT(meanSkew(smoothed, 1) * kOrthogonalityGain, meanSkew(initial, 1));
  std::vector<float> south, north;
  b.getFinalSvalues(south, north);
  for (const auto* side : {&south, &north}) {
    EXPECT_EQ(side->front(), 0.0f);
    EXPECT_EQ(side->back(), 1.0f);
    for (std::size_t i = 1; i < side->size(); ++i) EXPECT_LT((*side)[i - 1], (*side)[i]) << i;
  }
  EXPECT_NE(south[4], 0.5f);                  // the sides did slide
  expectGoodFinestLevel(smoothed, d, false);  // cell sizes: the sharp corner needs more levels
}

TEST(Smooth2dbsIteration, setMeshPointsOnCurveUsesIndexOverLastIndex) {
  const Domain d = rectangle(4, 2);
  Topo2dMultiLevel topo(1, 4, 2);
  const Topo2dBase& level = topo.getLevel(0);
  QORVector<P3> points(std::size_t(topo.getAllSize()));
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[2], 2, 3, 0, 0);
  for (int i = 0; i <= 4; ++i) {
    const P3 expected = (i == 2 || i == 3) ? P3(float(i), 0, 0) : P3();
    EXPECT_EQ(points.at(std::size_t(level.getij(i, 0))), expected) << i;
  }
  const QORVector<P3> before = points;
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[2], 0, 4, 0, 2);  // not a side
  EXPECT_TRUE(before == points);
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[1], 4, 4, 1, 2);
  EXPECT_EQ(points.at(std::size_t(level.getij(4, 1))), P3(4, 1, 0));
  EXPECT_EQ(points.at(std::size_t(level.getij(4, 2))), P3(4, 2, 0));
}

TEST(Smooth2dbsOutput, surfaceFileOfThreeByTwoLevel) {
  qortest::ScopedTempDir dir;
  Topo2dMultiLevel topo(1, 2, 1);  // 3 x 2 points
  QORVector<P3> mesh;
  for (int k = 0; k < 6; ++k) mesh.emplace_back(0.5f * k, 1.25f + k, -0.1f * k);
  Smooth2dbs s;
  s.setmtopo(mesh, topo, nullptr);
  EXPECT_EQ(qortest::captureStdout([&] { s.writePostSurface(0, "level.srf"); }), " Post Mesh saved in:level.srf\n");

  const std::vector<std::string> file = qortest::readLines("level.srf");
  ASSERT_EQ(file.size(), 10u);
  for (std::size_t k = 0; k < 6; ++k) {
    ASSERT_FALSE(file[k].empty());
    EXPECT_EQ(file[k].back(), ' ') << "point lines end with a blank";
    std::istringstream values(file[k]);
    for (int c = 0; c < 3; ++c) {
      float v = 0;
      values >> v;
      EXPECT_NEAR(v, mesh[k][c], kPrintTol);
    }
  }
  EXPECT_EQ(file[6], "");
  EXPECT_EQ(file[7], "# Faces");
  EXPECT_EQ(file[8], "3 1 0 2");
  EXPECT_EQ(file[9], "5 3 2 4");
  EXPECT_THROW(s.writePostSurface(1, "none.srf"), std::out_of_range);
}

TEST(Smooth2dbsOutput, conditionMapPrintsBlocksOfTenColumnsNorthFirst) {
  Topo2dMultiLevel topo(1, 24, 2);  // 25 columns
  QORVector<P3> mesh(std::size_t(topo.getAllSize()));
  Smooth2dbs s;
  EXPECT_EQ(qortest::captureStdout([&] { s.writebcID(0); }), "");  // no topology yet: nothing
  s.setmtopo(mesh, topo, nullptr);
  s.setbcgeoIDSouth(12, 12, Smooth2dbs::onCurve, 2);
  const auto bc = qortest::readLines(std::istringstream(qortest::captureStdout([&] { s.writebcID(0); })));
  const auto geo = qortest::readLines(std::istringstream(qortest::captureStdout([&] { s.writegeoID(0); })));
  // Beyond the last level: nothing.
  EXPECT_EQ(qortest::captureStdout([&] { s.writegeoID(1), s.writebcID(-1); }), "");

  // Title, empty line, then per block: column numbers, empty line, rows j = 2, 1, 0.
  ASSERT_EQ(bc.size(), 2u + 3u * 5u);
  EXPECT_EQ(bc[0], "    ********** BC **********");
  EXPECT_EQ(geo[0], "    ********** GEO**********");
  EXPECT_EQ(bc[1], "");
  EXPECT_EQ(bc[2], "       0   1   2   3   4   5   6   7   8   9");
  EXPECT_EQ(bc[3], "");
  EXPECT_EQ(bc[4], "   2   0   0   0   0   0   0   0   0   0   0");
  EXPECT_EQ(bc[7], "      10  11  12  13  14  15  16  17  18  19");
  EXPECT_EQ(bc[11], "   0   0   0   4   0   0   0   0   0   0   0");
  EXPECT_EQ(geo[11], "   0  -1  -1   2  -1  -1  -1  -1  -1  -1  -1");
  EXPECT_EQ(bc[12], "      20  21  22  23  24");
  EXPECT_EQ(geo[16], "   0  -1  -1  -1  -1  -1");
}
