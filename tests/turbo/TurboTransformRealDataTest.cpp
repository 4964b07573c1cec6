// Background meshes of the real machines in the data directory (QOR_DATA_DIR): both methods build
// an unfolded mesh whose normalised coordinates run monotonically along the mesh lines.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;

constexpr int kMeshSize = 2000;  // the default request

struct RealCase {
  std::string name;
  TurboTransform::BMmethod method;
};

void checkMesh(const TurboTransform& t, const std::string& label) {
  SCOPED_TRACE(label);
  std::vector<P3> nodes;
  int isize = 0, jsize = 0;
  t.getBackgroundMesh(nodes, isize, jsize);
  ASSERT_EQ(nodes.size(), static_cast<std::size_t>(isize) * static_cast<std::size_t>(jsize));
  auto node = [&](int i, int j) { return nodes[static_cast<std::size_t>(i * jsize + j)]; };
  // Located through the mesh again, every node must give its own streamwise and spanwise
  // position: nm strictly rising along each streamwise line, nspan along each spanwise line.
  for (int j = 0; j < jsize; ++j) {
    float previous = -1.0f;
    for (int i = 0; i < isize; ++i) {
      const float value = t.convertARTtoSpace(TurboTransform::nm, node(i, j));
      EXPECT_GT(value, previous) << "streamwise line j=" << j << " at i=" << i;
      previous = value;
    }
    EXPECT_FLOAT_EQ(previous, 1.0f) << "j=" << j;
  }
  for (int i = 0; i < isize; ++i) {
    float previous = -1.0f;
    for (int j = 0; j < jsize; ++j) {
      const float value = t.convertARTtoSpace(TurboTransform::nspan, node(i, j));
      EXPECT_GT(value, previous) << "spanwise line i=" << i << " at j=" << j;
      previous = value;
    }
  }
}

TEST(TurboTransformRealData, everyMachineMeshesWithoutFoldsByBothMethods) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  const auto cases = qortest::dataCases();
  ASSERT_FALSE(cases.empty()) << "no machine with hub.csv under " << qortest::dataDir();
  for (const std::string& name : cases) {
    const qortest::Passage p = qortest::loadCase(name);
    for (TurboTransform::BMmethod method : {TurboTransform::linear, TurboTransform::nonLinear}) {
      const std::string label = name + (method == TurboTransform::linear ? " linear" : " smoothed");
      TurboTransform t;
      qortest::initializeART(t, p);
      EXPECT_EQ(t.createBackgroundMesh(method, kMeshSize), 0) << label;
      checkMesh(t, label);
      EXPECT_GT(t.getAverageLengthInM(), 0.0f) << label;
    }
  }
}

// The same machine set up from Cartesian points about its x axis gives the same mesh.
TEST(TurboTransformRealData, cartesianSetUpMatchesMeridionalSetUp) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  for (const std::string& name : qortest::dataCases()) {
    SCOPED_TRACE(name);
    const qortest::Passage p = qortest::loadCase(name);
    const double tolerance = 1e-5 * qortest::passageSize(p);
    TurboTransform art, xyz;
    qortest::initializeART(art, p);
    qortest::initializeXYZ(xyz, qortest::toXYZ(p, p.axisPoint, p.axisDirection));
    art.createBackgroundMesh(TurboTransform::linear, kMeshSize);
    xyz.createBackgroundMesh(TurboTransform::linear, kMeshSize);
    std::vector<P3> a, b;
    int ia = 0, ja = 0, ib = 0, jb = 0;
    art.getBackgroundMesh(a, ia, ja);
    xyz.getBackgroundMesh(b, ib, jb);
    ASSERT_EQ(ia, ib);
    ASSERT_EQ(ja, jb);
    for (std::size_t k = 0; k < a.size(); ++k) {
      ASSERT_NEAR(a[k][0], b[k][0], tolerance) << k;
      ASSERT_NEAR(a[k][1], b[k][1], tolerance) << k;
    }
  }
}

}  // namespace
