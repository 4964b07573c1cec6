#include <array>
#include <cfloat>
#include <limits>

#include "support/Passages.h"

using qor::NumericalUtils;

namespace {

constexpr float kMaxFloat = std::numeric_limits<float>::max();
// Accuracy of the iterative solve in local coordinates (its residual relative to the cell size).
constexpr double kStTolerance = 1e-5;

struct Quad {
  std::array<float, 4> x, y;
  float size = 1.0f;  // the scale of the cell
};

struct Solve {
  float s = -7.0f, t = -7.0f;
  bool unreliable = true, inside = false, unusable = true;
};

Solve solve(const Quad& q, float px, float py, float tol1 = 0.01f, int iterations = 50) {
  Solve r;
  NumericalUtils::searchForSTinQuad(r.s, r.t, px, py, q.x[0], q.y[0], q.x[1], q.y[1], q.x[2], q.y[2], q.x[3],
                                    q.y[3], r.unreliable, r.inside, r.unusable, iterations, tol1, 0.00001f);
  return r;
}

}  // namespace

TEST(NumericalUtilsSpacing, isTheGapToTheNextValueSymmetricInSignAndNaNForNonFinite) {
  using N = NumericalUtils;
  // The invalid mark (the largest float) has the finite spacing below it.
  EXPECT_EQ((std::vector<float>{N::spacing(1.0f), N::spacing(-1.0f), N::spacing(0.0f), N::spacing(kMaxFloat)}),
            (std::vector<float>{FLT_EPSILON, FLT_EPSILON, std::numeric_limits<float>::denorm_min(),
                                std::ldexp(1.0f, 104)}));
  EXPECT_EQ((std::vector<double>{N::spacing(1.0), N::spacing(0.5), N::spacing(0.0)}),
            (std::vector<double>{DBL_EPSILON, DBL_EPSILON / 2, std::numeric_limits<double>::denorm_min()}));
  for (double x : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_TRUE(std::isnan(N::spacing(x)) && std::isnan(N::spacing(float(x)))) << x;
  }
}

TEST(NumericalUtilsBilinear, cornersGiveTheirValuesExactly) {
  const float w[4] = {1.25f, -3.5f, 7.0f, 0.1f};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(NumericalUtils::calculateValueInQuadFromST(float(k % 2), float(k / 2), w[0], w[1], w[2], w[3]), w[k]);
    EXPECT_EQ(NumericalUtils::calculateValueInQuadFromSTD(k % 2, k / 2, w[0], w[1], w[2], w[3]), double(w[k]));
  }
}

// Points mapped from local coordinates in [0, 1] (seed 42) and in [-1, 2] (seed 7), far from the
// origin; solve() starts from wrong flags and s, t, so every flag must be set by each call. The
// solution maps back onto the point, and the inside flag follows from it with the margin.
TEST(NumericalUtilsSearch, solvesInsideAndOutsideConvexCellsAndFlagsPointsWithinTheMargin) {
  for (const bool inCell : {true, false}) {
    std::mt19937 rng(inCell ? 42 : 7);
    std::uniform_real_distribution<float> local(inCell ? 0.0f : -1.0f, inCell ? 1.0f : 2.0f);
    std::uniform_real_distribution<float> jitter(-0.2f, 0.2f), scale(0.01f, 100.0f), shift(-500.0f, 500.0f);
    int outside = 0;
    for (int n = 0; n < 500; ++n) {
      SCOPED_TRACE(testing::Message() << (inCell ? "inside " : "outside ") << n);
      // A perturbed unit square, scaled and moved: always convex for perturbations below 0.25.
      Quad q;
      q.size = scale(rng);
      const float ox = shift(rng), oy = shift(rng);
      for (int k = 0; k < 4; ++k) {
        q.x[k] = ox + q.size * (float(k % 2) + jitter(rng));
        q.y[k] = oy + q.size * (float(k / 2) + jitter(rng));
      }
      const float us = local(rng), ut = local(rng);
      const float px = NumericalUtils::calculateValueInQuadFromST(us, ut, q.x[0], q.x[1], q.x[2], q.x[3]);
      const float py = NumericalUtils::calculateValueInQuadFromST(us, ut, q.y[0], q.y[1], q.y[2], q.y[3]);
      const Solve r = solve(q, px, py);
      ASSERT_FALSE(r.unusable);
      EXPECT_FALSE(r.unreliable);
      const double x = NumericalUtils::calculateValueInQuadFromSTD(r.s, r.t, q.x[0], q.x[1], q.x[2], q.x[3]);
      const double y = NumericalUtils::calculateValueInQuadFromSTD(r.s, r.t, q.y[0], q.y[1], q.y[2], q.y[3]);
      EXPECT_LE(std::hypot(x - px, y - py), kStTolerance * q.size) << r.s << " " << r.t;
      const bool expectInside = r.s >= -0.01f && r.s <= 1.01f && r.t >= -0.01f && r.t <= 1.01f;
      EXPECT_TRUE(r.inside || !inCell);
      EXPECT_EQ(r.inside, expectInside) << r.s << " " << r.t;
      if (!expectInside) ++outside;
    }
    EXPECT_GT(outside, inCell ? -1 : 100);
  }
}

