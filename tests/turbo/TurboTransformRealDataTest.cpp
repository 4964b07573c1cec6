// Background meshes of the real machines in the data directory (QOR_DATA_DIR): both methods build
// an unfolded mesh whose normalised coordinates run monotonically along the mesh lines.

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

// Both methods on the ART set-up; the same machine set up from Cartesian points about its axis gives
// the same linear mesh (float rounding of coordinates of the passage size: 1e-5 of it).
TEST(TurboTransformRealData, everyMachineMeshesWithoutFoldsByBothMethodsAndBothSetUps) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  const auto cases = qortest::dataCases();
  ASSERT_FALSE(cases.empty()) << "no machine with hub.csv under " << qortest::dataDir();
  for (const std::string& name : cases) {
    const qortest::Passage p = qortest::loadCase(name);
    for (TurboTransform::BMmethod method : {TurboTransform::linear, TurboTransform::nonLinear}) {
      const std::string label = name + (method == TurboTransform::linear ? " linear" : " smoothed");
      qortest::Built art;
      EXPECT_EQ(qortest::build(art, p, method, kMeshSize), 0) << label;
      checkMesh(art.transform, label);
      EXPECT_GT(art.transform.getAverageLengthInM(), 0.0f) << label;
      if (method != TurboTransform::linear) continue;
      TurboTransform xyz;
      qortest::initializeXYZ(xyz, qortest::toXYZ(p, p.axisPoint, p.axisDirection));
      xyz.createBackgroundMesh(method, kMeshSize);
      std::vector<P3> b;
      int ib = 0, jb = 0;
      xyz.getBackgroundMesh(b, ib, jb);
      ASSERT_EQ(ib, art.ni) << label;
      ASSERT_EQ(jb, art.nj) << label;
      const double tolerance = 1e-5 * qortest::passageSize(p);
      for (std::size_t k = 0; k < b.size(); ++k) {
        ASSERT_NEAR(art.nodes[k][0], b[k][0], tolerance) << label << " node " << k;
        ASSERT_NEAR(art.nodes[k][1], b[k][1], tolerance) << label << " node " << k;
      }
    }
  }
}

}  // namespace
