#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>

#include "qor/smoothing/Topo2dBase.h"
#include "qor/smoothing/Topo2dMultiLevel.h"

using qor::Topo2dBase;
using qor::Topo2dMultiLevel;

namespace {

constexpr int kIntMax = std::numeric_limits<int>::max();

}  // namespace

TEST(Topo2dBase, workedExampleOfBlockAtOffsetTen) {
  Topo2dBase t;
  t.setIndex(10, 3, 4);
  EXPECT_EQ(t.getij(2, 3), 21);
  EXPECT_EQ(t.getijLocal(2, 3), 11);
  EXPECT_EQ(t.begin(), 10);
  EXPECT_EQ(t.end(), 22);
  EXPECT_EQ(t.getWS(), 10);
  EXPECT_EQ(t.getWN(), 13);
  EXPECT_EQ(t.getES(), 18);
  EXPECT_EQ(t.getEN(), 21);
  EXPECT_EQ(t.getSize(), 12);
  EXPECT_EQ(t.getIcv(), 2);
  EXPECT_EQ(t.getJcv(), 3);
  EXPECT_EQ(t.getImax(), 2);
  EXPECT_EQ(t.getJmax(), 3);
}

TEST(Topo2dBase, everyAccessorFollowsRowMajorFormulaWithFastJ) {
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> sizeDist(1, 9), beginDist(0, 1000);
  for (int trial = 0; trial < 20; ++trial) {
    const int begin = beginDist(rng), isize = sizeDist(rng), jsize = sizeDist(rng);
    SCOPED_TRACE(testing::Message() << "seed 42, trial " << trial << ": " << begin << " " << isize << "x" << jsize);
    Topo2dBase t;
    t.setIndex(begin, isize, jsize);
    EXPECT_EQ(t.getIsize(), isize);
    EXPECT_EQ(t.getJsize(), jsize);
    for (int i = 0; i < isize; ++i) {
      for (int j = 0; j < jsize; ++j) {
        const int global = begin + i * jsize + j;
        ASSERT_EQ(t.getij(i, j), global);
        ASSERT_EQ(t.getijLocal(i, j), global - begin);
        int ii = -1, jj = -1;
        t.getLocalIndicies(ii, jj, global - begin);  // local: the begin plays no part
        ASSERT_EQ(ii, i);
        ASSERT_EQ(jj, j);
      }
      EXPECT_EQ(t.getSouth(i), t.getij(i, 0));
      EXPECT_EQ(t.getNorth(i), t.getij(i, jsize - 1));
      EXPECT_EQ(t.getSouthLocal(i), t.getSouth(i) - begin);
      EXPECT_EQ(t.getNorthLocal(i), t.getNorth(i) - begin);
    }
    for (int j = 0; j < jsize; ++j) {
      EXPECT_EQ(t.getWest(j), t.getij(0, j));
      EXPECT_EQ(t.getEast(j), t.getij(isize - 1, j));
      EXPECT_EQ(t.getWestLocal(j), t.getWest(j) - begin);
      EXPECT_EQ(t.getEastLocal(j), t.getEast(j) - begin);
    }
    EXPECT_EQ(t.getWSLocal(), 0);
    EXPECT_EQ(t.getESLocal(), t.getES() - begin);
    EXPECT_EQ(t.getWNLocal(), jsize - 1);
    EXPECT_EQ(t.getENLocal(), t.getSize() - 1);
    EXPECT_EQ(t.end(), begin + isize * jsize);
  }
}

TEST(Topo2dBase, rowIndexIsCheckedButColumnIsNot) {
  Topo2dBase neverSetUp;  // no rows to index
  EXPECT_THROW(neverSetUp.getWS(), std::out_of_range);
  EXPECT_THROW(neverSetUp.getEN(), std::out_of_range);
  EXPECT_THROW(neverSetUp.getij(0, 0), std::out_of_range);
  Topo2dBase t;
  t.setIndex(10, 3, 4);
  EXPECT_THROW(t.getij(3, 0), std::out_of_range);
  EXPECT_THROW(t.getij(-1, 0), std::out_of_range);
  EXPECT_THROW(t.getijLocal(3, 0), std::out_of_range);
  EXPECT_EQ(t.getij(0, 100), 110);
  EXPECT_EQ(t.getij(1, -1), 13);
  EXPECT_THROW(t.getij(2, kIntMax), std::out_of_range);  // a sum outside int is reported, not wrapped
}

