// Smooth2dbs: set-up errors, the printed condition maps, iteration spreads and the coarse-to-fine
// smoothing on a quarter annulus, an impeller bend and a skewed quadrilateral. Whole smoothed meshes
// (on curves, unfolded, the same on any number of threads) are checked by the turbo mesh tests.

#include <cstdio>

#include "support/Passages.h"

using qor::ParametricCurve;
using qor::ParametricDB;
using qor::QORVector;
using qor::Smooth2dbs;
using qor::Topo2dBase;
using qor::Topo2dMultiLevel;
using P3 = qor::TripletBase<float>;
using Lines = std::vector<std::string>;

namespace {

constexpr float kOnCurveTol = 2e-6f;        // relative to the domain size: a few float spacings
constexpr double kOrthogonalityGain = 4.0;  // mean |cos| of grid-line angles falls at least this much

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
  double size;
  Domain(const std::vector<std::vector<P3>>& sides, double extent) : size(extent) {
    for (std::size_t k = 0; k < 4; ++k) db.createCurve(kNames[k], sides[k], ParametricCurve::curve2d);
  }
};

using qortest::line;

Domain rectangle(float w, float h) {
  return Domain({line(0, 0, 0, h, 2), line(w, 0, w, h, 2), line(0, 0, w, 0, 2), line(0, h, w, h, 2)}, std::max(w, h));
}

// Quarter annulus: South the inner arc r = 1, North the outer arc r = 2, West and East radial.
Domain quarterAnnulus() {
  const double h = qortest::kPi / 2;
  return Domain({line(1, 0, 2, 0, 2), line(0, 1, 0, 2, 2), arc(1, 0, h, 201), arc(2, 0, h, 201)}, 2.0);
}

// The meridional passage of a centrifugal impeller: axial inlet, 90-degree bend, radial outlet.
Domain bendDomain() {
  const qortest::Passage p = qortest::bend();
  return Domain({p.inlet.points(), p.outlet.points(), p.hub.points(), p.shroud.points()}, 3.0);
}

// A trapezoid with a leaning West side: the straight initial lines are strongly skewed.
Domain skewedDomain() {
  return Domain({line(0, 0, 1.5, 2, 2), line(4, 0, 4, 2, 2), line(0, 0, 4, 0, 2), line(1.5, 2, 4, 2, 2)}, 4.0);
}

// The set-up of the background-mesh builder (sliding sides, pinned corners, smoothed interior) on a
// fresh multi-level mesh; iterations < 0 keeps the spread 200 to 30.
struct Smoothing {
  Topo2dMultiLevel topo;
  QORVector<P3> mesh;
  Smooth2dbs s;
  Smoothing(const Domain& d, int levels, int ni, int nj, int iterations = -1)
      : topo(levels, ni, nj), mesh(std::size_t(topo.getAllSize())) {
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
    if (iterations >= 0) s.setMaxNumberOfIteration(iterations);
  }
  Smoothing& run() { return s.runSmoothAll(), *this; }
  const P3& at(int level, int i, int j) const { return mesh.at(std::size_t(topo.getij(level, i, j))); }
  const Topo2dBase& finest() const { return topo.getLevel(topo.getLevelsSize() - 1); }
};

// Runs in debug mode in a temporary directory: returns the console lines and checks that the
// level files "strStart.NN" (before the sweeps) and "str.NN" (after) were written.
Lines debugRun(Smooth2dbs& s, int levels) {
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

// The rows (North first) of the printed bcType or geo id map of a level 0 of at most ten columns.
Lines printedRows(const Smooth2dbs& s, bool bc) {
  const Lines all =
      qortest::readLines(std::istringstream(qortest::captureStdout([&] { bc ? s.writebcID(0) : s.writegeoID(0); })));
  return all.size() > 4 ? Lines(all.begin() + 4, all.end()) : all;
}

}  // namespace

