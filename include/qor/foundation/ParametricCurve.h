#pragma once
/// @file
/// `ParametricCurve`: an ordered polyline with a parameter value per point. Without caller-given
/// parameters the parameter is the normalised arc length (0 at the first point, 1 at the last).

#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/foundation/TripletBase.h"

namespace qor {

class QOR_API ParametricCurve {
 public:
  /// Dimension tag stored with the curve (the library passes 1 and 2); it does not change behaviour.
  enum dim : int { curve0d = 0, curve1d = 1, curve2d = 2, curve3d = 3 };

  ParametricCurve();
  ParametricCurve(const std::vector<TripletBase<float>>& points, dim d);
  /// @throws data::invalid when the number of parameter values differs from the number of points.
  ParametricCurve(const std::vector<TripletBase<float>>& points, const std::vector<double>& svalues,
                  dim d);
  ParametricCurve(const ParametricCurve&);
  ParametricCurve(ParametricCurve&&) noexcept;
  ParametricCurve& operator=(const ParametricCurve&);
  ParametricCurve& operator=(ParametricCurve&&) noexcept;
  virtual ~ParametricCurve();

  void setPoints(const std::vector<TripletBase<float>>& points, dim d);
  void setPoints(const std::vector<TripletBase<float>>& points, const std::vector<double>& svalues,
                 dim d);
  /// Replaces the points by (v, 0, 0), one per value (arc-length parameters).
  void setPointsX(const std::vector<double>& values);
  /// The first components of the points, widened to double.
  void getX(std::vector<double>& values) const;
  void getSvalues(std::vector<double>& values) const;

  std::size_t size() const noexcept;
  dim getDim() const noexcept;
  double getLength() const;
  TripletBase<double> getFirstPoint() const;
  TripletBase<double> getLastPoint() const;
  /// Point at parameter s, linear between the neighbouring points; s is clamped to the parameter range.
  TripletBase<double> getPointAtParameter(double s) const;

  /// Nearest point of the polyline; the earliest segment wins a tie.
  TripletBase<float> projectPoint(const TripletBase<float>& point) const;
  TripletBase<float> projectPoint(const TripletBase<float>& point, double& s) const;
  TripletBase<double> projectPoint(const TripletBase<double>& point) const;
  TripletBase<double> projectPoint(const TripletBase<double>& point, double& s) const;

  void getCurve(std::vector<TripletBase<float>>& out) const;
  /// The piece between parameters s1 and s2 (end points interpolated; at least two points).
  void getCurve(double s1, double s2, std::vector<TripletBase<float>>& out) const;
  void getCurve(double s1, double s2, std::vector<TripletBase<float>>& out,
                std::vector<double>& svalues) const;
  /// Points at the given parameters; `clamp` true keeps them within the curve's ends.
  void getCurveBySvalues(std::vector<TripletBase<float>>& out, const std::vector<double>& svalues,
                         bool clamp) const;
  void getCurveForEquidistantS(std::vector<TripletBase<float>>& out, int n) const;
  void getCurveBegin(double s, std::vector<TripletBase<float>>& out) const;
  void getCurveEnd(double s, std::vector<TripletBase<float>>& out) const;
  /// Cuts the given points and parameter values to the range [from, to]; both lists come back
  /// with the same length. Reads only its arguments.
  void getCurveCleanEnds(std::vector<TripletBase<float>>& points, std::vector<double>& svalues,
                         double from, double to) const;

  /// Lengthens the curve beyond both ends by the fraction f of its length.
  void expandCurveBothEnds(double f);
  /// Removes points that coincide with their predecessor within a tolerance growing with k.
  void eliminateDoublePoints(int k);
  /// Removes repeated points, keeping the first occurrence and the order.
  void makeUnique();
  /// Reorders the points so that they run continuously along the curve (clean input is unchanged).
  void makeContinuous();
  /// Writes one line "x y z" per point.
  void exportToFile(const std::string& fileName) const;

 private:
  void recomputeArcLength();

  std::vector<TripletBase<float>> m_points;
  std::vector<double> m_svalues;
  dim m_dim = curve2d;
  bool m_callerParameters = false;
};

}  // namespace qor
