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

class QOR_API ParametricDB : public ParametricDBInterface {
 public:
  ParametricDB();
  /// Copies both tables; the copy refers to the same curve objects as the source.
  ParametricDB(const ParametricDB& other);
  ParametricDB& operator=(const ParametricDB& other);
  ~ParametricDB() override;

  ParametricDBInterface* makeNew() override;

  /// Builds the curve, then registers it under `name` with a fresh id (a curve of that name is
  /// released). If the curve cannot be built the database is left as it was.
  void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                   ParametricCurve::dim d) override;
  void createCurve(const std::string& name, const std::vector<TripletBase<float>>& points,
                   const std::vector<double>& svalues, ParametricCurve::dim d);
  void createCurveTwoPoints(const std::string& name, const TripletBase<float>& first,
                            const TripletBase<float>& second);
  /// @throws data::error "DataBase is empty." or "Curve does not exist. Name= <name>".
  void deleteCurve(const std::string& name) override;
  void deleteCurveIfExist(const std::string& name);
  bool checkCurveExist(const std::string& name) const override;
  /// Id of the named curve; an unknown name yields 0 (and is entered in the id table).
  int getCurveID(const std::string& name) const;
  /// Releases every curve and resets the ids; a database that is already empty keeps its id
  /// counter.
  void clearGeometry();
  void printDatabaseState() const;

  // Queries on one named curve. Each throws data::error "DataBase is empty." when there are no
  // curves, else "Curve does not exist. Name= <name>" for an unknown name; errors of the curve
  // itself pass through.
  TripletBase<double> getPointAtParameter(const std::string& name, double s) const override;
  double getLength(const std::string& name) const;
  TripletBase<float> getFirstPoint(const std::string& name) const;
  TripletBase<float> getLastPoint(const std::string& name) const;
  TripletBase<float> projectPoint(const std::string& name, const TripletBase<float>& point,
                                  double& s) const override;
  TripletBase<float> projectPoint(const std::string& name,
                                  const TripletBase<float>& point) const override;
  TripletBase<double> projectPoint(const std::string& name, const TripletBase<double>& point,
                                   double& s) const;
  TripletBase<double> projectPoint(const std::string& name, const TripletBase<double>& point) const;
  void getCurve(const std::string& name, double s1, double s2,
                std::vector<TripletBase<float>>& out) const;
  void getCurveForEquidistantS(const std::string& name, std::vector<TripletBase<float>>& out,
                               int n) const;
  void eliminateDoublePoints(const std::string& name, int n);
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
