// Background mesh of TurboTransform: sizing from the requested node count, the linear and the
// smoothed construction, equal spacing along spanwise lines, and the fold check.

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "foundation/MemoryBudget.h"
#include "foundation/ParallelFor.h"
#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/smoothing/Smooth2dbs.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/IntegerMath.h"
#include "turbo/MeridionalPlane.h"
#include "turbo/TurboTransformAccess.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

const char* const kClass = "TurboTransform";

using Access = turbo_detail::TurboTransformAccess;

// Smallest background mesh accepted: 2 x 2 nodes.
constexpr int kMinimumMeshSize = 4;

std::size_t at(int index) { return static_cast<std::size_t>(index); }

constexpr std::size_t kSpaceCount = 8;

// Peak memory of building a background mesh, per node of all levels: the nodes, the eight fields,
// the previous mesh kept until the new one succeeds, the smoother's work arrays and the search
// structures (about 200 bytes measured for the linear and 235 for the smoothed method).
constexpr double kBytesPerNode = 256.0;

// Refuses, before anything is allocated, a mesh whose nodes overflow the int index of the
// topology or cannot fit in memory. ni and nj are the cells of the coarsest of `levels` levels.
void requireMeshFits(int size, int levels, int ni, int nj) {
  std::int64_t nodes = 0;
  for (int level = 0; level < levels && nodes <= INT_MAX; ++level) {
    const std::int64_t scale = std::int64_t(1) << std::min(level, 30);
    nodes += (std::int64_t(ni) * scale + 1) * (std::int64_t(nj) * scale + 1);
  }
  if (nodes > INT_MAX) {
    throw data::invalid(kClass, "createBackgroundMesh",
                        SystemMsg("Background mesh size %1 needs more than %2 nodes, beyond the "
                                  "index range.")
                            << size << INT_MAX,
                        errorType::fatal);
  }
  memory_detail::requireMemory(
      kClass, "createBackgroundMesh",
      SystemMsg("Background mesh size %1 (%2 nodes)") << size << static_cast<long long>(nodes),
      double(nodes) * kBytesPerNode);
}

// Node on the straight spanwise line between the hub node s and the shroud node n.
TripletBase<float> between(const TripletBase<float>& s, const TripletBase<float>& n, int j,
                           int jcv) {
  return (n * j) / jcv + (s * (jcv - j)) / jcv;
}

// What the mesh construction reads of the transform: its meridional curves, the names of the end
// lines and walls in the projection database, and that database.
struct Passage {
  const QORVector<TripletBase<float>>& hub;
  const QORVector<TripletBase<float>>& shroud;
  const QORVector<TripletBase<float>>& inlet;
  const QORVector<TripletBase<float>>& outlet;
  const std::vector<std::string>& names;
  const ParametricDBInterface* db;
};

// 1 when more than 1 cell in 20 of the mesh is folded (turns the other way than the majority).
int foldIndicator(const turbo_detail::MeshState& mesh) {
  const Topo2dBase& level = mesh.topo->getLevel(0);
  const QORVector<TripletBase<float>>& nodes = mesh.points;
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  long long positive = 0;
  long long negative = 0;
  // The cells of the first column are not examined (kept for compatibility).
  for (int i = 1; i < icv; ++i) {
    for (int j = 0; j < jcv; ++j) {
      const TripletBase<float>& a = nodes.at(at(level.getij(i, j)));
      const TripletBase<float>& b = nodes.at(at(level.getij(i + 1, j)));
      const TripletBase<float>& c = nodes.at(at(level.getij(i, j + 1)));
      const TripletBase<float>& d = nodes.at(at(level.getij(i + 1, j + 1)));
      const float eix = ((b[0] + d[0]) - (a[0] + c[0])) * 0.5f;
      const float eiy = ((b[1] + d[1]) - (a[1] + c[1])) * 0.5f;
      const float ejx = ((c[0] + d[0]) - (a[0] + b[0])) * 0.5f;
      const float ejy = ((c[1] + d[1]) - (a[1] + b[1])) * 0.5f;
      const float cross = eix * ejy - eiy * ejx;
      if (cross >= 0.0f) {
        ++positive;
      } else {
        ++negative;
      }
    }
  }
  const double total = static_cast<double>(std::max<long long>(positive + negative, 1));
  const double p = static_cast<double>(positive) / total;
  const double n = static_cast<double>(negative) / total;
  // The minority share is rounded to float before the comparison, so exactly 1 cell in 20 counts
  // as folded (kept for compatibility).
  const float minority = static_cast<float>(p <= n ? p : n);
  return double(minority) > 0.05 ? 1 : 0;
}
}  // namespace

// ---- entry points --------------------------------------------------------------------------

int TurboTransform::createBackgroundMesh(BMmethod method, BMsize size) {
  return createBackgroundMesh(method, static_cast<int>(size));
}

