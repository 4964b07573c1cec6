// Lines of constant space of TurboTransform: mesh lines, boundary selection, resampling, cutting,
// extension. Errors before the mesh exists are in BadInputCatalogueTest.cpp.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "support/Passages.h"
#include "qor/CoordTransform.h"

namespace {

using qor::QORVector;
using qor::TurboTransform;
using qortest::P3;

// Points interpolated on straight analytic lines: a few float ulps of the coordinates (<= 4).
constexpr double kLineTol = 8.0 * 4.0 * FLT_EPSILON;

class IsoLines : public ::testing::Test {
 protected:
  // A in [0, 2], R in [1, 2].
  void SetUp() override { qortest::build(m_b, qortest::annulus(), TurboTransform::linear, 500); }
  P3 node(int i, int j) const { return m_b.node(i, j); }

  qortest::Built m_b;
  TurboTransform& m_t = m_b.transform;
  const int& m_ni = m_b.ni;
  const int& m_nj = m_b.nj;
};

TEST_F(IsoLines, spanZeroAndOneReturnHubAndShroudNodesExactly) {
  QORVector<P3> hub, shroud, below, above;
  m_t.getConstantSpace(TurboTransform::nspanConst, 0.0, hub);
  m_t.getConstantSpace(TurboTransform::nspanConst, 1.0, shroud);
  m_t.getConstantSpace(TurboTransform::nspanConst, -0.5, below);
  m_t.getConstantSpace(TurboTransform::nspanConst, 3.0, above);
  ASSERT_EQ(hub.size(), static_cast<std::size_t>(m_ni));
  ASSERT_EQ(shroud.size(), static_cast<std::size_t>(m_ni));
  for (int i = 0; i < m_ni; ++i) {
    EXPECT_EQ(hub[i], node(i, 0));
    EXPECT_EQ(shroud[i], node(i, m_nj - 1));
  }
  EXPECT_EQ(below, hub);
  EXPECT_EQ(above, shroud);
}

TEST_F(IsoLines, spanOfAMeshLineReturnsThatLinesNodes) {
  std::vector<double> nspan;
  m_t.getNSpanValues(nspan);
  ASSERT_EQ(nspan.size(), static_cast<std::size_t>(m_nj));
  EXPECT_EQ(nspan.front(), 0.0);
  EXPECT_EQ(nspan.back(), 1.0);
  const int j = m_nj / 2;
  QORVector<P3> line;
  m_t.getConstantSpace(TurboTransform::nspanConst, nspan[static_cast<std::size_t>(j)], line);
  for (int i = 0; i < m_ni; ++i) EXPECT_EQ(line[i], node(i, j));
}

TEST_F(IsoLines, streamwisePositionLinesRunHubToShroud) {
  QORVector<P3> inlet, outlet, mid, rnmLine, rnmInlet;
  m_t.getConstantSpace(TurboTransform::nmConst, 0.0, inlet);
  m_t.getConstantSpace(TurboTransform::nmConst, 1.0, outlet);
  m_t.getConstantSpace(TurboTransform::nmConst, 0.25, mid);
  m_t.getConstantSpace(TurboTransform::rnmConst, 0.25, rnmLine);
  m_t.getConstantSpace(TurboTransform::rnmConst, -1.0, rnmInlet);
  ASSERT_EQ(mid.size(), static_cast<std::size_t>(m_nj));
  ASSERT_EQ(rnmLine.size(), static_cast<std::size_t>(m_nj));
  for (int j = 0; j < m_nj; ++j) {
    EXPECT_EQ(inlet[j], node(0, j));
    EXPECT_EQ(outlet[j], node(m_ni - 1, j));
    EXPECT_EQ(rnmInlet[j], node(0, j));
    // Annulus: nm = rnm = A / 2.
    EXPECT_NEAR(mid[j][0], 0.5, kLineTol);
    EXPECT_NEAR(rnmLine[j][0], 0.5, kLineTol);
    EXPECT_EQ(mid[j][1], node(0, j)[1]);
  }
}

TEST_F(IsoLines, tooFewPointsAreRejected) {
  QORVector<P3> c;
  for (int n : {1, 0, -4}) {
    const std::string message = "Number of points requested less than 2. Number requested = " + std::to_string(n);
    qortest::expectError(
        qortest::captureError<qor::data::invalid>([&] { m_t.getConstantSpace(TurboTransform::nmConst, 0.5, n, c); }),
        "TurboTransform", "getConstantSpaceSpan", message);
    qortest::expectError(qortest::captureError<qor::data::invalid>(
                             [&] { m_t.getConstantSpace(TurboTransform::nmConst, 0.5, n, 0.2, 0.8, c); }),
                         "TurboTransform", "getConstantSpaceSpan", message);
  }
}

TEST_F(IsoLines, resamplingKeepsTheEndsExactlyAndSpacesEvenlyInParameter) {
  QORVector<P3> line, two;
  m_t.getConstantSpace(TurboTransform::nmConst, 0.5, line);
  m_t.getConstantSpace(TurboTransform::nmConst, 0.5, 2, two);
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[0], line.front());
  EXPECT_EQ(two[1], line.back());

