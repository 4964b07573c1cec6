// Point location in the background mesh: nearest node (quadtree and brute force), the cells around
// it, the choice of the best cell with the local coordinates of the point, and the equivalence of
// every result with and without QOR_NO_QUADTREE.

#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::Built;
using qortest::P3;

// Local coordinates of points exactly on a node or an edge come back snapped to 0 or 1; elsewhere
// the solve converges to about 1e-7 of a cell, and single precision rounds s and t.
constexpr float kLocalTol = 1e-5f;

struct Quad {
  int c[4];
  float s, t;
};

Quad bestQuad(const TurboTransform& tr, const P3& p) {
  Quad q{};
  return tr.getBestQuad(p, q.c[0], q.c[1], q.c[2], q.c[3], q.s, q.t), q;
}

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

TEST(TurboTransformBestQuad, nodesEdgesCornersAndPointsBeyondTheOutlet) {
  Built m;
  buildAnnulus(m);
  // An interior node is corner 0 of the first candidate, corners in the order (i,j), (i+1,j),
  // (i,j+1), (i+1,j+1).
  Quad q = bestQuad(m.transform, m.node(3, 2));
  EXPECT_EQ(std::vector<int>(q.c, q.c + 4),
            (std::vector<int>{m.index(3, 2), m.index(4, 2), m.index(3, 3), m.index(4, 3)}));
  EXPECT_EQ(q.s, 0.0f);
  EXPECT_EQ(q.t, 0.0f);
  // A quarter of the way from node (3, 2) to (4, 2): on the edge shared by cells (3, 2) and (3, 1),
  // both with score 0; (3, 2) comes first in the candidate list.
  const P3 a = m.node(3, 2), b = m.node(4, 2);
  q = bestQuad(m.transform, P3(a[0] + 0.25f * (b[0] - a[0]), a[1], 0.0f));
  EXPECT_EQ(q.c[0], m.index(3, 2));
  EXPECT_EQ(q.t, 0.0f);
  EXPECT_NEAR(q.s, 0.25f, kLocalTol);
  // Outside next to the corner node (0, 0): cell (0, 0) with negative s and t.
  q = bestQuad(m.transform, P3(-0.01f, 0.99f, 0.0f));
  EXPECT_EQ(q.c[0], m.index(0, 0));
  EXPECT_LT(q.s, 0.0f);
  EXPECT_LT(q.t, 0.0f);
  // A tenth of a cell beyond the outlet and a quarter of a cell above the j = 2 line.
  const int I = m.ni - 1;
  const P3 node = m.node(I, 2);
  const float da = node[0] - m.node(I - 1, 2)[0];
  q = bestQuad(m.transform, P3(node[0] + 0.1f * da, node[1] + 0.25f * (m.node(I, 3)[1] - node[1]), 0.0f));
  EXPECT_EQ(q.c[0], m.index(I - 1, 2));
  EXPECT_NEAR(q.s, 1.1f, kLocalTol);
  EXPECT_NEAR(q.t, 0.25f, kLocalTol);
}

TEST(TurboTransformBestQuad, interiorPointsLieInTheirCellAndAreReproducedByIt) {
  qortest::Bend geometry;
  Built m;
  qortest::build(m, qortest::bend(geometry), TurboTransform::linear, 600);
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> th(0.01, qortest::kPi / 2 - 0.01), rho(1.01, 1.49);
  for (int k = 0; k < 500; ++k) {
    const auto x = geometry.at(th(rng), rho(rng));
    const P3 p{float(x[0]), float(x[1]), 0.0f};
    const Quad q = bestQuad(m.transform, p);
    SCOPED_TRACE(testing::Message() << "seed 42, point " << k);
    EXPECT_GE(q.s, 0.0f);
    EXPECT_LE(q.s, 1.0f);
    EXPECT_GE(q.t, 0.0f);
    EXPECT_LE(q.t, 1.0f);
    // The cells are about 0.03 wide: 1e-5 of a cell in (s, t) is below 1e-6 in position.
    for (int c = 0; c < 2; ++c) {
      const auto& n = m.nodes;
      const float back = (1 - q.s) * (1 - q.t) * n[q.c[0]][c] + q.s * (1 - q.t) * n[q.c[1]][c] +
                         (1 - q.s) * q.t * n[q.c[2]][c] + q.s * q.t * n[q.c[3]][c];
      EXPECT_NEAR(back, p[c], 2e-6f);
    }
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
