#pragma once
/// @file
/// `TurboTransform`: a coordinate system fitted to the meridional flow passage of a turbomachine.
///
/// Set it up from four boundary curves (hub, shroud, inlet, outlet) and the machine axis, build the
/// background mesh, then convert points between Cartesian (x, y, z) or meridional ART coordinates
/// (axial, radial, theta in radians) and the normalised meridional coordinates ("spaces").
///
/// Thread safety: the inverse conversions keep a one-entry cache inside the transform behind const
/// operations, so one transform must not be used from several threads at once. Give each thread its
/// own copy (copies share the immutable finished mesh and are cheap; each has its own cache) or
/// serialise the calls.
/// Distinct transforms are independent. The array forms (those taking `ListOptions`) are the
/// exception: they read the transform without touching the cache (the inverse array form keeps no
/// cache at all), see "Array forms" below.

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"
#include "qor/foundation/TripletQORVector.h"

namespace qor {

class ParametricDBInterface;
namespace turbo_detail {
class InverseCache;
struct MeshState;
struct TurboTransformAccess;
}  // namespace turbo_detail

class QOR_API TurboTransform {
 public:
  /// The coordinate fields computed on the background mesh.
  enum space : int {
    mprime = 0,       ///< m': cumulative integral of dm / r from the inlet (dimensionless)
    span = 1,         ///< nspan times the length of the hub-to-shroud mesh line (length units;
                      ///< not the length walked along the line up to the point)
    m = 2,            ///< meridional length from the inlet (length)
    nmprime = 3,      ///< m' normalised to 0 at the inlet and 1 at the outlet
    nspan = 4,        ///< normalised span, 0 at the hub and 1 at the shroud
    nm = 5,           ///< m normalised to 0 at the inlet and 1 at the outlet
    rnm = 6,          ///< normalised meridional coordinate averaged over the hub-to-shroud line
    mprimeScaled = 7  ///< m' with every streamwise line scaled to the hub line's total
  };
  /// Lines of constant space (`getConstantSpace`): `nspanConst` constant normalised span, one
  /// point per i row from inlet to outlet; `nmConst` constant nm and `rnmConst` constant rnm, one
  /// point per j line from hub to shroud.
  enum constSpace : int { nspanConst = 0, nmConst = 1, rnmConst = 2 };
  /// Background-mesh methods (`createBackgroundMesh`). `linear`: one level, hub and shroud nodes
  /// evenly spaced in curve parameter and each i row straight between them (the inlet and outlet
  /// curves are not used). `nonLinear`: a multi-level smoothed mesh (`Smooth2dbs`) whose boundary
  /// nodes slide on the four curves, corners fixed; the finest level is kept.
  enum BMmethod : int { linear = 0, nonLinear = 1 };
  /// Named background-mesh sizes (requested numbers of nodes).
  enum BMsize : int { BMcoarse = 500, BMmedium = 2000, BMfine = 8000, BMveryFine = 20000 };
  /// Options of the list operations on arrays.
  struct ListOptions {
    /// Threads: 1 = the calling thread only (default), 0 = every hardware thread, n = n.
    /// Lists shorter than a few thousand points per thread stay on the calling thread.
    int threads = 1;
  };
  /// Where a point lies relative to the passage (values fixed: Python exposes them as int8).
  enum location : std::int8_t {
    inside = 0,        ///< in the background mesh or on its boundary lines
    beyondHub = 1,     ///< outside the hub line of the mesh (j = 0)
    beyondShroud = 2,  ///< outside the shroud line (j = last)
    beforeInlet = 3,   ///< upstream of the inlet line (i = 0)
    afterOutlet = 4    ///< downstream of the outlet line (i = last)
  };

  /// No geometry and no mesh: axis through the origin along +z, 3 levels, 2000 nodes requested,
  /// 300 points per curve, one smoothing thread, exact walls and closed-form smoothing off.
  /// Reads the environment variable QOR_NO_QUADTREE once: when it exists (any value), every
  /// nearest-node search of this object scans all nodes instead of using the quadtree.
  TurboTransform();
  /// Copies the curves and settings; the projection database and the finished mesh (nodes,
  /// fields and search structures, all immutable) are shared with the source, and the copy starts
  /// with an empty inverse cache of its own. A later set-up or mesh of either leaves the other
  /// intact.
  TurboTransform(const TurboTransform&);
  /// The same sharing as the copy constructor; this object's inverse cache is emptied.
  TurboTransform& operator=(const TurboTransform&);
  virtual ~TurboTransform();