TEST(Topo2dBase, localIndiciesOfBlockWithoutPointsInJThrowOutOfRange) {
  int i = 7, j = 7;
  Topo2dBase neverSetUp, empty, negative;
  EXPECT_THROW(neverSetUp.getLocalIndicies(i, j, 3), std::out_of_range);
  empty.setIndex(0, 3, 0);
  EXPECT_THROW(empty.getLocalIndicies(i, j, 0), std::out_of_range);
  negative.setIndex(0, 3, -2);
  EXPECT_THROW(negative.getLocalIndicies(i, j, std::numeric_limits<int>::min()), std::out_of_range);
  EXPECT_EQ(i, 7);
  EXPECT_EQ(j, 7);
}

TEST(Topo2dBase, rowTableNeverShrinksAndSizeBelowOneChangesOnlyTheScalars) {
  Topo2dBase t;
  t.setIndex(0, 5, 3);
  const int staleRow4 = t.getij(4, 0);
  t.setIndex(100, 2, 4);
  EXPECT_EQ(t.getIcv(), 1);
  EXPECT_EQ(t.getij(1, 0), 104);
  EXPECT_EQ(t.getij(4, 0), staleRow4);  // beyond the new icv, inside the old table
  EXPECT_THROW(t.getij(5, 0), std::out_of_range);

  Topo2dBase u;
  u.setIndex(0, 3, 3);
  u.setIndex(50, 0, 4);
  EXPECT_EQ(u.begin(), 50);
  EXPECT_EQ(u.getSize(), 0);
  EXPECT_EQ(u.end(), 50);
  EXPECT_EQ(u.getIcv(), -1);
  EXPECT_EQ(u.getij(1, 0), 3);  // row table of the earlier block, untouched
  u.setIndex(0, -4, -4);
  EXPECT_EQ(u.getSize(), 16);
  EXPECT_EQ(u.getij(2, 0), 6);
}

TEST(Topo2dBase, setUpMaxIndexSizesRowTableAndIgnoresNegativeCounts) {
  Topo2dBase t;
  t.setUpMaxIndex(4);
  EXPECT_EQ(t.getij(3, 0), 0);
  EXPECT_THROW(t.getij(4, 0), std::out_of_range);
  t.setUpMaxIndex(-5);
  EXPECT_THROW(t.getij(0, 0), std::out_of_range);
  t.setIndexLocal(2, 5);
  EXPECT_EQ(t.begin(), 0);
  EXPECT_EQ(t.getEN(), 9);
}

TEST(Topo2dBase, blockBeyondIntRangeIsRejectedAndCopiesAreIndependent) {
  Topo2dBase t;
  t.setIndex(10, 3, 4);
  EXPECT_THROW(t.setIndex(kIntMax - 5, 3, 4), std::length_error);
  EXPECT_THROW(t.setIndex(0, 70000, 70000), std::length_error);
  EXPECT_THROW(t.setIndex(0, std::numeric_limits<int>::min(), 1), std::length_error);
  EXPECT_EQ(t.begin(), 10);
  EXPECT_EQ(t.end(), 22);
  EXPECT_EQ(t.getEN(), 21);
  Topo2dBase b(t), c;
  t.setIndex(0, 3, 2);
  EXPECT_EQ(b.getij(2, 3), 21);
  c = b;
  b.setIndex(1, 1, 1);
  EXPECT_EQ(c.getEN(), 21);
  EXPECT_EQ(c.getSize(), 12);
}

TEST(Topo2dMultiLevel, workedExampleHasThreeLevelsOf213Points) {
  const Topo2dMultiLevel source(3, 4, 2);
  Topo2dMultiLevel copy(source), assigned(1, 1, 1);
  assigned = source;
  const int isizes[] = {5, 9, 17}, jsizes[] = {3, 5, 9}, begins[] = {0, 15, 60}, lasts[] = {14, 59, 212};
  const Topo2dMultiLevel* all[] = {&source, &copy, &assigned};
  for (const Topo2dMultiLevel* topo : all) {
    ASSERT_EQ(topo->getLevelsSize(), 3);
    EXPECT_EQ(topo->getAllSize(), 213);
    for (int L = 0; L < 3; ++L) {
      const Topo2dBase& level = topo->getLevel(L);
      EXPECT_EQ(level.getIsize(), isizes[L]);
      EXPECT_EQ(level.getJsize(), jsizes[L]);
      EXPECT_EQ(level.begin(), begins[L]);
      EXPECT_EQ(level.end() - 1, lasts[L]);
      EXPECT_EQ(topo->getij(L, level.getIcv(), level.getJcv()), lasts[L]);
    }
  }
}

