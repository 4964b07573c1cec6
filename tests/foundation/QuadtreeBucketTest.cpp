#include <limits>

#include "support/Passages.h"

using qor::QuadtreeBucket;
using P = qor::TripletBase<float>;

namespace {

// The reference: a linear scan in float, the lowest index winning a tie (the highest with
// lastOnTie, which differs from the answer only on ties).
unsigned int bruteForceNearest(const std::vector<P>& points, const P& q, bool lastOnTie = false) {
  unsigned int best = 0;
  float bestD = std::numeric_limits<float>::infinity();
  for (std::size_t k = 0; k < points.size(); ++k) {
    const float dx = q[0] - points[k][0], dy = q[1] - points[k][1];
    const float d = dx * dx + dy * dy;
    if (d < bestD || (lastOnTie && d == bestD)) {
      bestD = d;
      best = static_cast<unsigned int>(k);
    }
  }
  return best;
}

void expectAgreesWithBruteForce(const std::vector<P>& points, const std::vector<P>& queries) {
  QuadtreeBucket tree;
  tree.construct(points);
  ASSERT_EQ(tree.size(), points.size());
  unsigned int previous = 0;
  for (std::size_t k = 0; k < queries.size(); ++k) {
    const unsigned int expected = bruteForceNearest(points, queries[k]);
    ASSERT_EQ(tree.findNearestPoint(queries[k]), expected) << "query " << k << " " << queries[k];
    ASSERT_EQ(tree.findNearestPoint(queries[k], previous), expected) << "hinted query " << k;
    ASSERT_EQ(tree.findNearestPoint(queries[k], unsigned(k * 7919u)), expected) << "any hint " << k;
    ASSERT_EQ(tree.findNearestPoint(queries[k], expected), expected) << "exact hint " << k;
    ASSERT_EQ(tree.findNearestPoint(queries[k], bruteForceNearest(points, queries[k], true)), expected)
        << "tied hint " << k;
    previous = expected;
  }
}

}  // namespace

TEST(QuadtreeBucket, agreesWithBruteForceOnRandomClusteredAndGridPointSets) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> coord(-1.0f, 1.0f), wide(-3.0f, 3.0f);
  {
    SCOPED_TRACE("random with duplicates, queries in, out and on nodes; coincident points (the depth cap "
                 "ends the splits), a cluster and far points");
    std::normal_distribution<float> cluster(0.0f, 1e-3f);
    std::vector<P> points, queries;
    for (int k = 0; k < 3000; ++k) points.emplace_back(coord(rng), 0.3f * coord(rng), coord(rng));
    for (int k = 0; k < 300; ++k) points.push_back(points[rng() % points.size()]);
    for (int k = 0; k < 1500; ++k) queries.emplace_back(wide(rng), wide(rng), 0.0f);
    for (int k = 0; k < 500; ++k) queries.push_back(points[rng() % points.size()]);
    points.insert(points.end(), 2000, P(0.5f, 0.5f, 0.0f));
    for (int k = 0; k < 2000; ++k) points.emplace_back(cluster(rng), cluster(rng), 0.0f);
    for (int k = 0; k < 50; ++k) points.emplace_back(1000.0f * k, -1e4f, 0.0f);
    points.emplace_back(std::nextafter(0.5f, 1.0f), 0.5f, 0.0f);
    queries.insert(queries.end(), {P(0.5f, 0.5f, 0.0f), P(0.5f, 0.5000001f, 0.0f), P(1e6f, 1e6f, 0.0f)});
    for (int k = 0; k < 500; ++k) queries.emplace_back(0.01f * coord(rng), 0.01f * coord(rng), 0.0f);
    expectAgreesWithBruteForce(points, queries);
  }
  {
    SCOPED_TRACE("regular grid: cell centres and edge midpoints are ties, (0.125, 0.25) of nodes 0, 1, 25, 26");
    std::vector<P> points, queries;
    for (int i = 0; i < 40; ++i)
      for (int j = 0; j < 25; ++j) points.emplace_back(0.25f * i, 0.5f * j, 0.0f);
    for (int i = -2; i < 82; ++i)
      for (int j = -2; j < 52; j += 3) queries.emplace_back(0.125f * i, 0.25f * j, 0.0f);
    expectAgreesWithBruteForce(points, queries);
  }
}

TEST(QuadtreeBucket, extremeCoordinatesAndNonFiniteValuesFollowTheScan) {
  const float big = std::numeric_limits<float>::max(), nan = std::nanf(""),
              inf = std::numeric_limits<float>::infinity();
  std::vector<P> points{P(nan, 0, 0), P(1, 1, 0), P(inf, 0, 0), P(-2, 3, 0), P(1e-30f, 0, 0),
                        P(0, 1e-30f, 0), P(1e30f, -1e30f, 0), P(3e38f, 0, 0)};
  std::vector<P> queries{P(0, 0, 0),      P(1, 1, 0),     P(big, 0, 0),       P(-big, big, 0), P(1e-40f, 0, 0),
                         P(0, 1e-41f, 0), P(2e38f, 1, 0), P(1e30f, -9e29f, 0), P(nan, 0, 0),    P(0, nan, 0),
                         P(inf, 0, 0)};
  expectAgreesWithBruteForce(points, queries);
  QuadtreeBucket allBad;
  allBad.construct({P(nan, nan, 0), P(inf, 0, 0)});
  EXPECT_EQ(allBad.size(), 2u);
  EXPECT_EQ(allBad.findNearestPoint(P(0, 0, 0)), 0u);
}

TEST(QuadtreeBucket, emptyTreeThrowsInvalidCopiesOwnTheirPointsAndConstructReplacesThem) {
  QuadtreeBucket tree;
  EXPECT_EQ(tree.size(), 0u);
  const auto e = qortest::captureError<qor::data::invalid>([&] { (void)tree.findNearestPoint(P(0, 0, 0)); });
  EXPECT_EQ(e.getClassName() + "::" + e.getFunctionName(), "QuadtreeBucket::findNearestPoint");
  tree.construct({});
  EXPECT_THROW((void)tree.findNearestPoint(P(0, 0, 0), 3u), qor::data::invalid);
  tree.construct({P(0, 0, 0), P(10, 0, 0)});
  QuadtreeBucket copy(tree);
  tree.construct({P(10, 0, 0), P(0, 0, 0), P(5, 5, 0)});
  EXPECT_EQ(copy.findNearestPoint(P(9, 0, 0)), 1u);
  EXPECT_EQ(tree.findNearestPoint(P(9, 0, 0)), 0u);
  EXPECT_EQ(tree.size(), 3u);
  copy = tree;
  EXPECT_EQ(copy.findNearestPoint(P(5, 4, 0)), 2u);
  // Only the first two components count.
  EXPECT_EQ(copy.findNearestPoint(P(0.1f, 0, 1000)), 1u);
}
