// Point location in the background mesh: nearest node (quadtree and brute force), the cells around
// it, and the choice of the best cell with the local coordinates of the point.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "qor/CoordTransform.h"
#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;

// Local coordinates of points that lie exactly on a node or an edge come back snapped to 0 or 1;
// elsewhere the solve converges to about 1e-7 of a cell, and single precision rounds s and t.
constexpr float kLocalTol = 1e-5f;

struct Mesh {
  TurboTransform transform;
  std::vector<P3> nodes;
  int ni = 0, nj = 0;
  int index(int i, int j) const { return i * nj + j; }
  P3 node(int i, int j) const { return nodes.at(static_cast<std::size_t>(index(i, j))); }
};

// A linear background mesh on the annulus A in [0, 2], R in [1, 2]: a uniform rectangular grid.
void buildAnnulus(Mesh& m, int size = 400) {
  qortest::initializeART(m.transform, qortest::annulus());
  m.transform.createBackgroundMesh(TurboTransform::linear, size);
  m.transform.getBackgroundMesh(m.nodes, m.ni, m.nj);
}

class ScopedNoQuadtree {
 public:
  ScopedNoQuadtree() { setenv("QOR_NO_QUADTREE", "1", 1); }
  ~ScopedNoQuadtree() { unsetenv("QOR_NO_QUADTREE"); }
};

struct Quad {
  int c[4];
  float s, t;
};

Quad bestQuad(const TurboTransform& tr, const P3& p) {
  Quad q{};
  tr.getBestQuad(p, q.c[0], q.c[1], q.c[2], q.c[3], q.s, q.t);
  return q;
}

P3 bilinearPoint(const Mesh& m, const Quad& q) {
  P3 out;
  for (int k = 0; k < 2; ++k) {
    out[k] = (1 - q.s) * (1 - q.t) * m.nodes[q.c[0]][k] + q.s * (1 - q.t) * m.nodes[q.c[1]][k] +
             (1 - q.s) * q.t * m.nodes[q.c[2]][k] + q.s * q.t * m.nodes[q.c[3]][k];
  }
  return out;
}

TEST(TurboTransformNearestNode, quadtreeAgreesWithBruteForceInsideAndOutside) {
  Mesh m;
  buildAnnulus(m);
  std::mt19937 rng(42);
  SCOPED_TRACE("seed 42");
  std::uniform_real_distribution<float> a(-1.0f, 3.0f), r(0.0f, 3.0f);
  for (int k = 0; k < 2000; ++k) {
    const P3 p(a(rng), r(rng), 0.0f);
    ASSERT_EQ(m.transform.getClosestIndex(p), m.transform.getClosestIndexBruteForce(p));
  }
}

TEST(TurboTransformNearestNode, equalDistancesGoToTheLowerIndexWithAndWithoutQuadtree) {
  Mesh m;
  buildAnnulus(m);
  // Halfway between node (0, 0) at A = 0 and node (1, 0) on the hub: halving is exact in float,
  // so both distances are equal.
  const P3 p(m.node(1, 0)[0] * 0.5f, m.node(0, 0)[1], 0.0f);
  ASSERT_EQ(m.node(0, 0)[0], 0.0f);
  ASSERT_EQ(m.node(1, 0)[1], m.node(0, 0)[1]);
  EXPECT_EQ(m.transform.getClosestIndexBruteForce(p), m.index(0, 0));
  EXPECT_EQ(m.transform.getClosestIndex(p), m.index(0, 0));
  ScopedNoQuadtree env;
  Mesh brute;
  buildAnnulus(brute);
  EXPECT_EQ(brute.transform.getClosestIndex(p), m.index(0, 0));
}

