#pragma once
/// @file
/// `ParametricCurve`: an ordered polyline with a parameter value per point.
///
/// Two parameter modes:
/// - arc-length mode (no parameters given): the parameter is the normalised 3-component arc
///   length, computed in double, exactly 0 at the first point and exactly 1 at the last (uniform
///   k/(n-1) when the length is zero); it is recomputed after every edit of the points;
/// - caller mode (parameters given): the values are kept verbatim, never renormalised, and may be
///   non-monotone or repeated. A parameter is then looked up on the first segment, from the start,
///   whose two values bracket it (in either order); a parameter no segment brackets gives the end
///   point whose parameter is nearer.
/// A parameter that equals a vertex's parameter gives that vertex exactly. Queries on a curve
/// without points throw `data::invalid` (class "ParametricCurve"); NaN coordinates or parameters
/// give defined results (the first point) and never loop.

#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

class QOR_API ParametricCurve {
 public:
  /// Dimension tag stored with the curve (the library passes 1 and 2); it does not change
  /// behaviour.
  enum dim : int { curve0d = 0, curve1d = 1, curve2d = 2, curve3d = 3 };

  /// A curve without points (dimension tag 2): the point queries throw data::invalid "The curve
  /// has no points." until points are set.
  ParametricCurve();
  /// Copies the points; arc-length mode. Points are in the caller's frame and units.
  ParametricCurve(const std::vector<TripletBase<float>>& points, dim d);
  /// Copies the points with one caller parameter per point (caller mode).
  /// @throws data::invalid when the number of parameter values differs from the number of points.
  ParametricCurve(const std::vector<TripletBase<float>>& points, const std::vector<double>& svalues,
                  dim d);
  ParametricCurve(const ParametricCurve&);
  ParametricCurve(ParametricCurve&&) noexcept;
  ParametricCurve& operator=(const ParametricCurve&);
  ParametricCurve& operator=(ParametricCurve&&) noexcept;
  virtual ~ParametricCurve();

  /// Replaces points and tag, as the matching constructor: arc-length mode, or caller mode with
  /// the given parameters (data::invalid for a count mismatch, the curve then unchanged).
  void setPoints(const std::vector<TripletBase<float>>& points, dim d);
  void setPoints(const std::vector<TripletBase<float>>& points, const std::vector<double>& svalues,
                 dim d);
  /// Replaces the points by (v, 0, 0), one per value (arc-length parameters).
  void setPointsX(const std::vector<double>& values);
  /// The first components of the points, widened to double.
  void getX(std::vector<double>& values) const;
  /// The parameter of every point (normalised arc length, or the caller's values); `values` is
  /// replaced, empty for a curve without points.
  void getSvalues(std::vector<double>& values) const;

  /// Number of points.
  std::size_t size() const noexcept;
  /// The dimension tag given at construction or by `setPoints` (`setPointsX` keeps it).
  dim getDim() const noexcept;
  /// Total polyline length: sum of the 3-component segment lengths in double, in the units of the
  /// points, also in caller mode; 0 without points or with one.
  double getLength() const;
  /// First and last point, widened to double (exact).
  TripletBase<double> getFirstPoint() const;
  TripletBase<double> getLastPoint() const;
  /// Point at parameter s, linear between the neighbouring points (interpolated in double); s is
  /// clamped to the parameter range and NaN gives the first point.
  /// @throws data::invalid when the curve has no points (also getFirstPoint, getLastPoint).
  TripletBase<double> getPointAtParameter(double s) const;

  /// Nearest point of the polyline (3-component distance in double) and, in `s`, its parameter in
  /// the curve's own mode; only a strictly nearer segment replaces the best, so the earliest
  /// segment wins a tie. @throws data::invalid when the curve has no points.
  TripletBase<float> projectPoint(const TripletBase<float>& point) const;
  TripletBase<float> projectPoint(const TripletBase<float>& point, double& s) const;
  TripletBase<double> projectPoint(const TripletBase<double>& point) const;
  TripletBase<double> projectPoint(const TripletBase<double>& point, double& s) const;

