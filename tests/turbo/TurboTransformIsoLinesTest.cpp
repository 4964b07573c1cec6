// Lines of constant space on the annulus A in [0, 2], R in [1, 2] (nm = rnm = A / 2, nspan = R - 1).
#include <cfloat>

#include "support/Passages.h"

namespace {

using qor::QORVector;
using qor::TurboTransform;
using qortest::P3;

// Points interpolated on straight analytic lines: a few float ulps of the coordinates (<= 4).
constexpr double kLineTol = 8.0 * 4.0 * FLT_EPSILON;

// Mesh lines come back as their nodes and values beyond the ends are clamped; resampled and cut
// lines keep exact ends and too few points are refused; extension moves both ends outward by a
// fraction of the length.
TEST(IsoLines, meshLinesResampledCutAndExtended) {
  qortest::Built b;
  qortest::build(b, qortest::annulus(), TurboTransform::linear, 500);
  const TurboTransform& t = b.transform;
  auto line = [&t](TurboTransform::constSpace c, double v) {
    QORVector<P3> out;
    return t.getConstantSpace(c, v, out), out;
  };
  std::vector<double> nspan;
  t.getNSpanValues(nspan);
  ASSERT_EQ(nspan.size(), static_cast<std::size_t>(b.nj));
  EXPECT_EQ(std::make_pair(nspan.front(), nspan.back()), std::make_pair(0.0, 1.0));
  const int jm = b.nj / 2;
  const auto hub = line(TurboTransform::nspanConst, 0.0), shroud = line(TurboTransform::nspanConst, 1.0);
  const auto middle = line(TurboTransform::nspanConst, nspan[std::size_t(jm)]);
  ASSERT_EQ(hub.size(), static_cast<std::size_t>(b.ni));
  ASSERT_EQ(shroud.size(), static_cast<std::size_t>(b.ni));
  for (int i = 0; i < b.ni; ++i) {
    EXPECT_EQ(hub[i], b.node(i, 0));
    EXPECT_EQ(shroud[i], b.node(i, b.nj - 1));
    EXPECT_EQ(middle[i], b.node(i, jm));
  }
  EXPECT_EQ(line(TurboTransform::nspanConst, -0.5), hub);
  EXPECT_EQ(line(TurboTransform::nspanConst, 3.0), shroud);

  const auto inlet = line(TurboTransform::nmConst, 0.0), outlet = line(TurboTransform::nmConst, 1.0);
  const auto mid = line(TurboTransform::nmConst, 0.25), rnmLine = line(TurboTransform::rnmConst, 0.25);
  const auto rnmInlet = line(TurboTransform::rnmConst, -1.0);
  ASSERT_EQ(mid.size(), static_cast<std::size_t>(b.nj));
  ASSERT_EQ(rnmLine.size(), static_cast<std::size_t>(b.nj));
  for (int j = 0; j < b.nj; ++j) {
    EXPECT_EQ(inlet[j], b.node(0, j));
    EXPECT_EQ(outlet[j], b.node(b.ni - 1, j));
    EXPECT_EQ(rnmInlet[j], b.node(0, j));
    EXPECT_NEAR(mid[j][0], 0.5, kLineTol);
    EXPECT_NEAR(rnmLine[j][0], 0.5, kLineTol);
    EXPECT_EQ(mid[j][1], b.node(0, j)[1]);
  }
  QORVector<P3> two, even, piece, sampled, c;
  const auto whole = line(TurboTransform::nmConst, 0.5);
  t.getConstantSpace(TurboTransform::nmConst, 0.5, 2, two);
  EXPECT_EQ(two, (QORVector<P3>{whole.front(), whole.back()}));
  // The hub is straight: points evenly spaced in its parameter are evenly spaced in A.
  t.getConstantSpace(TurboTransform::nspanConst, 0.0, 9, even);
  ASSERT_EQ(even.size(), 9u);
  for (int k = 0; k < 9; ++k) {
    EXPECT_NEAR(even[k][0], 2.0 * k / 8.0, kLineTol);
    EXPECT_FLOAT_EQ(even[k][1], 1.0f);
  }
  t.getConstantSpace(TurboTransform::nspanConst, 1.0, 0.25, 0.75, piece);
  ASSERT_GE(piece.size(), 2u);
  EXPECT_NEAR(piece.front()[0], 0.5, kLineTol);
  EXPECT_NEAR(piece.back()[0], 1.5, kLineTol);
  for (const P3& p : piece) EXPECT_FLOAT_EQ(p[1], 2.0f);
  t.getConstantSpace(TurboTransform::nspanConst, 1.0, 5, 0.25, 0.75, sampled);
  ASSERT_EQ(sampled.size(), 5u);
  EXPECT_EQ(std::make_pair(sampled.front(), sampled.back()), std::make_pair(piece.front(), piece.back()));
  EXPECT_NEAR(sampled[2][0], 1.0, kLineTol);
  for (const bool cut : {false, true}) {
    qortest::expectError(qortest::captureError<qor::data::invalid>([&] {
                           cut ? t.getConstantSpace(TurboTransform::nmConst, 0.5, 1, 0.2, 0.8, c)
                               : t.getConstantSpace(TurboTransform::nmConst, 0.5, 1, c);
                         }),
                         "TurboTransform", "getConstantSpaceSpan",
                         "Number of points requested less than 2. Number requested = 1");
  }
  QORVector<P3> extended, unchanged, across;
  t.getConstantSpace(TurboTransform::nspanConst, 0.0, extended, 0.1);
  t.getConstantSpace(TurboTransform::nspanConst, 0.0, unchanged, 0.0);
  ASSERT_EQ(extended.size(), hub.size());
  EXPECT_EQ(unchanged, hub);
  // Hub length 2: the first node moves upstream by 0.2, the last downstream by 0.2.
  EXPECT_NEAR(extended.front()[0], -0.2, kLineTol);
  EXPECT_FLOAT_EQ(extended.front()[1], 1.0f);
  EXPECT_NEAR(extended.back()[0], 2.2, kLineTol);
  for (std::size_t i = 1; i + 1 < hub.size(); ++i) EXPECT_EQ(extended[i], hub[i]);
  // On a spanwise line the ends move beyond hub and shroud.
  t.getConstantSpace(TurboTransform::nmConst, 0.5, across, 0.5);
  EXPECT_NEAR(across.front()[1], 0.5, kLineTol);
  EXPECT_NEAR(across.back()[1], 2.5, kLineTol);
}

}  // namespace