TEST(TurboTransformCellsAroundNode, cornersEdgesAndInteriorGiveOneTwoOrFourCells) {
  Mesh m;
  buildAnnulus(m);
  const int I = m.ni - 1, J = m.nj - 1;
  int cells[4][2];
  auto check = [&](int i, int j, std::vector<std::pair<int, int>> expected) {
    SCOPED_TRACE(testing::Message() << "node (" << i << ", " << j << ")");
    const int n = m.transform.findClosestElements(m.node(i, j), cells);
    ASSERT_EQ(n, static_cast<int>(expected.size()));
    for (int k = 0; k < n; ++k) {
      EXPECT_EQ(cells[k][0], expected[k].first);
      EXPECT_EQ(cells[k][1], expected[k].second);
    }
  };
  check(0, 0, {{0, 0}});
  check(0, J, {{0, J - 1}});
  check(I, 0, {{I - 1, 0}});
  check(I, J, {{I - 1, J - 1}});
  check(0, 2, {{0, 2}, {0, 1}});
  check(I, 2, {{I - 1, 2}, {I - 1, 1}});
  check(3, 0, {{3, 0}, {2, 0}});
  check(3, J, {{3, J - 1}, {2, J - 1}});
  check(3, 2, {{3, 2}, {3, 1}, {2, 2}, {2, 1}});
}

TEST(TurboTransformBestQuad, interiorNodeIsCornerZeroOfTheFirstCandidate) {
  Mesh m;
  buildAnnulus(m);
  const Quad q = bestQuad(m.transform, m.node(3, 2));
  EXPECT_EQ(q.c[0], m.index(3, 2));
  EXPECT_EQ(q.c[1], m.index(4, 2));
  EXPECT_EQ(q.c[2], m.index(3, 3));
  EXPECT_EQ(q.c[3], m.index(4, 3));
  EXPECT_EQ(q.s, 0.0f);
  EXPECT_EQ(q.t, 0.0f);
}

TEST(TurboTransformBestQuad, pointOnASharedEdgeGoesToTheEarlierCandidate) {
  Mesh m;
  buildAnnulus(m);
  // A quarter of the way from node (3, 2) to node (4, 2): on the edge between cells (3, 2) and
  // (3, 1), both of which hold it with score 0; (3, 2) comes first in the candidate list.
  const P3 a = m.node(3, 2), b = m.node(4, 2);
  const P3 p(a[0] + 0.25f * (b[0] - a[0]), a[1], 0.0f);
  ASSERT_EQ(m.transform.getClosestIndex(p), m.index(3, 2));
  const Quad q = bestQuad(m.transform, p);
  EXPECT_EQ(q.c[0], m.index(3, 2));
  EXPECT_EQ(q.t, 0.0f);
  EXPECT_NEAR(q.s, 0.25f, kLocalTol);
}

TEST(TurboTransformBestQuad, cornerNodeUsesCellZeroZero) {
  Mesh m;
  buildAnnulus(m);
  const P3 p(-0.01f, 0.99f, 0.0f);  // outside, next to node (0, 0)
  const Quad q = bestQuad(m.transform, p);
  EXPECT_EQ(q.c[0], m.index(0, 0));
  EXPECT_LT(q.s, 0.0f);
  EXPECT_LT(q.t, 0.0f);
}

TEST(TurboTransformBestQuad, pointBeyondTheOutletExtrapolatesWithSGreaterThanOne) {
  Mesh m;
  buildAnnulus(m);
  const int I = m.ni - 1;
  const P3 node = m.node(I, 2), before = m.node(I - 1, 2), above = m.node(I, 3);
  const float da = node[0] - before[0];
  // A tenth of a cell beyond the outlet and a quarter of a cell above the j = 2 line.
  const P3 p(node[0] + 0.1f * da, node[1] + 0.25f * (above[1] - node[1]), 0.0f);
  const Quad q = bestQuad(m.transform, p);
  EXPECT_EQ(q.c[0], m.index(I - 1, 2));
  EXPECT_NEAR(q.s, 1.1f, kLocalTol);
  EXPECT_NEAR(q.t, 0.25f, kLocalTol);
}

