// Segmenter on analytic passages: set-up, internal boundaries, per-segment (u, v) coordinates,
// errors and debug output.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <tuple>

#include "support/Passages.h"
#include "support/SegmentChecks.h"

namespace {

using qor::TripletBase;
using qor::TurboTransform;
using Seg = qor::TurboTransformSegmenter;
using P3 = TripletBase<float>;
using Curves = std::vector<std::vector<P3>>;

// Boundary points: a few float ulps of the passage size; interior points add the mesh's own
// interpolation error.
constexpr double kOnBoundaryTol = 2e-4;
constexpr double kInteriorTol = 5e-4;
constexpr double kGeomTol = 1e-4;

/// The analytic passages with a linear background mesh, built once per test program. The annulus
/// has L = 1 and H = 1: the outlet record's m is forced to 1.0, which is its true value only then.
const qortest::Built& built(bool bendPassage) {
  static const auto make = [](const qortest::Passage& p) {
    auto b = std::make_unique<qortest::Built>();
    qortest::build(*b, p, TurboTransform::linear, 500);
    return b;
  };
  static const std::unique_ptr<qortest::Built> passages[2] = {make(qortest::annulus(0.0, 1.0, 1.0, 2.0, 41, 11)),
                                                              make(qortest::bend())};
  return *passages[bendPassage ? 1 : 0];
}
const qortest::Built& annulusUnit() { return built(false); }

std::vector<P3> radialLine(double a, double r0, double r1, int n, float theta = 0.0f) {
  std::vector<P3> out = qortest::line(a, r0, a, r1, n);
  for (auto& p : out) p[2] = theta;
  return out;
}

// One boundary at A = 0.5; two at 0.25 and 0.6; three at 0.25, 0.6 and 0.8.
Curves annulusBoundaries(int n) {
  if (n == 1) return {radialLine(0.5, 1.0, 2.0, 11)};
  Curves out;
  static const double positions[] = {0.25, 0.6, 0.8};
  for (int i = 0; i < n; ++i) out.push_back(radialLine(positions[i], 1.0, 2.0, 11));
  return out;
}

Curves bendBoundaries(int n) {
  const qortest::Bend b;
  Curves out;
  for (int i = 1; i <= n; ++i) {
    const double theta = (qortest::kPi / 2) * i / (n + 1);
    const auto h = b.at(theta, b.rhoHub);
    const auto s = b.at(theta, b.rhoShroud);
    out.push_back(qortest::line(h[0], h[1], s[0], s[1], 9));
  }
  return out;
}

struct ExpectedError {
  std::function<void()> call;
  std::string function, message;
};

void expectErrors(const std::vector<ExpectedError>& table) {
  for (const ExpectedError& row : table) {
    SCOPED_TRACE(row.function + ": " + row.message);
    qortest::expectError(qortest::captureError(row.call), "TurboTransformSegmenter", row.function, row.message);
  }
}

TEST(TurboTransformSegmenterSetup, nullTransformIsRejectedAndReattachingClearsBoundaries) {
  expectErrors({{[] { Seg seg(nullptr, Seg::mergedSpan); }, "setTurboTransform", "Null pointer to Turbo Transform."}});
  const TurboTransform& t = annulusUnit().transform;
  Seg seg(&t, Seg::mergedSpan);
  seg.setInternalBoundaries(annulusBoundaries(1), {false});
  EXPECT_THROW(seg.setTurboTransform(nullptr, Seg::mergedSpan), qor::internal::nullPointer);
  EXPECT_EQ(seg.getTurboTransform(), &t);
  seg.setTurboTransform(&t, Seg::backgroundMeshSpan);
  P3 uv;
  EXPECT_THROW(seg.convertARTtoSpaceNspan(0, Seg::nm, P3(0.2f, 1.5f, 0), uv), qor::internal::error);
  // An unknown method fails at once, and on re-attaching when the final curves are built.
  EXPECT_THROW(Seg(&t, static_cast<Seg::segmentMethod>(7)), std::out_of_range);
  seg.setTurboTransform(&t, static_cast<Seg::segmentMethod>(7));
  seg.setInternalBoundaries(annulusBoundaries(1), {false});
  EXPECT_THROW(seg.convertARTtoSpaceNspan(0, Seg::nm, P3(0.2f, 1.5f, 0), uv), std::out_of_range);
}

TEST(TurboTransformSegmenterSetup, everythingIsRefusedBeforeInternalBoundariesAndBoundsErrorsKeepTheirTexts) {
  Seg seg(&annulusUnit().transform, Seg::backgroundMeshSpan);
  EXPECT_EQ(seg.getLastSegmentID(), -2);
  P3 uv;
  std::vector<P3> list(2);
  std::vector<double> arc;
  const std::string notSet = "Internal segments not set.";
  expectErrors({
      {[&] { seg.convertARTtoSpaceNspan(0, Seg::nm, P3(0.5f, 1.5f, 0), uv); }, "convertARTtoSpaceNspan", notSet},
      {[&] { seg.convertSpaceNspanToART(0, Seg::nm, uv, uv); }, "convertSpaceNspanToART", notSet},
      {[&] { seg.convertARTtoRnmNspan(0, list, list); }, "convertARTtoRnmNspan", notSet},
      {[&] { seg.convertRnmNspanToART(0, uv, uv); }, "convertRnmNspanToART", notSet},
      {[&] { seg.getArcNdfromRnmNd(0, 0.5f, {0.0, 1.0}, arc); }, "getArcNdfromRnmNd", notSet},
      // The East replacement names the West operation.
      {[&] { seg.setInternalBoundaryWest(1, list, false); }, "setInternalBoundaryWest", notSet},
      {[&] { seg.setInternalBoundaryEast(0, list, false); }, "setInternalBoundaryWest", notSet},
      {[&] { seg.getFirstSegmenInternalBoundaryWest(); }, "getInternalBoundaryLeft",
       "Segment id out of bounds, Min = 0, Max = -2,  attempted 0."},
  });
  // With boundaries: the bounds errors keep their texts and names, and bad input changes nothing.
  seg.setInternalBoundaries(annulusBoundaries(3), {false, false, false});
  ASSERT_EQ(seg.getLastSegmentID(), 3);
  const auto line = radialLine(0.5, 1.0, 2.0, 5);
  const std::string left = "setInternalBoundaryLeft";
  const std::string bounds = "Segment id out of bounds, Min = 0, Max = 3,  attempted ";
  expectErrors({
      {[&] { seg.setInternalBoundaryWest(4, line, false); }, left,
       "Segment id out of bounds, Min = 1, Max = 3,  attempted be set 4."},
      {[&] { seg.setInternalBoundaryEast(-1, line, false); }, left,
       "Segment id out of bounds, Min = 0, Max = 2,  attempted to set -1. "},
      {[&] { seg.getInternalBoundaryEast(4); }, "getInternalBoundaryLeft", bounds + "4."},
      {[&] { seg.getSegmentInternalBoundarySouth(4, list); }, "getSegmentInternalBoundarySouth", bounds + "4."},
      {[&] { seg.getSegmentInternalBoundaryNorth(-1, list); }, "getSegmentInternalBoundaryNorth", bounds + "-1."},
  });
  // Conversions leave ids and spaces to the checked containers.
  EXPECT_THROW(seg.convertARTtoSpaceNspan(4, Seg::nm, P3(0.5f, 1.5f, 0), uv), std::out_of_range);
  EXPECT_THROW(seg.convertARTtoSpaceNspan(0, static_cast<Seg::spaceSeg>(4), P3(0.5f, 1.5f, 0), uv),
               std::out_of_range);
  // Bad boundary input leaves the segmenter unchanged.
  const auto before = seg.getInternalBoundaryEast(0);
  EXPECT_THROW(seg.setInternalBoundaries(annulusBoundaries(1), {}), qor::data::invalid);
  EXPECT_THROW(seg.setInternalBoundaries({radialLine(0.3, 1, 2, 5), {}}, {false, true}), qor::data::invalid);
  EXPECT_THROW(seg.setInternalBoundaryWest(1, {}, false), qor::data::invalid);
  EXPECT_EQ(seg.getLastSegmentID(), 3);
  EXPECT_EQ(seg.getInternalBoundaryEast(0), before);
}

TEST(TurboTransformSegmenterBoundaries, linesAreFittedToTheWallsWithThetaZeroAtTheCommonSpanValues) {
  const qortest::Built& b = annulusUnit();
  // Short of the hub and shroud (with spans between the mesh lines), beyond both, and with theta:
  // all end on the walls with theta 0.
  const Curves curves = {radialLine(0.2, 1.2, 1.8, 8, 0.3f), radialLine(0.5, 0.8, 2.2, 15, -1.0f),
                         radialLine(0.7, 1.0, 2.0, 11, 2.0f)};
  for (Seg::segmentMethod method : {Seg::mergedSpan, Seg::backgroundMeshSpan}) {
    SCOPED_TRACE(method);
    Seg seg(&b.transform, method);
    seg.setInternalBoundaries(curves, {false, true, false});
    // Every line has a point per common span value: the mesh's, and for the merged method the
    // boundary points' too.
    const std::size_t common = seg.getInternalBoundaryWest(0).size();
    EXPECT_TRUE(method == Seg::mergedSpan ? common > std::size_t(b.nj) : common == std::size_t(b.nj)) << common;
    EXPECT_EQ(seg.getInternalBoundaryEast(3).size(), common);
    for (int s = 1; s <= 3; ++s) {
      const auto& line = seg.getInternalBoundaryWest(s);
      ASSERT_EQ(line.size(), common);
      EXPECT_NEAR(line.front()[1], 1.0, kGeomTol);
      EXPECT_NEAR(line.back()[1], 2.0, kGeomTol);
      for (const P3& p : line) {
        EXPECT_EQ(p[2], 0.0f);
        EXPECT_NEAR(p[0], curves[s - 1][0][0], kGeomTol);
      }
    }
  }
}

// Replacing one boundary moves only it. With the merged method its new span values join the common
// list while the neighbours keep their old, shorter values until all boundaries are set again.
TEST(TurboTransformSegmenterBoundaries, singleReplacementMovesOneBoundaryAndRefreshesOnlyItsOwnSpaceValues) {
  const qortest::Built& b = annulusUnit();
  const Curves two = {radialLine(0.25, 1, 2, 11), radialLine(0.6, 1, 2, 11)};
  Seg seg(&b.transform, Seg::backgroundMeshSpan), merged(&b.transform, Seg::mergedSpan);
  seg.setInternalBoundaries(two, {false, false});
  seg.setInternalBoundaryWest(2, radialLine(0.5, 1, 2, 11), false);
  seg.setInternalBoundaryEast(0, radialLine(0.2, 1, 2, 11), false);
  P3 uv, uvCopy;
  seg.convertARTtoSpaceNspan(1, Seg::nm, P3(0.35f, 1.5f, 0), uv);
  EXPECT_NEAR(uv[0], 0.5, kInteriorTol);
  Seg(seg).convertARTtoSpaceNspan(1, Seg::nm, P3(0.35f, 1.5f, 0), uvCopy);  // a copy
  EXPECT_EQ(uv, uvCopy);
  merged.setInternalBoundaries(two, {false, false});
  const std::size_t before = merged.getInternalBoundaryWest(0).size();
  const auto moved = radialLine(0.3, 1, 2, 8);  // span values k / 7
  merged.setInternalBoundaryWest(1, moved, false);
  ASSERT_GT(merged.getInternalBoundaryWest(0).size(), before);
  EXPECT_THROW(merged.convertARTtoSpaceNspan(1, Seg::nm, P3(0.45f, 1.999f, 0), uv), std::out_of_range);
  merged.setInternalBoundaries({moved, two[1]}, {false, false});
  merged.convertARTtoSpaceNspan(1, Seg::nm, P3(0.45f, 1.999f, 0), uv);
  EXPECT_NEAR(uv[0], 0.5, kInteriorTol);
}

using CaseTuple = std::tuple<bool, Seg::segmentMethod, int>;
class SegmentCoordinates : public ::testing::TestWithParam<CaseTuple> {};

TEST_P(SegmentCoordinates, westIsZeroEastIsOneAndWallsMeet) {
  const auto [bendPassage, method, boundaries] = GetParam();
  const qortest::Built& b = built(bendPassage);
  const Curves curves = bendPassage ? bendBoundaries(boundaries) : annulusBoundaries(boundaries);
  Seg seg(&b.transform, method);
  seg.setInternalBoundaries(curves, std::vector<bool>(curves.size(), false));
  ASSERT_EQ(seg.getLastSegmentID(), boundaries);
  qortest::checkSegmentCoordinates(seg, b.transform, kOnBoundaryTol, !bendPassage);
}

INSTANTIATE_TEST_SUITE_P(Passages, SegmentCoordinates,
                         ::testing::Combine(::testing::Bool(),
                                            ::testing::Values(Seg::mergedSpan, Seg::backgroundMeshSpan),
                                            ::testing::Values(0, 1, 3)),
                         [](const ::testing::TestParamInfo<CaseTuple>& param) {
                           return std::string(std::get<0>(param.param) ? "bend" : "annulus") +
                                  (std::get<1>(param.param) == Seg::mergedSpan ? "Merged" : "ByMesh") +
                                  std::to_string(std::get<2>(param.param));
                         });

TEST(TurboTransformSegmenterAnnulus, slantedEdgesGiveAnalyticCoordinatesBothWaysAndTheSegmentOfPoints) {
  // Lines A = a + b eta (inlet, two edges, outlet); on the annulus m = A, nm = rnm = A and
  // nspan = R - 1, so a point of segment s at (u, v) lies at A = A_s(v) + u (A_s+1(v) - A_s(v)) in
  // every space. In m' = A / R an edge's value changes along the span even when the edge is radial;
  // between span values it is interpolated linearly: f = b + (a - b) / (1 + eta) has
  // |f''| <= 2 |a - b|, so the error in A is at most h^2 |a - b| / 2 for the largest span step h.
  const qortest::Built& b = annulusUnit();
  const double lines[4][2] = {{0.0, 0.0}, {0.3, 0.2}, {0.7, -0.1}, {1.0, 0.0}};
  const Curves edges = {qortest::line(0.3, 1.0, 0.5, 2.0, 11), qortest::line(0.7, 1.0, 0.6, 2.0, 11)};
  std::vector<double> nspan;
  b.transform.getNSpanValues(nspan);
  double h = 0.0;
  for (std::size_t j = 1; j < nspan.size(); ++j) h = std::max(h, nspan[j] - nspan[j - 1]);
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (Seg::segmentMethod method : {Seg::mergedSpan, Seg::backgroundMeshSpan}) {
    Seg seg(&b.transform, method);
    seg.setInternalBoundaries(edges, {false, false});
    for (int trial = 0; trial < 60; ++trial) {
      const int s = trial % 3;
      const double u = unit(rng), v = unit(rng);
      const double west = lines[s][0] + lines[s][1] * v, east = lines[s + 1][0] + lines[s + 1][1] * v;
      const double a = west + u * (east - west);
      SCOPED_TRACE(::testing::Message() << "seed 7 trial " << trial << " method " << method << " v " << v);
      for (Seg::spaceSeg k : {Seg::mprime, Seg::m, Seg::nm, Seg::rnm}) {
        P3 uv, back;
        if (k != Seg::mprime) {  // the forward conversion between span values, not clamped
          seg.convertARTtoSpaceNspan(s, k, P3(float(a), float(1.0 + v), 0.0f), uv);
          EXPECT_NEAR(uv[0], u, kInteriorTol / (east - west)) << "space " << k;
          EXPECT_NEAR(uv[1], v, kInteriorTol) << "space " << k;
        }
        const double bend = k == Seg::mprime ? std::max(std::fabs(lines[s][0] - lines[s][1]),
                                                         std::fabs(lines[s + 1][0] - lines[s + 1][1]))
                                             : 0.0;
        seg.convertSpaceNspanToART(s, k, back, P3(float(u), float(v), 0.0f));
        EXPECT_NEAR(back[0], a, kInteriorTol + h * h * bend / 2) << "space " << k;
        EXPECT_NEAR(back[1], 1.0 + v, kInteriorTol) << "space " << k;
      }
      // 2e-3 west or east of an edge (the rnm comes within float rounding): the segment beside it.
      const int edge = 1 + trial % 2, beyond = (trial / 2) % 2;
      const double near = lines[edge][0] + lines[edge][1] * v + (beyond ? 2e-3 : -2e-3);
      EXPECT_EQ(seg.findSegment(P3(float(near), float(1.0 + v), 0.4f), 1e-3), edge - 1 + beyond) << "A " << near;
    }
    // Beyond the inlet, the outlet, the hub and the shroud: outside unless within the tolerance.
    for (const P3& p : {P3(-0.01f, 1.5f, 0), P3(1.01f, 1.5f, 0), P3(0.5f, 0.99f, 0), P3(0.5f, 2.01f, 0)}) {
      EXPECT_EQ(seg.findSegment(p, 1e-3), -1) << p;
      EXPECT_EQ(seg.findSegment(p, 0.02), p[0] < 0.3f ? 0 : p[0] > 0.7f ? 2 : 1) << p;
    }
    EXPECT_EQ(seg.findSegment(P3(std::nanf(""), 1.5f, 0), 1e-3), -1);
    qortest::expectError(qortest::captureError([&] { seg.findSegment(P3(0.5f, 1.5f, 0), -1e-3); }),
                         "TurboTransformSegmenter", "findSegment", "Tolerance (-0.001) must be a number >= 0.");
  }
}

TEST(TurboTransformSegmenterAnnulus, clampingRulesOfTheConversionsAndArcLengths) {
  const qortest::Built& b = annulusUnit();
  Seg seg(&b.transform, Seg::backgroundMeshSpan);
  seg.setInternalBoundaries(annulusBoundaries(1), {false});  // A = 0.5
  P3 uv;
  // Below the hub and above the shroud: v is exactly 0 or 1.
  seg.convertARTtoSpaceNspan(0, Seg::nm, P3(0.25f, 0.8f, 0), uv);
  EXPECT_EQ(uv[1], 0.0f);
  EXPECT_NEAR(uv[0], 0.5, kInteriorTol);
  seg.convertARTtoSpaceNspan(1, Seg::nm, P3(0.75f, 2.3f, 0), uv);
  EXPECT_EQ(uv[1], 1.0f);
  // Upstream of the inlet between two span values: m is not clamped, nm is clamped to 0 first.
  std::vector<double> nspan;
  b.transform.getNSpanValues(nspan);
  const double eta = 0.5 * (nspan[1] + nspan[2]);
  const P3 upstream(-0.1f, float(1.0 + eta), 0.0f);
  seg.convertARTtoSpaceNspan(0, Seg::m, upstream, uv);
  EXPECT_NEAR(uv[0], -0.2, kInteriorTol);
  seg.convertARTtoSpaceNspan(0, Seg::nm, upstream, uv);
  EXPECT_NEAR(uv[0], 0.0, 1e-6);
  // At a common span value (a mesh node) u is clamped: a node upstream of segment 1.
  const P3 node = b.node(b.ni / 4, 1);
  ASSERT_LT(node[0], 0.4f);
  seg.convertARTtoSpaceNspan(1, Seg::m, node, uv);
  EXPECT_EQ(uv[0], 0.0f);
  EXPECT_EQ(uv[1], float(nspan[1]));
  // The inverse clamps u.
  P3 atOne, beyond;
  seg.convertSpaceNspanToART(0, Seg::rnm, atOne, P3(1.0f, 0.3f, 0));
  seg.convertSpaceNspanToART(0, Seg::rnm, beyond, P3(1.5f, 0.3f, 0));
  EXPECT_EQ(atOne, beyond);
  std::vector<P3> back;
  seg.convertRnmNspanToART(0, back, {P3(1.5f, 0.3f, 0), P3(0.0f, 1.7f, 0)});
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[0], atOne);
  EXPECT_NEAR(back[1][1], 2.0, kGeomTol);
  // The arc length of uniform positions is unchanged.
  seg.setInternalBoundaries(annulusBoundaries(2), {false, false});
  const std::vector<double> positions = {0.0, 0.1, 0.25, 0.5, 0.9, 1.0};
  std::vector<double> arc;
  seg.getArcNdfromRnmNd(1, 0.37f, positions, arc);
  ASSERT_EQ(arc.size(), positions.size());
  for (std::size_t k = 0; k < arc.size(); ++k) EXPECT_NEAR(arc[k], positions[k], 1e-5);
  // Normalised over the samples themselves.
  seg.getArcNdfromRnmNd(1, 0.37f, {0.5, 0.75, 1.0}, arc);
  ASSERT_EQ(arc.size(), 3u);
  for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(arc[k], 0.5 * double(k), k == 1 ? 1e-5 : 1e-6);
  // A segment of zero width has no length to normalise by: positions come back clamped.
  Seg degenerate(&b.transform, Seg::backgroundMeshSpan);
  degenerate.setInternalBoundaries({radialLine(0.5, 1, 2, 11), radialLine(0.5, 1, 2, 11)}, {false, false});
  degenerate.getArcNdfromRnmNd(1, 0.37f, {-0.5, 0.3, 1.5}, arc);
  EXPECT_EQ(arc, (std::vector<double>{0.0, 0.3, 1.0}));
}

