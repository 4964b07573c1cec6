#include <functional>
#include <limits>

#include "support/Passages.h"

using qor::ParametricCurve;
using P = qor::TripletBase<float>;
using PD = qor::TripletBase<double>;
using Points = std::vector<P>;

namespace {

constexpr double kTol = 1e-12;      // double arithmetic on small exact inputs
constexpr float kFloatTol = 1e-6f;  // one float rounding of values of order 1
const float kNaN = std::numeric_limits<float>::quiet_NaN();

// An L-shaped polyline of length 4: (0,0) -> (2,0) -> (2,2).
Points lShape() { return {P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(2, 2, 0)}; }

// A smooth, clean, ordered arc (quarter circle of radius 3), as the boundary curves are.
Points cleanArc(int n) {
  Points pts;
  for (int k = 0; k < n; ++k) {
    const double a = 1.5707963267948966 * k / (n - 1);
    pts.emplace_back(float(3 * std::cos(a)), float(3 * std::sin(a)), 0.0f);
  }
  return pts;
}

std::vector<double> svaluesOf(const ParametricCurve& c) {
  std::vector<double> s;
  return c.getSvalues(s), s;
}

Points pointsOf(const ParametricCurve& c) {
  Points p;
  return c.getCurve(p), p;
}

std::vector<PD> pointsAt(const ParametricCurve& c, const std::vector<double>& s) {
  std::vector<PD> out;
  for (double v : s) out.push_back(c.getPointAtParameter(v));
  return out;
}

}  // namespace

// Arc-length parameters: normalised with exact ends, exact points at the vertices, clamped values;
// uniform parameters for a curve without length.
TEST(ParametricCurveParameters, arcLengthModeIsNormalisedExactAtVerticesClampedAndUniformWithoutLength) {
  const ParametricCurve c(lShape(), ParametricCurve::curve2d);
  EXPECT_EQ(std::make_tuple(c.size(), c.getDim(), c.getLength()), std::make_tuple(4u, ParametricCurve::curve2d, 4.0));
  EXPECT_EQ(svaluesOf(c), (std::vector<double>{0.0, 0.25, 0.5, 1.0}));
  const Points pts = cleanArc(37);
  const ParametricCurve arc(pts, ParametricCurve::curve2d);
  const std::vector<double> s = svaluesOf(arc);
  EXPECT_EQ(std::make_pair(s.front(), s.back()), std::make_pair(0.0, 1.0));
  for (std::size_t k = 0; k < pts.size(); ++k) {
    EXPECT_EQ(arc.getPointAtParameter(s[k]), PD(pts[k]));
    EXPECT_TRUE(k == 0 || s[k] > s[k - 1]) << k;
  }
  EXPECT_EQ(pointsAt(arc, {-0.5, 1.5, std::nan("")}),
            (std::vector<PD>{PD(pts.front()), PD(pts.back()), PD(pts.front())}));
  // A parameter that rounds just below 1 stays within one float spacing of the end.
  EXPECT_NEAR(arc.getPointAtParameter(0.9999999999999999)[1], pts.back()[1], 4e-7);
  const ParametricCurve flat({P(1, 1, 0), P(1, 1, 0), P(1, 1, 0)}, ParametricCurve::curve1d);
  EXPECT_EQ(std::make_pair(svaluesOf(flat), flat.getLength()), std::make_pair(std::vector<double>{0.0, 0.5, 1.0}, 0.0));
  const ParametricCurve one({P(5, 6, 7)}, ParametricCurve::curve2d);
  EXPECT_EQ(svaluesOf(one), std::vector<double>{0.0});
  EXPECT_EQ(one.getPointAtParameter(0.7), PD(5, 6, 7));
}

