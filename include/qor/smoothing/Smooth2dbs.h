#pragma once
/// @file
/// `Smooth2dbs`: angle-based smoother of a multi-level structured 2D mesh whose boundary points
/// slide on named curves. It never owns the mesh, the topology or the curve database.

#include <string>
#include <utility>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/QORVector.h"
#include "qor/foundation/TripletBase.h"
#include "qor/parametric/ParametricDBInterface.h"
#include "qor/smoothing/Topo2dMultiLevel.h"

namespace qor {

/// Use: `setmtopo` (mesh, topology, database), `addgeoName` for the four side curves, the
/// `setbcgeoID...` conditions of the coarsest level, tuning (after `setmtopo`, which resets the
/// per-level counts), then `runSmoothAll`. Level 0 is laid out from the curves, then each level is
/// refined from the previous one by halving its cells and smoothed by a fixed number of sweeps;
/// all levels stay in the caller's point array. Point (i, j) of a level: i West (0) to East (icv),
/// j South (0) to North (jcv), as in `Topo2dMultiLevel`. Points and curves share one frame
/// (the transform passes (axial, radial, 0) nodes and meridional curves); lengths are in its
/// units. A point condition is a pair (bcType, geo id), the geo id being the index of a name
/// given to `addgeoName`.
class QOR_API Smooth2dbs {
 public:
  /// Boundary-condition type of a mesh point (stored in a short; the values are fixed).
  enum bcType : short {
    none = 0,      ///< no condition; the sweeps leave the point where it is
    pinned = 1,    ///< stays on a side or corner; smoothed like `smoothed` in the interior
    smoothed = 2,  ///< interior point moved by the sweeps; fixed on a side
    onCurve = 4    ///< boundary point sliding along the curve of its geo id
  };

  /// No mesh yet (runSmoothAll and setMaxNumberOfIteration(int) throw until `setmtopo`);
  /// relaxation 0.8, 0.6, 0.4; one thread; debug and closed-form bisection off.
  Smooth2dbs();
  /// Copies every setting, name and point condition; the copy points at the same mesh, topology
  /// and database as the source (they are never copied).
  Smooth2dbs(const Smooth2dbs&);
  Smooth2dbs& operator=(const Smooth2dbs&);
  ~Smooth2dbs();

  /// Hands over the point array of all levels, its topology and the curve database (none owned;
  /// all must outlive the smoother; the mesh must keep its size). Resets every level's number of
  /// sweeps to 200, every point condition to (none, geo id -1) and the side parameters to 0; the
  /// relaxation factors, geo names, debug, threads and bisection settings are kept.
  /// @throws internal::error "Topology size not equal to the mesh size" when topo.getAllSize()
  ///         differs from mesh.size(); the pointers are then stored but the smoother stays unset.
  void setmtopo(QORVector<TripletBase<float>>& mesh, const Topo2dMultiLevel& topo,
                const ParametricDBInterface* db);

  /// Appends curve names of the database; the index of a name is its geo id. Names 0..3 must be
  /// the West (inlet), East (outlet), South (hub) and North (shroud) curves, in that order: level 0
  /// is laid out along them. Names are kept by `setmtopo` and never removed.
  /// @return the geo id of the (last) name added: the number of names minus 1 (for an empty
  ///         list and no earlier names this wraps to the largest unsigned value)
  /// @throws data::invalid "Null pointer to curve name." for a null `name`
  unsigned int addgeoName(char* name);
  unsigned int addgeoName(const std::string& name);
  unsigned int addgeoName(const std::vector<std::string>& names);

