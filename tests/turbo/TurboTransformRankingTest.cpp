// Point location: the nearest node and the cells around it; the fast paths (node grid, quadtree,
// stored cell tests, block location, list reordering) bit for bit against the plain search
// (QOR_NO_QUADTREE), on meshes from uniform to folded; every list form against single points.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>

#include "support/Passages.h"

namespace {

using qor::NumericalUtils;
using qor::QORVector;
using qor::TripletQORVector;
using qor::TurboTransform;
using qortest::Built;
using qortest::P3;
using Space = TurboTransform::space;

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

// The point at fraction u from node a to node b, and points beside it along the edge normal, by
// fractions of the edge length from rounding errors to twice the edge. Halfway points are the float
// mean of the two nodes: on a uniform grid exactly equidistant from both.
void addAroundEdge(const P3& a, const P3& b, double u, std::vector<P3>& out) {
  const P3 on = u == 0.5 ? P3(0.5f * (a[0] + b[0]), 0.5f * (a[1] + b[1]), 0.0f)
                         : P3(float(a[0] + u * (double(b[0]) - a[0])), float(a[1] + u * (double(b[1]) - a[1])), 0.0f);
  out.push_back(on);
  const double ex = double(b[0]) - a[0], ey = double(b[1]) - a[1];
  for (double f : {1e-7, 1e-6, 1e-4, 1e-3, 1e-2, 0.1, 0.5, 2.0}) {
    for (double h : {-f, f}) out.emplace_back(float(on[0] - h * ey), float(on[1] + h * ex), 0.0f);
  }
}

// Points in, on and around the mesh of m; `seed` fixes the random choices.
std::vector<P3> pointsFor(const Built& m, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const int I = m.ni - 1, J = m.nj - 1;
  std::uniform_int_distribution<int> iAny(0, I - 1), jAny(0, J - 1), iInner(1, I - 1), jInner(1, J - 1);
  std::vector<P3> out;
  for (int k = 0; k < 800; ++k) {  // in random cells
    const int i = iAny(rng), j = jAny(rng);
    const double s = unit(rng);
    out.push_back(inCell(m, i, j, s, unit(rng)));
  }
  // Every kind of edge: interior lines of constant j and of constant i, hub, shroud, inlet and
  // outlet; at a node (u = 0: interior, boundary and corner nodes), halfway and at a random fraction.
  auto alongI = [&](int i, int j) { return std::make_pair(m.node(i, j), m.node(i + 1, j)); };
  auto alongJ = [&](int i, int j) { return std::make_pair(m.node(i, j), m.node(i, j + 1)); };
  for (int k = 0; k < 12; ++k) {
    for (const auto& e : {alongI(iAny(rng), jInner(rng)), alongJ(iInner(rng), jAny(rng)), alongI(iAny(rng), 0),
                          alongI(iAny(rng), J), alongJ(0, jAny(rng)), alongJ(I, jAny(rng))}) {
      for (double u : {0.0, 0.5, unit(rng)}) addAroundEdge(e.first, e.second, u, out);
    }
  }
  // The four corners, along both boundary edges that meet there, from either end, and around them.
  for (const auto& e : {alongI(0, 0), alongJ(0, 0), alongI(I - 1, 0), alongJ(I, 0), alongI(0, J), alongJ(0, J - 1),
                        alongI(I - 1, J), alongJ(I, J - 1)}) {
    addAroundEdge(e.first, e.second, 0.0, out);
    addAroundEdge(e.second, e.first, 0.0, out);
    const double h = qortest::meridionalDistance(e.first, e.second);
    for (int k = 0; k < 16; ++k) {
      const P3& c = k < 8 ? e.first : e.second;
      const double angle = 2 * qortest::kPi * k / 8 + 0.1, r = h * (k % 2 ? 0.3 : 1.5);
      out.emplace_back(float(c[0] + r * std::cos(angle)), float(c[1] + r * std::sin(angle)), 0.0f);
    }
  }
  // Far outside, all around the middle of the mesh: ten passage sizes away, and the last few beyond
  // the node grid and the quadtree's reach.
  const P3 middle = m.node(I / 2, J / 2);
  const double size = qortest::passageSize(m.passage);
  for (int k = 0; k < 64; ++k) {
    const double angle = 2 * qortest::kPi * unit(rng), r = (k < 56 ? 10.0 * size : 1e7) * (0.5 + unit(rng));
    out.emplace_back(float(middle[0] + r * std::cos(angle)), float(middle[1] + r * std::sin(angle)), 0.0f);
  }
  return out;
}

// A list that runs through the first 600 cells in i-major order, as the nodes of a structured flow
// mesh do, eight points per cell: long enough for the list conversion to judge it ordered.
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

// Cells far from parallelograms: a hub with a deep sine wave, a shroud with a sharp V-shaped dent
// (thin cells, where points beside them fail both retries and only second-rank cells remain) and a
// slanted outlet. A shallower, wider dent over a wave crest folds the linear mesh.
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

enum MeshCase { bendLinear, bendSmoothed, uniformAnnulus, bendLarge, distorted, folded };
const char* const kMeshNames[] = {"bend, linear mesh", "bend, smoothed mesh", "uniform annulus",
                                  "bend, large linear mesh", "distorted", "distorted, folded"};

// A mesh built twice, with the fast paths and plainly, and its test points.
struct Meshes {
  Built fast, plain;
  std::vector<P3> points, walk;
};

const Meshes& meshes(MeshCase c) {
  static std::map<MeshCase, std::unique_ptr<Meshes>> cache;
  std::unique_ptr<Meshes>& slot = cache[c];
  if (slot) return *slot;
  slot = std::make_unique<Meshes>();
  // Above 32768 nodes single points compute their cell tests and unordered lists of 4096 points
  // or more are converted in an order of their own.
  const qortest::Passage passage = c == uniformAnnulus ? qortest::annulus()
                                   : c == distorted    ? distortedPassage(0.55, 1.1, 0.1)
                                   : c == folded       ? distortedPassage(0.4, 1.25, 0.2)
                                                       : qortest::bend();
  const auto method = c == bendSmoothed ? TurboTransform::nonLinear : TurboTransform::linear;
  const int size = c == bendLarge ? 40000 : 600;
  EXPECT_EQ(qortest::build(slot->fast, passage, method, size), c == folded ? 1 : 0);
  {
    qortest::ScopedEnv env("QOR_NO_QUADTREE", "1");
    qortest::build(slot->plain, passage, method, size);
  }
  EXPECT_TRUE(c != bendLarge || slot->fast.nodes.size() > 32768u);
  slot->points = pointsFor(slot->fast, 42 + c);
  slot->walk = walkThrough(slot->fast, 42 + c);
  EXPECT_GE(std::min(slot->points.size(), slot->walk.size()), 4096u);
  return *slot;
}

// On the uniform annulus (the grid is rectangular): the quadtree's nearest node against a scan of
// all nodes, the lower index on a tie, and the cells around corner, edge and interior nodes.
TEST(TurboTransformNearestNode, quadtreeAgreesWithBruteForceLowerIndexWinsTiesAndCellsAroundNodes) {
  const Built& m = meshes(uniformAnnulus).fast;
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

const auto kAllMeshes = testing::Values(bendLinear, bendSmoothed, uniformAnnulus, bendLarge, distorted, folded);

class TurboTransformLocation : public testing::TestWithParam<MeshCase> {};

// The direct solve of p in cell (i, j): whether it stands (converged, p within the cell's margin),
// the local coordinates, and the distance outside the cell weighed by the mean edge lengths.
struct Direct {
  bool stands = false;
  float s = 0, t = 0;
  double score = 0;
};

Direct directSolve(const Built& m, int i, int j, const P3& p) {
  const P3 a = m.node(i, j), b = m.node(i + 1, j), c = m.node(i, j + 1), d = m.node(i + 1, j + 1);
  Direct r;
  bool unreliable = true, unusable = true;
  NumericalUtils::searchForSTinQuad(r.s, r.t, p[0], p[1], a[0], a[1], b[0], b[1], c[0], c[1], d[0], d[1], unreliable,
                                    r.stands, unusable, 50, 0.01f, 0.00001f);
  r.stands = r.stands && !unreliable;
  auto out = [](double v) { return std::max({-v, v - 1.0, 0.0}); };
  const double li = 0.5 * (qortest::meridionalDistance(a, b) + qortest::meridionalDistance(c, d));
  const double lj = 0.5 * (qortest::meridionalDistance(a, c) + qortest::meridionalDistance(b, d));
  r.score = out(r.s) * li + out(r.t) * lj;
  return r;
}

// Where a direct solve does not stand, the point is pulled towards the cell's centre onto the circle
// through the farthest corner, then through the nearest one, and solved there with a margin of one
// cell. Whether the pulled point lands in that margin: 1 clearly, 0 clearly not, -1 too close to tell.
int pulledLands(const Built& m, int i, int j, const P3& p, bool nearest) {
  const P3 corner[4] = {m.node(i, j), m.node(i + 1, j), m.node(i, j + 1), m.node(i + 1, j + 1)};
  const double cx = 0.25 * (corner[0][0] + corner[1][0] + corner[2][0] + corner[3][0]);
  const double cy = 0.25 * (corner[0][1] + corner[1][1] + corner[2][1] + corner[3][1]);
  double radius = nearest ? 1e300 : 0.0;
  for (const P3& q : corner) {
    const double r = std::hypot(q[0] - cx, q[1] - cy);
    radius = nearest ? std::min(radius, r) : std::max(radius, r);
  }
  const double f = radius / std::hypot(p[0] - cx, p[1] - cy);
  float s = 0, t = 0;
  bool unreliable, inside, unusable;
  NumericalUtils::searchForSTinQuad(s, t, float(cx + f * (p[0] - cx)), float(cy + f * (p[1] - cy)), corner[0][0],
                                    corner[0][1], corner[1][0], corner[1][1], corner[2][0], corner[2][1], corner[3][0],
                                    corner[3][1], unreliable, inside, unusable, 50, 1.0f, 0.00001f);
  const double away = std::min({s + 1.0, 2.0 - s, t + 1.0, 2.0 - t});  // from the margin's edge
  return unusable || std::fabs(away) < 1e-3 ? -1 : away > 0;
}

// The ranking on the candidate cells around the nearest node: no cell whose direct solve leaves the
// point inside comes before the answer (which may hold it through a retry of its solve); a cell
// reached only by a retry beats cells reached by none; when every direct solve stands (no retry
// can change a rank), the smallest distance outside wins, the earlier cell on a tie.
TEST_P(TurboTransformLocation, fastPathsGiveThePlainSearchBitForBitAndTheRankingRule) {
  const Meshes& m = meshes(GetParam());
  SCOPED_TRACE(kMeshNames[GetParam()]);
  int mismatches = 0, outside = 0, laterCell = 0, twoHold = 0, ranked = 0, ties = 0, pulledNearest = 0;
  for (std::size_t k = 0; k < m.points.size(); ++k) {
    const P3& p = m.points[k];
    int got[4], want[4];
    float s, t, ps, pt;
    m.fast.transform.getBestQuad(p, got[0], got[1], got[2], got[3], s, t);
    m.plain.transform.getBestQuad(p, want[0], want[1], want[2], want[3], ps, pt);
    if ((!std::equal(got, got + 4, want) || bits(s) != bits(ps) || bits(t) != bits(pt)) && ++mismatches <= 5) {
      ADD_FAILURE() << "point " << k << " " << describe(p) << ": corner " << got[0] << " s " << exact(s) << " t "
                    << exact(t) << ", plainly corner " << want[0] << " s " << exact(ps) << " t " << exact(pt);
    }
    outside += s < 0.0f || s > 1.0f || t < 0.0f || t > 1.0f;
    int cells[4][2];
    const int count = m.fast.transform.findClosestElements(p, cells);
    Direct d[4];
    int answer = -1, holding = 0, best = 0;
    bool allStand = true;
    for (int n = 0; n < count; ++n) {
      d[n] = directSolve(m.fast, cells[n][0], cells[n][1], p);
      if (m.fast.index(cells[n][0], cells[n][1]) == got[0]) answer = n;
      allStand = allStand && d[n].stands;
      if (d[n].score < d[best].score) best = n;
      if (!d[n].stands || d[n].score != 0.0) continue;
      if (++holding == 1 && answer < 0) ADD_FAILURE() << "point " << k << " " << describe(p) << ": cell " << n << " holds it";
    }
    laterCell += answer > 0;
    twoHold += holding > 1;
    if (!allStand && holding == 0) {
      // No direct solve and no pull through the farthest corner lands: the only cell whose pull
      // through its nearest corner lands ranks first and wins.
      int landing = -1, lands = 0, unclear = 0;
      for (int n = 0; n < count; ++n) {
        const int far = d[n].stands ? 1 : pulledLands(m.fast, cells[n][0], cells[n][1], p, false);
        const int near = far != 0 ? far : pulledLands(m.fast, cells[n][0], cells[n][1], p, true);
        unclear += far != 0 || near < 0;
        lands += near == 1;
        if (near == 1) landing = n;
      }
      if (unclear == 0 && lands == 1) {
        ++pulledNearest;
        if (answer != landing) ADD_FAILURE() << "point " << k << " " << describe(p) << ": not cell " << landing;
      }
    }
    if (!allStand || holding > 0) continue;
    // A clear winner, or an exact tie (the first smallest); near ties are left alone.
    bool clear = true;
    for (int n = 0; n < count; ++n) {
      if (n != best && d[n].score == d[best].score) ++ties;
      clear = clear && (n == best || d[n].score == d[best].score || d[n].score > d[best].score * (1 + 1e-5) + 1e-12);
    }
    if (!clear) continue;
    ++ranked;
    if (answer != best || bits(s) != bits(d[best].s) || bits(t) != bits(d[best].t)) {
      ADD_FAILURE() << "point " << k << " " << describe(p) << ": cell " << answer << " s " << exact(s) << " t "
                    << exact(t) << ", smallest distance outside in cell " << best;
    }
  }
  EXPECT_EQ(mismatches, 0) << "of " << m.points.size();
  // The points reach outside the mesh, cells other than the first candidate, clear rankings, on the
  // uniform annulus exact ties and edges that two cells hold, and beside the thin cells of the
  // distorted passages cells reached only through the nearest corner's circle.
  EXPECT_GT(outside, 100);
  EXPECT_GT(laterCell, 100);
  EXPECT_GT(ranked, 100);
  if (GetParam() == uniformAnnulus) {
    EXPECT_GT(ties, 100);
    EXPECT_GT(twoHold, 100);
  }
  if (GetParam() == distorted || GetParam() == folded) {
    EXPECT_GT(pulledNearest, 10);
  }
}

INSTANTIATE_TEST_SUITE_P(Meshes, TurboTransformLocation, kAllMeshes);

// ---- lists against single points -----------------------------------------------------------------

enum Order { given, shuffled, structured, shortList };
enum Form { oneSpace, spaces, tns, xyzOneSpace, xyzSpaces };

class TurboTransformLists : public testing::TestWithParam<std::tuple<MeshCase, Order, Form>> {};

// Each list value against the single-point value, bit for bit; the first few differences in full.
template <typename Single>
void expectSingle(const std::vector<float>& list, const std::vector<P3>& points, Single single, const std::string& what) {
  ASSERT_EQ(list.size(), points.size()) << what;
  int mismatches = 0;
  for (std::size_t k = 0; k < points.size(); ++k) {
    const float one = single(points[k]);
    if (bits(list[k]) == bits(one) || ++mismatches > 5) continue;
    ADD_FAILURE() << what << ", point " << k << " " << describe(points[k]) << ": list " << exact(list[k])
                  << ", single " << exact(one);
  }
  EXPECT_EQ(mismatches, 0) << what;
}

TEST_P(TurboTransformLists, giveWhatSinglePointsGive) {
  const auto [mesh, order, form] = GetParam();
  const Meshes& m = meshes(mesh);
  SCOPED_TRACE(testing::Message() << kMeshNames[mesh] << ", order " << order << ", form " << form);
  const TurboTransform& t = m.fast.transform;
  // Unordered points, shuffled, a structured walk through the cells, or a short list (searched
  // node by node from the previous answer), with angles theta; the Cartesian forms get them about
  // the axis.
  std::vector<P3> pts = order == structured ? m.walk : m.points;
  if (order == shuffled) std::shuffle(pts.begin(), pts.end(), std::mt19937(7));
  if (order == shortList) pts.resize(20);
  const bool cartesian = form == xyzOneSpace || form == xyzSpaces;
  for (std::size_t k = 0; k < pts.size(); ++k) {
    const auto x = qortest::toXYZ(pts[k][0], pts[k][1], 0.1 * (k % 7), P3(0, 0, 0), P3(0, 0, 1));
    pts[k] = cartesian ? P3(float(x[0]), float(x[1]), float(x[2])) : P3(pts[k][0], pts[k][1], 0.1f * float(k % 7));
  }
  auto single = [&t, cartesian](Space s) {
    return [&t, s, cartesian](const P3& p) { return cartesian ? t.convertXYZtoSpace(s, p) : t.convertARTtoSpace(s, p); };
  };
  QORVector<Space> all;
  for (int q = 0; q < 8; ++q) all.push_back(static_cast<Space>(q));
  const TripletQORVector list(pts);
  if (form == oneSpace || form == xyzOneSpace) {
    for (Space s : {TurboTransform::nm, TurboTransform::mprime}) {
      QORVector<float> values;
      cartesian ? t.convertXYZtoSpace(s, QORVector<P3>(pts), values) : t.convertARTtoSpace(s, QORVector<P3>(pts), values);
      expectSingle(values, pts, single(s), "space " + std::to_string(s));
    }
    if (cartesian) return;
    std::vector<P3> copy = pts;  // the std::vector overload
    std::vector<float> values;
    t.convertARTtoSpace(TurboTransform::nspan, copy, values);
    expectSingle(values, pts, single(TurboTransform::nspan), "nspan");
  } else if (form == tns) {
    std::vector<P3> out;
    t.convertARTtoSpaceTNs(TurboTransform::mprime, pts, out);
    ASSERT_EQ(out.size(), pts.size());
    for (std::size_t k = 0; k < pts.size(); ++k) {
      P3 one;
      t.convertARTtoSpaceTNs(TurboTransform::mprime, pts[k], one);
      ASSERT_EQ(std::memcmp(&out[k], &one, sizeof one), 0) << "TNs of point " << k << " " << describe(pts[k]);
    }
  } else {
    // All spaces at once, with the directions of the mesh against the plain search's; the ART
    // form also without directions.
    QORVector<std::vector<float>> values, noDirections;
    QORVector<P3> along, across, plainAlong, plainAcross;
    if (cartesian) {
      t.convertXYZtoSpace(list, all, values, along, across, true);
      m.plain.transform.getUnitVectorsFromXYZ(list, plainAlong, plainAcross);
    } else {
      t.convertARTtoSpace(list, all, values, along, across, true);
      m.plain.transform.getUnitVectorsFromART(list, plainAlong, plainAcross);
      t.convertARTtoSpace(list, all, noDirections);
    }
    ASSERT_EQ(values.size(), all.size());
    ASSERT_EQ(noDirections.size(), cartesian ? 0u : all.size());
    for (std::size_t q = 0; q < all.size(); ++q) {
      expectSingle(values[q], pts, single(all[q]), "space " + std::to_string(q));
      if (!cartesian) expectSingle(noDirections[q], pts, single(all[q]), "no directions, space " + std::to_string(q));
    }
    EXPECT_TRUE(along == plainAlong && across == plainAcross) << "directions differ from the plain search's";
  }
}

INSTANTIATE_TEST_SUITE_P(Meshes, TurboTransformLists,
                         testing::Combine(kAllMeshes, testing::Values(given, shuffled, structured, shortList),
                                          testing::Values(oneSpace, spaces, tns, xyzOneSpace, xyzSpaces)));

}  // namespace
