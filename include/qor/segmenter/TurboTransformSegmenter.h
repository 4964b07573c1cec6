#pragma once
/// @file
/// `TurboTransformSegmenter`: splits the passage of a finished `TurboTransform` into segments along
/// the meridional direction and gives every segment its own normalised coordinates.
///
/// The caller supplies N internal boundaries: curves in ART (axial, radial, theta in radians) that
/// run across the passage from hub to shroud. With the inlet line (left side) and the outlet line
/// (right side) they form N + 2 boundary lines, ordered inlet to outlet. Segment s (0 <= s <= N)
/// lies between boundary line s (its west side) and boundary line s + 1 (its east side); its south
/// side is a piece of the hub and its north side a piece of the shroud.
///
/// Per-segment coordinates are (u, v, 0): u runs from 0 on the west boundary to 1 on the east
/// boundary, measured in one of four transform spaces (`spaceSeg`); v is the normalised span, 0 at
/// the hub and 1 at the shroud. Theta is not represented.
///
/// Ownership and threads: the segmenter holds a non-owning pointer to its transform, which must
/// outlive it (and keep its background mesh). A segmenter only reads the transform, but the
/// transform's inverse conversions use a cache, so one segmenter (and its transform) must be used
/// from one thread at a time. The array forms (taking `TurboTransform::ListOptions`) are the
/// exception: they change no state of the segmenter or the transform (the inverse one gives each
/// chunk a search-line cache of its own and never touches the transform's), so several threads may
/// call them on one segmenter at the same time, alongside the transform's array forms and other
/// operations that change nothing. Not alongside any set-up of the segmenter or the transform.
///
/// Failure modes worth knowing:
/// - Every conversion called before `setInternalBoundaries` (or after a later `setTurboTransform`)
///   throws `internal::error` "Internal segments not set." naming the operation.
/// - Conversions do not validate the segment id or the `spaceSeg` value: out-of-range values reach
///   checked containers and throw `std::out_of_range`.
/// - A `segmentMethod` other than 0 or 1 is not validated: it keeps the span curves as they are
///   and builds no final curves, so later accesses fail with `std::out_of_range`.
/// - With `mergedSpan`, `setInternalBoundaryWest` / `setInternalBoundaryEast` recompute the common
///   span values and every final curve but refresh the space values of the replaced boundary only
///   (kept for compatibility). Conversions in the other segments may then be misaligned or throw
///   `std::out_of_range`; call `setInternalBoundaries` again after single replacements.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/TripletBase.h"
#include "qor/turbo/TurboTransform.h"

namespace qor {

/// Use: construct on a transform with a background mesh, `setInternalBoundaries`, then convert.
/// Segment ids s run 0..N (`getLastSegmentID`) from inlet to outlet.
class QOR_API TurboTransformSegmenter {
 public:
  /// How boundary lines are sampled across the span.
  enum segmentMethod : int {
    /// Span curves are only the hub and the shroud; every boundary line is resampled at the union
    /// of the background mesh's span values and all boundary points' own span values.
    mergedSpan = 0,
    /// One span curve per span line of the background mesh; every internal boundary is resampled
    /// exactly at the background mesh's span values.
    backgroundMeshSpan = 1
  };

  /// The space in which u is measured; each stands for the `TurboTransform::space` of its name.
  enum spaceSeg : int {
    /// meridional length (`TurboTransform::m`, length units)
    m = 0,
    /// normalised meridional length (`TurboTransform::nm`); input clamped to 0..1
    nm = 1,
    /// averaged normalised meridional coordinate (`TurboTransform::rnm`); input clamped to 0..1
    rnm = 2,
    /// m' (`TurboTransform::mprime`, dimensionless); not forced to 0 or 1 on inlet and outlet
    mprime = 3
  };

  /// One boundary line of the passage (inlet, an internal boundary or outlet).
  struct SegmentBoundary {
    /// For each `spaceSeg` in order, the value of every point of `finalCurve` in that space.
    std::vector<std::vector<float>> spaceValues;
    /// The final ART points (axial, radial, 0), hub to shroud, used by all conversions.
    std::vector<TripletBase<float>> finalCurve;
    /// The normalised span of each point of `cleanedCurve` (0 at the hub, 1 at the shroud).
    std::vector<double> spanValues;
    /// The ART points after cleaning and fitting to hub and shroud.
    std::vector<TripletBase<float>> cleanedCurve;
  };