  // ---- set-up --------------------------------------------------------------------------------
  /// Sets up the passage from Cartesian (XYZ) curves. Hub and shroud run inlet to outlet, inlet and
  /// outlet hub to shroud. Every point becomes (axial, radial, 0) about the axis (point and any
  /// non-negligible direction, XYZ; stored as a unit vector), so theta is lost; each curve is
  /// cleaned (repeated points removed, made continuous) and reduced to getCurveOptimizedSize()
  /// points. Marks the fields stale but keeps any existing background mesh in use until the next
  /// createBackgroundMesh, which must follow for the new passage. Returns 0; every failure is an
  /// exception.
  /// @throws data::invalid, before anything changes, for a curve that is empty ("Curve hub is
  ///         empty."), has fewer than 2 points or only coincident ones, or has a non-finite,
  ///         invalid-mark or too large (above 1e18) coordinate
  /// @throws data::invalid "Axis vector definition insignificant. Axis vector= x,y,z" (function
  ///         "setAxis"), showing the axis kept, not the rejected one (kept for compatibility);
  ///         nothing changes
  /// @throws internal::error "Hub and shroud curves seem to be the same." when hub and shroud
  ///         share their first or their last point; the axis is then already replaced, the curves
  ///         are not
  int initializeFromXYZ(const TripletQORVector& hub, const TripletQORVector& shroud,
                        const TripletQORVector& inlet, const TripletQORVector& outlet,
                        const TripletBase<float>& axisPoint, const TripletBase<float>& axisDirection);
  /// Sets up the passage from (axial, radial, theta in radians) curves about the given axis (XYZ).
  /// For each curve a negative start means ordered points; a value >= 0 means an unordered cloud
  /// whose curve starts at that index (ordered by planar distance outward from that point). Theta
  /// plays no part in the mesh. Otherwise as initializeFromXYZ, with the same errors (the
  /// hub-and-shroud error compares the given points, theta included, and names the function
  /// "initializeFromXYZ", kept for compatibility). Returns 0.
  /// @throws data::invalid "Start index <s> of curve <name> is beyond its <n> points." before
  ///         anything changes
  int initializeFromART(const TripletQORVector& hub, const TripletQORVector& shroud,
                        const TripletQORVector& inlet, const TripletQORVector& outlet,
                        const TripletBase<float>& axisPoint, const TripletBase<float>& axisDirection,
                        int hubStart, int shroudStart, int inletStart, int outletStart);
  /// True after a successful set-up (a failed later set-up does not reset it); `load` sets it as
  /// saved.
  bool isGeometryInitialized() const;
  /// The axis point and the unit axis direction (XYZ); (0, 0, 0) and (0, 0, 1) before a set-up.
  void getAxis(TripletBase<float>& point, TripletBase<float>& direction) const;
  /// Number of points each boundary curve is reduced to (default 300; below 2 counts as 2). Takes
  /// effect at the next set-up.
  void setCurveOptimizedSize(int size);
  int getCurveOptimizedSize() const;
  /// Exact walls (off by default, kept so for compatibility). Off, the forward conversions
  /// interpolate in the background-mesh cells, whose edges along hub and shroud are chords of the
  /// walls: a point on a curved wall comes out off nspan 0 or 1 by up to the chord's sagitta over
  /// the local cell height (up to 4e-3 on real machines with the default mesh). On, in the cells
  /// along hub and shroud the spanwise position is measured from the boundary curve itself (as
  /// cleaned and reduced by setCurveOptimizedSize), so points on it convert to nspan 0 or 1 and
  /// every space is interpolated accordingly. Takes effect at once, also on an existing mesh;
  /// getBestQuad keeps reporting the cell's own local coordinates. The inverse conversions and the
  /// lines of constant space are not changed: they still run along the mesh's straight edges, so
  /// near a curved wall a forward-then-inverse round trip moves a point by up to the sagitta.
  void setExactWalls(bool on);
  bool getExactWalls() const;
  /// Number of smoothing levels of the nonLinear background mesh (default 3). Not checked here:
  /// createBackgroundMesh(nonLinear, ...) refuses fewer than 1, and lowers the stored number
  /// (reported afterwards by the getter) when the coarsest level would have fewer than 4 cells
  /// in i or j.
  void setNumberOfLevelsforBM(int levels);
  int getNumberOfLevelsforBM() const;
  /// Threads of the smoother in createBackgroundMesh (default 1; same mesh bit for bit for any).
  /// 0 = every hardware thread, n = n; only the nonLinear method smooths.
  /// @throws data::invalid for a negative number (the setting is unchanged)
  void setNumberOfThreadsForBM(int threads);
  /// The number given to setNumberOfThreadsForBM (0 stays 0).
  int getNumberOfThreadsForBM() const;
  /// How the nonLinear smoother turns a mesh point's arms onto the bisectors (default false, kept
  /// for compatibility: from inverse cosines of the angles). true: the same turn in closed form
  /// from dot and cross products (`Smooth2dbs::setClosedFormBisection`), about 40 % less
  /// smoothing time (README, Speed); the mesh is the default's up to float rounding (nodes within
  /// a few units in the last place of the passage size), not bit for bit. Takes effect at the next
  /// createBackgroundMesh; not saved by `save` (a loaded transform keeps the saved mesh as it is).
  void setClosedFormSmoothingForBM(bool on);
  bool getClosedFormSmoothingForBM() const;
  /// Requested number of background-mesh nodes (default 2000; the BMsize form stores the
  /// enumerator's number). Only stored: createBackgroundMesh takes its own size argument and
  /// stores that one (also when it fails), so this setting does not change the next mesh.
  void setBackgroundMeshSize(int size);
  void setBackgroundMeshSize(BMsize size);
  /// The requested number of nodes last stored, not the actual node count (see the two-argument
  /// form).
  int getBackgroundMeshSize() const;
  /// Point counts in i (inlet to outlet) and j (hub to shroud) of the background mesh.
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void getBackgroundMeshSize(int& ni, int& nj) const;
  /// How far v lies outside [0, 1]: -v below 0, v - 1 above 1, 0 inside and for NaN.
  float stripstValue(float v) const;
  /// Mean meridional length m (length units) of the passage: the mean of m over the nodes of the
  /// outlet mesh row (i = icv).
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  float getAverageLengthInM() const;