TEST(Smooth2dbsSetup, errorsBeforeAValidSetmtopoAndOutOfRangeLevels) {
  Smooth2dbs s;
  qortest::expectError(qortest::captureError<qor::internal::error>([&] { s.setMaxNumberOfIteration(5); }), "Smooth2dbs",
                       "checkTheGoodState", "Mesh and topology is not set");
  EXPECT_THROW(s.setbcgeoIDAll(Smooth2dbs::pinned, 0), std::out_of_range);
  Topo2dMultiLevel topo(2, 2, 2);
  QORVector<P3> mesh(std::size_t(topo.getAllSize() - 1));
  qortest::expectError(qortest::captureError<qor::internal::error>([&] { s.setmtopo(mesh, topo, nullptr); }),
                       "Smooth2dbs", "setmtopo", "Topology size not equal to the mesh size");
  EXPECT_THROW(s.runSmoothAll(), qor::internal::error);  // still not set
  EXPECT_EQ(s.addgeoName(std::vector<std::string>{"s_mp", "n_mp"}), 1u);  // the id of the last name added
  EXPECT_THROW(s.addgeoName(static_cast<char*>(nullptr)), qor::data::invalid);
  mesh.emplace_back();
  s.setmtopo(mesh, topo, nullptr);
  EXPECT_THROW(s.setMaxNumberOfIteration(1, 2), std::out_of_range);  // index == number of levels
  EXPECT_THROW(s.writePostSurface(2, "none.srf"), std::out_of_range);
}

TEST(Smooth2dbsSetup, spreadsOfIterationCountsOverLevelsAndSetmtopoResetsTuningAndConditions) {
  const Domain d = rectangle(1, 1);
  auto spread = [&](int levels, bool linear, int first, int last) {
    Smoothing r(d, levels, 2, 2);
    linear ? r.s.setSpreadIterationLin(first, last) : r.s.setSpreadIterationSqr(first, last);
    return printedIterations(r.s, levels);
  };
  EXPECT_EQ(spread(4, true, 100, 20), (std::vector<int>{100, 74, 48, 20}));  // integer step 26
  EXPECT_EQ(spread(3, false, 10, 50), (std::vector<int>{10, 20, 50}));
  // setmtopo resets the counts and the conditions.
  Smoothing r(d, 2, 3, 2, 5);
  r.s.setMaxNumberOfIteration(9, 1);
  EXPECT_EQ(debugRun(r.s, 2), (Lines{" Post Mesh saved in:strStart.00", "do level 0max iter= 5",
                                     " Post Mesh saved in:str.00", " Post Mesh saved in:strStart.01",
                                     "do level 1max iter= 9", " Post Mesh saved in:str.01"}));
  r.s.setmtopo(r.mesh, r.topo, &d.db);
  EXPECT_EQ(printedIterations(r.s, 2), (std::vector<int>{200, 200}));
  for (const auto& [bc, v] : {std::pair<bool, std::string>{true, "   0"}, {false, "  -1"}}) {
    EXPECT_EQ(printedRows(r.s, bc), (Lines{"   2" + v + v + v + v, "   1" + v + v + v + v, "   0" + v + v + v + v}));
  }
}

