// Segmenter on the real machines of the data directory (QOR_DATA_DIR) that give blade leading- and
// trailing-edge lines, with the library's defaults and with exact boundaries and walls.

#include <numeric>

#include "support/Passages.h"
#include "support/SegmentChecks.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using Seg = qor::TurboTransformSegmenter;

constexpr int kEdgePoints = 50;

/// A blade edge with points added evenly along each chord (the given points kept): the segmenter
/// interpolates span linearly between the points it is given, which the few points of a measured
/// edge do not resolve.
std::vector<P3> dense(const std::vector<P3>& edge) {
  std::vector<P3> out = {edge.front()};
  const int pieces = kEdgePoints / static_cast<int>(edge.size() - 1);
  for (std::size_t k = 0; k + 1 < edge.size(); ++k) {
    for (int q = 1; q <= pieces; ++q) out.push_back(edge[k] + (edge[k + 1] - edge[k]) * (float(q) / pieces));
    out.back() = edge[k + 1];
  }
  return out;
}

/// Every given point of every edge: inside the passage (unless it lies beyond a wall by more than
/// the 1e-4 of span that exact walls count as on it: the LE and TE hub points of the normalised
/// Rotor 37 lie 2e-4 below its hub streamline), in one of the two segments beside its edge, and
/// at u = 0 (segment east of it) and 1 (west of it) within 1e-3 in every space.
void expectGivenPointsExact(const TurboTransform& t, const Seg& seg, const std::vector<std::vector<P3>>& edges) {
  constexpr double kEdgeTol = 1e-3;
  std::vector<int> segments;
  std::vector<P3> uv;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    SCOPED_TRACE(::testing::Message() << "edge " << e);
    const std::vector<P3>& given = edges[e];
    const int east = static_cast<int>(e) + 1;
    segments.resize(given.size());
    seg.findSegment(given.data(), given.size(), segments.data(), 1e-3, TurboTransform::ListOptions());
    for (std::size_t k = 0; k < given.size(); ++k) {
      const double eta = t.convertARTtoSpace(TurboTransform::nspan, given[k]);
      if (eta >= -1e-4 && eta <= 1 + 1e-4) {
        EXPECT_EQ(t.locationStatus(given[k]), TurboTransform::inside) << "point " << k;
      }
      EXPECT_TRUE(segments[k] == east || segments[k] == east - 1) << "point " << k << ": " << segments[k];
    }
    for (Seg::spaceSeg k : {Seg::m, Seg::nm, Seg::rnm, Seg::mprime}) {
      for (const int west : {0, 1}) {  // u = 0 in the segment east of the edge, 1 in the one west of it
        seg.convertARTtoSpaceNspan(east - west, k, given, uv);
        for (std::size_t j = 0; j < uv.size(); ++j) EXPECT_NEAR(uv[j][0], west, kEdgeTol) << "point " << j << " " << k;
      }
    }
  }
}

/// How far u may stray from 0 or 1 on the boundary lines. A line point is placed at a span value by
/// interpolating linearly between the edge's points, but span is not linear along a chord of the
/// edge: the point's own span differs from the value it stands for by up to dEta, the largest
/// departure of span from linear along the chords. The conversion then reads the boundary's value
/// x at the wrong span, which moves u by dEta |dx/d(span)| / width. The bound takes, per edge chord
/// and space, its dEta and slope over the smaller width of the two segments beside the edge; 1e-4
/// covers the single-precision values.
double boundaryTolerance(const TurboTransform& t, const Seg& seg, const std::vector<std::vector<P3>>& edges) {
  const qor::QORVector<TurboTransform::space> spaces = {TurboTransform::m, TurboTransform::nm, TurboTransform::rnm,
                                                        TurboTransform::mprime};
  auto values = [&](const std::vector<P3>& points) {
    qor::QORVector<std::vector<float>> v;
    t.convertARTtoSpace(qor::TripletQORVector(points), spaces, v);
    return v;
  };
  double bound = 0.0;
  for (std::size_t e = 0; e < edges.size(); ++e) {
    const int s = static_cast<int>(e) + 1;  // the edge is the west line of segment s
    const auto west = values(seg.getInternalBoundaryWest(s)), east = values(seg.getInternalBoundaryEast(s));
    const auto before = values(seg.getInternalBoundaryWest(s - 1));
    std::vector<P3> mids;
    std::vector<P3> c = edges[e];
    // Span along a chord is not quadratic near a wall measured from its curve: quarter points too.
    const float quarters[3] = {0.25f, 0.5f, 0.75f};
    for (std::size_t k = 0; k + 1 < c.size(); ++k) {
      for (float w : quarters) mids.push_back(c[k] + (c[k + 1] - c[k]) * w);
    }
    const auto at = values(c);
    std::vector<float> eta, etaMid;
    t.convertARTtoSpace(TurboTransform::nspan, c, eta);
    t.convertARTtoSpace(TurboTransform::nspan, mids, etaMid);
    for (std::size_t k = 0; k < spaces.size(); ++k) {
      double width = 1e300;
      for (std::size_t j = 0; j < west[k].size(); ++j) {
        width = std::min({width, std::fabs(double(east[k][j]) - west[k][j]), std::fabs(double(west[k][j]) - before[k][j])});
      }
      for (std::size_t j = 0; j + 1 < c.size(); ++j) {
        double dEta = 0.0;
        for (int q = 0; q < 3; ++q) {
          const double w = quarters[q];
          dEta = std::max(dEta, std::fabs(etaMid[3 * j + q] - ((1 - w) * eta[j] + w * eta[j + 1])));
        }
        const double slope = std::fabs(double(at[k][j + 1]) - at[k][j]) / (std::fabs(double(eta[j + 1]) - eta[j]) + 1e-12);
        bound = std::max(bound, dEta * slope / width);
      }
    }
  }
  return bound + 1e-4;
}