int TurboTransform::createBackgroundMesh(BMmethod method, int size) {
  Access::resetFields(*this);
  m_backgroundMeshSize = size;
  if (method != linear && method != nonLinear) {
    throw internal::error(kClass, "createBackgroundMesh",
                          SystemMsg("Unrecognised Method for creation of BM mesh."),
                          errorType::fatal);
  }
  if (!m_projectionDB || m_curveNames.size() != 4) {
    throw internal::nullPointer(kClass, "createBackgroundMesh",
                                SystemMsg("Null pointer to %1.") << "m_projectionDB",
                                errorType::fatal);
  }
  // A mesh needs at least 2 x 2 nodes; a smaller or negative request is refused instead of being
  // sized from the square root of a negative number. The requested size stays stored, as it does
  // for an unknown method.
  if (size < kMinimumMeshSize) {
    throw data::invalid(kClass, "createBackgroundMesh",
                        SystemMsg("Background mesh size %1 too small; at least %2 nodes needed.")
                            << size << kMinimumMeshSize,
                        errorType::fatal);
  }
  if (method == nonLinear && m_numberOfLevelsForBM < 1) {
    throw data::invalid(kClass, "createBackgroundMesh",
                        SystemMsg("Number of background mesh levels %1 invalid; at least 1 needed.")
                            << m_numberOfLevelsForBM,
                        errorType::fatal);
  }

  // The new mesh is built whole, aside, and published by one swap: a failure anywhere below
  // leaves the previous mesh, fields and searches in place.
  try {
    auto next = std::make_shared<turbo_detail::MeshState>();
    if (method == linear) {
      Access::buildLinear(*this, *next);
    } else {
      Access::buildNonLinear(*this, *next);
    }
    turbo_detail::calculateSpaces(*next);
    turbo_detail::buildSearches(*next, m_noQuadtree, m_hub, m_shroud);
    std::shared_ptr<const turbo_detail::MeshState> previous = std::move(m_mesh);
    m_mesh = std::move(next);
    if (std::getenv("QOR_OUTPUT_BACKGROUND_MESH") != nullptr) {
      try {
        exportFinalMeshToPostSurface("final.msh");
      } catch (...) {
        m_mesh = std::move(previous);
        throw;
      }
    }
  } catch (const std::bad_alloc&) {
    // Memory that runs out in spite of the check above still reaches the caller in the library's
    // family, naming the request.
    throw data::invalid(kClass, "createBackgroundMesh",
                        SystemMsg("Background mesh size %1 could not be built: out of memory.")
                            << size,
                        errorType::fatal);
  } catch (const std::length_error&) {
    throw data::invalid(kClass, "createBackgroundMesh",
                        SystemMsg("Background mesh size %1 needs more than %2 nodes, beyond the "
                                  "index range.")
                            << size << INT_MAX,
                        errorType::fatal);
  }
  m_spaceComputed.assign(kSpaceCount, true);
  return foldIndicator(*m_mesh);
}

void TurboTransform::getBackgroundMesh(std::vector<TripletBase<float>>& points, int& isize,
                                       int& jsize) const {
  turbo_detail::requireMesh(m_mesh, "getBackgroundMesh");
  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  isize = level.getIsize();
  jsize = level.getJsize();
  points.resize(at(level.getSize()));
  for (int k = 0; k < level.getSize(); ++k) {
    points[at(k)] = m_mesh->points.at(at(level.begin() + k));
  }
}

namespace turbo_detail {

void buildSearches(MeshState& mesh, bool noQuadtree, const QORVector<TripletBase<float>>& hub,
                   const QORVector<TripletBase<float>>& shroud) {
  const MeshView plain = turbo_detail::viewOf(*mesh.topo, mesh.points, nullptr, nullptr);
  if (!noQuadtree) {
    auto quadtree = std::make_shared<QuadtreeBucket>();
    quadtree->construct(mesh.points);
    mesh.quadtree = std::move(quadtree);
    mesh.grid.build(mesh.points.data(), mesh.points.size());
    mesh.grid.buildCellTests(plain);
  }
  mesh.walls = fitWalls(plain, hub, shroud);
}

}  // namespace turbo_detail

// ---- sizing ----------------------------------------------------------------------------------