  /// Attaches to `transform` (see `setTurboTransform`).
  /// @param transform a transform whose background mesh exists; not owned, must outlive this object
  /// @throws internal::nullPointer "Null pointer to Turbo Transform." for a null transform
  /// @throws std::out_of_range for a method other than 0 or 1 (no span curves exist to fill)
  TurboTransformSegmenter(const TurboTransform* transform, segmentMethod method);
  /// Copies every member; the transform is shared, not copied.
  TurboTransformSegmenter(const TurboTransformSegmenter&);
  /// Copies every member as the copy constructor does (boundaries, settings, state).
  TurboTransformSegmenter& operator=(const TurboTransformSegmenter&);
  /// Releases the members; never touches the transform.
  virtual ~TurboTransformSegmenter();

  /// The attached transform (not owned).
  const TurboTransform* getTurboTransform() const;
  /// Stores the debug switch. Every call with `on` true asks the transform to write its debug input
  /// files (`TurboTransform::exportInput`) into the working directory. In debug mode the set-up
  /// writes one file per step and boundary ("cRaw%d", "cCle%d", "clEnd%d", "clEndBM%d", "final%d",
  /// "ibound%d") into the working directory and reports each on standard output.
  void setDebug(bool on);
  /// Attaches the transform and builds the span curves (hub and shroud, plus every background-mesh
  /// span line with `backgroundMeshSpan`). Clears the boundaries-set state: single replacements and
  /// conversions are refused until `setInternalBoundaries` runs again. Nothing changes on a throw.
  /// @throws internal::nullPointer "Null pointer to Turbo Transform." for a null transform
  /// @throws internal::nullPointer from the transform when it has no background mesh
  void setTurboTransform(const TurboTransform* transform, segmentMethod method);

  /// Exact boundaries (off by default, kept so for compatibility). Off, the boundary lines are
  /// built as the `segmentMethod` says: with `backgroundMeshSpan` every internal boundary is
  /// resampled at the background mesh's span values, so a given point between two of them is
  /// followed only by the chord between the samples (on real blade edges given by three points, u
  /// of a given point comes out up to 7e-3 off 0 or 1); and the hub and shroud ends are moved onto
  /// the mesh's wall lines (chords of curved walls), so a given end point on the wall itself lies
  /// off the line's end along the boundary. On, for both methods:
  /// - every boundary line is sampled at the union of the background mesh's span values and the
  ///   normalised spans of every internal boundary's points (as `mergedSpan` does), so each given
  ///   point (after cleaning) is a sample of its line and converts to u = 0 or 1 up to float
  ///   rounding;
  /// - the hub and shroud ends of an internal boundary are the points of the boundary (extended
  ///   by 5 % of its length at either end when it stops short) where the transform's normalised
  ///   span is 0 and 1, so a given end point on a wall converts to u = 0 or 1 up to its own
  ///   distance from nspan 0 or 1 (with `TurboTransform::setExactWalls` the walls are the given
  ///   curves). Where the boundary does not reach nspan 0 or 1 even extended, the end stays on the
  ///   mesh's wall line;
  /// - `setInternalBoundaryWest` / `East` refresh the space values of every boundary line, not
  ///   only of the replaced one.
  /// Takes effect at the next `setInternalBoundaries` (or single replacement); lines already built
  /// keep their sampling. Copies keep the setting.
  void setExactBoundaries(bool on);
  /// Whether exact boundaries are on.
  bool getExactBoundaries() const;

  /// A fast array form of `convertSpaceNspanToART` (off by default, kept so for compatibility).
  /// Off, the array form gives the one-point results bit for bit, building a line of constant span
  /// per point (about 14 us a point for scattered spans). On, it goes through the transform's
  /// array inverse, which interpolates that line between the two neighbouring streamwise mesh
  /// lines: millions of points a second for any mix of spans, the one-point results within float
  /// rounding (the transform's documented bound; `rnm` exactly). Still the same bits for every
  /// thread count. The one-point and vector forms are not affected. Copies keep the setting.
  void setFastArrayInverse(bool on);
  /// Whether the fast array inverse is on.
  bool getFastArrayInverse() const;