  /// All points, in order (`out` is replaced; empty for a curve without points).
  void getCurve(std::vector<TripletBase<float>>& out) const;
  /// The piece between parameters s1 and s2 (both clamped): the point at s1, every vertex strictly
  /// between, the point at s2; always at least two points (s1 == s2 gives that point twice), and
  /// reversed when s1 lies after s2. The `svalues` form returns the matching parameters.
  /// @throws data::invalid when the curve has no points.
  void getCurve(double s1, double s2, std::vector<TripletBase<float>>& out) const;
  void getCurve(double s1, double s2, std::vector<TripletBase<float>>& out,
                std::vector<double>& svalues) const;
  /// Points at the given parameters, one per value; `clamp` true keeps them within the curve's
  /// ends, false extrapolates along the end segment beyond the parameter range. `out` is resized to
  /// svalues.size(). @throws data::invalid for values on a curve without points.
  void getCurveBySvalues(std::vector<TripletBase<float>>& out, const std::vector<double>& svalues,
                         bool clamp) const;
  /// n points at the parameters k/(n-1); the first and last are the end points exactly. n == 1
  /// gives the first point, n <= 0 an empty list.
  /// @throws data::invalid for n points that cannot fit in memory (before allocating)
  void getCurveForEquidistantS(std::vector<TripletBase<float>>& out, int n) const;
  /// The piece from the first point to s, and from s to the last point (see getCurve).
  /// @throws data::invalid when the curve has no points.
  void getCurveBegin(double s, std::vector<TripletBase<float>>& out) const;
  void getCurveEnd(double s, std::vector<TripletBase<float>>& out) const;
  /// Cuts the given points and parameter values to the range [from, to]: the points before the
  /// first that reaches `from` are dropped and the one just before it moves onto `from`
  /// (interpolated); the end is cut at `to` likewise. Lists that never reach `from` (or `to`) keep
  /// that end. Both lists come back with the same length. Reads only its arguments, not the curve.
  /// @throws data::invalid when the two lists differ in length.
  void getCurveCleanEnds(std::vector<TripletBase<float>>& points, std::vector<double>& svalues,
                         double from, double to) const;

  /// Lengthens the curve beyond both ends by the fraction f of its length: a point is added before
  /// the first and after the last, straight along the end direction (taken towards the first point
  /// at least 1e-3 of the length away). The curve then uses arc-length parameters. Nothing happens
  /// for fewer than two points, a zero length or f <= 0.
  void expandCurveBothEnds(double f);
  /// Removes point j when its normalised arc-length step from point j-1 (double) does not exceed
  /// spacing(s_{j-1}) * 10^k; the last point always stays (it replaces the last kept point unless
  /// that is the first). Nothing changes for fewer than two points or a non-finite length. A curve
  /// of zero length keeps its first point only. Caller parameters of kept points are kept.
  void eliminateDoublePoints(int k);
  /// Removes repeated points (exact equality of all three components, -0 equal to +0, NaN never
  /// equal), keeping the first occurrence and the order.
  void makeUnique();
  /// When consecutive segments turn back somewhere (negative dot product), reorders the points into
  /// a nearest-neighbour chain starting at the first point, which is taken to be a true end of the
  /// curve (ties go to the lower original index), and switches to arc-length parameters. A curve
  /// that never turns back is left bit for bit unchanged.
  void makeContinuous();
  /// Writes one line "x y z" per point (%.9g, blank-separated).
  /// @throws data::error when the file cannot be opened.
  void exportToFile(const std::string& fileName) const;

 private:
  /// A position on the polyline: point `index` when w == 0, else between `index` and `index + 1`.
  struct Location {
    std::size_t index;
    double w;
    double s;  ///< the parameter of the position (the clamped query)
  };

  void recomputeArcLength();
  void requirePoints(const char* operation) const;
  Location locate(double s) const;
  TripletBase<double> pointAt(const Location& loc) const;
  TripletBase<double> project(const TripletBase<double>& point, double& s) const;
  void keepPoints(const std::vector<std::size_t>& kept);

  std::vector<TripletBase<float>> m_points;
  std::vector<double> m_svalues;
  double m_length = 0.0;
  dim m_dim = curve2d;
  bool m_callerParameters = false;
};

}  // namespace qor
