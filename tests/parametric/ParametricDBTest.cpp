#include <functional>
#include <memory>

#include "support/Passages.h"

using qor::ParametricCurve;
using qor::ParametricDB;
using qor::ParametricDBFactory;
using qor::ParametricDBInterface;
using qor::TripletBase;
using PointF = TripletBase<float>;
using PointD = TripletBase<double>;

namespace {

constexpr double kTol = 1e-6;
constexpr ParametricCurve::dim kPlane = ParametricCurve::curve2d;

// A straight line along x from 0 to `length`, with `n` points.
std::vector<PointF> line(float length, int n = 3) {
  std::vector<PointF> pts;
  for (int k = 0; k < n; ++k) pts.emplace_back(length * float(k) / float(n - 1), 0.0f, 0.0f);
  return pts;
}

void expectEmptyError(const std::function<void()>& f) {
  qortest::expectError(qortest::captureError<qor::data::error>(f), "ParametricDB", "checkDataBaseEmpty",
                       "DataBase is empty.");
}

void expectNotExistError(const std::function<void()>& f, const std::string& name) {
  qortest::expectError(qortest::captureError<qor::data::error>(f), "ParametricDB", "throwCurveNotExist",
                       "Curve does not exist. Name= " + name);
}

// Every name-addressed query of the database, called on `name`.
std::vector<std::function<void()>> queriesOn(ParametricDB& db, const std::string& name) {
  static double s = 0;
  static std::vector<PointF> out;
  return {[&db, name] { db.deleteCurve(name); },
          [&db, name] { (void)db.getPointAtParameter(name, 0.5); },
          [&db, name] { (void)db.projectPoint(name, PointD(1, 1, 0), s); },
          [&db, name] { db.getCurve(name, 0.0, 1.0, out); },
          [&db, name] { db.exportToFile(name, "never-written.txt"); }};
}

// A database class of a client: counts what reaches its virtual operations.
class CountingDB : public ParametricDB {
 public:
  using ParametricDB::createCurve;
  ParametricDBInterface* makeNew() override { return new CountingDB(); }
  void createCurve(const std::string& name, const std::vector<PointF>& points, ParametricCurve::dim d) override {
    ++createCalls;
    ParametricDB::createCurve(name, points, d);
  }
  PointD getPointAtParameter(const std::string& name, double s) const override {
    ++pointCalls;
    return ParametricDB::getPointAtParameter(name, s);
  }
  int createCalls = 0;
  mutable int pointCalls = 0;
};

// Restores the default prototype when a test that installs its own ends.
struct PrototypeGuard {
  ~PrototypeGuard() { ParametricDBFactory::setParametricDB(nullptr); }
};

}  // namespace

// Ids count creations; deletion never frees one, clearing resets the counter only of a database
// that still had curves; a failed creation changes nothing.
TEST(ParametricDB, idsFollowCreationOrderAndAreNeverReused) {
  ParametricDB db;
  EXPECT_EQ(db.getCurveID("nothing"), 0);  // lenient: an unknown name has id 0, no error
  EXPECT_NO_THROW(db.deleteCurveIfExist("a"));
  db.createCurve("hub", line(1), kPlane);
  db.createCurve("shroud", line(2), kPlane);
  EXPECT_EQ(std::make_pair(db.getCurveID("hub"), db.getCurveID("shroud")), std::make_pair(0, 1));
  EXPECT_FALSE(db.checkCurveExist("nothing"));
  db.createCurve("hub", line(5), kPlane);  // re-creation replaces the curve with a fresh id
  EXPECT_EQ(db.getCurveID("hub"), 2);
  EXPECT_NEAR(db.getLength("hub"), 5.0, kTol);
  EXPECT_THROW(db.createCurve("hub", line(7), {0.0, 1.0}, kPlane), qor::Error);  // 3 points, 2 parameters
  EXPECT_NEAR(db.getLength("hub"), 5.0, kTol);
  EXPECT_EQ(db.getCurveID("hub"), 2);
  db.deleteCurve("shroud");
  EXPECT_NO_THROW(db.deleteCurveIfExist("b"));
  EXPECT_EQ(std::make_pair(db.checkCurveExist("shroud"), db.checkCurveExist("hub")), std::make_pair(false, true));
  db.createCurve("c", line(1), kPlane);
  EXPECT_EQ(db.getCurveID("c"), 3);
  db.clearGeometry();
  EXPECT_FALSE(db.checkCurveExist("c"));
  db.createCurve("d", line(1), kPlane);
  EXPECT_EQ(db.getCurveID("d"), 0);
  db.deleteCurve("d");
  db.clearGeometry();
  db.createCurve("e", line(1), kPlane);
  EXPECT_EQ(db.getCurveID("e"), 1);
}

