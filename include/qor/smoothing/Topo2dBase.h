#pragma once
/// @file
/// `Topo2dBase`: index arithmetic of one structured block of isize x jsize points. Point (i, j) has
/// the global index begin + i * jsize + j; i runs West (0) to East (icv), j South (0) to North (jcv).

#include <vector>

#include "qor/export.h"

namespace qor {

class QOR_API Topo2dBase {
 public:
  Topo2dBase();
  Topo2dBase(const Topo2dBase&);
  Topo2dBase& operator=(const Topo2dBase&);
  virtual ~Topo2dBase();

  /// Lays out the block; the row table grows to `isize` entries but never shrinks. With
  /// isize < 1 only the sizes change. @throws std::length_error when the block's indices do not
  /// fit in int (the block is then unchanged).
  void setIndex(int begin, int isize, int jsize);
  void setIndexLocal(int isize, int jsize);
  /// Sizes the row table to n entries (none for n < 0); new entries are 0.
  void setUpMaxIndex(int n);

  /// Global index of (i, j); i is checked against the row table (std::out_of_range), j is not.
  /// A sum outside the int range is no index and also gives std::out_of_range.
  int getij(int i, int j) const;
  int getijLocal(int i, int j) const;

  int getWS() const;
  int getES() const;
  int getWN() const;
  int getEN() const;
  int getWSLocal() const;
  int getESLocal() const;
  int getWNLocal() const;
  int getENLocal() const;
  int getSouth(int i) const;
  int getNorth(int i) const;
  int getWest(int j) const;
  int getEast(int j) const;
  int getSouthLocal(int i) const;
  int getNorthLocal(int i) const;
  int getWestLocal(int j) const;
  int getEastLocal(int j) const;

  int getIsize() const { return m_isize; }
  int getJsize() const { return m_jsize; }
  int getIcv() const { return m_icv; }
  int getImax() const { return m_icv; }
  int getJcv() const { return m_jcv; }
  int getJmax() const { return m_jcv; }
  int getSize() const { return m_size; }
  int begin() const { return m_begin; }
  int end() const { return m_begin + m_size; }

  /// Splits a block-local index into (i, j). @throws std::out_of_range for a block never set up.
  void getLocalIndicies(int& i, int& j, int local) const;

 private:
  int m_begin = 0;
  int m_isize = 0;
  int m_jsize = 0;
  int m_icv = -1;
  int m_jcv = -1;
  int m_size = 0;
  std::vector<int> m_rowStart;
};

}  // namespace qor