  /// Installs all internal boundaries at once and builds the N + 2 boundary lines.
  /// @param curves N curves in ART (axial, radial, theta), each running from hub to shroud;
  ///        theta is set to 0. A curve may stop short of or cross the hub and shroud: it is
  ///        extended or cut.
  /// @param clean clean[i] true reorders curve i, removes repeated and near-coincident points.
  /// The final boundary lines are sampled at common span values by interpolating linearly in span
  /// between the given points, so a point of a final line has exactly its sample's span (and u is
  /// exactly 0 or 1 on it) only where the normalised span is linear between the given points.
  /// Give each boundary points dense enough for that (for example 50 points along a blade edge
  /// given by 3 points, keeping the given ones); coarse boundaries are followed only
  /// approximately between their points. See `setExactBoundaries` for given points that convert
  /// exactly.
  /// @throws data::invalid when `clean` has fewer than N entries or a curve has no points
  /// Nothing changes on a throw.
  void setInternalBoundaries(const std::vector<std::vector<TripletBase<float>>>& curves,
                             const std::vector<bool>& clean);
  /// Replaces the internal boundary that is the west side of segment `segmentId` (1..N).
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  /// @throws internal::error "Segment id out of bounds, ..." for an id outside 1..N
  void setInternalBoundaryWest(int segmentId, const std::vector<TripletBase<float>>& curve,
                               bool clean);
  /// Replaces the internal boundary that is the east side of segment `segmentId` (0..N-1).
  /// Its errors name "setInternalBoundaryWest" and "setInternalBoundaryLeft" (kept that way).
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  /// @throws internal::error "Segment id out of bounds, ..." for an id outside 0..N-1
  void setInternalBoundaryEast(int segmentId, const std::vector<TripletBase<float>>& curve,
                               bool clean);

  // ---- segments ---------------------------------------------------------------------------------
  /// Id of the last segment: number of boundary lines - 2 (= N; -2 before any boundaries are set).
  int getLastSegmentID() const;
  /// Final ART points of the west boundary line of segment s, hub to shroud.
  /// @throws internal::error "Segment id out of bounds, ..." (function "getInternalBoundaryLeft")
  const std::vector<TripletBase<float>>& getInternalBoundaryWest(int s) const;
  /// Final ART points of the east boundary line of segment s, hub to shroud.
  /// @throws internal::error "Segment id out of bounds, ..." (function "getInternalBoundaryLeft")
  const std::vector<TripletBase<float>>& getInternalBoundaryEast(int s) const;
  /// getInternalBoundaryWest / East of segment 0 (its West line is the inlet line) and of segment
  /// N (its East line is the outlet line), with their errors: before any boundaries are set they
  /// throw "Segment id out of bounds, ...". The misspelt "Segmen" is part of the interface.
  const std::vector<TripletBase<float>>& getFirstSegmenInternalBoundaryWest() const;
  const std::vector<TripletBase<float>>& getFirstSegmenInternalBoundaryEast() const;
  const std::vector<TripletBase<float>>& getLastSegmenInternalBoundaryWest() const;
  const std::vector<TripletBase<float>>& getLastSegmenInternalBoundaryEast() const;
  /// The piece of the hub that bounds segment s, in ART, from its west to its east boundary; the
  /// end points are exactly the boundary lines' hub points.
  /// @throws internal::error "Segment id out of bounds, ..." for an id outside 0..N
  void getSegmentInternalBoundarySouth(int s, std::vector<TripletBase<float>>& out) const;
  /// The piece of the shroud that bounds segment s (as `getSegmentInternalBoundarySouth`).
  void getSegmentInternalBoundaryNorth(int s, std::vector<TripletBase<float>>& out) const;