  // The hub is straight: points evenly spaced in its parameter are evenly spaced in A.
  QORVector<P3> hub;
  m_t.getConstantSpace(TurboTransform::nspanConst, 0.0, 9, hub);
  ASSERT_EQ(hub.size(), 9u);
  for (int k = 0; k < 9; ++k) {
    EXPECT_NEAR(hub[k][0], 2.0 * k / 8.0, kLineTol);
    EXPECT_FLOAT_EQ(hub[k][1], 1.0f);
  }
}

TEST_F(IsoLines, cuttingTakesThePieceBetweenTwoParameters) {
  QORVector<P3> piece, sampled;
  m_t.getConstantSpace(TurboTransform::nspanConst, 1.0, 0.25, 0.75, piece);
  ASSERT_GE(piece.size(), 2u);
  EXPECT_NEAR(piece.front()[0], 0.5, kLineTol);
  EXPECT_NEAR(piece.back()[0], 1.5, kLineTol);
  for (const P3& p : piece) EXPECT_FLOAT_EQ(p[1], 2.0f);

  m_t.getConstantSpace(TurboTransform::nspanConst, 1.0, 5, 0.25, 0.75, sampled);
  ASSERT_EQ(sampled.size(), 5u);
  EXPECT_EQ(sampled.front(), piece.front());
  EXPECT_EQ(sampled.back(), piece.back());
  EXPECT_NEAR(sampled[2][0], 1.0, kLineTol);
}

TEST_F(IsoLines, extensionPushesBothEndsOutwardByAFractionOfTheLength) {
  QORVector<P3> hub, extended, unchanged;
  m_t.getConstantSpace(TurboTransform::nspanConst, 0.0, hub);
  m_t.getConstantSpace(TurboTransform::nspanConst, 0.0, extended, 0.1);
  m_t.getConstantSpace(TurboTransform::nspanConst, 0.0, unchanged, 0.0);
  ASSERT_EQ(extended.size(), hub.size());
  EXPECT_EQ(unchanged, hub);
  // Hub length 2: the first node moves upstream by 0.2, the last downstream by 0.2.
  EXPECT_NEAR(extended.front()[0], -0.2, kLineTol);
  EXPECT_FLOAT_EQ(extended.front()[1], 1.0f);
  EXPECT_NEAR(extended.back()[0], 2.2, kLineTol);
  for (std::size_t i = 1; i + 1 < hub.size(); ++i) EXPECT_EQ(extended[i], hub[i]);

  // On a spanwise line the ends move beyond hub and shroud.
  QORVector<P3> across;
  m_t.getConstantSpace(TurboTransform::nmConst, 0.5, across, 0.5);
  EXPECT_NEAR(across.front()[1], 0.5, kLineTol);
  EXPECT_NEAR(across.back()[1], 2.5, kLineTol);
}

}  // namespace
