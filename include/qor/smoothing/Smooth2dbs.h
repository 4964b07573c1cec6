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

class QOR_API Smooth2dbs {
 public:
  /// Boundary-condition type of a mesh point (stored in a short; the values are fixed).
  enum bcType : short {
    none = 0,      ///< no condition; the sweeps leave the point where it is
    pinned = 1,    ///< stays on a side or corner; smoothed like `smoothed` in the interior
    smoothed = 2,  ///< interior point moved by the sweeps; fixed on a side
    onCurve = 4    ///< boundary point sliding along the curve of its geo id
  };

  Smooth2dbs();
  Smooth2dbs(const Smooth2dbs&);
  Smooth2dbs& operator=(const Smooth2dbs&);
  ~Smooth2dbs();

  /// Hands over the point array of all levels, its topology and the curve database (none owned;
  /// all must outlive the smoother). Resets every tuning and every point condition.
  /// @throws internal::error "Topology size not equal to the mesh size"
  void setmtopo(QORVector<TripletBase<float>>& mesh, const Topo2dMultiLevel& topo,
                const ParametricDBInterface* db);

  /// Appends curve names; names 0..3 are the West, East, South and North curves. Returns the geo id
  /// of the (last) name added.
  unsigned int addgeoName(char* name);
  unsigned int addgeoName(const std::string& name);
  unsigned int addgeoName(const std::vector<std::string>& names);

  /// @param first  under-relaxation of the interior points after each sweep (default 0.8)
  /// @param second under-relaxation of the new curve parameter of a sliding point (default 0.6)
  /// @param third  band [third, 1 - third] of the interval between its neighbours within which a
  ///               sliding point may move (default 0.4)
  void setUnderRelaxation(double first, double second, double third);
  void getUnderRelaxation(double& first, double& second, double& third) const;
  /// Debug mode: runSmoothAll prints "do level ..." and writes "strStart.NN" and "str.NN" per level
  /// into the working directory.
  void setDebug(bool on);
  /// Threads of the sweeps of runSmoothAll: 1 = the calling thread only (default), 0 = every
  /// hardware thread, n = n; levels of fewer than about a thousand points per thread run on fewer.
  /// Every sweep reads only the previous iterate, so the mesh is the same bit for bit for any
  /// number. Kept by setmtopo.
  /// @throws data::invalid for a negative number
  void setNumberOfThreads(int threads);
  int getNumberOfThreads() const;
  /// How a sweep turns an interior point's arm onto the bisector of its neighbours' arms. Off (the
  /// default, kept for compatibility): the two angles from `acos` of their clamped cosines and the
  /// turn from the sine and cosine of half their difference. On: the same turn in closed form from
  /// the arms' dot and cross products (square roots, no inverse or direct trigonometric function):
  /// about a fifth faster per sweep and accurate for angles near 0 and pi, where an inverse cosine
  /// loses digits. The two give the same mesh up to float rounding, not bit for bit; either is the
  /// same bit for bit for every number of threads. Kept by setmtopo.
  void setClosedFormBisection(bool on);
  bool getClosedFormBisection() const;
  /// Every level runs exactly this number of sweeps. @throws internal::error before setmtopo.
  void setMaxNumberOfIteration(int n);
  /// Sets one level's number of sweeps when level <= number of levels (std::out_of_range for an
  /// index past the last level).
  void setMaxNumberOfIteration(int n, int level);
  /// Linear spread: the coarsest level gets `first`, the finest `last`, the others an integer step.
  void setSpreadIterationLin(int first, int last);
  /// Quadratic spread from `first` (coarsest) to `last` (finest).
  void setSpreadIterationSqr(int first, int last);

  // Boundary conditions of the coarsest level: (type, geo id) for the points named.
  void setbcgeoIDAll(bcType type, int geoId);
  void setbcgeoIDmAll(bcType type, int geoId);
  /// Sets only the North-West corner (kept for compatibility); use setbcgeoIDmWest or the ranged
  /// form for the West side.
  void setbcgeoIDWest(bcType type, int geoId);
  void setbcgeoIDmWest(bcType type, int geoId);
  void setbcgeoIDWest(int j0, int j1, bcType type, int geoId);
  void setbcgeoIDEast(bcType type, int geoId);
  void setbcgeoIDmEast(bcType type, int geoId);
  void setbcgeoIDEast(int j0, int j1, bcType type, int geoId);
  void setbcgeoIDSouth(bcType type, int geoId);
  void setbcgeoIDmSouth(bcType type, int geoId);
  void setbcgeoIDSouth(int i0, int i1, bcType type, int geoId);
  void setbcgeoIDNorth(bcType type, int geoId);
  void setbcgeoIDmNorth(bcType type, int geoId);
  void setbcgeoIDNorth(int i0, int i1, bcType type, int geoId);
  void setbcgeoIDsw(bcType type, int geoId);
  void setbcgeoIDse(bcType type, int geoId);
  void setbcgeoIDnw(bcType type, int geoId);
  void setbcgeoIDne(bcType type, int geoId);

  /// Refines and smooths every level, coarse to fine; the result stays in the caller's mesh.
  /// @throws internal::error "Mesh and topology is not set" before setmtopo.
  void runSmoothAll();
  /// South and North side parameters of the last level worked on.
  void getFinalSvalues(std::vector<float>& south, std::vector<float>& north);

  /// Writes the points and quadrilateral faces of one level.
  void writePostSurface(const int& level, const std::string& fileName);
  /// Prints the bcType map of a level.
  void writebcID(const int& level) const;
  /// Prints the geo id map of a level.
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