  /// The three relaxation factors, not checked, kept by `setmtopo`.
  /// @param first  interior points after each sweep: first * new + (1 - first) * old (default
  ///               0.8); boundary points take their new position unrelaxed
  /// @param second new curve parameter of a sliding point: second * new + (1 - second) * old
  ///               (default 0.6); not applied when the point falls back to the mean of its
  ///               neighbours' parameters
  /// @param third  limits a sliding point's move towards a neighbour: a point within `third` of
  ///               the parameter interval between its two neighbours from that neighbour does
  ///               not move towards it, and no move exceeds half the parameter distance to it
  ///               (default 0.4)
  void setUnderRelaxation(double first, double second, double third);
  /// The three factors in the order of `setUnderRelaxation`.
  void getUnderRelaxation(double& first, double& second, double& third) const;
  /// Debug mode (off by default): runSmoothAll prints "do level <L>max iter= <n>" and writes the
  /// surface files (`writePostSurface`) "strStart.NN" before and "str.NN" after the sweeps of each
  /// level NN (two digits) into the working directory.
  void setDebug(bool on);
  /// Threads of the sweeps of runSmoothAll: 1 = the calling thread only (default), 0 = every
  /// hardware thread, n = n; levels of fewer than about a thousand points per thread run on fewer.
  /// Every sweep reads only the previous iterate, so the mesh is the same bit for bit for any
  /// number. Kept by setmtopo.
  /// @throws data::invalid for a negative number
  void setNumberOfThreads(int threads);
  /// The number given to `setNumberOfThreads` (0 is returned as 0, not resolved).
  int getNumberOfThreads() const;
  /// How a sweep turns an interior point's arm onto the bisector of its neighbours' arms. Off (the
  /// default, kept for compatibility): the two angles from `acos` of their clamped cosines and the
  /// turn from the sine and cosine of half their difference. On: the same turn in closed form from
  /// the arms' dot and cross products (square roots, no inverse or direct trigonometric function):
  /// about 40 % less smoothing time (README, Speed) and accurate for angles near 0 and pi, where
  /// an inverse cosine loses digits. The two give the same mesh up to float rounding, not bit for
  /// bit; either is the same bit for bit for every number of threads. Kept by setmtopo.
  void setClosedFormBisection(bool on);
  /// Whether the closed-form bisection is on.
  bool getClosedFormBisection() const;
  /// Every level runs exactly this number of sweeps (default 200; a convergence test is not
  /// made, a level always runs its full count; 0 or less leaves it as laid out).
  /// @throws internal::error "Mesh and topology is not set" before setmtopo.
  void setMaxNumberOfIteration(int n);
  /// Sets the number of sweeps of one level (0 = coarsest). Not checked against the state: a
  /// level equal to the number of levels, a negative one, or any level before setmtopo gives
  /// std::out_of_range; a level above the number of levels is silently ignored.
  void setMaxNumberOfIteration(int n, int level);
  /// Linear spread over n levels: level 0 gets `first`, level n-1 `last`, level k in between
  /// first - k * ((first - last) / (n - 1)) with the quotient in integer division (so the step
  /// before the finest level absorbs the remainder). One level: only `first`; nothing before
  /// setmtopo or without levels.
  void setSpreadIterationLin(int first, int last);
  /// Quadratic spread: level 0 gets `first`, level n-1 `last`, level k in between the truncation of
  /// k^2 a + first with a = (last - first) / (n - 1)^2 in float. One level: only `first`.
  void setSpreadIterationSqr(int first, int last);

  // Boundary conditions of the coarsest level (level 0): each stores the pair (type, geo id) at
  // the points named; runSmoothAll passes them on to the finer levels (`smoothed` everywhere,
  // `onCurve` along the sides, `pinned` where neither does). Call them after setmtopo, which resets
  // every point to (none, -1); before it they throw std::out_of_range. Ranges are clamped into the
  // block (an empty range changes nothing). The "m" forms leave out the side's two corners.

  /// Every point of level 0 (i 0..icv, j 0..jcv).
  void setbcgeoIDAll(bcType type, int geoId);
  /// The interior of level 0 (i 1..icv-1, j 1..jcv-1); interior points stay where they are unless
  /// they get a type other than `none`.
  void setbcgeoIDmAll(bcType type, int geoId);
  /// Sets only the North-West corner (0, jcv), like setbcgeoIDnw (kept for compatibility); use
  /// setbcgeoIDmWest or the ranged form for the West side.
  void setbcgeoIDWest(bcType type, int geoId);
  /// West side (i = 0) without its corners, j 1..jcv-1.
  void setbcgeoIDmWest(bcType type, int geoId);
  /// West side points j0..j1 (clamped into 0..jcv).
  void setbcgeoIDWest(int j0, int j1, bcType type, int geoId);
  /// East side (i = icv): all j 0..jcv; the "m" form j 1..jcv-1; the ranged form j0..j1.
  void setbcgeoIDEast(bcType type, int geoId);
  void setbcgeoIDmEast(bcType type, int geoId);
  void setbcgeoIDEast(int j0, int j1, bcType type, int geoId);
  /// South side (j = 0): all i 0..icv; the "m" form i 1..icv-1; the ranged form i0..i1.
  void setbcgeoIDSouth(bcType type, int geoId);
  void setbcgeoIDmSouth(bcType type, int geoId);
  void setbcgeoIDSouth(int i0, int i1, bcType type, int geoId);
  /// North side (j = jcv): all i 0..icv; the "m" form i 1..icv-1; the ranged form i0..i1.
  void setbcgeoIDNorth(bcType type, int geoId);
  void setbcgeoIDmNorth(bcType type, int geoId);
  void setbcgeoIDNorth(int i0, int i1, bcType type, int geoId);
  /// One corner: sw (0, 0), se (icv, 0), nw (0, jcv), ne (icv, jcv). The sweeps never move a
  /// corner.
  void setbcgeoIDsw(bcType type, int geoId);
  void setbcgeoIDse(bcType type, int geoId);
  void setbcgeoIDnw(bcType type, int geoId);
  void setbcgeoIDne(bcType type, int geoId);

