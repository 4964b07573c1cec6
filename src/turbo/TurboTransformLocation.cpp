/// @file
/// Point location in the background mesh, the public operations: the nearest node, the cells
/// around it and the best cell with the local coordinates (s, t) of a point; and the view of the
/// mesh that the location code works on.

#include "foundation/Assert.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformLocate.h"
#include "turbo/TurboTransformState.h"

namespace qor {
namespace turbo_detail {

void cellDirections(const TripletBase<float>* points, const Location& cell,
                    TripletBase<float>& streamwise, TripletBase<float>& spanwise) {
  const TripletBase<float>&a = points[cell.c0], &b = points[cell.c1], &c = points[cell.c2],
                          &d = points[cell.c3];
  streamwise = ((b + d) - (a + c)) * 0.5;
  spanwise = ((c + d) - (a + b)) * 0.5;
  const float ls = streamwise.length();
  if (ls != 0.0f) streamwise /= ls;
  const float lt = spanwise.length();
  if (lt != 0.0f) spanwise /= lt;
}

}  // namespace turbo_detail

turbo_detail::MeshView turbo_detail::viewOf(const Topo2dMultiLevel& topo,
                                            const QORVector<TripletBase<float>>& points,
                                            const QuadtreeBucket* tree,
                                            const turbo_detail::NodeGrid* grid) {
  const Topo2dBase& level = topo.getLevel(0);
  QOR_ASSERT(level.getSize() <= 0 || static_cast<std::size_t>(level.end()) <= points.size(),
             "the background mesh has a node for every index of its topology");
  turbo_detail::MeshView v;
  v.points = points.data();
  v.count = points.size();
  v.begin = level.begin();
  v.jsize = level.getJsize();
  v.rowsPerNode = v.jsize > 0 ? 1.0 / v.jsize : 0.0;
  v.icv = level.getIcv();
  v.jcv = level.getJcv();
  v.tree = tree;
  v.grid = (grid != nullptr && !grid->empty()) ? grid : nullptr;
  v.tests = (v.grid != nullptr) ? v.grid->cellTests(v.icv, v.jcv) : nullptr;
  v.safeNodes = v.grid != nullptr && v.grid->safeNodes();
  return v;
}


turbo_detail::MeshView turbo_detail::viewOf(const MeshState& mesh, bool noQuadtree,
                                            bool exactWalls) {
  MeshView view = viewOf(*mesh.topo, mesh.points, noQuadtree ? nullptr : mesh.quadtree.get(),
                         noQuadtree ? nullptr : &mesh.grid);
  if (exactWalls) view.walls = &mesh.walls;
  return view;
}

void TurboTransform::setExactWalls(bool on) {
  m_exactWalls = on;
  m_inverseCache->clear();
}

bool TurboTransform::getExactWalls() const { return m_exactWalls; }

int TurboTransform::getClosestIndex(const TripletBase<float>& point) const {
  if (m_noQuadtree || !m_mesh || !m_mesh->quadtree) return getClosestIndexBruteForce(point);
  return static_cast<int>(m_mesh->quadtree->findNearestPoint(point));
}

int TurboTransform::getClosestIndexBruteForce(const TripletBase<float>& point) const {
  if (!m_mesh) return 0;  // what the scan of no nodes gives
  return turbo_detail::nearestNodeBruteForce(m_mesh->points.data(), m_mesh->points.size(), point);
}

int TurboTransform::findClosestElements(const TripletBase<float>& point, int cells[4][2]) const {
  turbo_detail::requireMesh(m_mesh, "findClosestElements");
  const turbo_detail::MeshView view =
      turbo_detail::viewOf(*m_mesh->topo, m_mesh->points, nullptr, nullptr);
  const turbo_detail::Candidates around =
      turbo_detail::candidatesAround(view, getClosestIndex(point));
  for (int k = 0; k < around.count; ++k) {
    cells[k][0] = around.i[k];
    cells[k][1] = around.j[k];
  }
  return around.count;
}

void TurboTransform::getBestQuad(const TripletBase<float>& point, int& corner0, int& corner1,
                                 int& corner2, int& corner3, float& s, float& t) const {
  turbo_detail::requireMesh(m_mesh, "getBestQuad");
  // The cell's own local coordinates, exact walls or not.
  turbo_detail::MeshView view =
      turbo_detail::singlePointView(turbo_detail::viewOf(*m_mesh, m_noQuadtree, m_exactWalls));
  view.walls = nullptr;
  turbo_detail::Location loc;
  turbo_detail::locate(view, point, loc);
  corner0 = loc.c0;
  corner1 = loc.c1;
  corner2 = loc.c2;
  corner3 = loc.c3;
  s = loc.s;
  t = loc.t;
}

}  // namespace qor