  // ---- background mesh -----------------------------------------------------------------------
  /// Builds the background mesh with about `size` nodes and computes the fields. `size` is stored
  /// as getBackgroundMeshSize() (also when the call fails). Under QOR_OUTPUT_BACKGROUND_MESH the
  /// finished mesh is also written to "final.msh" (exportFinalMeshToPostSurface).
  /// @return 0 for a good mesh, 1 for a folded one (the mesh is kept and used either way)
  /// @throws internal::error "Unrecognised Method for creation of BM mesh."
  /// @throws internal::nullPointer "Null pointer to m_projectionDB." before a set-up
  /// @throws data::invalid "Number of background mesh levels <n> invalid; at least 1 needed."
  ///         for nonLinear with getNumberOfLevelsforBM() < 1
  /// @throws data::invalid for fewer than 4 nodes, and, before anything is allocated, for a size
  ///         whose nodes overflow the int index or need more memory than the process can obtain
  ///         (about 256 bytes per node); memory that runs out later is reported the same way.
  ///         The previous mesh stays in use after every failure.
  int createBackgroundMesh(BMmethod method, int size);
  /// The same with the enumerator's number as size.
  int createBackgroundMesh(BMmethod method, BMsize size);
  /// The mesh nodes (axial, radial, 0), i-major with j fast (node (i, j) at i * jsize + j; i
  /// inlet to outlet, j hub to shroud), and the point counts isize, jsize. `points` is replaced.
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void getBackgroundMesh(std::vector<TripletBase<float>>& points, int& isize, int& jsize) const;

  // ---- point location ------------------------------------------------------------------------
  // Points are (axial, radial, theta); only axial and radial are used. Node indices are those of
  // getBackgroundMesh (i * jsize + j).

  /// Index of the mesh node nearest to `point` in the (axial, radial) plane: the quadtree answer,
  /// or the brute-force one under QOR_NO_QUADTREE; both give the lowest index on a tie. 0 without
  /// a background mesh (no error).
  int getClosestIndex(const TripletBase<float>& point) const;
  /// The same by scanning every node (squared distances in float; the lowest index wins a tie);
  /// 0 without a background mesh.
  int getClosestIndexBruteForce(const TripletBase<float>& point) const;
  /// The cells touching the node nearest to `point`, as (i, j) of their (i, j) corner in
  /// cells[k][0], cells[k][1]: 1 for a corner node, 2 for another boundary node, 4 for an
  /// interior node; returns that count (entries beyond it are not written).
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  int findClosestElements(const TripletBase<float>& point, int cells[4][2]) const;
  /// Cell holding `point` (corners (i,j), (i+1,j), (i,j+1), (i+1,j+1) as global node indices) and
  /// the local coordinates s (along i) and t (along j); outside the mesh s or t leave [0, 1].
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void getBestQuad(const TripletBase<float>& point, int& corner0, int& corner1, int& corner2,
                   int& corner3, float& s, float& t) const;

  // ---- forward conversions: (axial, radial, theta) or (x, y, z) to spaces ---------------------
  // The single-point forms allocate nothing. The list forms locate each point independently, so
  // their results equal the single-point ones whatever the order of the list; long unordered lists
  // are processed in an order of their own, which only changes the memory traffic.
  // Every value is the bilinear interpolation of the field in the mesh cell holding the point
  // (theta never matters); a point outside the mesh is not an error: its value is extrapolated
  // from the nearest boundary cell. Errors: internal::nullPointer "Null pointer to m_topo."
  // before createBackgroundMesh; internal::error "Space (<n>) not allowed for conversion here"
  // for a number outside `space`.