  /// Refines and smooths every level, coarse to fine; the result stays in the caller's mesh. Each
  /// call starts over: level 0's sides are laid evenly in curve parameter along curves 0..3
  /// (South and North at every i, West and East at j 1..jcv-1) and its interior interpolated
  /// linearly in j between South and North; each finer level starts from the previous one with
  /// halved cells, its new side points of type `onCurve` put on their curves. In each of a level's
  /// sweeps, interior points of a type other than `none` move by angle-based smoothing,
  /// non-corner side points of type `onCurve` slide along the curve of their geo id, all other
  /// points stay. Earlier mesh contents are overwritten.
  /// @throws internal::error "Mesh and topology is not set" before setmtopo, or "Topology size not
  ///         equal to the mesh size" when the mesh was resized since.
  /// @throws internal::nullPointer "Null pointer to ParametricDBInterface." for a null database.
  /// @throws std::out_of_range with fewer than four geo names, or an `onCurve` point whose geo id
  ///         names no curve.
  /// @throws data::invalid "Attempt to divide by zero." when level 0 has a single point in j.
  /// Errors of the database (an unknown curve name) and of the debug files pass through.
  void runSmoothAll();
  /// Curve parameters (0 at i = 0 to 1 at i = icv) of the South and North side points of the last
  /// level worked on, one per i: the finest level after runSmoothAll; zeros sized to level 0 after
  /// setmtopo alone.
  void getFinalSvalues(std::vector<float>& south, std::vector<float>& north);

  /// Writes the points and quadrilateral faces of one level to a text file: one line "x y z "
  /// per point (global order, i outer, j inner; default stream formatting, a trailing blank), an
  /// empty line, "# Faces", then one line per cell (i 1..icv outer, j 1..jcv inner) with the
  /// zero-based level-local indices of (i, j), (i-1, j), (i-1, j-1), (i, j-1). Then prints
  /// " Post Mesh saved in:<fileName>" to standard output.
  /// @throws std::out_of_range before setmtopo or for a level outside the topology.
  /// @throws data::error "Cannot open file for writing: <fileName>".
  void writePostSurface(const int& level, const std::string& fileName);
  /// Prints the bcType values of a level's points to standard output as a map (title " BC "),
  /// columns i in blocks of ten, rows j from jcv (North, top) down to 0, "%4i" per value. Prints
  /// nothing before setmtopo or for a level outside the topology.
  void writebcID(const int& level) const;
  /// The same map of the geo ids (title " GEO"); -1 is a point without a curve.
  void writegeoID(const int& level) const;

  /// Lays the points (i0..i1, j0..j1) of one side of `level` evenly in parameter along `curve`:
  /// point i of an i-side gets the parameter i / icv, point j of a j-side j / jcv (clamped to
  /// [0, 1]). Nothing happens when neither i0 == i1 nor j0 == j1, or for an empty range.
  /// @throws internal::nullPointer for a null database when there are points to place.
  static void setMeshPointsOnCurve(const Topo2dBase& level, QORVector<TripletBase<float>>& points,
                                   const ParametricDBInterface* db, const std::string& curve,
                                   int i0, int i1, int j0, int j1);

 private:
  void setDefaults();
  void setConCriterium(double c);
  void setConCriterium(double c, int level);
  void setDefaultsForRest();
  void checkTheGoodState() const;
  void settype(int i0, int i1, int j0, int j1, bcType type, int geoId, int level,
               QORVector<std::pair<short, short>>& conditions);
  void getExtraBC(std::pair<short, short>& result, int onSide, const std::vector<int>& points);

  void initmesh(QORVector<TripletBase<float>>& mesh, const Topo2dMultiLevel& topo);
  void extrapolateBC(int level);
  void extrapolateMesh(int level);
  void applyMeshBC(int level);
  void applyMeshBCOnCurve(int level, int i0, int i1, int j0, int j1);
  void runSmooth(int level);
  void angleAverageNoSN(const int& point, const std::vector<int>& neighbours,
                        TripletBase<float>& result);
  void applyBC(int level, std::vector<TripletBase<float>>& newPositions, QORVector<float>& west,
               QORVector<float>& east, QORVector<float>& south, QORVector<float>& north);
  void applyCurveBConS(const std::string& curve, const TripletBase<float>& previous,
                       const TripletBase<float>& point, const TripletBase<float>& next,
                       const TripletBase<float>& inner, TripletBase<float>& result, float sPrevious,
                       float s, float sNext, float& sResult) const;

  void writemesh(const int& level, const std::string& fileName);
  void writeShort(const int& level, const std::string& title,
                  const QORVector<std::pair<short, short>>& conditions, const int& which) const;

  QORVector<TripletBase<float>>* m_mesh = nullptr;
  const Topo2dMultiLevel* m_topo = nullptr;
  const ParametricDBInterface* m_parametricDB = nullptr;
  int m_levels = 0;
  double m_relaxation1 = 0.8;
  double m_relaxation2 = 0.6;
  double m_relaxation3 = 0.4;
  std::pair<short, short> m_defaultCondition{-1, 0};  // geo id, then type
  bool m_set = false;
  int m_defaultMaxIterations = 200;
  double m_defaultCriterion = 0.001;
  QORVector<int> m_maxIterations;
  QORVector<double> m_criteria;
  QORVector<std::string> m_geoNames;
  QORVector<std::pair<short, short>> m_conditions;  // first = bcType, second = geo id
  bool m_debug = false;
  int m_threads = 1;
  bool m_closedFormBisection = false;
  std::vector<float> m_west;
  std::vector<float> m_east;
  std::vector<float> m_south;
  std::vector<float> m_north;
};

}  // namespace qor
