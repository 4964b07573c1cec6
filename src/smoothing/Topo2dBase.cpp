#include "qor/smoothing/Topo2dBase.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace qor {

namespace {

bool fitsInt(std::int64_t v) {
  return v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max();
}

// Index sums are formed in 64 bits; a result outside int is no valid index of any block.
int indexSum(std::int64_t v) {
  if (!fitsInt(v)) throw std::out_of_range("Topo2dBase: index outside the int range");
  return static_cast<int>(v);
}

}  // namespace

Topo2dBase::Topo2dBase() = default;
Topo2dBase::Topo2dBase(const Topo2dBase&) = default;
Topo2dBase& Topo2dBase::operator=(const Topo2dBase&) = default;
Topo2dBase::~Topo2dBase() = default;

void Topo2dBase::setIndex(int begin, int isize, int jsize) {
  const std::int64_t b = begin;
  const std::int64_t ni = isize;
  const std::int64_t nj = jsize;
  const std::int64_t size = ni * nj;
  // Every derived value must be an int: the block size, its end, the last row start and the
  // last indices. Checked before anything changes.
  const std::int64_t lastRow = ni > 0 ? b + (ni - 1) * nj : b;
  if (!fitsInt(size) || !fitsInt(b + size) || !fitsInt(lastRow) || !fitsInt(ni - 1) ||
      !fitsInt(nj - 1)) {
    throw std::length_error("Topo2dBase::setIndex: block does not fit in the int index range");
  }
  m_begin = begin;
  m_isize = isize;
  m_jsize = jsize;
  m_icv = isize - 1;
  m_jcv = jsize - 1;
  m_size = static_cast<int>(size);
  if (isize < 1) return;
  // The row table only grows; surplus entries of an earlier, larger block stay as they were.
  if (static_cast<std::size_t>(isize) > m_rowStart.size()) {
    m_rowStart.resize(static_cast<std::size_t>(isize));
  }
  for (int i = 0; i < isize; ++i) {
    m_rowStart[static_cast<std::size_t>(i)] = static_cast<int>(b + std::int64_t(i) * nj);
  }
}

void Topo2dBase::setIndexLocal(int isize, int jsize) { setIndex(0, isize, jsize); }

void Topo2dBase::setUpMaxIndex(int n) { m_rowStart.resize(n > 0 ? static_cast<std::size_t>(n) : 0U); }

int Topo2dBase::getij(int i, int j) const {
  return indexSum(std::int64_t(m_rowStart.at(static_cast<std::size_t>(i))) + j);
}

int Topo2dBase::getijLocal(int i, int j) const {
  return indexSum(std::int64_t(m_rowStart.at(static_cast<std::size_t>(i))) - m_begin + j);
}

int Topo2dBase::getWS() const { return getij(0, 0); }
int Topo2dBase::getES() const { return getij(m_icv, 0); }
int Topo2dBase::getWN() const { return getij(0, m_jcv); }
int Topo2dBase::getEN() const { return getij(m_icv, m_jcv); }
int Topo2dBase::getWSLocal() const { return getijLocal(0, 0); }
int Topo2dBase::getESLocal() const { return getijLocal(m_icv, 0); }
int Topo2dBase::getWNLocal() const { return getijLocal(0, m_jcv); }
int Topo2dBase::getENLocal() const { return getijLocal(m_icv, m_jcv); }

int Topo2dBase::getSouth(int i) const { return getij(i, 0); }
int Topo2dBase::getNorth(int i) const { return getij(i, m_jcv); }
int Topo2dBase::getWest(int j) const { return getij(0, j); }
int Topo2dBase::getEast(int j) const { return getij(m_icv, j); }
int Topo2dBase::getSouthLocal(int i) const { return getijLocal(i, 0); }
int Topo2dBase::getNorthLocal(int i) const { return getijLocal(i, m_jcv); }
int Topo2dBase::getWestLocal(int j) const { return getijLocal(0, j); }
int Topo2dBase::getEastLocal(int j) const { return getijLocal(m_icv, j); }

void Topo2dBase::getLocalIndicies(int& i, int& j, int local) const {
  // A block without points in j (never set up, or empty) has no local index to split.
  if (m_jsize <= 0) {
    throw std::out_of_range("Topo2dBase::getLocalIndicies: block has no points in j");
  }
  i = local / m_jsize;
  j = local - m_jsize * i;
}

}  // namespace qor