  /// Value of space `s` at the (axial, radial, theta) point.
  float convertARTtoSpace(space s, const TripletBase<float>& art) const;
  /// One value per point; `values` is resized to the number of points. An empty list returns
  /// at once, without any check (no error even without a mesh).
  void convertARTtoSpace(space s, const QORVector<TripletBase<float>>& art,
                         QORVector<float>& values) const;
  void convertARTtoSpace(space s, std::vector<TripletBase<float>>& art,
                         std::vector<float>& values) const;
  /// Several spaces at once: values[q][k] is spaces[q] at point k (`values` gets one list per
  /// space, each sized to the points). A number outside `space` in `spaces` is skipped silently:
  /// its list keeps its former contents (resized).
  void convertARTtoSpace(const TripletQORVector& art, const QORVector<space>& spaces,
                         QORVector<std::vector<float>>& values) const;
  /// Several spaces at once (each point located once), with the unit streamwise and spanwise
  /// directions of the mesh per point when `withDirections`: the directions of increasing i
  /// (downstream) and increasing j (towards the shroud) of the point's cell, as (axial, radial, 0)
  /// components (a zero vector for a degenerate cell). Without `withDirections` the two direction
  /// lists are left untouched.
  void convertARTtoSpace(const TripletQORVector& art, const QORVector<space>& spaces,
                         QORVector<std::vector<float>>& values,
                         QORVector<TripletBase<float>>& streamwise,
                         QORVector<TripletBase<float>>& spanwise, bool withDirections) const;
  /// out = (value of space s, theta of `art` unchanged, nspan) at the (axial, radial, theta)
  /// point: the input of the inverse conversions. `span` and `nspan` are refused
  /// (internal::error "Space (<n>) not allowed for conversion here"). The double form locates the
  /// point in float and interpolates the double fields. The vector form resizes `out` to the
  /// input; an empty input returns at once without checks.
  void convertARTtoSpaceTNs(space s, const TripletBase<float>& art, TripletBase<float>& out) const;
  void convertARTtoSpaceTNs(space s, const TripletBase<double>& art, TripletBase<double>& out) const;
  void convertARTtoSpaceTNs(space s, const std::vector<TripletBase<float>>& art,
                            std::vector<TripletBase<float>>& out) const;
  /// The Cartesian (XYZ) forms: each point becomes (axial, radial, 0) about the axis, then as the
  /// (axial, radial, theta) form of the same arguments. The list forms need the mesh even for an
  /// empty list, and their null-pointer error names "convertARTtoSpace".
  float convertXYZtoSpace(space s, const TripletBase<float>& xyz) const;
  void convertXYZtoSpace(space s, const QORVector<TripletBase<float>>& xyz,
                         QORVector<float>& values) const;
  void convertXYZtoSpace(space s, std::vector<TripletBase<float>>& xyz,
                         std::vector<float>& values) const;
  void convertXYZtoSpace(const TripletQORVector& xyz, const QORVector<space>& spaces,
                         QORVector<std::vector<float>>& values) const;
  /// As the (axial, radial, theta) form; the directions are (axial, radial, 0) components, not
  /// Cartesian ones (`AxisFrame::vectorToXYZ` turns them into XYZ at the point).
  void convertXYZtoSpace(const TripletQORVector& xyz, const QORVector<space>& spaces,
                         QORVector<std::vector<float>>& values,
                         QORVector<TripletBase<float>>& streamwise,
                         QORVector<TripletBase<float>>& spanwise, bool withDirections) const;

