#include "qor/smoothing/Topo2dMultiLevel.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace qor {

namespace {

constexpr std::int64_t kIntMax = std::numeric_limits<int>::max();
constexpr std::int64_t kIntMin = std::numeric_limits<int>::min();

int narrowSize(std::int64_t v, const char* what) {
  if (v > kIntMax || v < kIntMin) throw std::length_error(what);
  return static_cast<int>(v);
}

}  // namespace

Topo2dMultiLevel::Topo2dMultiLevel(int levels, int ni, int nj) { initialize(levels, ni, nj); }
Topo2dMultiLevel::Topo2dMultiLevel(const Topo2dMultiLevel&) = default;
Topo2dMultiLevel& Topo2dMultiLevel::operator=(const Topo2dMultiLevel&) = default;
Topo2dMultiLevel::~Topo2dMultiLevel() = default;

void Topo2dMultiLevel::initialize(int levels, int ni, int nj) {
  constexpr const char* tooLarge = "Topo2dMultiLevel: levels do not fit in the int index range";
  m_levelsSize = levels;
  m_allSize = 0;
  if (levels < 1) {
    // No levels; level queries then fail as out of range.
    m_levels.clear();
    return;
  }

  // Size every level in 64 bits first, so an oversized stack fails before anything is allocated.
  // Only ni = nj = 0 keeps the blocks from growing (every level is one point); otherwise some
  // extent doubles per level and the int range is left within a few dozen levels.
  if (ni != 0 || nj != 0) {
    std::int64_t begin = 0;
    std::int64_t isize = std::int64_t(ni) + 1;
    std::int64_t jsize = std::int64_t(nj) + 1;
    for (int L = 0; L < levels; ++L) {
      if (L > 0) {
        isize = 2 * (isize - 1) + 1;
        jsize = 2 * (jsize - 1) + 1;
      }
      narrowSize(isize, tooLarge);
      narrowSize(jsize, tooLarge);
      narrowSize(isize - 1, tooLarge);
      narrowSize(jsize - 1, tooLarge);
      narrowSize(begin + (isize > 0 ? (isize - 1) * jsize : 0), tooLarge);
      begin = narrowSize(begin + isize * jsize, tooLarge);
    }
  }

  m_levels.assign(static_cast<std::size_t>(levels), Topo2dBase());
  m_levels[0].setUpMaxIndex(ni + 1);
  m_levels[0].setIndex(0, ni + 1, nj + 1);
  for (std::size_t L = 0; L + 1 < m_levels.size(); ++L) {
    const Topo2dBase& coarse = m_levels[L];
    // Each level halves the cells of the one before: 2 icv + 1 points in i, 2 jcv + 1 in j.
    const int isize = 2 * coarse.getIcv() + 1;
    const int jsize = 2 * coarse.getJcv() + 1;
    Topo2dBase& fine = m_levels[L + 1];
    fine.setUpMaxIndex(isize);
    fine.setIndex(coarse.end(), isize, jsize);
  }
  m_allSize = m_levels.back().end();
}

int Topo2dMultiLevel::getij(int level, int i, int j) const { return getLevel(level).getij(i, j); }

const Topo2dBase& Topo2dMultiLevel::getLevel(int level) const {
  if (level < 0) throw std::out_of_range("Topo2dMultiLevel::getLevel: negative level");
  return m_levels.at(static_cast<std::size_t>(level));
}

int Topo2dMultiLevel::getreqsize(int levels, int a, int b) const {
  const std::int64_t ab = std::int64_t(a) * b;
  if (levels < 1 || ab == 0) return 0;
  // (a 2^L)(b 2^L) = ab 4^L: every term has the sign of ab, so the sum only grows in magnitude and
  // leaves the int range after a few levels; stop there instead of overflowing.
  std::int64_t sum = 0;
  std::int64_t term = ab;
  for (int L = 0; L < levels; ++L) {
    sum += term;
    if (sum > kIntMax || sum < kIntMin) {
      throw std::length_error("Topo2dMultiLevel::getreqsize: size does not fit in int");
    }
    term *= 4;
  }
  return static_cast<int>(sum);
}

}  // namespace qor