// Point locations fail too before their output changes.
TEST(ParametricDB, queriesReportAnEmptyDatabaseOrTheUnknownNameAndCurveErrorsPassThrough) {
  ParametricDB db;
  std::vector<PointD> out(2, PointD(9, 9, 9));
  auto locations = [&](const std::string& name) {
    return [&db, &out, name] { db.getPointLocationsOnCurveAtParameter({0.0, 1.0}, PointD(), PointD(), name, out); };
  };
  for (const auto& q : queriesOn(db, "hub")) expectEmptyError(q);
  expectEmptyError(locations("hub"));
  db.createCurve("hub", line(1), kPlane);
  for (const auto& q : queriesOn(db, "n_mp")) expectNotExistError(q, "n_mp");
  expectNotExistError(locations("n_mp"), "n_mp");
  EXPECT_EQ(out, std::vector<PointD>(2, PointD(9, 9, 9)));
  EXPECT_THROW(db.getPointLocationsOnCurveAtParameter({}, PointD(), PointD(), "hub", out), std::out_of_range);
  EXPECT_NEAR(db.getLength("hub"), 1.0, kTol);
  db.deleteCurve("hub");  // deleted one by one: empty again
  for (const auto& q : queriesOn(db, "hub")) expectEmptyError(q);
  db.createCurve("none", {}, kPlane);
  EXPECT_THROW((void)db.getFirstPoint("none"), qor::data::invalid);
}

TEST(ParametricDB, queriesAnswerForTheNamedCurve) {
  qortest::ScopedTempDir dir;
  ParametricDB db;
  db.createCurve("x", line(4, 5), kPlane);
  db.createCurve("y", {PointF(0, 0, 0), PointF(0, 2, 0)}, kPlane);
  db.createCurve("a", line(2), {0.0, 0.9, 1.0}, kPlane);  // with parameter values
  EXPECT_NEAR(db.getPointAtParameter("a", 0.9)[0], 1.0, kTol);
  EXPECT_NEAR(db.getLength("y"), 2.0, kTol);
  EXPECT_EQ(db.getLastPoint("y"), PointF(0, 2, 0));
  EXPECT_NEAR(db.getPointAtParameter("x", 0.25)[0], 1.0, kTol);
  double s = -1;
  EXPECT_NEAR(db.projectPoint("x", PointF(3.0f, 1.0f, 0.0f), s)[0], 3.0, kTol);
  EXPECT_NEAR(s, 0.75, kTol);
  EXPECT_NEAR(db.projectPoint("y", PointD(5.0, 0.5, 0.0), s)[1], 0.5, kTol);
  EXPECT_NEAR(s, 0.25, kTol);
  EXPECT_NEAR(db.projectPoint("y", PointD(-3.0, 9.0, 0.0))[1], 2.0, kTol);
  std::vector<PointF> piece;
  db.getCurve("x", 0.25, 0.75, piece);
  EXPECT_NEAR(piece.back()[0], 3.0, kTol);
  db.getCurveForEquidistantS("y", piece, 5);
  ASSERT_EQ(piece.size(), 5U);
  EXPECT_NEAR(piece[2][1], 1.0, kTol);
  db.exportToFile("x", "x_curve.txt");
  EXPECT_EQ(qortest::readLines("x_curve.txt").size(), 5u);
}

TEST(ParametricDB, pointLocationsKeepGivenEndsPlaceMiddleByParameterAndUseTheVirtualOperations) {
  ParametricDB db;
  db.createCurve("x", line(10, 6), kPlane);
  const PointD first(2, 1, 0), last(8, -1, 0);
  std::vector<PointD> out;
  db.getPointLocationsOnCurveAtParameter({0.0, 0.5, 1.0}, first, last, "x", out);
  ASSERT_EQ(out.size(), 3U);
  EXPECT_EQ(std::make_pair(out[0], out[2]), std::make_pair(first, last));
  EXPECT_NEAR(out[1][0], 5.0, kTol);
  EXPECT_NEAR(out[1][1], 0.0, kTol);
  // Reversed ends: the parameter step is negative; the first and last fractions are not used.
  db.getPointLocationsOnCurveAtParameter({0.9, 0.25, 0.1}, last, first, "x", out);
  ASSERT_EQ(out.size(), 3U);
  EXPECT_EQ(std::make_pair(out[0], out[2]), std::make_pair(last, first));
  EXPECT_NEAR(out[1][0], 6.5, kTol);
  // A single fraction gives the last point.
  db.getPointLocationsOnCurveAtParameter({0.3}, first, last, "x", out);
  EXPECT_EQ(out, std::vector<PointD>{last});
  // Inner points and two-point curves go through the virtual operations of a derived database.
  CountingDB counting;
  counting.createCurve("x", line(10), kPlane);
  counting.getPointLocationsOnCurveAtParameter({0.0, 0.2, 0.4, 1.0}, PointD(0, 0, 0), PointD(10, 0, 0), "x", out);
  EXPECT_EQ(counting.pointCalls, 2);
  EXPECT_NEAR(out[2][0], 4.0, kTol);
  const PointF a(1.5f, -2.0f, 0.25f), b(4.0f, 3.0f, -1.0f);
  counting.createCurveTwoPoints("seg", a, b);
  EXPECT_EQ(counting.createCalls, 2);
  EXPECT_EQ(std::make_pair(counting.getFirstPoint("seg"), counting.getLastPoint("seg")), std::make_pair(a, b));
  EXPECT_NEAR(counting.getLength("seg"), double((b - a).length()), kTol);
}