TEST(Topo2dMultiLevel, finerLevelFollowsCoarserInGlobalIndex) {
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> cells(1, 12);
  for (int trial = 0; trial < 10; ++trial) {
    const int ni = cells(rng), nj = cells(rng);
    SCOPED_TRACE(testing::Message() << "seed 42, trial " << trial << ": " << ni << "x" << nj);
    const Topo2dMultiLevel topo(4, ni, nj);
    EXPECT_EQ(topo.getLevel(0).begin(), 0);
    EXPECT_EQ(topo.getLevel(0).getSize(), (ni + 1) * (nj + 1));
    for (int L = 0; L + 1 < 4; ++L) {
      const Topo2dBase& coarse = topo.getLevel(L);
      const Topo2dBase& fine = topo.getLevel(L + 1);
      EXPECT_EQ(fine.begin(), coarse.end());
      EXPECT_EQ(fine.getIcv(), 2 * coarse.getIcv());
      EXPECT_EQ(fine.getJcv(), 2 * coarse.getJcv());
      EXPECT_EQ(fine.getIcv(), ni << (L + 1));
    }
    EXPECT_EQ(topo.getAllSize(), topo.getLevel(3).end());
    EXPECT_LE(topo.getAllSize(), topo.getreqsize(4, ni + 1, nj + 1));
  }
}

TEST(Topo2dMultiLevel, levelsOutsideTheStackAndNegativeCountsReachCheckedAccess) {
  const Topo2dMultiLevel one(1, 6, 3);
  EXPECT_EQ(one.getAllSize(), 7 * 4);
  EXPECT_EQ(one.getij(0, 6, 3), 27);
  const Topo2dMultiLevel topo(2, 2, 2);
  EXPECT_THROW(topo.getLevel(2), std::out_of_range);
  EXPECT_THROW(topo.getLevel(-1), std::out_of_range);
  EXPECT_THROW(topo.getij(2, 0, 0), std::out_of_range);
  EXPECT_THROW(topo.getij(0, 3, 0), std::out_of_range);
  EXPECT_EQ(topo.getij(1, 4, 4), topo.getAllSize() - 1);
  for (int levels : {0, -3}) {  // the count is kept, nothing is allocated
    const Topo2dMultiLevel none(levels, 4, 2);
    EXPECT_EQ(none.getLevelsSize(), levels);
    EXPECT_EQ(none.getAllSize(), 0);
    EXPECT_THROW(none.getLevel(0), std::out_of_range);
  }
  const Topo2dMultiLevel negCells(2, -3, 2);
  EXPECT_EQ(negCells.getLevel(0).getIsize(), -2);
  EXPECT_THROW(negCells.getij(0, 0, 0), std::out_of_range);
  EXPECT_THROW(negCells.getij(1, 0, 0), std::out_of_range);
}

TEST(Topo2dMultiLevel, requiredSizeDoublesBothCountsPerLevel) {
  const Topo2dMultiLevel topo(1, 1, 1);
  EXPECT_EQ(topo.getreqsize(3, 2, 3), 6 + 24 + 96);
  EXPECT_EQ(topo.getreqsize(0, 5, 7), 0);
  EXPECT_EQ(topo.getreqsize(-4, 5, 7), 0);
  EXPECT_EQ(topo.getreqsize(kIntMax, 0, 7), 0);
  std::mt19937 rng(42);
  std::uniform_int_distribution<int> count(-20, 20), levelDist(1, 6);
  for (int trial = 0; trial < 50; ++trial) {
    const int levels = levelDist(rng), a = count(rng), b = count(rng);
    std::int64_t expected = 0;
    for (int L = 0; L < levels; ++L) expected += (a * (std::int64_t(1) << L)) * (b * (std::int64_t(1) << L));
    EXPECT_EQ(topo.getreqsize(levels, a, b), expected) << levels << " " << a << " " << b;
  }
}

TEST(Topo2dMultiLevel, sizesBeyondIntRangeThrowLengthError) {
  EXPECT_THROW(Topo2dMultiLevel(40, 4, 4), std::length_error);
  EXPECT_THROW(Topo2dMultiLevel(kIntMax, 4, 4), std::length_error);
  EXPECT_THROW(Topo2dMultiLevel(1, kIntMax, 0), std::length_error);
  EXPECT_THROW(Topo2dMultiLevel(1, kIntMax, -1), std::length_error);
  const Topo2dMultiLevel topo(1, 1, 1);
  EXPECT_THROW(topo.getreqsize(40, 1000, 1000), std::length_error);
  EXPECT_THROW(topo.getreqsize(1, kIntMax, kIntMax), std::length_error);
  EXPECT_THROW(topo.getreqsize(kIntMax, -3, 5), std::length_error);
  // One-point levels never grow: many of them are still a valid stack.
  const Topo2dMultiLevel points(1000, 0, 0);
  EXPECT_EQ(points.getAllSize(), 1000);
  EXPECT_EQ(points.getij(999, 0, 0), 999);
}
