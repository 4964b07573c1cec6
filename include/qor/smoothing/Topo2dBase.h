#pragma once
/// @file
/// `Topo2dBase`: index arithmetic of one structured block of isize x jsize points. Point (i, j)
/// has the global index begin + i * jsize + j; i runs West (0) to East (icv), j South (0) to
/// North (jcv).

#include <vector>

#include "qor/export.h"

namespace qor {

/// Index arithmetic of one block of isize x jsize points numbered in a global index space.
///
/// Point (i, j), i = 0..icv from West (inlet) to East (outlet) and j = 0..jcv from South (hub) to
/// North (shroud), has the global index begin() + i * jsize + j (j is the fast index) and the
/// block-local index i * jsize + j; icv = isize - 1 and jcv = jsize - 1. The `...Local` forms
/// return the block-local index, the others the global one.
///
/// Indices are looked up in a row table (global index of each (i, 0)) that `setIndex` grows but
/// never shrinks: every i is checked against that table (std::out_of_range), not against icv, so
/// after a smaller `setIndex` an i beyond icv but inside the old table returns a stale entry
/// without complaint. j is never checked. A default block has no rows, size 0, icv = jcv = -1.
/// Plain value: const operations may be used from several threads at once.
class QOR_API Topo2dBase {
 public:
  /// An empty block: begin 0, isize = jsize = 0, icv = jcv = -1, no rows; call `setIndex` first.
  Topo2dBase();
  /// Copies the sizes and the whole row table (stale entries included).
  Topo2dBase(const Topo2dBase&);
  Topo2dBase& operator=(const Topo2dBase&);
  virtual ~Topo2dBase();

  /// Lays out the block: begin() = `begin`, isize x jsize points, icv = isize - 1,
  /// jcv = jsize - 1, size = isize * jsize; row i starts at begin + i * jsize. The row table grows
  /// to `isize` entries but never shrinks. With isize < 1 only the sizes change.
  /// @throws std::length_error when the block's indices do not fit in int (the block is then
  ///         unchanged).
  void setIndex(int begin, int isize, int jsize);
  /// `setIndex(0, isize, jsize)`: a block whose global and local indices are the same.
  /// @throws std::length_error as `setIndex`.
  void setIndexLocal(int isize, int jsize);
  /// Sizes the row table to n entries (none for n < 0); new entries are 0. Unlike `setIndex` this
  /// also shrinks the table, so rows of the current block beyond n - 1 are then out of range.
  void setUpMaxIndex(int n);

  /// Global index of (i, j): row start of i plus j. i is checked against the row table
  /// (std::out_of_range), j is not. A sum outside the int range is no index and also gives
  /// std::out_of_range.
  int getij(int i, int j) const;
  /// Block-local index of (i, j), i * jsize + j (getij(i, j) - begin()); checked as `getij`.
  int getijLocal(int i, int j) const;

  /// Corners, global index: WS = (0, 0) (inlet-hub), ES = (icv, 0) (outlet-hub),
  /// WN = (0, jcv) (inlet-shroud), EN = (icv, jcv) (outlet-shroud).
  /// @throws std::out_of_range for a block never set up (no rows), and for ES and EN also when
  ///         isize < 1 (icv = -1).
  int getWS() const;
  int getES() const;
  int getWN() const;
  int getEN() const;
  /// The same four corners as block-local indices (WS is 0, EN is size - 1).
  int getWSLocal() const;
  int getESLocal() const;
  int getWNLocal() const;
  int getENLocal() const;
  /// Points of the sides, global index: South (hub) (i, 0) and North (shroud) (i, jcv) for
  /// i = 0..icv; West (inlet) (0, j) and East (outlet) (icv, j) for j = 0..jcv. As in `getij`,
  /// South and North check i against the row table, West and East do not check j.
  int getSouth(int i) const;
  int getNorth(int i) const;
  int getWest(int j) const;
  int getEast(int j) const;
  /// The same side points as block-local indices.
  int getSouthLocal(int i) const;
  int getNorthLocal(int i) const;
  int getWestLocal(int j) const;
  int getEastLocal(int j) const;

  /// Number of points in i (West to East) and in j (South to North).
  int getIsize() const { return m_isize; }
  int getJsize() const { return m_jsize; }
  /// Last i index, icv = isize - 1 (the number of cells in i); `getImax` is the same value under
  /// its older name.
  int getIcv() const { return m_icv; }
  int getImax() const { return m_icv; }
  /// Last j index, jcv = jsize - 1 (the number of cells in j); `getJmax` is the same value.
  int getJcv() const { return m_jcv; }
  int getJmax() const { return m_jcv; }
  /// Number of points of the block, isize * jsize.
  int getSize() const { return m_size; }
  /// Global index of point (0, 0).
  int begin() const { return m_begin; }
  /// One past the block's last global index, begin() + getSize(); the block occupies
  /// [begin(), end()).
  int end() const { return m_begin + m_size; }

  /// Splits a block-local index into i = local / jsize and j = local - jsize * i (integer division
  /// truncating toward zero). `local` is block-local: begin() is not subtracted, and it is not
  /// checked against the block. The misspelt name is part of the interface.
  /// @throws std::out_of_range for a block with jsize < 1 (for example one never set up).
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