namespace {

// Cells ni x nj of the coarsest of `levels` levels for about `meshSize` nodes on the finest,
// shared between i and j as the mean lengths of the end lines and of the walls.
void estimateMeshSize(const Passage& passage, int meshSize, int levels, int& ni, int& nj) {
  ParametricDB db;
  db.createCurve("w_mp", inMeridionalPlane(passage.inlet), ParametricCurve::curve2d);
  db.createCurve("e_mp", inMeridionalPlane(passage.outlet), ParametricCurve::curve2d);
  db.createCurve("s_mp", inMeridionalPlane(passage.hub), ParametricCurve::curve2d);
  db.createCurve("n_mp", inMeridionalPlane(passage.shroud), ParametricCurve::curve2d);
  const std::vector<std::string>& names = passage.names;

  const int s = truncToInt(std::sqrt(static_cast<float>(meshSize)));
  const long long nodes = static_cast<long long>(s) * s;
  // In double: 4^(levels-1) overflows an int from 17 levels on.
  const double q = integerPower(4.0, levels - 1);
  const float g = std::sqrt(static_cast<float>(static_cast<double>(nodes) / q));

  const double a = (db.getLength(names[0]) + db.getLength(names[1])) / 2.0;
  const double b = (db.getLength(names[2]) + db.getLength(names[3])) / 2.0;
  const double r = std::sqrt(a * b);
  ni = truncToInt(double(g) * b / r);
  nj = truncToInt(double(g) * a / r);
  if (ni < 2) ni = 2;
  if (nj < 2) nj = 2;
  // A passage far longer than wide (or the reverse) would get its short side raised to 2 cells
  // while the long side keeps its share, which can exceed the requested budget by orders of
  // magnitude (an outlet of 1e16 against a hub of 2 asks for 10^8 cells). Each side is therefore
  // capped at g^2 / 2 cells, so that a 2-cell short side keeps the level within about g^2 cells.
  const int cap = std::max(2, truncToInt(0.5 * double(g) * double(g)));
  ni = std::min(ni, cap);
  nj = std::min(nj, cap);
}

// The nodes of the end lines and the walls of level 0 of `topo` on the curves, the interior of
// level 0 on straight spanwise lines between the walls; finer levels stay at the origin for the
// smoother to fill.
void initMesh(QORVector<TripletBase<float>>& points, const Topo2dMultiLevel& topo,
              const Passage& passage) {
  const Topo2dBase& level = topo.getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const ParametricDBInterface* db = passage.db;
  const std::vector<std::string>& names = passage.names;
  Smooth2dbs::setMeshPointsOnCurve(level, points, db, names.at(0), 0, 0, 1, jcv - 1);
  Smooth2dbs::setMeshPointsOnCurve(level, points, db, names.at(1), icv, icv, 1, jcv - 1);
  Smooth2dbs::setMeshPointsOnCurve(level, points, db, names.at(2), 0, icv, 0, 0);
  Smooth2dbs::setMeshPointsOnCurve(level, points, db, names.at(3), 0, icv, jcv, jcv);
  if (icv < 2) return;
  for (int i = 1; i < icv; ++i) {
    const TripletBase<float> south = points.at(at(level.getij(i, 0)));
    const TripletBase<float> north = points.at(at(level.getij(i, jcv)));
    for (int j = 1; j < jcv; ++j) points.at(at(level.getij(i, j))) = between(south, north, j, jcv);
  }
}

// Equal spacing along every spanwise line of `next`, the end lines put back onto the inlet and
// the outlet.
void reAdjustMesh(turbo_detail::MeshState& next, const Passage& passage) {
  const Topo2dBase& level = next.topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  const double dt = 1.0 / jcv;

  QORVector<TripletBase<float>> adjusted(at(level.getSize()), TripletBase<float>());
  ParametricDB lineDB;
  std::vector<TripletBase<float>> line(at(jcv + 1));
  for (int i = 0; i <= icv; ++i) {
    for (int j = 0; j <= jcv; ++j) line[at(j)] = next.points.at(at(level.getij(i, j)));
    lineDB.createCurve("tmpCurve", line, ParametricCurve::curve2d);
    static_cast<void>(lineDB.getLength("tmpCurve"));
    adjusted.at(at(level.getij(i, 0))) = line.front();
    for (int j = 1; j < jcv; ++j) {
      TripletBase<float> p(lineDB.getPointAtParameter("tmpCurve", j * dt));
      if (i == 0) {
        p = passage.db->projectPoint(passage.names.at(0), p);
      } else if (i == icv) {
        p = passage.db->projectPoint(passage.names.at(1), p);
      }
      adjusted.at(at(level.getij(i, j))) = p;
    }
    adjusted.at(at(level.getij(i, jcv))) = line.back();
  }
  next.points.swap(adjusted);
}

}  // namespace

// ---- linear method ---------------------------------------------------------------------------

