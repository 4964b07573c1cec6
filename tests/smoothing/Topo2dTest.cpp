#include <functional>
#include <limits>

#include "support/Passages.h"

using qor::Topo2dBase;
using qor::Topo2dMultiLevel;

namespace {
constexpr int kIntMax = std::numeric_limits<int>::max(), kIntMin = std::numeric_limits<int>::min();
}  // namespace

TEST(Topo2dBase, everyAccessorFollowsRowMajorFormulaWithFastJ) {
  // The worked example (offset 10, 3 x 4 points, (2, 3) at 21), one point, one row and one column.
  const int blocks[][3] = {{10, 3, 4}, {5, 1, 1}, {0, 1, 6}, {7, 5, 1}};
  for (const auto& block : blocks) {
    const int begin = block[0], isize = block[1], jsize = block[2];
    SCOPED_TRACE(testing::Message() << begin << " " << isize << "x" << jsize);
    Topo2dBase t;
    t.setIndex(begin, isize, jsize);
    EXPECT_EQ((std::vector<int>{t.getIsize(), t.getJsize(), t.getIcv(), t.getJcv(), t.getImax(), t.getJmax(),
                                t.begin(), t.end(), t.getSize()}),
              (std::vector<int>{isize, jsize, isize - 1, jsize - 1, isize - 1, jsize - 1, begin, begin + isize * jsize,
                                isize * jsize}));
    for (int i = 0; i < isize; ++i) {
      for (int j = 0; j < jsize; ++j) {
        const int global = begin + i * jsize + j;
        ASSERT_EQ(t.getij(i, j), global);
        ASSERT_EQ(t.getijLocal(i, j), global - begin);
        int ii = -1, jj = -1;
        t.getLocalIndicies(ii, jj, global - begin);  // local: the begin plays no part
        ASSERT_EQ(std::make_pair(ii, jj), std::make_pair(i, j));
      }
      EXPECT_EQ(std::make_pair(t.getSouth(i), t.getNorth(i)), std::make_pair(t.getij(i, 0), t.getij(i, jsize - 1)));
      EXPECT_EQ(std::make_pair(t.getSouthLocal(i), t.getNorthLocal(i)),
                std::make_pair(t.getSouth(i) - begin, t.getNorth(i) - begin));
    }
    for (int j = 0; j < jsize; ++j) {
      EXPECT_EQ(std::make_pair(t.getWest(j), t.getEast(j)), std::make_pair(t.getij(0, j), t.getij(isize - 1, j)));
      EXPECT_EQ(std::make_pair(t.getWestLocal(j), t.getEastLocal(j)),
                std::make_pair(t.getWest(j) - begin, t.getEast(j) - begin));
    }
    EXPECT_EQ((std::vector<int>{t.getWS(), t.getWN(), t.getES(), t.getEN()}),
              (std::vector<int>{begin, begin + jsize - 1, t.getij(isize - 1, 0), t.end() - 1}));
    EXPECT_EQ((std::vector<int>{t.getWSLocal(), t.getWNLocal(), t.getESLocal(), t.getENLocal()}),
              (std::vector<int>{0, jsize - 1, t.getES() - begin, t.getSize() - 1}));
  }
}

// Rows are checked against the row table, columns are not; sums outside int are reported.
TEST(Topo2dBase, rowsSizesAndSumsOutsideTheirRangeThrowChangeNothingAndTheRowTableNeverShrinks) {
  Topo2dBase neverSetUp, t, empty, negative;
  t.setIndex(10, 3, 4);
  empty.setIndex(0, 3, 0);
  negative.setIndex(0, 3, -2);
  int i = 7, j = 7;
  const std::function<void()> outOfRange[] = {
      [&] { (void)neverSetUp.getWS(); },        [&] { (void)t.getij(3, 0); },
      [&] { (void)t.getij(-1, 0); },            [&] { (void)t.getijLocal(3, 0); },
      [&] { (void)t.getij(2, kIntMax); },       [&] { neverSetUp.getLocalIndicies(i, j, 3); },
      [&] { empty.getLocalIndicies(i, j, 0); }, [&] { negative.getLocalIndicies(i, j, kIntMin); }};
  for (const auto& call : outOfRange) EXPECT_THROW(call(), std::out_of_range);
  EXPECT_EQ(std::make_pair(i, j), std::make_pair(7, 7));
  EXPECT_EQ(t.getij(0, 100), 110);
  EXPECT_EQ(t.getij(1, -1), 13);  // columns are not checked
  EXPECT_THROW(t.setIndex(kIntMax - 5, 3, 4), std::length_error);
  EXPECT_THROW(t.setIndex(0, 70000, 70000), std::length_error);
  EXPECT_EQ(std::make_pair(t.begin(), t.getEN()), std::make_pair(10, 21));
  Topo2dBase b(t), c;  // copies are independent
  t.setIndex(0, 3, 2);
  EXPECT_EQ(b.getij(2, 3), 21);
  c = b;
  b.setIndex(1, 1, 1);
  EXPECT_EQ(std::make_pair(c.getEN(), c.getSize()), std::make_pair(21, 12));
  // The row table grows but never shrinks; a size below one sets only the scalars.
  t.setIndex(0, 5, 3);
  const int staleRow4 = t.getij(4, 0);
  t.setIndex(100, 2, 4);
  EXPECT_EQ(t.getij(1, 0), 104);
  EXPECT_EQ(t.getij(4, 0), staleRow4);
  EXPECT_THROW(t.getij(5, 0), std::out_of_range);
  t.setIndex(50, 0, 4);
  EXPECT_EQ((std::vector<int>{t.begin(), t.getSize(), t.end(), t.getIcv()}), (std::vector<int>{50, 0, 50, -1}));
  EXPECT_EQ(t.getij(1, 0), 104);  // row table of the earlier block, untouched
  t.setIndex(0, -4, -4);
  EXPECT_EQ(t.getSize(), 16);
  EXPECT_EQ(t.getij(2, 0), 6);
  Topo2dBase u;
  u.setUpMaxIndex(4);
  EXPECT_EQ(u.getij(3, 0), 0);
  EXPECT_THROW(u.getij(4, 0), std::out_of_range);
  u.setUpMaxIndex(-5);  // ignored
  u.setIndexLocal(2, 5);
  EXPECT_EQ(std::make_pair(u.begin(), u.getEN()), std::make_pair(0, 9));
}