TEST(TurboTransformSegmenterAnnulus, outletMeridionalLengthIsForcedToOne) {
  // With L = 2 the outlet line's m is stored as 1.0 (kept for compatibility), so u in space m is
  // m / 1 in the last segment while nm gives the true fraction.
  qortest::Built b;
  qortest::build(b, qortest::annulus(0.0, 2.0, 1.0, 2.0, 41, 11), TurboTransform::linear, 500);
  Seg seg(&b.transform, Seg::backgroundMeshSpan);
  seg.setInternalBoundaries({}, {});
  P3 uv;
  seg.convertARTtoSpaceNspan(0, Seg::m, P3(0.5f, 1.5f, 0), uv);
  EXPECT_NEAR(uv[0], 0.5, kInteriorTol);
  seg.convertARTtoSpaceNspan(0, Seg::nm, P3(0.5f, 1.5f, 0), uv);
  EXPECT_NEAR(uv[0], 0.25, kInteriorTol);
}

bool fileHasZeroThirdColumn(const std::string& name, std::size_t& lines) {
  std::ifstream in(name);
  double x = 0, y = 0, z = 0;
  bool allZero = static_cast<bool>(in);
  for (lines = 0; in >> x >> y >> z; ++lines) allZero = allZero && z == 0.0;
  return allZero;
}

