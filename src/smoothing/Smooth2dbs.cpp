/// @file
/// Smooth2dbs: construction, tuning, boundary conditions and the spreads of iteration counts.

#include "qor/smoothing/Smooth2dbs.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "qor/foundation/Error.h"
#include "qor/foundation/Message.h"
#include "foundation/ParallelFor.h"

namespace qor {

namespace {

// Float-to-int truncation without undefined behaviour: a value that is not finite or lies outside
// the int range gives INT_MIN, which is what the hardware conversion produces.
int truncToInt(double value) {
  if (!std::isfinite(value) || value <= double(INT_MIN) - 1.0 || value >= double(INT_MAX) + 1.0) {
    return INT_MIN;
  }
  return static_cast<int>(value);
}

// Narrows a 64-bit intermediate of the linear spread; out-of-range values wrap to INT_MIN as above.
int narrowToInt(std::int64_t value) {
  if (value < INT_MIN || value > INT_MAX) return INT_MIN;
  return static_cast<int>(value);
}

}  // namespace

Smooth2dbs::Smooth2dbs() { setDefaults(); }

Smooth2dbs::Smooth2dbs(const Smooth2dbs&) = default;
Smooth2dbs& Smooth2dbs::operator=(const Smooth2dbs&) = default;
Smooth2dbs::~Smooth2dbs() = default;

void Smooth2dbs::setDefaults() { m_set = false; }

void Smooth2dbs::setNumberOfThreads(int threads) {
  detail::resolveThreads(threads, 0, "Smooth2dbs", "setNumberOfThreads");  // the check only
  m_threads = threads;
}

int Smooth2dbs::getNumberOfThreads() const { return m_threads; }

void Smooth2dbs::setClosedFormBisection(bool on) { m_closedFormBisection = on; }

bool Smooth2dbs::getClosedFormBisection() const { return m_closedFormBisection; }

void Smooth2dbs::checkTheGoodState() const {
  if (!m_set) {
    throw internal::error("Smooth2dbs", "checkTheGoodState",
                          SystemMsg("Mesh and topology is not set"), errorType::fatal);
  }
}

void Smooth2dbs::setmtopo(QORVector<TripletBase<float>>& mesh, const Topo2dMultiLevel& topo,
                          const ParametricDBInterface* db) {
  m_mesh = &mesh;
  m_topo = &topo;
  m_parametricDB = db;
  if (static_cast<std::size_t>(std::max(topo.getAllSize(), 0)) != mesh.size() ||
      topo.getAllSize() < 0) {
    throw internal::error("Smooth2dbs", "setmtopo",
                          SystemMsg("Topology size not equal to the mesh size"), errorType::fatal);
  }
  m_levels = topo.getLevelsSize();

  const std::pair<short, short> defaultPair(m_defaultCondition.second, m_defaultCondition.first);
  m_conditions.assign(mesh.size(), defaultPair);

  if (m_levels > 0) {
    const Topo2dBase& level0 = topo.getLevel(0);
    m_west.assign(static_cast<std::size_t>(std::max(level0.getJsize(), 0)), 0.0f);
    m_east.assign(static_cast<std::size_t>(std::max(level0.getJsize(), 0)), 0.0f);
    m_south.assign(static_cast<std::size_t>(std::max(level0.getIsize(), 0)), 0.0f);
    m_north.assign(static_cast<std::size_t>(std::max(level0.getIsize(), 0)), 0.0f);
  } else {
    m_west.clear();
    m_east.clear();
    m_south.clear();
    m_north.clear();
  }

  const std::size_t levels = static_cast<std::size_t>(std::max(m_levels, 0));
  m_maxIterations.assign(levels, 0);
  m_criteria.assign(levels, 0.0);
  setDefaultsForRest();
  m_set = true;
}

unsigned int Smooth2dbs::addgeoName(char* name) {
  if (name == nullptr) {
    throw data::invalid("Smooth2dbs", "addgeoName", SystemMsg("Null pointer to curve name."),
                        errorType::fatal);
  }
  return addgeoName(std::string(name));
}

unsigned int Smooth2dbs::addgeoName(const std::string& name) {
  m_geoNames.push_back(name);
  return static_cast<unsigned int>(m_geoNames.size() - 1);
}

unsigned int Smooth2dbs::addgeoName(const std::vector<std::string>& names) {
  m_geoNames.insert(m_geoNames.end(), names.begin(), names.end());
  // Number of names minus one, as an unsigned value (wraps for an empty list, like the count).
  return static_cast<unsigned int>(m_geoNames.size() - 1);
}

void Smooth2dbs::setUnderRelaxation(double first, double second, double third) {
  m_relaxation1 = first;
  m_relaxation2 = second;
  m_relaxation3 = third;
}

void Smooth2dbs::getUnderRelaxation(double& first, double& second, double& third) const {
  first = m_relaxation1;
  second = m_relaxation2;
  third = m_relaxation3;
}

void Smooth2dbs::setDebug(bool on) { m_debug = on; }

void Smooth2dbs::setMaxNumberOfIteration(int n) {
  checkTheGoodState();
  std::fill(m_maxIterations.begin(), m_maxIterations.end(), n);
}

void Smooth2dbs::setMaxNumberOfIteration(int n, int level) {
  // No state check; an index equal to the number of levels fails the container's check.
  if (level <= m_levels) m_maxIterations.at(static_cast<std::size_t>(level)) = n;
}

void Smooth2dbs::setConCriterium(double c) {
  checkTheGoodState();
  std::fill(m_criteria.begin(), m_criteria.end(), c);
}

void Smooth2dbs::setConCriterium(double c, int level) {
  checkTheGoodState();
  if (level <= m_levels) m_criteria.at(static_cast<std::size_t>(level)) = c;
}

void Smooth2dbs::setDefaultsForRest() {
  std::fill(m_maxIterations.begin(), m_maxIterations.end(), m_defaultMaxIterations);
  std::fill(m_criteria.begin(), m_criteria.end(), m_defaultCriterion);
}

void Smooth2dbs::setSpreadIterationLin(int first, int last) {
  const int n = m_levels;
  if (n <= 0) return;
  m_maxIterations.at(0) = first;
  if (n == 1) return;
  m_maxIterations.at(static_cast<std::size_t>(n - 1)) = last;
  const std::int64_t step = (std::int64_t(first) - std::int64_t(last)) / (n - 1);
  for (int k = 1; k <= n - 2; ++k) {
    m_maxIterations.at(static_cast<std::size_t>(k)) = narrowToInt(std::int64_t(first) - k * step);
  }
}

void Smooth2dbs::setSpreadIterationSqr(int first, int last) {
  const int n = m_levels;
  if (n <= 0) return;
  m_maxIterations.at(0) = first;
  if (n == 1) return;
  m_maxIterations.at(static_cast<std::size_t>(n - 1)) = last;
  const double denominator = double(n - 1) * double(n - 1);
  const float a = static_cast<float>((double(last) - double(first)) / denominator);
  const float firstF = static_cast<float>(first);
  for (int k = 1; k <= n - 2; ++k) {
    const float value = static_cast<float>(k * k) * a + firstF;
    m_maxIterations.at(static_cast<std::size_t>(k)) = truncToInt(value);
  }
}

void Smooth2dbs::settype(int i0, int i1, int j0, int j1, bcType type, int geoId, int level,
                         QORVector<std::pair<short, short>>& conditions) {
  if (m_topo == nullptr) {
    throw std::out_of_range("Smooth2dbs::settype: no topology set");
  }
  const Topo2dBase& block = m_topo->getLevel(level);
  const int icv = block.getIcv();
  const int jcv = block.getJcv();
  i0 = std::clamp(i0, 0, std::max(icv, 0));
  i1 = std::clamp(i1, 0, std::max(icv, 0));
  j0 = std::clamp(j0, 0, std::max(jcv, 0));
  j1 = std::clamp(j1, 0, std::max(jcv, 0));
  const std::pair<short, short> value(static_cast<short>(type), static_cast<short>(geoId));
  for (int i = i0; i <= i1; ++i) {
    for (int j = j0; j <= j1; ++j) {
      conditions.at(static_cast<std::size_t>(m_topo->getij(level, i, j))) = value;
    }
  }
}

namespace {
// Last indices of level 0, or a checked failure when there is no topology.
void level0Extent(const Topo2dMultiLevel* topo, int& icv, int& jcv) {
  if (topo == nullptr) throw std::out_of_range("Smooth2dbs: no topology set");
  const Topo2dBase& block = topo->getLevel(0);
  icv = block.getIcv();
  jcv = block.getJcv();
}
}  // namespace

void Smooth2dbs::setbcgeoIDAll(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, icv, 0, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDmAll(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(1, icv - 1, 1, jcv - 1, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDWest(bcType type, int geoId) {
  // Only the North-West corner, as callers of this form have always relied on.
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, 0, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDmWest(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, 0, 1, jcv - 1, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDWest(int j0, int j1, bcType type, int geoId) {
  settype(0, 0, j0, j1, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDEast(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(icv, icv, 0, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDmEast(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(icv, icv, 1, jcv - 1, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDEast(int j0, int j1, bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(icv, icv, j0, j1, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDSouth(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, icv, 0, 0, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDmSouth(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(1, icv - 1, 0, 0, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDSouth(int i0, int i1, bcType type, int geoId) {
  settype(i0, i1, 0, 0, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDNorth(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, icv, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDmNorth(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(1, icv - 1, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDNorth(int i0, int i1, bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(i0, i1, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDsw(bcType type, int geoId) {
  settype(0, 0, 0, 0, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDse(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(icv, icv, 0, 0, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDnw(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(0, 0, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::setbcgeoIDne(bcType type, int geoId) {
  int icv = 0, jcv = 0;
  level0Extent(m_topo, icv, jcv);
  settype(icv, icv, jcv, jcv, type, geoId, 0, m_conditions);
}

void Smooth2dbs::getExtraBC(std::pair<short, short>& result, int onSide,
                            const std::vector<int>& points) {
  // Priority: smoothed everywhere, then onCurve along sides only, then pinned.
  for (int p : points) {
    const auto& c = m_conditions.at(static_cast<std::size_t>(p));
    if (c.first == smoothed) {
      result = c;
      return;
    }
  }
  if (onSide == 1) {
    for (int p : points) {
      const auto& c = m_conditions.at(static_cast<std::size_t>(p));
      if (c.first == onCurve) {
        result = c;
        return;
      }
    }
  }
  for (int p : points) {
    const auto& c = m_conditions.at(static_cast<std::size_t>(p));
    if (c.first == pinned) {
      result = c;
      return;
    }
  }
}

}  // namespace qor