TEST(TurboTransformSegmenterRealData, bladeEdgesSplitEveryMachineIntoSegments) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  int machines = 0;
  for (const std::string& name : qortest::dataCases()) {
    // The blade edges (rows: edge name, point, axial, radius) in file order, each hub to shroud.
    std::vector<std::vector<P3>> given, curves;
    std::string edgeName;
    for (const auto& row : qortest::readCsv(qortest::dataDir() + "/" + name + "/internal_boundaries.csv")) {
      if (row.size() < 4) continue;
      if (given.empty() || row[0] != edgeName) given.emplace_back();
      edgeName = row[0];
      given.back().emplace_back(std::stof(row[2]), std::stof(row[3]), 0.0f);
    }
    if (given.empty()) continue;
    SCOPED_TRACE(name);
    ++machines;
    const qortest::Passage p = qortest::loadCase(name);
    TurboTransform t;
    qortest::initializeART(t, p);
    t.createBackgroundMesh(TurboTransform::nonLinear, 2000);

    // Inlet-to-outlet order by the mean rnm of the given points.
    auto meanRnm = [&](std::vector<P3> c) {
      std::vector<float> v;
      t.convertARTtoSpace(TurboTransform::rnm, c, v);
      return std::accumulate(v.begin(), v.end(), 0.0) / v.size();
    };
    std::stable_sort(given.begin(), given.end(), [&](const auto& a, const auto& b) { return meanRnm(a) < meanRnm(b); });
    for (const auto& edge : given) curves.push_back(dense(edge));
    const int n = static_cast<int>(curves.size());
    for (const auto& [method, exact] : {std::pair(Seg::mergedSpan, false), std::pair(Seg::backgroundMeshSpan, false),
                                        std::pair(Seg::mergedSpan, true), std::pair(Seg::backgroundMeshSpan, true)}) {
      SCOPED_TRACE(::testing::Message() << "method " << method << " exact " << exact);
      // The library's defaults, then exact boundaries with exact walls, as the tool sets them.
      t.setExactWalls(exact);
      Seg seg(&t, method);
      EXPECT_FALSE(seg.getExactBoundaries());
      seg.setExactBoundaries(exact);
      seg.setInternalBoundaries(curves, std::vector<bool>(curves.size(), true));
      if (exact) expectGivenPointsExact(t, seg, given);
      ASSERT_EQ(seg.getLastSegmentID(), n);
      const double tolerance = boundaryTolerance(t, seg, curves);
      qortest::checkSegmentCoordinates(seg, t, tolerance, false);
      // The boundary lines follow each other downstream on the hub: the whole-passage rnm rises.
      for (int s = 1; s <= n; ++s) {
        EXPECT_LT(
            t.convertARTtoSpace(TurboTransform::rnm, seg.getInternalBoundaryWest(s - 1).front()),
            t.convertARTtoSpace(TurboTransform::rnm, seg.getInternalBoundaryWest(s).front()))
            << "boundary " << s;
      }
    }
  }
  EXPECT_GT(machines, 0) << "no machine with internal_boundaries.csv under " << qortest::dataDir();
}

}  // namespace