TEST(TurboTransformSegmenterDebug, writesStepFilesAndReportsThem) {
  const qortest::Built& b = annulusUnit();
  qortest::ScopedTempDir dir;
  Seg seg(&b.transform, Seg::backgroundMeshSpan);
  seg.setDebug(true);
  std::vector<P3> doubled;  // every point twice: cleaning drops the repeats
  for (const P3& p : radialLine(0.5, 1.2, 1.8, 7, 0.4f)) doubled.insert(doubled.end(), 2, p);
  const std::string out = qortest::captureStdout([&] { seg.setInternalBoundaries({doubled}, {true}); });
  for (const char* line : {" cleanInternalBoundaryInMeridionalSpace 0Size =14\n", " Saved cRaw0\n", " Saved cCle0\n",
                           " cleanedEnd 1Size =", " Saved clEnd1\n", " cleanedEndByBM 1Size =", " Saved clEndBM1\n",
                           " finalART 0Size =", " Saved final0\n", " finalART 2Size =", " Exported : ibound0\n",
                           " Exported : ibound2\n"}) {
    EXPECT_NE(out.find(line), std::string::npos) << line;
  }
  std::size_t lines = 0;
  EXPECT_TRUE(fileHasZeroThirdColumn("cCle0", lines));  // theta set to 0 before cleaning
  EXPECT_EQ(lines, 7u);                                  // the repeats dropped
  EXPECT_FALSE(fileHasZeroThirdColumn("cRaw0", lines));  // written as given
  for (const char* name : {"clEnd1", "clEndBM1", "final1", "ibound1", "s_mp"}) {
    EXPECT_TRUE(std::ifstream(name).good()) << name;
  }
}