  // ---- array forms: statuses, several spaces, threads ------------------------------------------
  // Arrays of `n` points: (axial, radial, theta in radians) or Cartesian (x, y, z) triplets, as an
  // (n, 3) C-ordered float32 array. Every point is located once, exactly as by the list forms
  // above, and its values, directions and status are bit for bit those of the list forms and of
  // the single-point forms, for every thread count.
  //
  // Threads (`ListOptions::threads`): the list is cut into contiguous chunks, one per thread, each
  // writing only its own slots; nothing is allocated per point. Lists shorter than 4096 points per
  // thread use fewer threads. A negative count throws data::invalid.
  //
  // Thread safety: the array forms change nothing in the transform (they neither read nor write
  // the cache of the inverse conversions), so any number of threads may call them on one
  // transform at the same time, also alongside the other const operations; not while the
  // transform is being set up, rebuilt or assigned.
  //
  // Errors, raised before anything is written: internal::nullPointer without a background mesh
  // (also for n = 0); data::invalid for a null array that is needed, outputs overlapping the
  // input points, or a negative thread count; internal::error "Space (%1) not allowed for
  // conversion here" for a space that is not one of `space`.
  //
  // Location status: a point is inside when it lies in a cell of the background mesh or within a
  // tolerance of the mesh's boundary lines (the straight edges between boundary nodes; a point on
  // a curved boundary curve between two nodes can lie outside the chord). Otherwise it is beyond
  // the side whose line it lies outside of, and in a corner beyond the side it is furthest from
  // (distance to the side's edge line; a tie goes to hub, shroud, inlet, outlet in that order).
  // The tolerance is 16 float epsilons (1.2e-7) of the largest |axial| or |radial| coordinate of
  // the point and of its cell's corners, M: a point computed on an edge in float arithmetic lies
  // off it by at most about 3 eps M, and the cell solve that gives the local coordinates (s, t)
  // converges to about 1e-10 and then snaps values within 4 eps of 0 or 1 onto the edge, which
  // moves a point by at most 4 eps times the cell's extent (<= 2.9 M): 16 eps M covers both. A
  // point with a NaN coordinate gets the status of the cell it is placed in, as for its values.
  // With exact walls (`setExactWalls`) the hub and the shroud are the wall curves themselves, as
  // for the values: a point on a wall curve is inside even where it bulges beyond the chord; the
  // distance beyond them is measured along the wall cell's line of constant s, and a point within
  // 1e-4 of the local passage height of a wall is on it (the walls are the given curves reduced to
  // `getCurveOptimizedSize` points, which moves them by up to about 5e-5 of the height on real
  // machines, so points on the given walls are inside).

  /// The status of one (axial, radial, theta) point.
  /// @throws internal::nullPointer without a background mesh
  location locationStatus(const TripletBase<float>& art) const;
  /// The statuses of an array of (axial, radial, theta) points (values of `location`).
  void locationStatus(const TripletBase<float>* art, std::size_t n, std::int8_t* status,
                      const ListOptions& options) const;
  /// The same on the calling thread (an overload rather than a default argument: the options'
  /// defaults are not usable inside the class's own declaration).
  void locationStatus(const TripletBase<float>* art, std::size_t n, std::int8_t* status) const;
  /// Several spaces over an array of (axial, radial, theta) points: values row-major n x spaceCount
  /// (values[k * spaceCount + q] is spaces[q] at point k). `streamwise`, `spanwise` (unit mesh
  /// directions of increasing i and j, n triplets each) and `status` (n) are optional: nullptr to
  /// skip. Asking for values and statuses costs one location per point.
  void convertARTtoSpace(const TripletBase<float>* art, std::size_t n, const space* spaces,
                         std::size_t spaceCount, float* values, TripletBase<float>* streamwise,
                         TripletBase<float>* spanwise, std::int8_t* status,
                         const ListOptions& options) const;
  /// The same for Cartesian points, converted to (axial, radial, theta) about the axis exactly as
  /// the Cartesian list forms do, chunk by chunk (no copy of the whole list).
  void convertXYZtoSpace(const TripletBase<float>* xyz, std::size_t n, const space* spaces,
                         std::size_t spaceCount, float* values, TripletBase<float>* streamwise,
                         TripletBase<float>* spanwise, std::int8_t* status,
                         const ListOptions& options) const;
  /// out[k] = (value of space s, theta of art[k], nspan) as the vector form; s must not be
  /// `span` or `nspan` (internal::error "Space (%1) not allowed for conversion here").
  void convertARTtoSpaceTNs(space s, const TripletBase<float>* art, std::size_t n,
                            TripletBase<float>* out, const ListOptions& options) const;