TEST(ParametricCurveParameters, callerParametersAreKeptAndTheFirstBracketingSegmentIsUsed) {
  const std::vector<double> sv{-1e-9, 0.3, 0.9, 1.0};
  const ParametricCurve c(lShape(), sv, ParametricCurve::curve2d);
  EXPECT_EQ(svaluesOf(c), sv);
  EXPECT_EQ(pointsAt(c, {0.3, -1.0}), (std::vector<PD>{PD(1, 0, 0), PD(0, 0, 0)}));
  EXPECT_NEAR(c.getPointAtParameter(0.6)[0], 1.5, kTol);
  EXPECT_THROW(ParametricCurve(lShape(), std::vector<double>{0, 1}, ParametricCurve::curve2d), qor::data::invalid);
  // Non-monotone parameters: 0.5 is bracketed by the first and by the third segment.
  EXPECT_NEAR(ParametricCurve(lShape(), {0.0, 1.0, 0.0, 1.0}, ParametricCurve::curve2d).getPointAtParameter(0.5)[0],
              0.5, kTol);
  // A zero-width segment gives its first point; an unbracketed value the nearer end.
  const ParametricCurve flat(lShape(), {0.0, 0.5, 0.5, 2.0}, ParametricCurve::curve2d);
  EXPECT_EQ(pointsAt(flat, {0.5, 5.0, -5.0}), (std::vector<PD>{PD(1, 0, 0), PD(2, 2, 0), PD(0, 0, 0)}));
}

TEST(ParametricCurveErrors, emptyCurveQueriesThrowInvalidNamingTheClassAndProblem) {
  const ParametricCurve empty;
  Points out;
  const auto e = qortest::captureError<qor::data::invalid>([&] { (void)empty.getFirstPoint(); });
  EXPECT_EQ(e.getClassName() + "::" + e.getFunctionName(), "ParametricCurve::getFirstPoint");
  EXPECT_NE(e.getMessage().find("no points"), std::string::npos);
  const std::function<void()> calls[] = {[&] { (void)empty.getPointAtParameter(0.5); },
                                         [&] { (void)empty.projectPoint(P(0, 0, 0)); },
                                         [&] { empty.getCurve(0.0, 1.0, out); },
                                         [&] { empty.getCurveForEquidistantS(out, 3); }};
  for (const auto& call : calls) EXPECT_THROW(call(), qor::data::invalid);
  EXPECT_EQ(empty.getLength(), 0.0);
  empty.getCurve(out);
  EXPECT_TRUE(out.empty());
}

TEST(ParametricCurveProjection, givesTheFootOfThePerpendicularAndItsParameterAndNaNTheFirstPoint) {
  const ParametricCurve c(lShape(), ParametricCurve::curve2d);
  double s = -1;
  EXPECT_EQ(c.projectPoint(P(0.5f, -3.0f, 0.0f), s), P(0.5f, 0.0f, 0.0f));
  EXPECT_DOUBLE_EQ(s, 0.125);
  EXPECT_EQ(c.projectPoint(PD(5.0, 1.0, 0.0), s), PD(2.0, 1.0, 0.0));
  EXPECT_DOUBLE_EQ(s, 0.75);
  EXPECT_EQ(std::make_pair(c.projectPoint(P(-4, 0, 0), s), s), std::make_pair(P(0, 0, 0), 0.0));  // beyond the ends
  EXPECT_EQ(std::make_pair(c.projectPoint(PD(2.5, 9, 0), s), s), std::make_pair(PD(2, 2, 0), 1.0));
  // A U shape: (1, 1) is at distance 1 from the bottom and from both legs; the earliest wins.
  const ParametricCurve u({P(0, 2, 0), P(0, 0, 0), P(2, 0, 0), P(2, 2, 0)}, ParametricCurve::curve2d);
  EXPECT_EQ(u.projectPoint(P(1, 1, 0), s), P(0, 1, 0));
  EXPECT_DOUBLE_EQ(s, 1.0 / 6.0);
  // The parameter comes from the curve's own mode.
  (void)ParametricCurve(lShape(), {10.0, 20.0, 30.0, 50.0}, ParametricCurve::curve2d)
      .projectPoint(P(2.5f, 1.0f, 0.0f), s);
  EXPECT_DOUBLE_EQ(s, 40.0);
  // NaN coordinates give the first point, without hanging.
  EXPECT_EQ(c.projectPoint(P(kNaN, 0, 0), s), P(0, 0, 0));
  EXPECT_EQ(s, 0.0);
  const ParametricCurve bad({P(0, 0, 0), P(kNaN, 1, 0), P(2, 2, 0)}, ParametricCurve::curve2d);
  EXPECT_EQ(pointsAt(bad, {0.0, 1.0}), (std::vector<PD>{PD(0, 0, 0), PD(2, 2, 0)}));
  EXPECT_NO_THROW((void)bad.projectPoint(P(1, 1, 0)));
  ParametricCurve edit = bad;
  edit.makeUnique();
  edit.eliminateDoublePoints(2);
  edit.makeContinuous();
  EXPECT_GE(edit.size(), 1u);
}

