// Construction, copying and set-up of TurboTransform: the axis, the ART conversion of Cartesian
// points, the projection database of the four boundary curves and the small accessors.

#include <cmath>
#include <memory>
#include <cstdlib>
#include <string>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "qor/foundation/NumericalUtils.h"
#include "qor/foundation/ParametricCurve.h"
#include "qor/foundation/QuadtreeBucket.h"
#include "qor/parametric/ParametricDB.h"
#include "qor/parametric/ParametricDBFactory.h"
#include "qor/smoothing/Topo2dMultiLevel.h"
#include "qor/turbo/TurboTransform.h"
#include "turbo/TurboTransformCleanup.h"
#include "turbo/TurboTransformState.h"
#include "turbo/AxialRadial.h"
#include "turbo/MeridionalPlane.h"

namespace qor {

namespace {

const char* const kClass = "TurboTransform";

using turbo_detail::crossInDouble;
using turbo_detail::dotInDouble;

// Coordinates beyond this magnitude overflow the single-precision lengths of the mesh.
constexpr float kLargestCoordinate = 1e18f;

// Rejects a boundary curve that no set-up could use: empty, a single point (or points that all
// coincide within the resolution of single-precision lengths), or a coordinate that is not finite,
// carries the invalid-coordinate mark or is too large for lengths to be formed. The check runs
// before the transform changes, so a rejected call leaves the object exactly as it was.
void checkCurve(const TripletQORVector& curve, const char* name, const char* function) {
  if (curve.empty()) {
    throw data::invalid(kClass, function, UserMsg("Curve %1 is empty.") << name, errorType::fatal);
  }
  if (curve.size() < 2) {
    throw data::invalid(kClass, function,
                        UserMsg("Curve %1 has too few points (%2); at least 2 are needed.")
                            << name << curve.size(),
                        errorType::fatal);
  }
  for (unsigned int k = 0; k < curve.size(); ++k) {
    for (int c = 0; c < 3; ++c) {
      const float v = curve[k][c];
      if (!std::isfinite(v) || v == invalidCoordinate) {
        throw data::invalid(kClass, function,
                            UserMsg("Curve %1 has a non-finite or invalid coordinate at point %2.")
                                << name << k,
                            errorType::fatal);
      }
      if (std::fabs(v) > kLargestCoordinate) {
        throw data::invalid(kClass, function,
                            UserMsg("Curve %1 has a coordinate too large at point %2 (%3).")
                                << name << k << v,
                            errorType::fatal);
      }
    }
  }
  bool distinct = false;
  for (unsigned int k = 1; k < curve.size() && !distinct; ++k) {
    distinct = (curve[k] - curve[0]).length() > 0.0f;
  }
  if (!distinct) {
    throw data::invalid(kClass, function,
                        UserMsg("Curve %1 has too few distinct points; all %2 coincide.")
                            << name << curve.size(),
                        errorType::fatal);
  }
}

void checkCloudStart(const TripletQORVector& curve, int start, const char* name,
                     const char* function) {
  if (start >= 0 && static_cast<unsigned int>(start) >= curve.size()) {
    throw data::invalid(kClass, function,
                        UserMsg("Start index %1 of curve %2 is beyond its %3 points.")
                            << start << name << curve.size(),
                        errorType::fatal);
  }
}

[[noreturn]] void throwSameHubShroud() {
  throw internal::error(kClass, "initializeFromXYZ",
                        UserMsg("Hub and shroud curves seem to be the same."), errorType::fatal);
}

}  // namespace

// ---- construction, copying, destruction --------------------------------------------------------

// The defaults are the member initialisers of the class.
TurboTransform::TurboTransform() : m_noQuadtree(std::getenv("QOR_NO_QUADTREE") != nullptr) {}

// Member-wise: the database and the mesh state are shared with the source; a set-up or a new mesh
// of either object builds new ones and replaces only its own pointers.
TurboTransform::TurboTransform(const TurboTransform&) = default;
TurboTransform& TurboTransform::operator=(const TurboTransform&) = default;
TurboTransform::~TurboTransform() = default;

TurboTransform::InverseCacheSlot::InverseCacheSlot()
    : m_cache(std::make_unique<turbo_detail::InverseCache>()) {}
TurboTransform::InverseCacheSlot::InverseCacheSlot(const InverseCacheSlot&) : InverseCacheSlot() {}
TurboTransform::InverseCacheSlot& TurboTransform::InverseCacheSlot::operator=(
    const InverseCacheSlot&) {
  m_cache->clear();
  return *this;
}
TurboTransform::InverseCacheSlot::~InverseCacheSlot() = default;

// ---- axis and ART conversion ---------------------------------------------------------------

void TurboTransform::setAxis(const TripletBase<float>& point, const TripletBase<float>& direction) {
  const float length = direction.length();
  if (100.0f * NumericalUtils::spacing(length) > length) {
    // The message shows the axis kept, not the rejected vector (kept for compatibility).
    throw data::invalid(kClass, "setAxis",
                        UserMsg("Axis vector definition insignificant. Axis vector= %1,%2,%3")
                            << m_axisDirection[0] << m_axisDirection[1] << m_axisDirection[2],
                        errorType::fatal);
  }
  m_axisPoint = point;
  m_axisDirection = direction;
  if (length != 0.0f) m_axisDirection /= length;
  m_axialUnit = m_axisDirection;
}

void TurboTransform::transformToART(const TripletBase<float>& xyz, TripletBase<float>& art) const {
  art = turbo_detail::axialRadial(xyz, m_axisPoint, m_axialUnit);
}

void TurboTransform::transformToART(const QORVector<TripletBase<float>>& xyz,
                                    QORVector<TripletBase<float>>& art) const {
  if (xyz.empty()) return;
  if (art.size() != xyz.size()) art.assign(xyz.size(), TripletBase<float>());
  for (std::size_t k = 0; k < xyz.size(); ++k) transformToART(xyz[k], art[k]);
}

// ---- set-up ----------------------------------------------------------------------------------

int TurboTransform::initializeFromXYZ(const TripletQORVector& hub, const TripletQORVector& shroud,
                                      const TripletQORVector& inlet, const TripletQORVector& outlet,
                                      const TripletBase<float>& axisPoint,
                                      const TripletBase<float>& axisDirection) {
  // Unusable curves are refused first, before the axis or anything else changes.
  checkCurve(hub, "hub", "initializeFromXYZ");
  checkCurve(shroud, "shroud", "initializeFromXYZ");
  checkCurve(inlet, "inlet", "initializeFromXYZ");
  checkCurve(outlet, "outlet", "initializeFromXYZ");

  setAxis(axisPoint, axisDirection);
  initSpaces();
  m_curveNames = {"w_mp", "e_mp", "s_mp", "n_mp"};

  TripletBase<float> hubEnd;
  TripletBase<float> shroudEnd;
  transformToART(hub[0], hubEnd);
  transformToART(shroud[0], shroudEnd);
  if (hubEnd == shroudEnd) throwSameHubShroud();
  transformToART(hub[hub.size() - 1], hubEnd);
  transformToART(shroud[shroud.size() - 1], shroudEnd);
  if (hubEnd == shroudEnd) throwSameHubShroud();

  QORVector<TripletBase<float>> newHub;
  QORVector<TripletBase<float>> newShroud;
  QORVector<TripletBase<float>> newInlet;
  QORVector<TripletBase<float>> newOutlet;
  inContXYZoutCleanART(hub.points(), newHub, m_curveOptimizedSize);
  inContXYZoutCleanART(shroud.points(), newShroud, m_curveOptimizedSize);
  inContXYZoutCleanART(inlet.points(), newInlet, m_curveOptimizedSize);
  inContXYZoutCleanART(outlet.points(), newOutlet, m_curveOptimizedSize);
  adoptCleanCurves(newHub, newShroud, newInlet, newOutlet);
  return 0;
}

int TurboTransform::initializeFromART(const TripletQORVector& hub, const TripletQORVector& shroud,
                                      const TripletQORVector& inlet, const TripletQORVector& outlet,
                                      const TripletBase<float>& axisPoint,
                                      const TripletBase<float>& axisDirection, int hubStart,
                                      int shroudStart, int inletStart, int outletStart) {
  // Unusable curves and cloud start indices are refused first, before anything changes.
  checkCurve(hub, "hub", "initializeFromART");
  checkCurve(shroud, "shroud", "initializeFromART");
  checkCurve(inlet, "inlet", "initializeFromART");
  checkCurve(outlet, "outlet", "initializeFromART");
  checkCloudStart(hub, hubStart, "hub", "initializeFromART");
  checkCloudStart(shroud, shroudStart, "shroud", "initializeFromART");
  checkCloudStart(inlet, inletStart, "inlet", "initializeFromART");
  checkCloudStart(outlet, outletStart, "outlet", "initializeFromART");

  setAxis(axisPoint, axisDirection);
  initSpaces();
  m_curveNames = {"w_mp", "e_mp", "s_mp", "n_mp"};

  // Compared as given (theta included); the error names the Cartesian set-up (kept as is).
  if (hub[0] == shroud[0]) throwSameHubShroud();
  if (hub[hub.size() - 1] == shroud[shroud.size() - 1]) throwSameHubShroud();

  auto clean = [this](const TripletQORVector& in, int start, QORVector<TripletBase<float>>& out) {
    const QORVector<TripletBase<float>> points(in.points());
    if (start >= 0) {
      turbo_detail::inCloudARToutCleanART(points, out, m_curveOptimizedSize, start);
    } else {
      turbo_detail::inContARToutCleanART(points, out, m_curveOptimizedSize);
    }
  };
  QORVector<TripletBase<float>> newHub;
  QORVector<TripletBase<float>> newShroud;
  QORVector<TripletBase<float>> newInlet;
  QORVector<TripletBase<float>> newOutlet;
  clean(hub, hubStart, newHub);
  clean(shroud, shroudStart, newShroud);
  clean(inlet, inletStart, newInlet);
  clean(outlet, outletStart, newOutlet);
  adoptCleanCurves(newHub, newShroud, newInlet, newOutlet);
  return 0;
}

void TurboTransform::adoptCleanCurves(QORVector<TripletBase<float>>& hub,
                                      QORVector<TripletBase<float>>& shroud,
                                      QORVector<TripletBase<float>>& inlet,
                                      QORVector<TripletBase<float>>& outlet) {
  m_hub.swap(hub);
  m_shroud.swap(shroud);
  m_inlet.swap(inlet);
  m_outlet.swap(outlet);
  createProjectionDatabase();
  m_geometryInitialized = true;
}

void TurboTransform::createProjectionDatabase() {
  // A new database every time: the old one may be shared with copies of this transform, which
  // keep their curves.
  std::shared_ptr<ParametricDBInterface> db(ParametricDBFactory::createParametricDB());
  db->createCurve("w_mp", inMeridionalPlane(m_inlet), ParametricCurve::curve2d);
  db->createCurve("e_mp", inMeridionalPlane(m_outlet), ParametricCurve::curve2d);
  db->createCurve("s_mp", inMeridionalPlane(m_hub), ParametricCurve::curve2d);
  db->createCurve("n_mp", inMeridionalPlane(m_shroud), ParametricCurve::curve2d);
  m_projectionDB = std::move(db);

  if (std::getenv("QOR_OUTPUT_BACKGROUND_MESH") != nullptr) {
    writeVectortoFile("s_mp", m_hub, false);
    writeVectortoFile("n_mp", m_shroud, false);
    writeVectortoFile("w_mp", m_inlet, false);
    writeVectortoFile("e_mp", m_outlet, false);
    writeVectortoFile("s_mp.dat", m_hub, true);
    writeVectortoFile("n_mp.dat", m_shroud, true);
    writeVectortoFile("w_mp.dat", m_inlet, true);
    writeVectortoFile("e_mp.dat", m_outlet, true);
  }
}

void TurboTransform::initGeom(ParametricDB& db) const {
  db.createCurve("w_mp", inMeridionalPlane(m_inlet), ParametricCurve::curve2d);
  db.createCurve("e_mp", inMeridionalPlane(m_outlet), ParametricCurve::curve2d);
  db.createCurve("s_mp", inMeridionalPlane(m_hub), ParametricCurve::curve2d);
  db.createCurve("n_mp", inMeridionalPlane(m_shroud), ParametricCurve::curve2d);
}

void TurboTransform::initSpaces() {
  m_spaceComputed.assign(8, false);
  m_inverseCache->clear();
}

void TurboTransform::requireMesh(const char* function) const {
  if (!m_mesh) {
    throw internal::nullPointer(kClass, function, SystemMsg("Null pointer to %1.") << "m_topo",
                                errorType::fatal);
  }
}

// ---- accessors -------------------------------------------------------------------------------

bool TurboTransform::isGeometryInitialized() const { return m_geometryInitialized; }

void TurboTransform::getAxis(TripletBase<float>& point, TripletBase<float>& direction) const {
  point = m_axisPoint;
  direction = m_axisDirection;
}

void TurboTransform::setCurveOptimizedSize(int size) { m_curveOptimizedSize = size; }
int TurboTransform::getCurveOptimizedSize() const { return m_curveOptimizedSize; }

void TurboTransform::setNumberOfLevelsforBM(int levels) { m_numberOfLevelsForBM = levels; }
int TurboTransform::getNumberOfLevelsforBM() const { return m_numberOfLevelsForBM; }

void TurboTransform::setBackgroundMeshSize(int size) { m_backgroundMeshSize = size; }
void TurboTransform::setBackgroundMeshSize(BMsize size) {
  setBackgroundMeshSize(static_cast<int>(size));
}
int TurboTransform::getBackgroundMeshSize() const { return m_backgroundMeshSize; }

void TurboTransform::getBackgroundMeshSize(int& ni, int& nj) const {
  requireMesh("getBackgroundMeshSize");
  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  ni = level.getIsize();
  nj = level.getJsize();
}

float TurboTransform::stripstValue(float v) const {
  if (v < 0.0f) return -v;
  if (v > 1.0f) return v - 1.0f;
  return 0.0f;
}

float TurboTransform::getAverageLengthInM() const {
  requireMesh("getAverageLengthInM");
  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  const std::vector<double>& mValues = m_mesh->fields.at(m);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  double sum = 0.0;
  for (int j = 0; j <= jcv; ++j) sum += mValues.at(static_cast<std::size_t>(level.getij(icv, j)));
  return static_cast<float>(sum / (jcv + 1));
}

}  // namespace qor