  // ---- inverse conversions: (space value, theta, nspan) to (axial, radial, theta) -------------
  /// in = (value of space s, theta, normalised span), out = (axial, radial, theta of `in`): the
  /// inverse of convertARTtoSpaceTNs. Accepted spaces: mprime, m, nmprime, nm, mprimeScaled
  /// (searched along the line of constant span) and rnm. Input outside the passage is clamped,
  /// never reported: span to [0, 1], rnm to [0, 1], other values to the ends of their line (no
  /// extrapolation beyond inlet or outlet). The line of the last (space, span) is cached in the
  /// transform: converting many points of one span is cheap, alternating spans rebuilds it (so
  /// one transform must not be used from several threads; see the array form).
  /// @throws internal::error "Space (<n>) not allowed for conversion here." for span, nspan and
  ///         numbers outside `space`
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void convertSpaceTNsToART(space s, const TripletBase<float>& in, TripletBase<float>& out) const;
  /// The one-point form for each element; `out` is resized to `in`. An empty `in` returns at once
  /// (no check, `out` untouched).
  void convertSpaceTNsToART(space s, const std::vector<TripletBase<float>>& in,
                            std::vector<TripletBase<float>>& out) const;
  /// Fast list inverse for any mix of spans; no cache, safe from several threads; results within
  /// float rounding of the one-point path.
  ///
  /// in[k] = (space value, theta, normalised span), out[k] = (axial, radial, theta), for k < n;
  /// `out` may be `in` itself. Clamping as in the one-point form: span to [0, 1], the streamwise
  /// value to the ends of its line (`rnm` to [0, 1]). Instead of building the line of constant
  /// span, the value of that line at each mesh row is interpolated between the two neighbouring
  /// streamwise mesh lines, so every point costs two short searches whatever its span. The results
  /// are the same for every thread count, bit for bit; `rnm` gives exactly the one-point results.
  /// @throws internal::error "Space (%1) not allowed for conversion here." for `span`, `nspan` and
  ///         numbers outside the enumeration, as the one-point form (checked before anything else)
  /// @throws internal::nullPointer before createBackgroundMesh
  /// @throws data::invalid for a negative thread count or null arrays with n > 0; nothing is
  ///         written then
  void convertSpaceTNsToART(space s, const TripletBase<float>* in, std::size_t n,
                            TripletBase<float>* out, const ListOptions& options) const;
  /// On the hub (`onHub`) or the shroud, in double precision: in = (space value, theta, unused),
  /// out = (axial, radial, theta of `in`), linear between two nodes of the hub or shroud line.
  /// Spaces, clamping, cache and errors as the one-point convertSpaceTNsToART.
  void convertSpaceTNsToARTspanEQ0or1(space s, const TripletBase<double>& in,
                                      TripletBase<double>& out, bool onHub) const;
  /// Many points at one normalised span `spanValue` (clamped to [0, 1]), in double precision:
  /// in[k] = (space value, theta, unused), out[k] = (axial, radial, theta of in[k]); `out` is
  /// resized to `in` first (also when the call then fails). Uses no cache. Values are clamped to
  /// the ends of the line.
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  /// @throws internal::error "Space (<n>) not allowed here." for span, nspan and numbers outside
  ///         `space`
  void convertOnConstantSpanSpaceTNsToART(space s, double spanValue,
                                          const std::vector<TripletBase<double>>& in,
                                          std::vector<TripletBase<double>>& out) const;
  /// Bracket of x in ascending `values`: values[lo] + w (values[hi] - values[lo]) = x, with
  /// hi = lo + 1 except on a run of equal values. Clamped: x at or below the first value gives
  /// (0, 1, 0), at or above the last (n-2, n-1, 1); NaN counts as below. One value gives
  /// (0, 0, 0); an empty list writes nothing. A bracket narrower than 100 floating-point spacings
  /// of values[hi] gives w = 0.5.
  void interpolateOnDouble(const std::vector<double>& values, double x, int& lo, int& hi,
                           double& w) const;
  /// Normalised span of each streamwise mesh line j = 0..jcv: 0 at the hub, j / jcv (in float),
  /// exactly 1 at the shroud. Empty without a background mesh.
  void getNSpanValues(std::vector<double>& out) const;

  // ---- lines of constant space ---------------------------------------------------------------
  /// The line where space `c` equals `value`, cut from the background mesh, as (axial, radial, 0)
  /// points: for nspanConst one point per i row, inlet to outlet, interpolated between the two
  /// neighbouring streamwise mesh lines; for nmConst and rnmConst one point per j line, hub to
  /// shroud. A value at or below 0 gives the hub line (nspanConst) or the inlet row, at or above 1
  /// the shroud line or the outlet row. `curve` is replaced.
  /// @throws data::invalid "Constant space (<n>) does not exist" for a number outside constSpace
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void getConstantSpace(constSpace c, double value, QORVector<TripletBase<float>>& curve) const;
  /// The same line with both end points moved outward along their end segments by `extension`
  /// times the line's length (a fraction, e.g. 0.05); no point is added.
  void getConstantSpace(constSpace c, double value, QORVector<TripletBase<float>>& curve,
                        double extension) const;
  /// The line resampled to n points evenly spaced along it.
  /// @throws data::invalid for n < 2 ("Number of points requested less than 2. Number requested =
  ///         <n>", function "getConstantSpaceSpan", kept for compatibility), or for n points that
  ///         cannot fit in memory (before allocating)
  void getConstantSpace(constSpace c, double value, int n,
                        QORVector<TripletBase<float>>& curve) const;
  /// The piece of the line between the parameters `from` and `to` (normalised arc length along
  /// the line, 0 at its first point, 1 at its last, each clamped): the points at `from` and `to`
  /// and the line's points between; reversed when from > to.
  void getConstantSpace(constSpace c, double value, double from, double to,
                        QORVector<TripletBase<float>>& curve) const;
  /// That piece resampled to n points evenly spaced along it; errors as the n-point form.
  void getConstantSpace(constSpace c, double value, int n, double from, double to,
                        QORVector<TripletBase<float>>& curve) const;