TEST(Topo2dMultiLevel, levelsDoubleTheCellsAndFollowEachOtherInGlobalIndex) {
  const Topo2dMultiLevel source(3, 4, 2);
  Topo2dMultiLevel copy(source), assigned(1, 1, 1);
  assigned = source;
  const int isizes[] = {5, 9, 17}, jsizes[] = {3, 5, 9}, begins[] = {0, 15, 60}, lasts[] = {14, 59, 212};
  for (const Topo2dMultiLevel* topo : std::vector<const Topo2dMultiLevel*>{&source, &copy, &assigned}) {
    ASSERT_EQ(topo->getLevelsSize(), 3);
    EXPECT_EQ(topo->getAllSize(), 213);
    for (int L = 0; L < 3; ++L) {
      const Topo2dBase& level = topo->getLevel(L);
      EXPECT_EQ((std::vector<int>{level.getIsize(), level.getJsize(), level.begin(), level.end() - 1}),
                (std::vector<int>{isizes[L], jsizes[L], begins[L], lasts[L]}));
      EXPECT_EQ(topo->getij(L, level.getIcv(), level.getJcv()), lasts[L]);
    }
  }
  EXPECT_EQ((std::vector<int>{source.getreqsize(3, 2, 3), source.getreqsize(0, 5, 7), source.getreqsize(-4, 5, 7),
                              source.getreqsize(kIntMax, 0, 7), source.getreqsize(2, -3, 5)}),
            (std::vector<int>{6 + 24 + 96, 0, 0, 0, -15 + -60}));
  const Topo2dMultiLevel points(1000, 0, 0);  // one-point levels never grow
  EXPECT_EQ(std::make_pair(points.getAllSize(), points.getij(999, 0, 0)), std::make_pair(1000, 999));
}

TEST(Topo2dMultiLevel, levelsOutsideTheStackNegativeCountsAndSizesBeyondIntAreRefused) {
  const Topo2dMultiLevel topo(2, 2, 2);
  EXPECT_THROW(topo.getLevel(-1), std::out_of_range);
  EXPECT_THROW(topo.getij(2, 0, 0), std::out_of_range);
  EXPECT_THROW(topo.getij(0, 3, 0), std::out_of_range);
  EXPECT_EQ(topo.getij(1, 4, 4), topo.getAllSize() - 1);
  for (int levels : {0, -3}) {  // the count is kept, nothing is allocated
    const Topo2dMultiLevel none(levels, 4, 2);
    EXPECT_EQ(std::make_pair(none.getLevelsSize(), none.getAllSize()), std::make_pair(levels, 0));
    EXPECT_THROW(none.getLevel(0), std::out_of_range);
  }
  const Topo2dMultiLevel negCells(2, -3, 2);
  EXPECT_EQ(negCells.getLevel(0).getIsize(), -2);
  EXPECT_THROW(negCells.getij(0, 0, 0), std::out_of_range);
  EXPECT_THROW(negCells.getij(1, 0, 0), std::out_of_range);
  EXPECT_THROW(Topo2dMultiLevel(40, 4, 4), std::length_error);
  EXPECT_THROW(Topo2dMultiLevel(1, kIntMax, 0), std::length_error);
  EXPECT_THROW(topo.getreqsize(1, kIntMax, kIntMax), std::length_error);
  EXPECT_THROW(topo.getreqsize(kIntMax, -3, 5), std::length_error);
}