// Ranged side forms are clamped, the "m" forms leave the corners out, and the whole-West form sets
// only the North-West corner (kept for compatibility).
TEST(Smooth2dbsSetup, sideFormsAreClampedLeaveCornersOutAndWholeWestSetsOnlyTheNorthWestCorner) {
  Topo2dMultiLevel topo(1, 3, 2);
  QORVector<P3> mesh(std::size_t(topo.getAllSize()));
  Smooth2dbs s;
  s.setmtopo(mesh, topo, nullptr);
  s.setbcgeoIDSouth(-5, 1000, Smooth2dbs::pinned, 2);
  s.setbcgeoIDmNorth(Smooth2dbs::smoothed, 3);
  s.setbcgeoIDEast(2, 1, Smooth2dbs::onCurve, 1);  // empty range: nothing
  EXPECT_EQ(printedRows(s, true), (Lines{"   2   0   2   2   0", "   1   0   0   0   0", "   0   1   1   1   1"}));
  s.setbcgeoIDWest(Smooth2dbs::onCurve, 7);
  EXPECT_EQ(printedRows(s, true), (Lines{"   2   4   2   2   0", "   1   0   0   0   0", "   0   1   1   1   1"}));
  EXPECT_EQ(printedRows(s, false), (Lines{"   2   7   3   3  -1", "   1  -1  -1  -1  -1", "   0   2   2   2   2"}));
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
  EXPECT_EQ(qortest::captureStdout([&] { s.writegeoID(1), s.writebcID(-1); }), "");  // beyond the levels: nothing
  // Title, empty line, then per block: column numbers, empty line, rows j = 2, 1, 0.
  ASSERT_EQ(bc.size(), 2u + 3u * 5u);
  EXPECT_EQ(geo[0], "    ********** GEO**********");
  EXPECT_EQ(Lines(bc.begin(), bc.begin() + 5),
            (Lines{"    ********** BC **********", "", "       0   1   2   3   4   5   6   7   8   9", "",
                   "   2   0   0   0   0   0   0   0   0   0   0"}));
  EXPECT_EQ(bc[7], "      10  11  12  13  14  15  16  17  18  19");
  EXPECT_EQ(bc[11], "   0   0   0   4   0   0   0   0   0   0   0");
  EXPECT_EQ(geo[11], "   0  -1  -1   2  -1  -1  -1  -1  -1  -1  -1");
  EXPECT_EQ(bc[12], "      20  21  22  23  24");
  EXPECT_EQ(geo[16], "   0  -1  -1  -1  -1  -1");
}

TEST(Smooth2dbsOutput, surfaceFileOfThreeByTwoLevel) {
  qortest::ScopedTempDir dir;
  Topo2dMultiLevel topo(1, 2, 1);  // 3 x 2 points
  QORVector<P3> mesh;
  for (int k = 0; k < 6; ++k) mesh.emplace_back(0.5f * k, 1.25f + k, 0.25f * k - 1);
  Smooth2dbs s;
  s.setmtopo(mesh, topo, nullptr);
  EXPECT_EQ(qortest::captureStdout([&] { s.writePostSurface(0, "level.srf"); }), " Post Mesh saved in:level.srf\n");
  // Six significant digits, point lines end with a blank.
  EXPECT_EQ(qortest::readLines("level.srf"),
            (Lines{"0 1.25 -1 ", "0.5 2.25 -0.75 ", "1 3.25 -0.5 ", "1.5 4.25 -0.25 ", "2 5.25 0 ",
                   "2.5 6.25 0.25 ", "", "# Faces", "3 1 0 2", "5 3 2 4"}));
}

// Refined side parameters keep the old values at even indices and take exact means between them.
TEST(Smooth2dbsIteration, zeroIterationsLeaveTheInitialMeshAndRefinedSideParameters) {
  const Domain d = quarterAnnulus();
  Smoothing r(d, 3, 4, 3, 0);
  r.run();
  // Level 0: sides evenly in parameter on their curves, interior straight between South and North.
  for (int i = 0; i <= 4; ++i) {
    const P3 south(d.db.getPointAtParameter(kNames[2], i / 4.0)), north(d.db.getPointAtParameter(kNames[3], i / 4.0));
    EXPECT_EQ(r.at(0, i, 0), south);
    EXPECT_EQ(r.at(0, i, 3), north);
    for (int j = 1; j < 3 && i > 0 && i < 4; ++j) EXPECT_EQ(r.at(0, i, j), (north * j) / 3 + (south * (3 - j)) / 3);
  }
  // Level 1 carries level 0 over at even indices, and its new side points lie on the curves.
  for (int i = 0; i <= 8; ++i) {
    const P3 p = r.at(1, i, 0);
    EXPECT_LE((d.db.projectPoint(kNames[2], p) - p).length(), kOnCurveTol * d.size);
    for (int j = 0; j <= 3 && i % 2 == 0; ++j) EXPECT_EQ(r.at(1, i, 2 * j), r.at(0, i / 2, j));
  }
  std::vector<float> south, north;
  r.s.getFinalSvalues(south, north);
  ASSERT_EQ(south.size(), std::size_t(r.finest().getIsize()));  // 17 = 4 * 4 + 1
  EXPECT_EQ(north, south);
  for (std::size_t k = 0; k <= 4; ++k) EXPECT_EQ(south[4 * k], float(double(k) * (1.0 / 4)));
  for (std::size_t k = 1; k < south.size(); k += 2) EXPECT_EQ(south[k], 0.5f * (south[k - 1] + south[k + 1])) << k;
  for (std::size_t k = 2; k < south.size(); k += 4) EXPECT_EQ(south[k], 0.5f * (south[k - 2] + south[k + 2])) << k;
}