// Pieces have interpolated ends, the inner vertices and at least two points; samples by parameter
// are clamped or extrapolated, equidistant samples have exact ends.
TEST(ParametricCurvePieces, piecesAndSamplesOfTheCurve) {
  const ParametricCurve c(lShape(), ParametricCurve::curve2d);
  Points out;
  std::vector<double> sv;
  c.getCurve(0.125, 0.75, out, sv);
  EXPECT_EQ(out, (Points{P(0.5f, 0, 0), P(1, 0, 0), P(2, 0, 0), P(2, 1, 0)}));
  EXPECT_EQ(sv, (std::vector<double>{0.125, 0.25, 0.5, 0.75}));
  c.getCurve(0.25, 0.5, out, sv);  // an end on a vertex is not repeated
  EXPECT_EQ(out, (Points{P(1, 0, 0), P(2, 0, 0)}));
  c.getCurve(0.75, -2.0, out, sv);  // reversed order runs backwards; values are clamped
  EXPECT_EQ(out, (Points{P(2, 1, 0), P(2, 0, 0), P(1, 0, 0), P(0, 0, 0)}));
  EXPECT_EQ(sv, (std::vector<double>{0.75, 0.5, 0.25, 0.0}));
  c.getCurve(1.0, 1.0, out);
  EXPECT_EQ(out, (Points{P(2, 2, 0), P(2, 2, 0)}));
  ParametricCurve({P(1, 2, 3)}, ParametricCurve::curve2d).getCurve(0.0, 1.0, out);
  EXPECT_EQ(out, (Points{P(1, 2, 3), P(1, 2, 3)}));
  c.getCurveBegin(0.75, out);
  EXPECT_EQ(out, (Points{P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(2, 1, 0)}));
  c.getCurveEnd(0.75, out);
  EXPECT_EQ(out, (Points{P(2, 1, 0), P(2, 2, 0)}));
  c.getCurve(0.0, 1.0, out);
  EXPECT_EQ(out, lShape());
  c.getCurveBySvalues(out, {-0.25, 0.0, 0.375, 1.0, 1.25}, true);
  EXPECT_EQ(out, (Points{P(0, 0, 0), P(0, 0, 0), P(1.5f, 0, 0), P(2, 2, 0), P(2, 2, 0)}));
  c.getCurveBySvalues(out, {-0.25, 1.25}, false);
  EXPECT_EQ(out, (Points{P(-1, 0, 0), P(2, 3, 0)}));
  c.getCurveBySvalues(out, {}, true);
  EXPECT_TRUE(out.empty());
  const Points pts = cleanArc(23);
  const ParametricCurve arc(pts, ParametricCurve::curve2d);
  arc.getCurveForEquidistantS(out, 9);
  ASSERT_EQ(out.size(), 9u);
  EXPECT_EQ(std::make_pair(out.front(), out.back()), std::make_pair(pts.front(), pts.back()));
  for (std::size_t k = 1; k + 1 < out.size(); ++k) EXPECT_NEAR(out[k].length(), 3.0f, 1e-2f);
  arc.getCurveForEquidistantS(out, 1);
  EXPECT_EQ(out, Points{pts.front()});
  for (int n : {0, -3}) {
    arc.getCurveForEquidistantS(out, n);
    EXPECT_TRUE(out.empty());
  }
}

