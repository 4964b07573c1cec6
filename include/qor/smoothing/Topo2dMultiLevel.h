#pragma once
/// @file
/// `Topo2dMultiLevel`: a stack of structured blocks, each level twice as fine as the one before,
/// numbered one after another in a single global index space (level 0 is the coarsest).

#include <vector>

#include "qor/export.h"
#include "qor/smoothing/Topo2dBase.h"

namespace qor {

class QOR_API Topo2dMultiLevel {
 public:
  /// @param levels number of levels; a count below 1 gives no levels (it is still reported by
  ///        getLevelsSize).
  /// @param ni, nj numbers of cells (not points) of the coarsest level in i and j.
  /// @throws std::length_error when the points of all levels do not fit in the int index range.
  Topo2dMultiLevel(int levels, int ni, int nj);
  Topo2dMultiLevel(const Topo2dMultiLevel&);
  Topo2dMultiLevel& operator=(const Topo2dMultiLevel&);
  virtual ~Topo2dMultiLevel();

  int getij(int level, int i, int j) const;
  /// @throws std::out_of_range for a level outside 0..levels-1.
  const Topo2dBase& getLevel(int level) const;
  int getAllSize() const { return m_allSize; }
  int getLevelsSize() const { return m_levelsSize; }
  /// Sum over L < levels of (a 2^L)(b 2^L): an upper bound of the storage of `levels` levels
  /// when a and b are the point counts of level 0; 0 for levels < 1.
  /// @throws std::length_error when the sum does not fit in int.
  int getreqsize(int levels, int a, int b) const;

 private:
  void initialize(int levels, int ni, int nj);

  int m_allSize = 0;
  int m_levelsSize = 0;
  std::vector<Topo2dBase> m_levels;
};

}  // namespace qor