  // ---- conversions (all need the boundaries-set state) -----------------------------------------
  /// ART (axial, radial, theta) to segment coordinates (u, v, 0) of segment s, u measured in space
  /// k. u is clamped to 0..1 on the hub, on the shroud and on the common span values; between them
  /// it may leave 0..1 for points outside the segment.
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  void convertARTtoSpaceNspan(int s, spaceSeg k, const TripletBase<float>& art,
                              TripletBase<float>& uv) const;
  /// List form: `uv` gets one (u, v, 0) per input point (`uv` may be `art` itself).
  void convertARTtoSpaceNspan(int s, spaceSeg k, const std::vector<TripletBase<float>>& art,
                              std::vector<TripletBase<float>>& uv) const;
  /// Segment coordinates (u, v) to ART (axial, radial, theta as the transform gives for theta 0).
  /// u is clamped to 0..1, v to 0..1 (a NaN v is taken as the hub). The output comes first.
  /// Not an exact inverse of `convertARTtoSpaceNspan` between common span values.
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  void convertSpaceNspanToART(int s, spaceSeg k, TripletBase<float>& art,
                              const TripletBase<float>& uv) const;
  /// List form: `art` gets one point per (u, v) (`art` may be `uv` itself).
  void convertSpaceNspanToART(int s, spaceSeg k, std::vector<TripletBase<float>>& art,
                              const std::vector<TripletBase<float>>& uv) const;
  /// Array form: art[k] for uv[k], k < n, the same values as the list form for every thread
  /// count. Each chunk converts through the transform's one-point inverse with a search-line cache
  /// of its own, or, with `setFastArrayInverse(true)`, through the transform's array inverse.
  /// Threads and errors as the array form of `convertARTtoSpaceNspan`.
  void convertSpaceNspanToART(int s, spaceSeg k, TripletBase<float>* art,
                              const TripletBase<float>* uv, std::size_t n,
                              const TurboTransform::ListOptions& options) const;
  /// Array form: uv[k] for art[k], k < n, the same values as the list form for every thread count
  /// (`options.threads`: 1 the calling thread, 0 every hardware thread; contiguous chunks; lists
  /// shorter than 4096 points per thread use fewer threads). `uv` must not overlap `art`.
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  /// @throws internal::error "Segment id out of bounds, ..." for s outside 0..N
  /// @throws data::invalid for k outside `spaceSeg`, a null array with n > 0, overlapping arrays
  ///         or a negative thread count; all before anything is written
  void convertARTtoSpaceNspan(int s, spaceSeg k, const TripletBase<float>* art, std::size_t n,
                              TripletBase<float>* uv,
                              const TurboTransform::ListOptions& options) const;
  /// `convertARTtoSpaceNspan` with k = `rnm` (one-point and list forms); the "not set" error
  /// names "convertARTtoRnmNspan".
  void convertARTtoRnmNspan(int s, const TripletBase<float>& art, TripletBase<float>& uv) const;
  void convertARTtoRnmNspan(int s, const std::vector<TripletBase<float>>& art,
                            std::vector<TripletBase<float>>& uv) const;
  /// `convertSpaceNspanToART` with k = `rnm` (one-point and list forms); the "not set" error
  /// names "convertRnmNspanToART".
  void convertRnmNspanToART(int s, TripletBase<float>& art, const TripletBase<float>& uv) const;
  void convertRnmNspanToART(int s, std::vector<TripletBase<float>>& art,
                            const std::vector<TripletBase<float>>& uv) const;
  /// The segment that holds an ART point (axial, radial, theta in radians; theta is ignored).
  /// The point's rnm x and normalised span eta come from the transform; the point lies in segment
  /// s when x lies between the rnm of boundary lines s and s + 1 at eta (read from the lines'
  /// values at the common span values and interpolated linearly between them, as the inverse
  /// conversion does): the largest s in 1..N whose west line has rnm <= x, else 0. A point on an
  /// internal boundary belongs to the segment east of it.
  /// @param tolerance how far, in rnm and in normalised span, a point may lie beyond the inlet,
  ///        outlet, hub or shroud and still belong to a segment (>= 0; the tool uses 1e-3)
  /// @return 0..N, or -1 for a point beyond that (or with a NaN axial or radial coordinate)
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  /// @throws data::invalid for a negative or NaN tolerance
  int findSegment(const TripletBase<float>& art, double tolerance) const;
  /// Array form: segment[k] for art[k], k < n, the same values as the one-point form for every
  /// thread count (`options.threads` as for `convertARTtoSpaceNspan`); nothing is allocated per
  /// point.
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  /// @throws data::invalid for a bad tolerance, a null array with n > 0 or a negative thread
  ///         count; all before anything is written
  void findSegment(const TripletBase<float>* art, std::size_t n, int* segment, double tolerance,
                   const TurboTransform::ListOptions& options) const;
  /// The same, and status[k] the transform's `locationStatus` of art[k] from the same location of
  /// the point (one search per point for both answers); `status` may be null.
  void findSegment(const TripletBase<float>* art, std::size_t n, int* segment,
                   std::int8_t* status, double tolerance,
                   const TurboTransform::ListOptions& options) const;