void Access::buildLinear(const TurboTransform& t, turbo_detail::MeshState& next) {
  const Passage passage{t.m_hub,    t.m_shroud,     t.m_inlet,
                        t.m_outlet, t.m_curveNames, t.m_projectionDB.get()};
  int ni = 0;
  int nj = 0;
  estimateMeshSize(passage, t.m_backgroundMeshSize, 1, ni, nj);
  requireMeshFits(t.m_backgroundMeshSize, 1, ni, nj);

  auto topo = std::make_shared<Topo2dMultiLevel>(1, ni, nj);
  const Topo2dBase& level = topo->getLevel(0);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  QORVector<TripletBase<float>> points(at(level.getSize()), TripletBase<float>());

  Smooth2dbs::setMeshPointsOnCurve(level, points, passage.db, passage.names.at(2), 0, icv, 0, 0);
  Smooth2dbs::setMeshPointsOnCurve(level, points, passage.db, passage.names.at(3), 0, icv, jcv,
                                   jcv);
  // The inlet and outlet curves are not used: the end lines run straight from hub to shroud.
  for (int i = 0; i <= icv; ++i) {
    const TripletBase<float> south = points.at(at(level.getij(i, 0)));
    const TripletBase<float> north = points.at(at(level.getij(i, jcv)));
    for (int j = 1; j < jcv; ++j) points.at(at(level.getij(i, j))) = between(south, north, j, jcv);
  }

  next.topo = std::move(topo);
  next.points.swap(points);
}

// ---- smoothed method -------------------------------------------------------------------------

void Access::buildNonLinear(TurboTransform& t, turbo_detail::MeshState& next) {
  const Passage passage{t.m_hub,    t.m_shroud,     t.m_inlet,
                        t.m_outlet, t.m_curveNames, t.m_projectionDB.get()};
  int levels = t.m_numberOfLevelsForBM;
  int ni = 0;
  int nj = 0;
  estimateMeshSize(passage, t.m_backgroundMeshSize, levels, ni, nj);
  // The coarsest level needs at least 4 cells each way; levels are dropped until it has them.
  if (std::min(ni, nj) < 4 && levels > 1) {
    do {
      --levels;
      estimateMeshSize(passage, t.m_backgroundMeshSize, levels, ni, nj);
    } while (std::min(ni, nj) < 4 && levels > 1);
    t.m_numberOfLevelsForBM = levels;
    estimateMeshSize(passage, t.m_backgroundMeshSize, levels, ni, nj);
  }

  requireMeshFits(t.m_backgroundMeshSize, levels, ni, nj);
  Topo2dMultiLevel topo(levels, ni, nj);
  QORVector<TripletBase<float>> points(at(topo.getAllSize()), TripletBase<float>());
  initMesh(points, topo, passage);
  {
    Smooth2dbs smoother;
    smoother.setmtopo(points, topo, t.m_projectionDB.get());
    smoother.addgeoName(t.m_curveNames);
    smoother.setbcgeoIDmAll(Smooth2dbs::smoothed, 0);
    smoother.setbcgeoIDmWest(Smooth2dbs::onCurve, 0);
    smoother.setbcgeoIDmEast(Smooth2dbs::onCurve, 1);
    smoother.setbcgeoIDSouth(Smooth2dbs::onCurve, 2);
    smoother.setbcgeoIDNorth(Smooth2dbs::onCurve, 3);
    // The corners stay where they are and belong to the hub (South) and the shroud (North).
    smoother.setbcgeoIDsw(Smooth2dbs::pinned, 2);
    smoother.setbcgeoIDse(Smooth2dbs::pinned, 2);
    smoother.setbcgeoIDnw(Smooth2dbs::pinned, 3);
    smoother.setbcgeoIDne(Smooth2dbs::pinned, 3);
    smoother.setUnderRelaxation(0.8, 0.6, 0.4);
    smoother.setSpreadIterationSqr(200, 30);
    smoother.setNumberOfThreads(t.m_threadsForBM);
    smoother.setClosedFormBisection(t.m_closedFormSmoothing);
    smoother.runSmoothAll();
  }

  // Only the finest level is kept, renumbered from 0.
  const Topo2dBase& finest = topo.getLevel(levels - 1);
  auto finished = std::make_shared<Topo2dMultiLevel>(1, finest.getIcv(), finest.getJcv());
  QORVector<TripletBase<float>> finishedPoints(at(finest.getSize()), TripletBase<float>());
  for (int k = 0; k < finest.getSize(); ++k) {
    finishedPoints[at(k)] = points.at(at(finest.begin() + k));
  }
  next.topo = std::move(finished);
  next.points.swap(finishedPoints);
  reAdjustMesh(next, passage);
}

void TurboTransform::setNumberOfThreadsForBM(int threads) {
  detail::resolveThreads(threads, 0, kClass, "setNumberOfThreadsForBM");  // the check only
  m_threadsForBM = threads;
}

int TurboTransform::getNumberOfThreadsForBM() const { return m_threadsForBM; }

void TurboTransform::setClosedFormSmoothingForBM(bool on) { m_closedFormSmoothing = on; }

bool TurboTransform::getClosedFormSmoothingForBM() const { return m_closedFormSmoothing; }

}  // namespace qor