TEST(ParametricCurveCleanEnds, cutsToTheRangeAndKeepsListsEqualInLength) {
  using Lists = std::pair<Points, std::vector<double>>;
  auto cleaned = [](Lists in) {
    ParametricCurve().getCurveCleanEnds(in.first, in.second, 0.0, 1.0);
    return in;
  };
  EXPECT_EQ(cleaned({{P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(3, 0, 0), P(4, 0, 0)}, {-0.5, 0.5, 0.75, 1.0, 1.5}}),
            Lists({P(0.5f, 0, 0), P(1, 0, 0), P(2, 0, 0), P(3, 0, 0)}, {0.0, 0.5, 0.75, 1.0}));
  const Lists inside{{P(0, 0, 0), P(1, 0, 0)}, {0.2, 0.8}};
  EXPECT_EQ(cleaned(inside), inside);
  const Lists tiny = cleaned({{P(0, 0, 0), P(1, 0, 0), P(2, 0, 0)}, {-1e-9, 0.5, 1.0}});
  EXPECT_EQ(tiny.second.size(), tiny.first.size());
  EXPECT_EQ(std::make_pair(tiny.second.front(), tiny.second.back()), std::make_pair(0.0, 1.0));
  EXPECT_THROW(cleaned({{P(0, 0, 0)}, {0.0, 1.0}}), qor::data::invalid);
}

TEST(ParametricCurveEditing, expandBothEndsContinuesStraightAlongTheEnds) {
  ParametricCurve c(lShape(), ParametricCurve::curve2d);
  c.expandCurveBothEnds(0.05);
  const Points pts = pointsOf(c);
  ASSERT_EQ(pts.size(), 6u);
  EXPECT_NEAR(pts.front()[0], -0.2f, kFloatTol);
  EXPECT_NEAR(pts.back()[1], 2.2f, kFloatTol);
  EXPECT_EQ(std::make_pair(pts.front()[1], pts.back()[0]), std::make_pair(0.0f, 2.0f));
  EXPECT_NEAR(c.getLength(), 4.4, 1e-6);
  EXPECT_EQ(svaluesOf(c).back(), 1.0);
  Points ragged = lShape();  // a one-ulp end segment does not decide the direction
  ragged.push_back(P(std::nextafter(2.0f, 3.0f), 2.0f, 0.0f));
  ParametricCurve r(ragged, ParametricCurve::curve2d);
  r.expandCurveBothEnds(0.05);
  EXPECT_NEAR(pointsOf(r).back()[0], 2.0f, kFloatTol);
  EXPECT_GT(pointsOf(r).back()[1], 2.1f);
  ParametricCurve single({P(1, 1, 0)}, ParametricCurve::curve2d);
  single.expandCurveBothEnds(0.05);
  EXPECT_EQ(single.size(), 1u);
}

TEST(ParametricCurveEditing, eliminateDoublePointsRemovesNearRepeatsAndKeepsTheLast) {
  const Points nearRepeats{
      P(0, 0, 0), P(1, 0, 0), P(std::nextafter(1.0f, 2.0f), 0, 0), P(2, 0, 0), P(2, std::nextafter(2.0f, 0.0f), 0),
      P(2, 2, 0)};
  auto eliminated = [](const Points& in, int k) {
    ParametricCurve c(in, ParametricCurve::curve2d);
    c.eliminateDoublePoints(k);
    EXPECT_TRUE(c.size() == 1 || svaluesOf(c).back() == 1.0);
    return pointsOf(c);
  };
  EXPECT_EQ(eliminated(nearRepeats, 2), nearRepeats);  // k = 2 removes only exact repeats in float data
  // k = 9 drops one-ulp steps; a dropped last point replaces the one before.
  EXPECT_EQ(eliminated(nearRepeats, 9), lShape());
  const Points repeats{P(0, 0, 0), P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(2, 0, 0), P(2, 2, 0), P(2, 2, 0)};
  EXPECT_EQ(eliminated(repeats, 2), lShape());
  EXPECT_EQ(eliminated({P(3, 3, 3), P(3, 3, 3), P(3, 3, 3)}, 2), Points{P(3, 3, 3)});
  // Number lists (span values as float-representable doubles) with repeats and a near-repeat of the end.
  std::vector<double> values;
  for (int j = 0; j <= 20; ++j) values.push_back(double(float(j) * (1.0f / 20.0f)));
  std::vector<double> input = values, out;
  input.insert(input.begin() + 5, values[5]);
  input.insert(input.end() - 1, double(std::nextafter(1.0f, 0.0f)));
  ParametricCurve c;
  c.setPointsX(input);
  EXPECT_EQ(c.getLastPoint(), PD(1, 0, 0));
  c.getX(out);
  EXPECT_EQ(out, input);
  c.eliminateDoublePoints(10);
  c.getX(out);
  EXPECT_EQ(out, values);
}