  /// Normalised arc length along the line of constant normalised span `span` inside segment s.
  /// @param positions normalised parameters along that piece of the span line (0 at the west
  ///        boundary, 1 at the east boundary, uniform in the background mesh's streamwise index)
  /// @param arc for each position, its normalised arc-length position, measured over the sampled
  ///        points themselves (so ascending positions from 0 to 1 give arc values from 0 to 1)
  /// When the two boundary lines meet the span line at the same point, `arc` is `positions`
  /// clamped to 0..1.
  /// @throws internal::error "Internal segments not set." before `setInternalBoundaries`
  void getArcNdfromRnmNd(int s, float span, const std::vector<double>& positions,
                         std::vector<double>& arc) const;

 private:
  void setInternalBoundary(unsigned int i, const std::vector<TripletBase<float>>& curve,
                           bool clean);
  void cleanInternalBoundaryInMeridionalSpace(unsigned int i, std::vector<TripletBase<float>>& raw,
                                              std::vector<TripletBase<float>>& cleaned, bool clean);
  void cleanUpCurve(const std::vector<TripletBase<float>>& in,
                    std::vector<TripletBase<float>>& out);
  void cleanInternalBoundaryToFitEndsOfBackGroundMesh(
      unsigned int record, const std::vector<TripletBase<float>>& cleaned);
  void setInternalCurveToFollowSpanOfBackgroundMesh(unsigned int record);
  void intersectTwoCurve(const ParametricCurve& a, const ParametricCurve& b,
                         TripletBase<float>& point) const;
  void setLeftRighSide();
  void copyToFinal(unsigned int record);
  void updateFinalCoordinatesAndSpanValues();
  void updateFinalCoordinatesAndSpanValues(unsigned int record);
  void updateCurveTransformedSpaces(unsigned int record);
  void convertSpaceThetaNspanToUV(int s, spaceSeg k, const TripletBase<float>& sts,
                                  TripletBase<float>& uv) const;
  void convertSpaceNspanToARTimpl(const TurboTransform& transform, int s, spaceSeg k,
                                  TripletBase<float>& art, const TripletBase<float>& uv) const;
  void checkArrays(const char* function, int s, spaceSeg k, const TripletBase<float>* in,
                   const TripletBase<float>* out, std::size_t n) const;
  void requireInternalSet(const char* function) const;
  void placeEndOnWall(const ParametricCurve& extended, double target,
                      TripletBase<float>& end) const;
  bool usesCommonSpans() const;
  int segmentOf(const TripletBase<float>& art, const TripletBase<float>& rnmThetaNspan,
                double tolerance) const;
  void checkTolerance(const char* function, double tolerance) const;

  bool m_attached = false;
  bool m_internalSet = false;
  const TurboTransform* m_turboTransform = nullptr;
  std::vector<std::vector<TripletBase<float>>> m_rawBoundaries;
  std::vector<std::vector<TripletBase<float>>> m_cleanBoundaries;
  std::vector<TurboTransform::space> m_segSpaces;
  std::vector<double> m_spanValues;
  std::vector<SegmentBoundary> m_boundaries;
  std::vector<ParametricCurve> m_spanCurves;
  int m_bmSizeI = 0;
  int m_bmSizeJ = 0;
  segmentMethod m_segmentMethod = mergedSpan;
  bool m_debug = false;
  bool m_exactBoundaries = false;
  bool m_fastArrayInverse = false;
};

}  // namespace qor