  // ---- unit vectors and files ----------------------------------------------------------------
  /// Per (axial, radial, theta) point, the unit directions of increasing i (streamwise,
  /// downstream) and increasing j (spanwise, towards the shroud) of the mesh cell holding it, as
  /// (axial, radial, 0) components (zero for a degenerate cell). The outputs are resized to the
  /// points; an empty list returns at once (no check, outputs untouched).
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  void getUnitVectorsFromART(const TripletQORVector& art, QORVector<TripletBase<float>>& streamwise,
                             QORVector<TripletBase<float>>& spanwise) const;
  /// The same for Cartesian points (taken to (axial, radial, 0) about the axis); the directions
  /// are still (axial, radial, 0) components, not XYZ (`AxisFrame::vectorToXYZ` converts them).
  void getUnitVectorsFromXYZ(const TripletQORVector& xyz, QORVector<TripletBase<float>>& streamwise,
                             QORVector<TripletBase<float>>& spanwise) const;
  /// Writes a point-list text file: with `withCount` a first line holding the number of points,
  /// then one line per point, three numbers in "%18.9e %18.9e %18.9e". This form writes meridional
  /// points: the first two components and 0.0 as the third (theta is dropped).
  /// @throws data::error "Cannot open file for writing: <name>"
  void writeVectortoFile(const std::string& name, const QORVector<TripletBase<float>>& points,
                         const bool& withCount) const;
  /// The same, writing all three components.
  void writeVectortoFile(const std::string& name, const TripletQORVector& points,
                         const bool& withCount) const;
  /// Reads a point-list file as written with `withCount`: a first line with the count n, then n
  /// lines of three numbers separated by blanks or commas (further numbers on a line and lines
  /// after the n-th are ignored; n <= 0 gives no points). `points` is replaced only on success.
  /// @throws data::error "Cannot open file for reading: <name>"
  /// @throws data::invalid "<fault> in point file <name> at line <k>", the fault being "Missing
  ///         point count", "Malformed point count", "Missing point" or "Malformed point"
  void getVectorFromFile(const std::string& name, QORVector<TripletBase<float>>& points) const;
  /// Debug output into the working directory: the cleaned hub, shroud, inlet and outlet curves to
  /// "s_mp", "n_mp", "w_mp", "e_mp" (writeVectortoFile without count), the background mesh to
  /// "bm.msh" (exportFinalMeshToPostSurface), then prints " TurboTransform Exported debug input".
  /// @throws internal::nullPointer "Null pointer to m_topo." without a background mesh, after the
  ///         four curve files have been written
  void exportInput() const;
  /// initializeFromXYZ with the four curves read from point-list files (getVectorFromFile, in the
  /// order hub, shroud, inlet, outlet; the reading errors come before any change).
  void initializeDebugXYZ(const std::string& hubFile, const std::string& shroudFile,
                          const std::string& inletFile, const std::string& outletFile,
                          const TripletBase<float>& axisPoint,
                          const TripletBase<float>& axisDirection);
  /// initializeFromART with the four curves read from point-list files (all taken as ordered).
  void initializeDebugART(const std::string& hubFile, const std::string& shroudFile,
                          const std::string& inletFile, const std::string& outletFile,
                          const TripletBase<float>& axisPoint,
                          const TripletBase<float>& axisDirection);
  /// Writes the background mesh as a surface text file: one line "axial radial 0" per node
  /// (default stream formatting, node order of getBackgroundMesh), an empty line, "# Faces", then
  /// one line per cell (i 1..icv outer, j 1..jcv inner) with the zero-based node indices of
  /// (i, j), (i-1, j), (i-1, j-1), (i, j-1).
  /// @throws internal::nullPointer "Null pointer to m_topo." before createBackgroundMesh
  /// @throws data::error "Cannot open file for writing: <name>"
  void exportFinalMeshToPostSurface(const std::string& name) const;

