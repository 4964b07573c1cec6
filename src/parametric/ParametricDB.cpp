#include "qor/parametric/ParametricDB.h"

#include <iostream>
#include <limits>
#include <utility>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"

namespace qor {

ParametricDB::ParametricDB() = default;

ParametricDB::ParametricDB(const ParametricDB& other)
    : ParametricDBInterface(other),
      m_curves(other.m_curves),
      m_ids(other.m_ids),
      m_lastId(other.m_lastId) {}

ParametricDB& ParametricDB::operator=(const ParametricDB& other) {
  if (this == &other) return *this;
  // Dropping our references releases a curve only when no other database still shares it.
  m_curves.clear();
  m_ids.clear();
  m_curves = other.m_curves;
  m_ids = other.m_ids;
  m_lastId = other.m_lastId;
  return *this;
}

ParametricDB::~ParametricDB() { clearGeometry(); }

ParametricDBInterface* ParametricDB::makeNew() { return new ParametricDB(); }

void ParametricDB::registerCurve(const std::string& name, std::shared_ptr<ParametricCurve> curve) {
  if (m_lastId == std::numeric_limits<int>::max()) {
    throw internal::error("ParametricDB", "createCurve", SystemMsg("Curve id counter exhausted."),
                          errorType::fatal);
  }
  // The curve is complete before anything changes, so a failed construction leaves the database
  // as it was; replacing the entry releases the previous curve of that name.
  m_curves[name] = std::move(curve);
  m_ids[name] = ++m_lastId;
}

void ParametricDB::createCurve(const std::string& name,
                               const std::vector<TripletBase<float>>& points,
                               ParametricCurve::dim d) {
  registerCurve(name, std::make_shared<ParametricCurve>(points, d));
}

void ParametricDB::createCurve(const std::string& name,
                               const std::vector<TripletBase<float>>& points,
                               const std::vector<double>& svalues, ParametricCurve::dim d) {
  registerCurve(name, std::make_shared<ParametricCurve>(points, svalues, d));
}

void ParametricDB::createCurveTwoPoints(const std::string& name, const TripletBase<float>& first,
                                        const TripletBase<float>& second) {
  const std::vector<TripletBase<float>> points{first, second};
  createCurve(name, points, ParametricCurve::curve2d);
}

void ParametricDB::deleteCurve(const std::string& name) {
  checkDataBaseEmpty();
  const auto it = m_curves.find(name);
  if (it == m_curves.end()) throwCurveNotExist(name);
  m_curves.erase(it);
  m_ids.erase(name);
}

void ParametricDB::deleteCurveIfExist(const std::string& name) {
  const auto it = m_curves.find(name);
  if (it == m_curves.end()) return;
  m_curves.erase(it);
  m_ids.erase(name);
}

bool ParametricDB::checkCurveExist(const std::string& name) const {
  if (m_curves.empty()) return false;
  return m_curves.find(name) != m_curves.end();
}

int ParametricDB::getCurveID(const std::string& name) const {
  (void)checkCurveExist(name);
  // Lenient by design: an unknown name is entered with id 0.
  return m_ids[name];
}

void ParametricDB::clearGeometry() {
  // A database whose curves were all deleted one by one keeps its id counter.
  if (m_curves.empty()) return;
  for (auto& entry : m_curves) entry.second.reset();
  m_curves.clear();
  m_ids.clear();
  m_lastId = -1;
}

void ParametricDB::printDatabaseState() const {
  std::cout << " State of the Parametric Database" << std::endl;
  std::cout << " Size : " << m_curves.size() << " curves" << std::endl;
  for (const auto& entry : m_curves) {
    std::cout << "   Curve id and name " << m_ids[entry.first] << " : " << entry.first
              << std::endl;
  }
}

void ParametricDB::checkDataBaseEmpty() const {
  if (m_curves.empty()) {
    throw data::error("ParametricDB", "checkDataBaseEmpty", SystemMsg("DataBase is empty."),
                      errorType::fatal);
  }
}

void ParametricDB::throwCurveNotExist(const std::string& name) const {
  throw data::error("ParametricDB", "throwCurveNotExist",
                    SystemMsg("Curve does not exist. Name= %1") << name, errorType::fatal);
}

const ParametricCurve& ParametricDB::curve(const std::string& name) const {
  checkDataBaseEmpty();
  const auto it = m_curves.find(name);
  if (it == m_curves.end()) throwCurveNotExist(name);
  return *it->second;
}

ParametricCurve& ParametricDB::curve(const std::string& name) {
  checkDataBaseEmpty();
  const auto it = m_curves.find(name);
  if (it == m_curves.end()) throwCurveNotExist(name);
  return *it->second;
}

TripletBase<double> ParametricDB::getPointAtParameter(const std::string& name, double s) const {
  return curve(name).getPointAtParameter(s);
}

double ParametricDB::getLength(const std::string& name) const { return curve(name).getLength(); }

TripletBase<float> ParametricDB::getFirstPoint(const std::string& name) const {
  return TripletBase<float>(curve(name).getFirstPoint());
}

TripletBase<float> ParametricDB::getLastPoint(const std::string& name) const {
  return TripletBase<float>(curve(name).getLastPoint());
}

TripletBase<float> ParametricDB::projectPoint(const std::string& name,
                                              const TripletBase<float>& point, double& s) const {
  return curve(name).projectPoint(point, s);
}

TripletBase<float> ParametricDB::projectPoint(const std::string& name,
                                              const TripletBase<float>& point) const {
  return curve(name).projectPoint(point);
}

TripletBase<double> ParametricDB::projectPoint(const std::string& name,
                                               const TripletBase<double>& point, double& s) const {
  return curve(name).projectPoint(point, s);
}

TripletBase<double> ParametricDB::projectPoint(const std::string& name,
                                               const TripletBase<double>& point) const {
  return curve(name).projectPoint(point);
}

void ParametricDB::getCurve(const std::string& name, double s1, double s2,
                            std::vector<TripletBase<float>>& out) const {
  curve(name).getCurve(s1, s2, out);
}

void ParametricDB::getCurveForEquidistantS(const std::string& name,
                                           std::vector<TripletBase<float>>& out, int n) const {
  curve(name).getCurveForEquidistantS(out, n);
}

void ParametricDB::eliminateDoublePoints(const std::string& name, int n) {
  curve(name).eliminateDoublePoints(n);
}

void ParametricDB::exportToFile(const std::string& name, const std::string& fileName) const {
  curve(name).exportToFile(fileName);
}

void ParametricDB::getPointLocationsOnCurveAtParameter(const std::vector<double>& fractions,
                                                       const TripletBase<double>& first,
                                                       const TripletBase<double>& last,
                                                       const std::string& name,
                                                       std::vector<TripletBase<double>>& out) const {
  // Both projections come first, so an empty database or an unknown name fails before `out` changes.
  double s1 = 0.0;
  double s2 = 0.0;
  (void)projectPoint(name, first, s1);
  (void)projectPoint(name, last, s2);
  const double d = s2 - s1;

  const std::size_t n = fractions.size();
  out.assign(n, TripletBase<double>());
  // The ends are the given points themselves; an empty fraction list fails here (std::out_of_range).
  out.at(0) = first;
  out.at(n - 1) = last;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    out[i] = getPointAtParameter(name, s1 + fractions[i] * d);
  }
}

}  // namespace qor
