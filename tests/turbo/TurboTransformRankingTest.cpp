// The best mesh cell for a point, bit for bit against a plain reading of the ranking: every candidate
// cell around the nearest node is solved (directly, then retried with the point pulled onto a circle
// around the cell centre), ranked by its flags and its distance outside the cell, and the best taken.
// The list conversions, with a search of their own, must give the single-point values.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>

#include "support/Passages.h"

namespace {

using qor::NumericalUtils;
using qor::TurboTransform;
using qortest::Built;
using qortest::P3;

constexpr float kFloatMax = std::numeric_limits<float>::max();

struct Quad {
  int c[4] = {0, 0, 0, 0};
  float s = 0.0f, t = 0.0f;
};

// Cell (i, j) with its corners in the order (i, j), (i + 1, j), (i, j + 1), (i + 1, j + 1).
Quad cellAt(const Built& m, int i, int j) {
  Quad q;
  for (int k = 0; k < 4; ++k) q.c[k] = m.index(i + k % 2, j + k / 2);
  return q;
}

// What the reference met on the way, to show that the points reach every branch of the ranking.
struct Paths {
  int direct = 0;       // a direct solve accepted as it stands
  int retryLarge = 0;   // retries on the circle through the farthest corner
  int retrySmall = 0;   // retries on the circle through the nearest corner
  int secondRank = 0;   // results taken from a second-rank cell
  int tiedFirst = 0;    // a later first-rank cell with exactly the best score (the earlier wins)
  int laterChosen = 0;  // results taken from a cell other than the first candidate
};

// Squared planar distance, summed in double and rounded once as the triplet lengths are; a
// component at or beyond the largest float gives the largest float.
float squaredPlanar(float dx, float dy) {
  if (std::fabs(dx) >= kFloatMax || std::fabs(dy) >= kFloatMax) return kFloatMax;
  return static_cast<float>(double(dx) * dx + double(dy) * dy);
}

float planarLength(const P3& from, const P3& to) {
  const float sq = squaredPlanar(to[0] - from[0], to[1] - from[1]);
  return sq == kFloatMax ? kFloatMax : std::sqrt(sq);
}

bool realSize(float radius) { return 1000.0f * NumericalUtils::spacing(radius) < radius; }

float outside(float v) {
  if (v < 0.0f) return -v;
  if (v > 1.0f) return v - 1.0f;
  return 0.0f;
}

struct Candidate {
  Quad quad;
  bool flag1 = false, flag2 = false, flag3 = false;
  float score = 0.0f;
};

// One candidate cell: the direct solve, the retries when it does not stand, and the score.
void solveCell(const Built& m, const P3& p, int i, int j, Candidate& out, Paths& paths) {
  Quad& q = out.quad = cellAt(m, i, j);
  const P3 &a = m.nodes[std::size_t(q.c[0])], &b = m.nodes[std::size_t(q.c[1])],
           &c = m.nodes[std::size_t(q.c[2])], &d = m.nodes[std::size_t(q.c[3])];
  bool &flag1 = out.flag1, &flag2 = out.flag2, &flag3 = out.flag3;
  flag1 = flag2 = flag3 = false;
  NumericalUtils::searchForSTinQuad(q.s, q.t, p[0], p[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0], d[1], flag1,
                                    flag2, flag3, 50, 0.01f, 0.00001f);
  if (!flag1 && flag2) {
    ++paths.direct;
  } else {
    const P3 centre = (a + b + c + d) * 0.25;
    float largest = 0.0f, smallest = 0.0f;
    bool first = true;
    for (const P3* corner : {&a, &b, &c, &d}) {
      const float sq = squaredPlanar((*corner)[0] - centre[0], (*corner)[1] - centre[1]);
      if (first || sq > largest) largest = sq;
      if (first || sq < smallest) smallest = sq;
      first = false;
    }
    const float bigRadius = std::sqrt(largest);
    const P3 offset(p[0] - centre[0], p[1] - centre[1], 0.0f);
    const float distance = offset.length();
    // The point pulled onto the circle of the given radius, solved there and mapped back.
    auto retry = [&](float radius) {
      const float f = radius / distance;
      const P3 pulled = centre + offset * f;
      NumericalUtils::searchForSTinQuad(q.s, q.t, pulled[0], pulled[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0],
                                        d[1], flag1, flag2, flag3, 50, 1.0f, 0.00001f);
      q.s = (q.s - 0.5f) / f + 0.5f;
      q.t = (q.t - 0.5f) / f + 0.5f;
    };
    // A degenerate cell, or a point exactly at the centre (no circle to pull it onto), keeps the
    // direct solve.
    if (realSize(bigRadius) && distance != 0.0f) {
      retry(bigRadius);
      ++paths.retryLarge;
      const float smallRadius = std::sqrt(smallest);
      if (!flag2 && realSize(smallRadius)) {
        retry(smallRadius);
        ++paths.retrySmall;
      }
    }
  }
  const float li = 0.5f * (planarLength(a, b) + planarLength(c, d));
  const float lj = 0.5f * (planarLength(a, c) + planarLength(b, d));
  out.score = outside(q.s) * li + outside(q.t) * lj;
}

// The best cell for p: all candidates solved, first rank before second rank, the smallest score,
// the earlier candidate on a tie.
Quad referenceBestQuad(const Built& m, const P3& p, Paths& paths, bool laterWinsTies) {
  int cells[4][2];
  const int count = m.transform.findClosestElements(p, cells);
  Candidate candidate[4];
  for (int n = 0; n < count; ++n) solveCell(m, p, cells[n][0], cells[n][1], candidate[n], paths);

  auto better = [laterWinsTies](float score, float best) { return laterWinsTies ? score <= best : score < best; };
  int bestFirst = -1, bestSecond = -1;
  for (int n = 0; n < count; ++n) {
    const Candidate& c = candidate[n];
    if (c.flag2) {
      if (bestFirst >= 0 && c.score == candidate[bestFirst].score) ++paths.tiedFirst;
      if (bestFirst < 0 || better(c.score, candidate[bestFirst].score)) bestFirst = n;
    } else if (!c.flag3) {
      if (bestSecond < 0 || better(c.score, candidate[bestSecond].score)) bestSecond = n;
    }
  }
  if (bestFirst >= 0) {
    if (bestFirst > 0) ++paths.laterChosen;
    return candidate[bestFirst].quad;
  }
  if (bestSecond >= 0) {
    ++paths.secondRank;
    if (bestSecond > 0) ++paths.laterChosen;
    return candidate[bestSecond].quad;
  }
  return cellAt(m, cells[0][0], cells[0][1]);
}

std::uint32_t bits(float v) {
  std::uint32_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

// A float in full: shortest round-trip decimal and hexadecimal.
std::string exact(float v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g (%a)", double(v), double(v));
  return text;
}

std::string describe(const P3& p) { return "(" + exact(p[0]) + ", " + exact(p[1]) + ")"; }

// The point at local coordinates (s, t) of cell (i, j), bilinear in double.
P3 inCell(const Built& m, int i, int j, double s, double t) {
  double x[2];
  for (int c = 0; c < 2; ++c) {
    x[c] = (1 - s) * (1 - t) * m.node(i, j)[c] + s * (1 - t) * m.node(i + 1, j)[c] + (1 - s) * t * m.node(i, j + 1)[c] +
           s * t * m.node(i + 1, j + 1)[c];
  }
  return P3(float(x[0]), float(x[1]), 0.0f);
}

// Offsets from an edge along its normal, as fractions of the edge length.
constexpr double kOffsets[] = {1e-7, 1e-6, 1e-4, 1e-3, 1e-2, 0.1};

// The point at fraction u from node a to node b, pushed along the edge normal by each offset, to
// either side, and the point on the edge itself. Halfway points are formed in float as the mean of
// the two nodes, so that on a uniform grid they are exactly equidistant from both.
void addAroundEdge(const P3& a, const P3& b, double u, std::vector<P3>& out) {
  P3 on;
  if (u == 0.5) {
    on = P3(0.5f * (a[0] + b[0]), 0.5f * (a[1] + b[1]), 0.0f);
  } else {
    on = P3(float(a[0] + u * (double(b[0]) - a[0])), float(a[1] + u * (double(b[1]) - a[1])), 0.0f);
  }
  out.push_back(on);
  const double ex = double(b[0]) - a[0], ey = double(b[1]) - a[1];
  const double length = std::hypot(ex, ey);
  const double nx = -ey / length, ny = ex / length;
  for (double f : kOffsets) {
    for (double side : {-1.0, 1.0}) {
      const double h = side * f * length;
      out.emplace_back(float(on[0] + h * nx), float(on[1] + h * ny), 0.0f);
    }
  }
}

// Points in, on and around the mesh of m; `seed` fixes the random choices.
std::vector<P3> pointsFor(const Built& m, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const int I = m.ni - 1, J = m.nj - 1;
  std::vector<P3> out;

  // Random points inside random cells (bilinear in the cell).
  std::uniform_int_distribution<int> ci(0, I - 1), cj(0, J - 1);
  for (int k = 0; k < 800; ++k) {
    const int i = ci(rng), j = cj(rng);
    const double s = unit(rng), t = unit(rng);
    out.push_back(inCell(m, i, j, s, t));
  }

  // Every kind of edge: interior lines of constant j and of constant i, hub, shroud, inlet and
  // outlet; at a node (u = 0, which also covers interior, boundary and corner nodes), halfway and at
  // a random fraction.
  std::uniform_int_distribution<int> iInner(1, std::max(1, I - 1)), jInner(1, std::max(1, J - 1));
  std::uniform_int_distribution<int> iAny(0, I - 1), jAny(0, J - 1);
  auto alongI = [&](int i, int j) { return std::make_pair(m.node(i, j), m.node(i + 1, j)); };
  auto alongJ = [&](int i, int j) { return std::make_pair(m.node(i, j), m.node(i, j + 1)); };
  for (int k = 0; k < 12; ++k) {
    const std::pair<P3, P3> edges[] = {alongI(iAny(rng), jInner(rng)), alongJ(iInner(rng), jAny(rng)),
                                       alongI(iAny(rng), 0),           alongI(iAny(rng), J),
                                       alongJ(0, jAny(rng)),           alongJ(I, jAny(rng))};
    for (const auto& e : edges) {
      for (double u : {0.0, 0.5, unit(rng)}) addAroundEdge(e.first, e.second, u, out);
    }
  }
  // The four corners, along both boundary edges that meet there, from either end.
  for (const auto& e : {alongI(0, 0), alongJ(0, 0), alongI(I - 1, 0), alongJ(I, 0), alongI(0, J), alongJ(0, J - 1),
                        alongI(I - 1, J), alongJ(I, J - 1)}) {
    addAroundEdge(e.first, e.second, 0.0, out);
    addAroundEdge(e.second, e.first, 0.0, out);
  }

  // Just outside the boundary: from boundary nodes away from the mesh, along the mesh line that
  // ends there, by fractions of the adjacent cell.
  auto beyond = [&](const P3& node, const P3& inner, std::initializer_list<double> fractions) {
    for (double f : fractions) {
      out.emplace_back(float(node[0] + f * (double(node[0]) - inner[0])),
                       float(node[1] + f * (double(node[1]) - inner[1])), 0.0f);
    }
  };
  const auto near = {1e-6, 1e-3, 0.05, 0.5, 2.0};
  for (int k = 0; k < 10; ++k) {
    const int j = jAny(rng) + (k % 2), i = iAny(rng) + (k % 2);
    beyond(m.node(0, j), m.node(1, j), near);      // inlet
    beyond(m.node(I, j), m.node(I - 1, j), near);  // outlet
    beyond(m.node(i, 0), m.node(i, 1), near);      // hub
    beyond(m.node(i, J), m.node(i, J - 1), near);  // shroud
  }
  // Near the corners, along the diagonal of the corner cell and around it.
  const int cornerNodes[4][4] = {{0, 0, 1, 1}, {I, 0, I - 1, 1}, {0, J, 1, J - 1}, {I, J, I - 1, J - 1}};
  for (const auto& c : cornerNodes) {
    const P3 node = m.node(c[0], c[1]);
    beyond(node, m.node(c[2], c[3]), near);
    const double h = qortest::meridionalDistance(node, m.node(c[2], c[3]));
    for (int k = 0; k < 16; ++k) {
      const double angle = 2 * qortest::kPi * k / 16, r = h * (k % 2 ? 0.3 : 1.5);
      out.emplace_back(float(node[0] + r * std::cos(angle)), float(node[1] + r * std::sin(angle)), 0.0f);
    }
  }

  // Far outside: ten passage sizes from the middle of the mesh, all around.
  double lo[2] = {1e300, 1e300}, hi[2] = {-1e300, -1e300};
  for (const P3& n : m.nodes) {
    for (int c = 0; c < 2; ++c) {
      lo[c] = std::min(lo[c], double(n[c]));
      hi[c] = std::max(hi[c], double(n[c]));
    }
  }
  const double size = std::max(hi[0] - lo[0], hi[1] - lo[1]);
  for (int k = 0; k < 64; ++k) {
    const double angle = 2 * qortest::kPi * unit(rng), r = 10.0 * size * (0.5 + unit(rng));
    out.emplace_back(float(0.5 * (lo[0] + hi[0]) + r * std::cos(angle)),
                     float(0.5 * (lo[1] + hi[1]) + r * std::sin(angle)), 0.0f);
  }
  return out;
}

// getBestQuad against the reference for every point; the first few differences are reported in
// full. Returns what the reference met.
Paths expectRankingMatches(const Built& m, const std::vector<P3>& points, unsigned seed, bool laterWinsTies = false) {
  Paths paths;
  int mismatches = 0;
  for (std::size_t k = 0; k < points.size(); ++k) {
    const P3& p = points[k];
    const Quad want = referenceBestQuad(m, p, paths, laterWinsTies);
    Quad got;
    m.transform.getBestQuad(p, got.c[0], got.c[1], got.c[2], got.c[3], got.s, got.t);
    if (std::equal(got.c, got.c + 4, want.c) && bits(got.s) == bits(want.s) && bits(got.t) == bits(want.t)) continue;
    if (++mismatches > 5) continue;
    SCOPED_TRACE(testing::Message() << m.passage.name << ", seed " << seed << ", point " << k << " " << describe(p));
    for (int c = 0; c < 4; ++c) EXPECT_EQ(got.c[c], want.c[c]) << "corner " << c;
    EXPECT_EQ(bits(got.s), bits(want.s)) << "s: library " << exact(got.s) << ", reference " << exact(want.s);
    EXPECT_EQ(bits(got.t), bits(want.t)) << "t: library " << exact(got.t) << ", reference " << exact(want.t);
  }
  EXPECT_EQ(mismatches, 0) << m.passage.name << ", seed " << seed << ": points whose best cell differs, of "
                           << points.size();
  return paths;
}

// The list conversion of three spaces at once against the single-point conversion of each, for the
// points in the given order and shuffled (the list search starts from the previous point's node).
void expectListMatchesSinglePoints(const Built& m, std::vector<P3> points, unsigned seed) {
  const qor::QORVector<TurboTransform::space> spaces = {TurboTransform::nm, TurboTransform::nspan,
                                                        TurboTransform::mprime};
  std::mt19937 rng(seed);
  for (int pass = 0; pass < 2; ++pass) {
    if (pass == 1) std::shuffle(points.begin(), points.end(), rng);
    qor::QORVector<std::vector<float>> values;
    m.transform.convertARTtoSpace(qor::TripletQORVector(points), spaces, values);
    ASSERT_EQ(values.size(), spaces.size());
    int mismatches = 0;
    for (std::size_t q = 0; q < spaces.size(); ++q) {
      ASSERT_EQ(values[q].size(), points.size());
      for (std::size_t k = 0; k < points.size(); ++k) {
        const float single = m.transform.convertARTtoSpace(spaces[q], points[k]);
        if (bits(values[q][k]) == bits(single)) continue;
        if (++mismatches > 5) continue;
        ADD_FAILURE() << m.passage.name << ", seed " << seed << (pass ? ", shuffled" : "") << ", space " << spaces[q]
                      << ", point " << k << " " << describe(points[k]) << ": list " << exact(values[q][k])
                      << ", single " << exact(single);
      }
    }
    EXPECT_EQ(mismatches, 0) << m.passage.name << ", seed " << seed << (pass ? ", shuffled" : "");
  }
}

// A list that runs through the mesh cell by cell, as the nodes of a structured flow mesh do:
// eight points per cell (corners, mid-edges and random ones), for the first 600 cells in i-major
// order. Long enough for the list conversion to judge it ordered.
std::vector<P3> walkThrough(const Built& m, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<P3> out;
  int cells = 0;
  for (int i = 0; i + 1 < m.ni && cells < 600; ++i) {
    for (int j = 0; j + 1 < m.nj && cells < 600; ++j, ++cells) {
      const double st[8][2] = {{0, 0}, {0.5, 0}, {0, 0.5}, {0.5, 0.5}, {1, 0.5},
                               {unit(rng), unit(rng)}, {unit(rng), unit(rng)}, {unit(rng), 1}};
      for (const auto& f : st) out.push_back(inCell(m, i, j, f[0], f[1]));
    }
  }
  return out;
}

void expectAllPathsMet(const Paths& p, const std::string& name) {
  SCOPED_TRACE(name);
  EXPECT_GT(p.direct, 0);
  EXPECT_GT(p.retryLarge, 0);
  EXPECT_GT(p.laterChosen, 0);
}

void checkMesh(const Built& m, unsigned seed, Paths* met = nullptr) {
  const std::vector<P3> points = pointsFor(m, seed);
  const Paths paths = expectRankingMatches(m, points, seed);
  expectAllPathsMet(paths, m.passage.name);
  expectListMatchesSinglePoints(m, points, seed);
  const std::vector<P3> walk = walkThrough(m, seed);
  ASSERT_GE(walk.size(), 4096u);
  expectListMatchesSinglePoints(m, walk, seed);
  if (met != nullptr) *met = paths;
}

TEST(TurboTransformRanking, matchesTheFullRankingOnTheBendWithLinearAndSmoothedMeshes) {
  for (const auto method : {TurboTransform::linear, TurboTransform::nonLinear}) {
    Built m;
    qortest::build(m, qortest::bend(), method, 600);
    m.passage.name = method == TurboTransform::linear ? "bend, linear mesh" : "bend, smoothed mesh";
    checkMesh(m, method == TurboTransform::linear ? 42 : 43);
  }
}

TEST(TurboTransformRanking, matchesTheFullRankingOnTheUniformAnnulusWithExactTies) {
  Built m;
  qortest::build(m, qortest::annulus(), TurboTransform::linear, 600);
  Paths paths;
  checkMesh(m, 44, &paths);
  // Points on edges shared by two cells are solved with score 0 in both: the earlier wins.
  EXPECT_GT(paths.tiedFirst, 100);
  // The tie rule decides there: letting the later of two equal scores win changes the cell.
  int changed = 0;
  const std::vector<P3> points = pointsFor(m, 44);
  Paths ignored;
  for (const P3& p : points) {
    const Quad earlier = referenceBestQuad(m, p, ignored, false);
    const Quad later = referenceBestQuad(m, p, ignored, true);
    if (!std::equal(earlier.c, earlier.c + 4, later.c)) ++changed;
  }
  EXPECT_GT(changed, 100);
}

TEST(TurboTransformRanking, matchesTheFullRankingOnALargeMeshWhoseListsAreReordered) {
  // Above 32768 nodes, unordered lists of 4096 points or more are converted in an order of their own.
  Built m;
  qortest::build(m, qortest::bend(), TurboTransform::linear, 40000);
  ASSERT_GT(m.nodes.size(), 32768u);
  ASSERT_GE(pointsFor(m, 47).size(), 4096u);
  m.passage.name = "bend, large linear mesh";
  checkMesh(m, 47);
}

// A passage whose cells are far from parallelograms: a hub with a deep sine wave, a shroud with a
// sharp V-shaped dent, and a slanted outlet. The dent makes thin cells, where points beside them
// fail both retries and only second-rank cells remain. A shallower, wider dent over a wave crest
// folds the linear mesh (still used for location).
qortest::Passage distortedPassage(double dentDepth, double dentCentre, double dentHalfWidth) {
  const int n = 201;
  qortest::Passage p;
  p.name = "distorted";
  std::vector<P3> hub, shroud;
  for (int k = 0; k < n; ++k) {
    const double a = 2.0 * k / (n - 1);
    hub.emplace_back(float(a), float(1.0 + 0.35 * std::sin(2.0 * qortest::kPi * a)), 0.0f);
    const double as = 2.5 * k / (n - 1);
    const double dent = std::max(0.0, 1.0 - std::fabs(as - dentCentre) / dentHalfWidth);
    shroud.emplace_back(float(as), float(2.0 - dentDepth * dent), 0.0f);
  }
  p.hub = hub;
  p.shroud = shroud;
  p.inlet = qortest::line(0.0, 1.0, 0.0, 2.0, 21);
  p.outlet = qortest::line(2.0, 1.0, 2.5, 2.0, 21);
  return p;
}

// The largest difference between opposite i edges of a cell, relative to the longer one (0 for a
// parallelogram).
double worstParallelogramDefect(const Built& m) {
  double worst = 0.0;
  for (int i = 0; i + 1 < m.ni; ++i) {
    for (int j = 0; j + 1 < m.nj; ++j) {
      const P3 e0 = m.node(i + 1, j) - m.node(i, j), e1 = m.node(i + 1, j + 1) - m.node(i, j + 1);
      const double diff = std::hypot(double(e1[0]) - e0[0], double(e1[1]) - e0[1]);
      worst = std::max(worst, diff / std::max(std::hypot(e0[0], e0[1]), std::hypot(e1[0], e1[1])));
    }
  }
  return worst;
}

TEST(TurboTransformRanking, matchesTheFullRankingOnStronglyDistortedAndFoldedPassages) {
  const struct {
    const char* name;
    double depth, centre, halfWidth;
    int quality;
    unsigned seed;
  } cases[] = {{"distorted", 0.55, 1.1, 0.1, 0, 45}, {"distorted, folded", 0.4, 1.25, 0.2, 1, 46}};
  for (const auto& c : cases) {
    Built m;
    ASSERT_EQ(qortest::build(m, distortedPassage(c.depth, c.centre, c.halfWidth), TurboTransform::linear, 600),
              c.quality)
        << c.name;
    m.passage.name = c.name;
    EXPECT_GT(worstParallelogramDefect(m), 0.5) << c.name;
    Paths paths;
    checkMesh(m, c.seed, &paths);
    EXPECT_GT(paths.retrySmall, 100) << c.name;
    EXPECT_GT(paths.secondRank, 5) << c.name;
  }
}

}  // namespace
