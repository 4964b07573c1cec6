#pragma once
/// @file
/// `Topo2dMultiLevel`: a stack of structured blocks, each level twice as fine as the one before,
/// numbered one after another in a single global index space (level 0 is the coarsest).

#include <vector>

#include "qor/export.h"
#include "qor/smoothing/Topo2dBase.h"

namespace qor {

/// Levels L = 0..levels-1, coarsest first. Level 0 has (ni + 1) x (nj + 1) points and starts at
/// global index 0; level L + 1 has (2 icv + 1) x (2 jcv + 1) points (icv, jcv of level L) and
/// starts at level L's end(), so level L has ni 2^L x nj 2^L cells and coarse point (i, j) of
/// level L lies where point (2i, 2j) of level L + 1 lies. Within a level, i runs West (inlet) to
/// East (outlet) and j South (hub) to North (shroud), j fast. Example: (3, 4, 2) gives levels of
/// 5x3 (global indices 0..14), 9x5 (15..59) and 17x9 (60..212) points, getAllSize() 213.
/// Plain value: const operations may be used from several threads at once.
class QOR_API Topo2dMultiLevel {
 public:
  /// @param levels number of levels; a count below 1 gives no levels (it is still reported by
  ///        getLevelsSize).
  /// @param ni, nj numbers of cells (not points) of the coarsest level in i and j.
  /// @throws std::length_error when the points of all levels do not fit in the int index range.
  Topo2dMultiLevel(int levels, int ni, int nj);
  /// Copies every level.
  Topo2dMultiLevel(const Topo2dMultiLevel&);
  Topo2dMultiLevel& operator=(const Topo2dMultiLevel&);
  virtual ~Topo2dMultiLevel();

  /// Global index of point (i, j) of `level`: getLevel(level).getij(i, j).
  /// @throws std::out_of_range for a level outside 0..levels-1 or an i outside the level's row
  ///         table (j is not checked).
  int getij(int level, int i, int j) const;
  /// The block of one level (0 = coarsest), with its global begin() and end().
  /// @throws std::out_of_range for a level outside 0..levels-1.
  const Topo2dBase& getLevel(int level) const;
  /// Number of points of all levels together: the finest level's end(), 0 without levels. A
  /// point array addressed through this topology has exactly this many entries.
  int getAllSize() const { return m_allSize; }
  /// Number of levels as passed to the constructor (also when below 1).
  int getLevelsSize() const { return m_levelsSize; }
  /// Sum over L < levels of (a 2^L)(b 2^L): an upper bound of the storage of `levels` levels
  /// when a and b are the point counts of level 0 (the counts are doubled exactly, not to
  /// 2a - 1); 0 for levels < 1 or a * b == 0. Reads no member of this object.
  /// @throws std::length_error when the sum does not fit in int.
  int getreqsize(int levels, int a, int b) const;

 private:
  void initialize(int levels, int ni, int nj);

  int m_allSize = 0;
  int m_levelsSize = 0;
  std::vector<Topo2dBase> m_levels;
};

}  // namespace qor