TEST(ParametricCurveEditing, makeUniqueKeepsFirstOccurrencesAndMakeContinuousRemovesJumps) {
  ParametricCurve c(
      {P(0, 0, 0), P(1, 0, 0), P(-0.0f, 0, 0), P(2, 0, 0), P(1, 0, 0), P(kNaN, 0, 0), P(kNaN, 0, 0), P(1, 0, 1)},
      ParametricCurve::curve2d);
  c.makeUnique();
  const Points pts = pointsOf(c);
  ASSERT_EQ(pts.size(), 6u);
  EXPECT_EQ(Points(pts.begin(), pts.begin() + 3), (Points{P(0, 0, 0), P(1, 0, 0), P(2, 0, 0)}));
  EXPECT_TRUE(std::isnan(pts[3][0]));
  EXPECT_TRUE(std::isnan(pts[4][0]));
  EXPECT_EQ(pts[5], P(1, 0, 1));
  ParametricCurve jumps({P(0, 0, 0), P(2, 0, 0), P(1, 0, 0), P(3, 0, 0), P(4, 0.5f, 0)}, ParametricCurve::curve2d);
  jumps.makeContinuous();
  EXPECT_EQ(pointsOf(jumps), (Points{P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(3, 0, 0), P(4, 0.5f, 0)}));
  EXPECT_EQ(std::make_pair(svaluesOf(jumps).front(), svaluesOf(jumps).back()), std::make_pair(0.0, 1.0));
}

// A clean ordered curve (an arc, a staircase of uneven steps, caller parameters) passes the
// cleaning unchanged.
TEST(ParametricCurveEditing, cleanOrderedInputPassesThroughBitForBit) {
  Points walk{P(0, 0, 0)};
  for (int k = 1; k <= 80; ++k) walk.push_back(walk.back() + P(0.01f * float(k % 7 + 1), 0.013f * float(k % 5 + 1), 0));
  for (ParametricCurve c : {ParametricCurve(cleanArc(97), ParametricCurve::curve2d),
                            ParametricCurve(walk, ParametricCurve::curve2d),
                            ParametricCurve(lShape(), {-1e-9, 0.2, 0.7, 1.0}, ParametricCurve::curve2d)}) {
    const Points points = pointsOf(c);
    const std::vector<double> before = svaluesOf(c);
    c.makeUnique();
    c.eliminateDoublePoints(2);
    c.makeContinuous();
    EXPECT_EQ(pointsOf(c), points);
    EXPECT_EQ(svaluesOf(c), before);
  }
}

TEST(ParametricCurveFiles, exportWritesOneLinePerPointAndNamesAFileItCannotOpen) {
  qortest::ScopedTempDir dir;
  const ParametricCurve c({P(1.5f, -2, 0), P(0.1f, 3, 4)}, ParametricCurve::curve2d);
  c.exportToFile("curve.txt");
  std::ifstream in("curve.txt");
  Points read;
  for (float x, y, z; in >> x >> y >> z;) read.emplace_back(x, y, z);
  EXPECT_EQ(read, pointsOf(c));
  EXPECT_THROW(c.exportToFile("no/such/dir/curve.txt"), qor::data::error);
}