// Interior points of type none, or under a relaxation of 0, never move; the sliding sides still
// react to the interior, by steps in proportion to their own relaxation.
TEST(Smooth2dbsIteration, interiorOfTypeNoneOrWithoutRelaxationNeverMoves) {
  const Domain d = skewedDomain();
  Smoothing still(d, 1, 5, 4, 0), none(d, 1, 5, 4, 50), unrelaxed(d, 1, 5, 4, 50);
  still.run();
  std::vector<float> s0, n0, s1, n1;
  still.s.getFinalSvalues(s0, n0);
  double steps[2] = {0.0, 0.0};
  for (int k = 0; k < 2; ++k) {
    Smoothing one(d, 1, 5, 4, 1);
    one.s.setUnderRelaxation(0.0, k == 0 ? 0.3 : 0.9, 0.4);
    one.run().s.getFinalSvalues(s1, n1);
    for (std::size_t i = 0; i < s0.size(); ++i) steps[k] += std::fabs(s1[i] - s0[i]) + std::fabs(n1[i] - n0[i]);
  }
  EXPECT_GT(steps[0], 0.0);
  EXPECT_NEAR(steps[1], 3.0 * steps[0], 1e-3 * steps[1]) << steps[0] << " " << steps[1];
  none.s.setbcgeoIDmAll(Smooth2dbs::none, -1);
  unrelaxed.s.setUnderRelaxation(0.0, 0.6, 0.4);
  for (Smoothing* moved : {&none.run(), &unrelaxed.run()}) {
    bool sideMoved = false;
    for (int i = 0; i <= 5; ++i) {
      for (int j = 0; j <= 4; ++j) {
        const bool interior = i > 0 && i < 5 && j > 0 && j < 4, same = moved->at(0, i, j) == still.at(0, i, j);
        EXPECT_TRUE(same || !interior) << i << "," << j;
        sideMoved = sideMoved || !same;
      }
    }
    EXPECT_TRUE(sideMoved);
  }
}

// The closed-form turn is the angle form's up to float rounding, on a bent and on a strongly skewed
// domain; the option survives setmtopo. (The turbo mesh tests compare thread counts bit for bit.)
TEST(Smooth2dbsIteration, closedFormBisectionIsTheAngleFormUpToRounding) {
  for (const Domain& d : {bendDomain(), skewedDomain()}) {
    Smoothing angles(d, 2, 24, 8), closed(d, 2, 24, 8);
    EXPECT_FALSE(angles.s.getClosedFormBisection());
    closed.s.setClosedFormBisection(true);
    angles.run();
    closed.run();
    double worst = 0.0;
    for (std::size_t k = 0; k < angles.mesh.size(); ++k) {
      worst = std::max(worst, double((angles.mesh[k] - closed.mesh[k]).length()));
    }
    EXPECT_GT(worst, 0.0);  // a different evaluation, not the same code
    EXPECT_LT(worst, 1e-5 * d.size) << worst;
    closed.s.setmtopo(closed.mesh, closed.topo, &d.db);
    EXPECT_TRUE(closed.s.getClosedFormBisection());
  }
}

