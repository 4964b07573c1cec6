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
#include "turbo/AxialRadial.h"
#include "turbo/MeridionalPlane.h"
#include "turbo/TurboTransformAccess.h"
#include "turbo/TurboTransformCleanup.h"
#include "turbo/TurboTransformState.h"

namespace qor {

namespace {

const char* const kClass = "TurboTransform";

using Access = turbo_detail::TurboTransformAccess;

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

// The axis through `point` along `direction`, normalised into `axisDirection` and `axialUnit`.
// A direction too short to normalise is refused; the message shows the axis kept, not the
// rejected vector (kept for compatibility), and nothing changes.
void setAxis(const TripletBase<float>& point, const TripletBase<float>& direction,
             TripletBase<float>& axisPoint, TripletBase<float>& axisDirection,
             TripletBase<float>& axialUnit) {
  const float length = direction.length();
  if (100.0f * NumericalUtils::spacing(length) > length) {
    throw data::invalid(kClass, "setAxis",
                        UserMsg("Axis vector definition insignificant. Axis vector= %1,%2,%3")
                            << axisDirection[0] << axisDirection[1] << axisDirection[2],
                        errorType::fatal);
  }
  axisPoint = point;
  axisDirection = direction;
  if (length != 0.0f) axisDirection /= length;
  axialUnit = axisDirection;
}

// Cartesian curve points to (axial, radial, 0) about the axis, then cleaned and reduced to about
// `size` points as a continuous curve.
void cleanCartesianCurve(const QORVector<TripletBase<float>>& in,
                         const TripletBase<float>& axisPoint, const TripletBase<float>& axialUnit,
                         QORVector<TripletBase<float>>& out, int size) {
  if (in.empty()) return;
  QORVector<TripletBase<float>> art;
  turbo_detail::axialRadial(in, axisPoint, axialUnit, art);
  out.resize(in.size());
  turbo_detail::inContARToutCleanART(art, out, size);
}

// The projection database of the four meridional curves, a new one every time: the old one may
// be shared with copies of the transform, which keep their curves. Under
// QOR_OUTPUT_BACKGROUND_MESH `owner` writes the curves to files too.
std::shared_ptr<ParametricDBInterface> projectionDatabase(
    const TurboTransform& owner, const QORVector<TripletBase<float>>& hub,
    const QORVector<TripletBase<float>>& shroud, const QORVector<TripletBase<float>>& inlet,
    const QORVector<TripletBase<float>>& outlet) {
  std::shared_ptr<ParametricDBInterface> db(ParametricDBFactory::createParametricDB());
  db->createCurve("w_mp", inMeridionalPlane(inlet), ParametricCurve::curve2d);
  db->createCurve("e_mp", inMeridionalPlane(outlet), ParametricCurve::curve2d);
  db->createCurve("s_mp", inMeridionalPlane(hub), ParametricCurve::curve2d);
  db->createCurve("n_mp", inMeridionalPlane(shroud), ParametricCurve::curve2d);

  if (std::getenv("QOR_OUTPUT_BACKGROUND_MESH") != nullptr) {
    owner.writeVectortoFile("s_mp", hub, false);
    owner.writeVectortoFile("n_mp", shroud, false);
    owner.writeVectortoFile("w_mp", inlet, false);
    owner.writeVectortoFile("e_mp", outlet, false);
    owner.writeVectortoFile("s_mp.dat", hub, true);
    owner.writeVectortoFile("n_mp.dat", shroud, true);
    owner.writeVectortoFile("w_mp.dat", inlet, true);
    owner.writeVectortoFile("e_mp.dat", outlet, true);
  }
  return db;
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

  setAxis(axisPoint, axisDirection, m_axisPoint, m_axisDirection, m_axialUnit);
  Access::resetFields(*this);
  m_curveNames = {"w_mp", "e_mp", "s_mp", "n_mp"};

  TripletBase<float> hubEnd;
  TripletBase<float> shroudEnd;
  hubEnd = turbo_detail::axialRadial(hub[0], m_axisPoint, m_axialUnit);
  shroudEnd = turbo_detail::axialRadial(shroud[0], m_axisPoint, m_axialUnit);
  if (hubEnd == shroudEnd) throwSameHubShroud();
  hubEnd = turbo_detail::axialRadial(hub[hub.size() - 1], m_axisPoint, m_axialUnit);
  shroudEnd = turbo_detail::axialRadial(shroud[shroud.size() - 1], m_axisPoint, m_axialUnit);
  if (hubEnd == shroudEnd) throwSameHubShroud();

  QORVector<TripletBase<float>> newHub;
  QORVector<TripletBase<float>> newShroud;
  QORVector<TripletBase<float>> newInlet;
  QORVector<TripletBase<float>> newOutlet;
  cleanCartesianCurve(hub.points(), m_axisPoint, m_axialUnit, newHub, m_curveOptimizedSize);
  cleanCartesianCurve(shroud.points(), m_axisPoint, m_axialUnit, newShroud, m_curveOptimizedSize);
  cleanCartesianCurve(inlet.points(), m_axisPoint, m_axialUnit, newInlet, m_curveOptimizedSize);
  cleanCartesianCurve(outlet.points(), m_axisPoint, m_axialUnit, newOutlet, m_curveOptimizedSize);
  Access::adoptCleanCurves(*this, newHub, newShroud, newInlet, newOutlet);
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

  setAxis(axisPoint, axisDirection, m_axisPoint, m_axisDirection, m_axialUnit);
  Access::resetFields(*this);
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
  Access::adoptCleanCurves(*this, newHub, newShroud, newInlet, newOutlet);
  return 0;
}

void Access::adoptCleanCurves(TurboTransform& t, QORVector<TripletBase<float>>& hub,
                              QORVector<TripletBase<float>>& shroud,
                              QORVector<TripletBase<float>>& inlet,
                              QORVector<TripletBase<float>>& outlet) {
  t.m_hub.swap(hub);
  t.m_shroud.swap(shroud);
  t.m_inlet.swap(inlet);
  t.m_outlet.swap(outlet);
  t.m_projectionDB = projectionDatabase(t, t.m_hub, t.m_shroud, t.m_inlet, t.m_outlet);
  t.m_geometryInitialized = true;
}

void Access::resetFields(TurboTransform& t) {
  t.m_spaceComputed.assign(8, false);
  t.m_inverseCache->clear();
}

void turbo_detail::requireMesh(const std::shared_ptr<const MeshState>& mesh, const char* function) {
  if (!mesh) {
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
  turbo_detail::requireMesh(m_mesh, "getBackgroundMeshSize");
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
  turbo_detail::requireMesh(m_mesh, "getAverageLengthInM");
  const Topo2dBase& level = m_mesh->topo->getLevel(0);
  const std::vector<double>& mValues = m_mesh->fields.at(m);
  const int icv = level.getIcv();
  const int jcv = level.getJcv();
  double sum = 0.0;
  for (int j = 0; j <= jcv; ++j) sum += mValues.at(static_cast<std::size_t>(level.getij(icv, j)));
  return static_cast<float>(sum / (jcv + 1));
}

}  // namespace qor