  // ---- save and load -------------------------------------------------------------------------
  /// Writes the whole state of the transform (settings, axis, boundary curves, background mesh and
  /// fields) to a binary file, so that `load` restores a transform converting bit for bit like this
  /// one. A transform never set up, or set up without a background mesh, is saved too. The file is
  /// written beside its final name under a temporary name and renamed when complete: the named file
  /// is either left as it was or holds the complete new contents.
  ///
  /// File format, version 1 (every field little-endian and of fixed width; f32/f64 are IEEE 754):
  ///
  ///     offset size  header
  ///          0    8  magic: bytes 89 51 4F 52 54 54 0D 0A ("\x89QORTT\r\n")
  ///          8    4  u32 file-format version (1); independent of the library version
  ///         12    8  u64 payload length P in bytes
  ///         20    8  u64 FNV-1a 64 hash of the P payload bytes
  ///         28    P  payload:
  ///     u8  geometry initialised (0 or 1)
  ///     u8  mesh present (0 or 1)
  ///     u8  fields marked computed: bit k for space k
  ///     u8  options: bit 0 exact walls (`setExactWalls`), the other bits 0
  ///     i32 x 5   levels of the smoothed mesh, requested mesh size, curve point budget, and two
  ///               settings carried for compatibility
  ///     f32 x 9   axis point, axis direction, axial unit vector (XYZ)
  ///     4 curves in the order hub, shroud, inlet, outlet, each: u32 n, then n x 3 f32
  ///               (A, R, theta)
  ///     mesh, only when present: i32 icv, i32 jcv (cells in i and j, each >= 1), then
  ///               (icv + 1) (jcv + 1) x 3 f32 nodes (axial, radial, 0), i-major with j fast
  ///     8 fields in `space` order, each: u32 n, then n x f64; without a mesh n = 0, with one n is
  ///               jcv + 1 for nspan (one per j line), icv + 1 for rnm (one per i row) and the
  ///               node count for the others (i-major, j fast)
  ///
  /// The payload ends with the last field. The nearest-node search structures are not stored:
  /// `load` rebuilds them from the nodes. The inverse cache is not stored either.
  /// @throws data::invalid naming the file when it cannot be written (nothing is left behind)
  /// @throws internal::error for fields inconsistent with the mesh (a state no operation leaves)
  void save(const std::string& fileName) const;
  /// The same bytes written to `out` (which must be in binary mode); a failing stream may hold
  /// part of them.
  /// @throws data::invalid naming "stream" when writing fails
  void save(std::ostream& out) const;
  /// Replaces the whole state of this transform by the one saved in `fileName` (see `save`).
  /// The environment switch QOR_NO_QUADTREE of this object applies, not the saving one's.
  /// @throws data::invalid naming the file and the fault when it cannot be opened, is truncated
  ///         or has bytes after the payload, has a wrong magic or an unsupported version, fails its
  ///         checksum or holds inconsistent sizes or flags; the transform is then unchanged.
  void load(const std::string& fileName);
  /// The same from a binary stream positioned at the start of a saved transform; reads exactly the
  /// saved bytes, so further data may follow.
  /// @throws data::invalid naming "stream", as for the file form; the transform is then unchanged.
  void load(std::istream& in);

 private:
  // The private helpers live in src/turbo, most as free functions taking what they need; the few
  // that need the members below are static functions of this one friend.
  friend struct turbo_detail::TurboTransformAccess;

  bool m_geometryInitialized = false;
  std::vector<std::string> m_curveNames;
  // The projection database is shared between copies of a transform and released when the last
  // holder goes; a set-up builds a new one.
  std::shared_ptr<ParametricDBInterface> m_projectionDB;
  // The finished background mesh with its fields and searches, immutable, shared between copies;
  // null before createBackgroundMesh. Building a mesh makes a new state and swaps it in.
  std::shared_ptr<const turbo_detail::MeshState> m_mesh;
  bool m_exactWalls = false;
  // Whether each field of the mesh is up to date (false after a new set-up), by `space`.
  std::vector<bool> m_spaceComputed = std::vector<bool>(8, false);
  // Every default is set here once: the axis through the origin along +Z, three smoothing levels,
  // 2000 nodes, 300 points per curve; the constructor only reads the environment.
  TripletBase<float> m_axisPoint{0.0f, 0.0f, 0.0f};
  TripletBase<float> m_axisDirection{0.0f, 0.0f, 1.0f};
  TripletBase<float> m_axialUnit{0.0f, 0.0f, 1.0f};
  int m_numberOfLevelsForBM = 3;
  int m_threadsForBM = 1;
  bool m_closedFormSmoothing = false;
  int m_backgroundMeshSize = 2000;
  int m_bmSetting1 = 0;  // carried and copied for compatibility; not read
  int m_bmSetting2 = 0;  // carried and copied for compatibility; not read
  bool m_noQuadtree = false;
  int m_curveOptimizedSize = 300;
  QORVector<TripletBase<float>> m_inlet;
  QORVector<TripletBase<float>> m_outlet;
  QORVector<TripletBase<float>> m_hub;
  QORVector<TripletBase<float>> m_shroud;
  // The one-entry cache of the inverse conversions (mutable state behind const operations), an
  // object of its own: a copy or an assignment gives this transform an empty cache of its own, so
  // copies never share one.
  class InverseCacheSlot {
   public:
    InverseCacheSlot();
    InverseCacheSlot(const InverseCacheSlot&);
    InverseCacheSlot& operator=(const InverseCacheSlot&);
    ~InverseCacheSlot();
    turbo_detail::InverseCache* operator->() const { return m_cache.get(); }
    turbo_detail::InverseCache& operator*() const { return *m_cache; }

   private:
    std::unique_ptr<turbo_detail::InverseCache> m_cache;
  };
  mutable InverseCacheSlot m_inverseCache;
};

}  // namespace qor