TEST(ParametricDB, stateReportListsCurvesInNameOrder) {
  ParametricDB db;
  for (const char* name : {"w_mp", "e_mp", "s_mp"}) db.createCurve(name, line(1), kPlane);
  EXPECT_EQ(qortest::captureStdout([&] { db.printDatabaseState(); }),
            " State of the Parametric Database\n Size : 3 curves\n   Curve id and name 1 : e_mp\n"
            "   Curve id and name 2 : s_mp\n   Curve id and name 0 : w_mp\n");
  EXPECT_EQ(qortest::captureStdout([] { ParametricDB().printDatabaseState(); }),
            " State of the Parametric Database\n Size : 0 curves\n");
}

// Copies and assignment take their own tables but share the curves themselves.
TEST(ParametricDB, copiesShareCurvesKeepThemAliveAndSeeEditsThroughEachOther) {
  auto source = std::make_unique<ParametricDB>();
  source->createCurve("x", line(3), kPlane);
  source->createCurve("y", line(2), kPlane);
  source->createCurve("d", {PointF(0, 0, 0), PointF(1, 0, 0), PointF(1, 0, 0), PointF(2, 0, 0)}, kPlane);
  ParametricDB copy(*source), assigned;
  assigned.createCurve("old", line(1), kPlane);
  assigned = *source;
  ParametricDB& self = assigned;
  assigned = self;
  EXPECT_FALSE(assigned.checkCurveExist("old"));
  EXPECT_EQ(std::make_pair(copy.getCurveID("y"), assigned.getCurveID("y")), std::make_pair(1, 1));
  std::vector<PointF> before, afterCopy, afterSource;
  copy.getCurve("d", 0.0, 1.0, before);
  source->eliminateDoublePoints("d", 2);
  copy.getCurve("d", 0.0, 1.0, afterCopy);
  source->getCurve("d", 0.0, 1.0, afterSource);
  EXPECT_LT(afterCopy.size(), before.size());
  EXPECT_EQ(afterCopy, afterSource);
  source->deleteCurve("x");
  source->createCurve("y", line(8), kPlane);  // re-creation in the source only
  EXPECT_NEAR(copy.getLength("y"), 2.0, kTol);
  source->clearGeometry();
  source.reset();
  for (ParametricDB* db : {&copy, &assigned}) {
    EXPECT_NEAR(db->getLength("x"), 3.0, kTol);
    db->createCurve("z", line(1), kPlane);
    EXPECT_EQ(db->getCurveID("z"), 3);
  }
}

TEST(ParametricDBFactory, everyCallReturnsADistinctEmptyDatabaseOfThePrototypesClass) {
  PrototypeGuard restore;
  std::unique_ptr<ParametricDBInterface> a(ParametricDBFactory::createParametricDB()),
      b(ParametricDBFactory::createParametricDB());
  ASSERT_NE(dynamic_cast<ParametricDB*>(a.get()), nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a.get(), b.get());
  a->createCurve("x", line(1), kPlane);
  std::unique_ptr<ParametricDBInterface> made(a->makeNew());  // an empty database of the same class
  ASSERT_NE(dynamic_cast<ParametricDB*>(made.get()), nullptr);
  EXPECT_FALSE(made->checkCurveExist("x") || b->checkCurveExist("x"));
  CountingDB prototype;
  prototype.createCurve("proto", line(1), kPlane);
  ParametricDBFactory::setParametricDB(&prototype);
  std::unique_ptr<ParametricDBInterface> db(ParametricDBFactory::createParametricDB());
  auto* counting = dynamic_cast<CountingDB*>(db.get());
  ASSERT_NE(counting, nullptr);
  EXPECT_NE(db.get(), &prototype);
  EXPECT_FALSE(db->checkCurveExist("proto"));
  db->createCurve("x", line(1), kPlane);
  EXPECT_EQ(counting->createCalls, 1);
  ParametricDBFactory::setParametricDB(nullptr);
  std::unique_ptr<ParametricDBInterface> plain(ParametricDBFactory::createParametricDB());
  EXPECT_EQ(dynamic_cast<CountingDB*>(plain.get()), nullptr);
  EXPECT_NE(dynamic_cast<ParametricDB*>(plain.get()), nullptr);
  EXPECT_FALSE(plain->checkCurveExist("x"));
}
