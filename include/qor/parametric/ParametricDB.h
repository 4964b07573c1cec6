#pragma once
/// @file
/// `ParametricDB`: the default curve database. A copy shares its curves with its source.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qor/export.h"
#include "qor/parametric/ParametricDBInterface.h"

namespace qor {

/// Curves are `ParametricCurve` polylines registered under a name, each with an id issued in
/// creation order (0 for the first, never reused until `clearGeometry` resets the counter).
/// Points are in the caller's frame (the transform stores meridional (axial, radial, 0) curves);
/// a curve parameter s runs 0 at the first point to 1 at the last (normalised arc length unless
/// the curve was built with its own parameter values). Unguarded: use one database from one
/// thread (the const `getCurveID` may write to the id table).
class QOR_API ParametricDB : public ParametricDBInterface {
 public:
  /// An empty database; the first curve created gets id 0.
  ParametricDB();
  /// Copies both tables and the id counter; the copy refers to the same curve objects as the
  /// source (each curve is released when its last holder drops it).
  ParametricDB(const ParametricDB& other);
  /// Drops this database's curves (released unless another copy still holds them), then shares
  /// those of `other` as the copy constructor does; self-assignment changes nothing.
  ParametricDB& operator=(const ParametricDB& other);
  ~ParametricDB() override;

  /// A new, empty `ParametricDB` on the heap; the caller owns it (delete through the interface).
  ParametricDBInterface* makeNew() override;

  /// Builds the curve (parameters: normalised arc length), then registers it under `name` with a
  /// fresh id (a curve of that name is released and its old id not reused). If the curve cannot
  /// be built the database is left as it was.
  /// @throws internal::error "Curve id counter exhausted." when the last id issued is INT_MAX.
  void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                   ParametricCurve::dim d) override;
  /// The same with the caller's parameter value of each point (kept as given, not normalised).
  /// @throws data::invalid (class "ParametricCurve") when `svalues` and `points` differ in length;
  ///         the database is then unchanged.
  void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                   const std::vector<double>& svalues, ParametricCurve::dim d);
  /// A straight curve from `first` (s = 0) to `second` (s = 1), dimension tag 2, created through
  /// the virtual `createCurve`, so a derived database sees the call there.
  void createCurveTwoPoints(const std::string& name, const TripletBase<float>& first,
                            const TripletBase<float>& second);
  /// Releases the named curve and removes its name and id; the id counter is not changed.
  /// @throws data::error "DataBase is empty." or "Curve does not exist. Name= <name>".
  void deleteCurve(const std::string& name) override;
  /// As `deleteCurve`, but does nothing (and never throws) for an unknown name or an empty
  /// database.
  void deleteCurveIfExist(const std::string& name);
  /// Whether a curve of that name exists (false for an empty database); never throws.
  bool checkCurveExist(const std::string& name) const override;
  /// Id of the named curve; an unknown name yields 0 (and is entered in the id table).
  int getCurveID(const std::string& name) const;
  /// Releases every curve and resets the ids; a database that is already empty keeps its id
  /// counter.
  void clearGeometry();
  /// Prints to standard output " State of the Parametric Database", " Size : <n> curves", then
  /// one line "   Curve id and name <id> : <name>" per curve in name order.
  void printDatabaseState() const;

  // Queries on one named curve, forwarded to its `ParametricCurve`. Each throws data::error
  // "DataBase is empty." when there are no curves, else "Curve does not exist. Name= <name>" for
  // an unknown name; errors of the curve itself pass through. A failed query changes nothing.

  /// Point at curve parameter s (0 first point, 1 last), linear between neighbouring points and
  /// computed in double; s outside the curve's range gives the nearer end point.
  TripletBase<double> getPointAtParameter(const std::string& name, double s) const override;
  /// Total polyline length (sum of the 3-component segment lengths, in double, in the units of
  /// the points); 0 for a curve of one point.
  double getLength(const std::string& name) const;
  /// The curve's first and last points (rounded from the stored float values, so exact).
  TripletBase<float> getFirstPoint(const std::string& name) const;
  TripletBase<float> getLastPoint(const std::string& name) const;
  /// Nearest point of the polyline to `point` (3-component distance, in double; the earliest
  /// segment wins a tie) and, in `s`, its curve parameter. The float forms round the result to
  /// float; the double forms return it unrounded. The forms without `s` only drop the parameter.
  TripletBase<float> projectPoint(const std::string& name, const TripletBase<float>& point,
                                  double& s) const override;
  TripletBase<float> projectPoint(const std::string& name,
                                  const TripletBase<float>& point) const override;
  TripletBase<double> projectPoint(const std::string& name, const TripletBase<double>& point,
                                   double& s) const;
  TripletBase<double> projectPoint(const std::string& name, const TripletBase<double>& point) const;
  /// The piece between parameters s1 and s2 (each clamped to the curve): the point at s1, the
  /// curve's points strictly between, the point at s2; at least two points (s1 == s2 gives that
  /// point twice), reversed when s1 lies after s2 along the curve. `out` is replaced.
  void getCurve(const std::string& name, double s1, double s2,
                std::vector<TripletBase<float>>& out) const;
  /// n points at the parameters k / (n - 1), k = 0..n-1 (the first and last are the end points
  /// exactly); n == 1 gives the first point, n <= 0 an empty `out`.
  /// @throws data::invalid for n points that cannot fit in memory (before allocating).
  void getCurveForEquidistantS(const std::string& name, std::vector<TripletBase<float>>& out,
                               int n) const;
  /// Removes near-duplicate points of the named curve in place: a point goes when its normalised
  /// arc-length step from the previous point does not exceed the floating-point spacing of the
  /// previous value times 10^n (see `ParametricCurve::eliminateDoublePoints`); the last point
  /// stays. The curve keeps its name and id.
  void eliminateDoublePoints(const std::string& name, int n);
  /// Writes the curve's points to the text file `fileName`, one line "x y z" per point (printf
  /// "%.9g", blank-separated, so the floats read back exactly); no header, no parameters.
  /// @throws data::error "Cannot open file for writing: <fileName>" (class "QORStream").
  void exportToFile(const std::string& name, const std::string& fileName) const;

  /// Places points on the named curve between `first` and `last` at the given fractions of the
  /// curve parameter between their projections; the ends are `first` and `last` themselves and
  /// the first and last fractions are not used. @throws std::out_of_range for no fractions.
  void getPointLocationsOnCurveAtParameter(const std::vector<double>& fractions,
                                           const TripletBase<double>& first,
                                           const TripletBase<double>& last, const std::string& name,
                                           std::vector<TripletBase<double>>& out) const;

 protected:
  void checkDataBaseEmpty() const;
  [[noreturn]] void throwCurveNotExist(const std::string& name) const;

 private:
  // The named curve, after the empty-database check and the name check (in that order).
  const ParametricCurve& curve(const std::string& name) const;
  ParametricCurve& curve(const std::string& name);
  // Stores an already built curve under `name` and gives the name a fresh id.
  void registerCurve(const std::string& name, std::shared_ptr<ParametricCurve> curve);

  // Curves are shared between copies of a database and released when the last holder goes.
  std::map<std::string, std::shared_ptr<ParametricCurve>> m_curves;
  mutable std::map<std::string, int> m_ids;
  int m_lastId = -1;
};

}  // namespace qor