// Signed area of cell (i, j) of a level, from its edge-midpoint vectors.
double cellArea(const Smoothing& r, int level, int i, int j) {
  const P3 a = r.at(level, i, j), b = r.at(level, i + 1, j), c = r.at(level, i, j + 1), d = r.at(level, i + 1, j + 1);
  const P3 ei = ((b + d) - (a + c)) * 0.5, ej = ((c + d) - (a + b)) * 0.5;
  return double(ei[0]) * ej[1] - double(ei[1]) * ej[0];
}

// Mean |cos| of the angle between the i and j grid lines at the interior nodes of a level.
double meanSkew(const Smoothing& r, int level) {
  const Topo2dBase& f = r.topo.getLevel(level);
  double sum = 0;
  int count = 0;
  for (int i = 1; i < f.getIcv(); ++i) {
    for (int j = 1; j < f.getJcv(); ++j, ++count) {
      const P3 ei = r.at(level, i + 1, j) - r.at(level, i - 1, j), ej = r.at(level, i, j + 1) - r.at(level, i, j - 1);
      sum += std::fabs(double(ei.dot(ej))) / (double(ei.length()) * ej.length());
    }
  }
  return sum / count;
}

TEST(Smooth2dbsIteration, skewedQuadrilateralBecomesOrthogonalAndUnfoldedWithOrderedSlidingSides) {
  const Domain d = skewedDomain();
  Smoothing initial(d, 2, 4, 2, 0), smoothed(d, 2, 4, 2);
  initial.run();
  smoothed.run();
  EXPECT_LT(meanSkew(smoothed, 1) * kOrthogonalityGain, meanSkew(initial, 1));
  std::vector<float> south, north;
  smoothed.s.getFinalSvalues(south, north);
  for (const auto* side : {&south, &north}) {
    EXPECT_EQ(side->front(), 0.0f);
    EXPECT_EQ(side->back(), 1.0f);
    for (std::size_t i = 1; i < side->size(); ++i) EXPECT_LT((*side)[i - 1], (*side)[i]) << i;
  }
  EXPECT_NE(south[4], 0.5f);  // the sides did slide
  // The finest level: sides on their curves, no folded cell.
  const int icv = smoothed.finest().getIcv(), jcv = smoothed.finest().getJcv();
  auto off = [&](int side, int i, int j) {
    const P3& p = smoothed.at(1, i, j);
    return (d.db.projectPoint(kNames[std::size_t(side)], p) - p).length();
  };
  const float tol = kOnCurveTol * float(d.size);
  for (int i = 0; i <= icv; ++i) EXPECT_LE(std::max(off(2, i, 0), off(3, i, jcv)), tol) << "south/north i=" << i;
  for (int j = 0; j <= jcv; ++j) EXPECT_LE(std::max(off(0, 0, j), off(1, icv, j)), tol) << "west/east j=" << j;
  int positive = 0, negative = 0;
  for (int i = 0; i < icv; ++i) {
    for (int j = 0; j < jcv; ++j) (cellArea(smoothed, 1, i, j) > 0 ? positive : negative)++;
  }
  EXPECT_TRUE(positive == 0 || negative == 0) << positive << " positive, " << negative << " negative";
}

TEST(Smooth2dbsIteration, setMeshPointsOnCurveUsesIndexOverLastIndex) {
  const Domain d = rectangle(4, 2);
  Topo2dMultiLevel topo(1, 4, 2);
  const Topo2dBase& level = topo.getLevel(0);
  QORVector<P3> points(std::size_t(topo.getAllSize()));
  auto at = [&](int i, int j) { return points.at(std::size_t(level.getij(i, j))); };
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[2], 2, 3, 0, 0);
  for (int i = 0; i <= 4; ++i) EXPECT_EQ(at(i, 0), (i == 2 || i == 3) ? P3(float(i), 0, 0) : P3()) << i;
  const QORVector<P3> before = points;
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[2], 0, 4, 0, 2);  // not a side
  EXPECT_TRUE(before == points);
  Smooth2dbs::setMeshPointsOnCurve(level, points, &d.db, kNames[1], 4, 4, 1, 2);
  EXPECT_EQ(at(4, 1), P3(4, 1, 0));
  EXPECT_EQ(at(4, 2), P3(4, 2, 0));
}