TEST(NumericalUtilsSearch, edgesAndCornersGiveExactZeroOrOneAndTheInsideFlagUsesTheMargin) {
  const Quad q{{0.1f, 1.3f, 0.0f, 1.1f}, {0.2f, 0.0f, 0.9f, 1.4f}};
  for (int k = 0; k < 4; ++k) {
    SCOPED_TRACE(k);
    const Solve r = solve(q, q.x[k], q.y[k]);
    EXPECT_EQ(std::make_pair(r.s, r.t), std::make_pair(float(k % 2), float(k / 2)));
    EXPECT_TRUE(r.inside && !r.unreliable);
  }
  // Midpoints of the edges (i,j)-(i,j+1) and (i,j)-(i+1,j) computed in float.
  const Solve west = solve(q, 0.05f, 0.55f), south = solve(q, 0.7f, 0.1f);
  EXPECT_EQ(west.s, 0.0f);
  EXPECT_NEAR(west.t, 0.5f, kStTolerance);
  EXPECT_EQ(south.t, 0.0f);
  EXPECT_NEAR(south.s, 0.5f, kStTolerance);
  // The inside flag allows the margin tolerance on every side.
  const Quad unit{{0, 1, 0, 1}, {0, 0, 1, 1}};
  EXPECT_TRUE(solve(unit, -0.005f, 0.5f).inside);
  EXPECT_TRUE(solve(unit, 0.5f, 1.005f).inside);
  EXPECT_FALSE(solve(unit, -0.02f, 0.5f).inside);
  EXPECT_TRUE(solve(unit, -0.02f, 0.5f, 1.0f).inside);
  EXPECT_FALSE(solve(unit, 2.5f, 0.5f, 1.0f).inside);
  const Solve exact = solve(unit, 0.25f, 0.75f);
  EXPECT_EQ(std::make_pair(exact.s, exact.t), std::make_pair(0.25f, 0.75f));
  const Solve far = solve(unit, 2.5f, -1.5f);
  EXPECT_FLOAT_EQ(far.s, 2.5f);
  EXPECT_FLOAT_EQ(far.t, -1.5f);
  EXPECT_FALSE(far.unusable);
}

TEST(NumericalUtilsSearch, degenerateCellsAndNaNAreUnusableAndTooFewIterationsUnreliable) {
  const Quad unit{{0, 1, 0, 1}, {0, 0, 1, 1}};
  const struct {
    Quad q;
    float x, y;
  } cases[] = {{{{1, 1, 1, 1}, {2, 2, 2, 2}}, 1.0f, 2.0f},  // a point
               {{{0, 1, 0, 1}, {0, 0, 0, 0}}, 0.5f, 0.5f},  // a line
               {unit, std::nanf(""), 0.5f}};
  for (const auto& c : cases) {
    const Solve r = solve(c.q, c.x, c.y);
    EXPECT_TRUE(r.unusable && !r.inside && std::isfinite(r.s));
  }
  const Solve r = solve(unit, kMaxFloat, 0.5f);
  EXPECT_FALSE(r.inside);
  EXPECT_TRUE(r.unusable || r.unreliable);
  // Too few iterations: the point lies in the cell, but an unfinished iterate is not a solution.
  const Quad skew{{0, 1, 0, 3}, {0, 0, 1, 2}};
  for (const int iterations : {1, 50}) {
    const Solve q = solve(skew, 1.4f, 0.9f, 0.01f, iterations);
    EXPECT_EQ(std::make_tuple(q.unreliable, q.inside, q.unusable),
              std::make_tuple(iterations == 1, iterations != 1, false));
  }
}
