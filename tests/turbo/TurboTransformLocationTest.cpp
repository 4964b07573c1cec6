// Point location in the background mesh: nearest node (quadtree and brute force), the cells around
// it, and the equivalence of every result with and without QOR_NO_QUADTREE. The best cell and its
// local coordinates are checked bit for bit in TurboTransformRankingTest.cpp.

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

TEST(TurboTransformQuadtree, everyConversionIsIdenticalWithoutTheQuadtree) {
  // Long lists use their own node search; it must give what the scan over all nodes gives, also
  // for points on nodes, halfway between nodes (equal distances) and far outside the passage.
  Built tree, brute;
  buildAnnulus(tree, 600);
  {
    qortest::ScopedEnv env("QOR_NO_QUADTREE", "1");
    buildAnnulus(brute, 600);
  }
  std::vector<P3> pts(tree.nodes);
  auto sq = [](const P3& p, const P3& q) { return (p[0] - q[0]) * (p[0] - q[0]) + (p[1] - q[1]) * (p[1] - q[1]); };
  int ties = 0;
  for (int i = 0; i + 1 < tree.ni; ++i) {
    for (int j = 0; j + 1 < tree.nj; ++j) {
      for (const P3& b : {tree.node(i + 1, j), tree.node(i, j + 1), tree.node(i + 1, j + 1)}) {
        const P3 a = tree.node(i, j), mid(0.5f * (a[0] + b[0]), 0.5f * (a[1] + b[1]), 0.0f);
        if (sq(mid, a) != sq(mid, b)) continue;  // only exactly equal float distances
        pts.push_back(mid);
        ++ties;
      }
    }
  }
  ASSERT_GT(ties, 50);
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f), a(-0.5f, 2.5f), r(0.5f, 2.5f);
  for (int k = 0; k < 1000; ++k) pts.emplace_back(a(rng), r(rng), 0.0f);
  for (float far : {3.0f, 50.0f, 1e4f, 1e7f}) {
    for (int k = 0; k < 50; ++k) pts.emplace_back(far * unit(rng), far * unit(rng), 0.0f);
  }
  qor::QORVector<std::vector<float>> v1, v2;
  qor::QORVector<P3> s1, t1, s2, t2;
  tree.transform.convertARTtoSpace(qor::TripletQORVector(pts), qortest::allSpaces(), v1, s1, t1, true);
  brute.transform.convertARTtoSpace(qor::TripletQORVector(pts), qortest::allSpaces(), v2, s2, t2, true);
  EXPECT_EQ(v1, v2);
  EXPECT_EQ(s1, s2);
  EXPECT_EQ(t1, t2);
  for (std::size_t k = 0; k < pts.size(); k += 17) {
    ASSERT_EQ(tree.transform.convertARTtoSpace(TurboTransform::nm, pts[k]),
              brute.transform.convertARTtoSpace(TurboTransform::nm, pts[k]))
        << "point " << k;
  }
}

}  // namespace
