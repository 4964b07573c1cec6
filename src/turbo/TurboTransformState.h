#pragma once
/// @file
/// The finished background mesh of a `TurboTransform` as one immutable state, and the building
/// steps that make it. Internal; never installed.
///
/// A mesh state is built whole, aside, and then published by swapping the transform's one
/// `std::shared_ptr<const MeshState>`: a failure while building leaves the published state as it
/// was, copies of a transform share the state, and any number of threads may read it (the array
/// forms do, without locks). Nothing in a published state changes again.

#include <memory>
#include <vector>

#include "qor/foundation/QORVector.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/foundation/TripletBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformLocate.h"

namespace qor {
namespace turbo_detail {

/// The finished background mesh and everything derived from it.
struct MeshState {
  /// One level, level 0, starting at global index 0: i inlet (0) to outlet (icv), j hub (0) to
  /// shroud (jcv), j fast.
  std::shared_ptr<const Topo2dMultiLevel> topo;
  /// The nodes (axial, radial, third component as the curves gave it), by global index.
  QORVector<TripletBase<float>> points;
  /// Nearest-node searches over `points`; both empty when the transform that built the state
  /// was constructed under QOR_NO_QUADTREE (the searches then scan all nodes).
  std::shared_ptr<const QuadtreeBucket> quadtree;
  NodeGrid grid;
  /// The wall curves between the wall nodes, used with exact walls.
  WallFit walls;
  /// The eight coordinate fields, by `TurboTransform::space`: per node (i-major, j fast), except
  /// nspan (one value per j line) and rnm (one per i row).
  std::vector<std::vector<double>> fields;
};

/// Throws internal::nullPointer for `function` when no mesh has been built (`mesh` is null).
void requireMesh(const std::shared_ptr<const MeshState>& mesh, const char* function);

/// Computes the eight fields of `mesh` from its topology and nodes (m, m', span, their normalised
/// forms, rnm and the scaled m').
void calculateSpaces(MeshState& mesh);
void calculateMprime(MeshState& mesh);
void calculateMprimeScaled(MeshState& mesh);
void calculateSpan(MeshState& mesh);
void calculateM(MeshState& mesh);

/// Builds the nearest-node searches of `mesh` (unless `noQuadtree`) and the fit of the hub and
/// shroud curves (inlet to outlet) to its wall nodes.
void buildSearches(MeshState& mesh, bool noQuadtree, const QORVector<TripletBase<float>>& hub,
                   const QORVector<TripletBase<float>>& shroud);

/// The view of a published state that the location code works on; `exactWalls` selects the wall
/// fit, `noQuadtree` the scan.
MeshView viewOf(const MeshState& mesh, bool noQuadtree, bool exactWalls);

/// Bracket of x in ascending `values`: values[lo] + w (values[hi] - values[lo]) = x, clamped to
/// the ends (the rule of `TurboTransform::interpolateOnDouble`).
void interpolateOnDouble(const std::vector<double>& values, double x, int& lo, int& hi, double& w);

/// Lines of constant space cut from the mesh (TurboTransformIsoLines.cpp): normalised span `ns`
/// (one point per i row, inlet to outlet), nm value `v` and rnm value `r` (one point per j line,
/// hub to shroud); and the points of the line of normalised span `spanValue` with the values of
/// space `s` along it, ascending.
void getConstantSpaceNspan(const MeshState& mesh, double ns, QORVector<TripletBase<float>>& curve);
void getConstantSpaceNm(const MeshState& mesh, double v, QORVector<TripletBase<float>>& curve);
void getConstantSpaceRnm(const MeshState& mesh, double r, QORVector<TripletBase<float>>& curve);
void getSpaceOnConstantSpan(const MeshState& mesh, TurboTransform::space s, double spanValue,
                            QORVector<double>& values, QORVector<TripletBase<float>>& points);

/// The one-entry cache of the inverse conversions: the values of one space along the mesh line of
/// one normalised span, so that converting many points of one span is cheap. One per transform,
/// never shared: a copy of a transform starts with an empty cache of its own (the array form of
/// the inverse keeps none at all).
class InverseCache {
 public:
  /// The cached line of `space` at normalised span `span`, or null when it holds another or none.
  const QORVector<double>* find(int space, double span) const {
    return m_valid && m_space == space && m_span == span ? &m_line : nullptr;
  }
  /// Starts a new line to be filled: until `hold`, the cache holds nothing, so a failure part-way
  /// leaves no half-built line behind.
  QORVector<double>& refill() {
    m_valid = false;
    return m_line;
  }
  /// The line filled since `refill` holds the values of `space` at `span`.
  const QORVector<double>& hold(int space, double span) {
    m_space = space;
    m_span = span;
    m_valid = true;
    return m_line;
  }
  /// Forgets the line (a new mesh, new fields or exact walls switched).
  void clear() { m_valid = false; }

 private:
  QORVector<double> m_line;
  double m_span = -1.0;
  int m_space = 0;
  bool m_valid = false;
};

}  // namespace turbo_detail
}  // namespace qor