TEST(TurboTransformBestQuad, interiorPointsLieInTheirCellAndAreReproducedByIt) {
  qortest::Bend geometry;
  Mesh m;
  qortest::initializeART(m.transform, qortest::bend(geometry));
  m.transform.createBackgroundMesh(TurboTransform::linear, 600);
  m.transform.getBackgroundMesh(m.nodes, m.ni, m.nj);
  std::mt19937 rng(42);
  SCOPED_TRACE("seed 42");
  std::uniform_real_distribution<double> th(0.01, qortest::kPi / 2 - 0.01), rho(1.01, 1.49);
  for (int k = 0; k < 500; ++k) {
    const auto x = geometry.at(th(rng), rho(rng));
    const P3 p{float(x[0]), float(x[1]), 0.0f};
    const Quad q = bestQuad(m.transform, p);
    EXPECT_GE(q.s, 0.0f);
    EXPECT_LE(q.s, 1.0f);
    EXPECT_GE(q.t, 0.0f);
    EXPECT_LE(q.t, 1.0f);
    const P3 back = bilinearPoint(m, q);
    // The cells are about 0.03 wide: 1e-5 of a cell in (s, t) is below 1e-6 in position.
    EXPECT_NEAR(back[0], p[0], 2e-6f);
    EXPECT_NEAR(back[1], p[1], 2e-6f);
  }
}

TEST(TurboTransformBestQuad, listConversionsAgreeWithBruteForceOnNodesTiesAndFarPoints) {
  // Long lists use their own node search; it must give what the scan over all nodes gives, also
  // for points on nodes, halfway between nodes (equal distances) and far outside the passage.
  Mesh tree, brute;
  buildAnnulus(tree, 600);
  {
    ScopedNoQuadtree env;
    buildAnnulus(brute, 600);
  }
  std::vector<P3> pts(tree.nodes);
  // Midpoints of neighbouring nodes whose two float distances come out exactly equal.
  auto sq = [](const P3& p, const P3& q) {
    const float dx = p[0] - q[0], dy = p[1] - q[1];
    return dx * dx + dy * dy;
  };
  int ties = 0;
  for (int i = 0; i + 1 < tree.ni; ++i) {
    for (int j = 0; j + 1 < tree.nj; ++j) {
      for (const P3& b : {tree.node(i + 1, j), tree.node(i, j + 1), tree.node(i + 1, j + 1)}) {
        const P3 a = tree.node(i, j);
        const P3 mid(0.5f * (a[0] + b[0]), 0.5f * (a[1] + b[1]), 0.0f);
        if (sq(mid, a) != sq(mid, b)) continue;
        pts.push_back(mid);
        ++ties;
      }
    }
  }
  ASSERT_GT(ties, 50);
  std::mt19937 rng(42);
  SCOPED_TRACE("seed 42");
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  std::uniform_real_distribution<float> a(-0.5f, 2.5f), r(0.5f, 2.5f);
  for (int k = 0; k < 1000; ++k) pts.emplace_back(a(rng), r(rng), 0.0f);
  for (float far : {3.0f, 50.0f, 1e4f, 1e7f}) {
    for (int k = 0; k < 50; ++k) pts.emplace_back(far * unit(rng), far * unit(rng), 0.0f);
  }
  const qor::QORVector<TurboTransform::space> spaces = {TurboTransform::nm, TurboTransform::nspan};
  qor::QORVector<std::vector<float>> v1, v2;
  qor::QORVector<P3> s1, t1, s2, t2;
  tree.transform.convertARTtoSpace(qor::TripletQORVector(pts), spaces, v1, s1, t1, true);
  brute.transform.convertARTtoSpace(qor::TripletQORVector(pts), spaces, v2, s2, t2, true);
  for (std::size_t k = 0; k < pts.size(); ++k) {
    ASSERT_EQ(v1[0][k], v2[0][k]) << "point " << k;
    ASSERT_EQ(v1[1][k], v2[1][k]) << "point " << k;
    ASSERT_EQ(s1[k], s2[k]) << "point " << k;
  }
}

TEST(TurboTransformBestQuad, searchWithoutMeshThrowsNullPointer) {
  TurboTransform t;
  int c0, c1, c2, c3;
  float s, tt;
  EXPECT_THROW(t.getBestQuad(P3(0, 1, 0), c0, c1, c2, c3, s, tt), qor::internal::nullPointer);
  int cells[4][2];
  EXPECT_THROW(t.findClosestElements(P3(0, 1, 0), cells), qor::internal::nullPointer);
}

}  // namespace
