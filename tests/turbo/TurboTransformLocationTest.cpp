// Point location in the background mesh: nearest node (quadtree and brute force) and the cells
// around it. The best cell, with and without the fast paths, and the list forms are checked in
// TurboTransformRankingTest.cpp.

#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::Built;
using qortest::P3;

// A linear mesh on the annulus A in [0, 2], R in [1, 2]: a uniform rectangular grid.
void buildAnnulus(Built& b, int size = 400) { qortest::build(b, qortest::annulus(), TurboTransform::linear, size); }

TEST(TurboTransformNearestNode, quadtreeAgreesWithBruteForceAndLowerIndexWinsTies) {
  Built m;
  buildAnnulus(m);
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> a(-1.0f, 3.0f), r(0.0f, 3.0f);
  for (int k = 0; k < 2000; ++k) {
    const P3 p(a(rng), r(rng), 0.0f);
    ASSERT_EQ(m.transform.getClosestIndex(p), m.transform.getClosestIndexBruteForce(p)) << "seed 42, point " << k;
  }
  // Halfway between node (0, 0) at A = 0 and node (1, 0) on the hub: halving is exact in float.
  const P3 p(m.node(1, 0)[0] * 0.5f, m.node(0, 0)[1], 0.0f);
  ASSERT_EQ(m.node(0, 0)[0], 0.0f);
  EXPECT_EQ(m.transform.getClosestIndexBruteForce(p), m.index(0, 0));
  EXPECT_EQ(m.transform.getClosestIndex(p), m.index(0, 0));
  qortest::ScopedEnv env("QOR_NO_QUADTREE", "1");
  Built brute;
  buildAnnulus(brute);
  EXPECT_EQ(brute.transform.getClosestIndex(p), m.index(0, 0));
}

TEST(TurboTransformCellsAroundNode, cornersEdgesAndInteriorGiveOneTwoOrFourCells) {
  Built m;
  buildAnnulus(m);
  const int I = m.ni - 1, J = m.nj - 1;
  const struct {
    int i, j;
    std::vector<std::pair<int, int>> cells;
  } cases[] = {{0, 0, {{0, 0}}},
               {0, J, {{0, J - 1}}},
               {I, 0, {{I - 1, 0}}},
               {I, J, {{I - 1, J - 1}}},
               {0, 2, {{0, 2}, {0, 1}}},
               {I, 2, {{I - 1, 2}, {I - 1, 1}}},
               {3, 0, {{3, 0}, {2, 0}}},
               {3, J, {{3, J - 1}, {2, J - 1}}},
               {3, 2, {{3, 2}, {3, 1}, {2, 2}, {2, 1}}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "node (" << c.i << ", " << c.j << ")");
    int cells[4][2];
    const int n = m.transform.findClosestElements(m.node(c.i, c.j), cells);
    ASSERT_EQ(n, static_cast<int>(c.cells.size()));
    for (int k = 0; k < n; ++k) EXPECT_EQ(std::make_pair(cells[k][0], cells[k][1]), c.cells[std::size_t(k)]);
  }
}

}  // namespace