TEST(TurboTransformSegmenterArrays, everyThreadCountGivesTheBitsOfTheListFormsAlsoFromTwoCallers) {
  const qortest::Built& b = built(true);
  Seg seg(&b.transform, Seg::mergedSpan);
  seg.setInternalBoundaries(bendBoundaries(2), {false, false});
  // Long enough for three threads of two minimum chunks each; points around segment 1 and beyond
  // the passage. The inverse points come in runs of one span (as along mesh lines), which the
  // transform's cache serves; chunk boundaries fall inside runs.
  const std::size_t n = 6 * 4096 + 77;
  std::mt19937 rng(11);
  SCOPED_TRACE("seed 11");
  std::uniform_real_distribution<float> a(-0.2f, 1.7f), r(1.3f, 3.2f), unit(-0.1f, 1.1f);
  std::vector<P3> art(n), uv(n);
  for (std::size_t k = 0; k < n; ++k) {
    art[k] = P3(a(rng), r(rng), 0.3f);
    uv[k] = P3(unit(rng), float((k / 300) % 9) / 8.0f + 0.01f, 0.0f);
  }
  using Out = std::vector<P3>;
  using Threads = TurboTransform::ListOptions;
  auto forward = [&](Seg::spaceSeg k, int count) {
    Out out(n);
    seg.convertARTtoSpaceNspan(1, k, art.data(), n, out.data(), Threads{count});
    return out;
  };
  auto inverseWith = [&](const Seg& sg, Seg::spaceSeg k, int count) {
    Out out(n);
    sg.convertSpaceNspanToART(1, k, out.data(), uv.data(), n, Threads{count});
    return out;
  };
  auto inverse = [&](Seg::spaceSeg k, int count) { return inverseWith(seg, k, count); };
  auto same = [](const Out& x, const Out& y) {
    return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(P3)) == 0;
  };
  for (Seg::spaceSeg k : {Seg::m, Seg::rnm}) {
    Out listForward, listInverse;
    seg.convertARTtoSpaceNspan(1, k, art, listForward);
    seg.convertSpaceNspanToART(1, k, listInverse, uv);
    for (int count : {1, 2, 3, 0}) {
      EXPECT_TRUE(same(forward(k, count), listForward)) << k << " " << count;
      EXPECT_TRUE(same(inverse(k, count), listInverse)) << k << " " << count;
    }
    // Two callers at once on one segmenter and transform.
    Out fromThread;
    std::thread other([&] { fromThread = inverse(k, 2); });
    const Out here = inverse(k, 2);
    other.join();
    EXPECT_TRUE(same(fromThread, listInverse));
    EXPECT_TRUE(same(here, listInverse));
    // The fast inverse (kept by copies): the list's points within float rounding (the bend's size
    // is 3), rnm exactly, and the same bits for every thread count.
    Seg fast(seg);
    fast.setFastArrayInverse(true);
    EXPECT_TRUE(Seg(fast).getFastArrayInverse() && !seg.getFastArrayInverse());
    const Out fastOne = inverseWith(fast, k, 1);
    double worst = 0.0;
    for (std::size_t p = 0; p < n; ++p) worst = std::max(worst, qortest::meridionalDistance(fastOne[p], listInverse[p]));
    EXPECT_EQ(worst == 0.0, k == Seg::rnm) << worst;
    EXPECT_LE(worst, 1e-6);
    for (int count : {2, 0}) {
      EXPECT_TRUE(same(inverseWith(fast, k, count), fastOne)) << k << " " << count;
    }
  }
  std::vector<int> single(n), found(n, 7);
  for (std::size_t k = 0; k < n; ++k) single[k] = seg.findSegment(art[k], 1e-3);
  EXPECT_TRUE(std::count(single.begin(), single.end(), -1) > 0 && std::count(single.begin(), single.end(), 2) > 0);
  std::vector<std::int8_t> statuses(n), expected(n);
  b.transform.locationStatus(art.data(), n, expected.data());
  for (int count : {1, 2, 3, 0}) {
    seg.findSegment(art.data(), n, found.data(), 1e-3, Threads{count});
    EXPECT_EQ(found, single) << count;
    std::fill(found.begin(), found.end(), 7);
    seg.findSegment(art.data(), n, found.data(), statuses.data(), 1e-3, Threads{count});
    EXPECT_EQ(found, single) << count;
    EXPECT_EQ(statuses, expected) << count;
  }
  // Errors come before any write.
  std::vector<int> untouched(4, 7);
  EXPECT_THROW(seg.findSegment(art.data(), 4, untouched.data(), std::nan(""), TurboTransform::ListOptions()),
               qor::data::invalid);
  EXPECT_THROW(seg.findSegment(art.data(), 4, nullptr, 1e-3, TurboTransform::ListOptions()), qor::data::invalid);
  Out out(4, P3(9, 9, 9));
  const TurboTransform::ListOptions bad = Threads{-1}, one;
  EXPECT_THROW(seg.convertARTtoSpaceNspan(1, Seg::m, art.data(), 4, out.data(), bad), qor::data::invalid);
  EXPECT_THROW(seg.convertSpaceNspanToART(1, Seg::m, out.data(), uv.data(), 4, bad), qor::data::invalid);
  EXPECT_THROW(seg.convertSpaceNspanToART(3, Seg::m, out.data(), uv.data(), 4, one), qor::internal::error);
  EXPECT_THROW(seg.convertARTtoSpaceNspan(1, static_cast<Seg::spaceSeg>(4), art.data(), 4, out.data(), one),
               qor::data::invalid);
  EXPECT_THROW(seg.convertARTtoSpaceNspan(1, Seg::m, out.data(), 4, out.data() + 2, one), qor::data::invalid);
  EXPECT_THROW(seg.convertSpaceNspanToART(1, Seg::m, nullptr, uv.data(), 4, one), qor::data::invalid);
  EXPECT_THROW(seg.findSegment(art.data(), 4, untouched.data(), 1e-3, bad), qor::data::invalid);
  EXPECT_EQ(untouched, std::vector<int>(4, 7));
  EXPECT_TRUE(same(out, Out(4, P3(9, 9, 9))));
  Seg unset(&b.transform, Seg::mergedSpan);
  EXPECT_THROW(unset.convertSpaceNspanToART(0, Seg::m, out.data(), uv.data(), 4, one), qor::internal::error);
  EXPECT_THROW(unset.findSegment(art.data(), 4, untouched.data(), 1e-3, one), qor::internal::error);
}

}  // namespace
