#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qor/CoordTransform.h"
#include "support/Passages.h"

using qor::QORVector;
using qor::Smooth2dbs;
using qor::Topo2dMultiLevel;
using P3 = qor::TripletBase<float>;

namespace {

constexpr float kPrintTol = 1e-5f;  // the surface file prints six significant digits

std::vector<std::string> lines(std::istream&& in) {
  std::vector<std::string> out;
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

}  // namespace

TEST(Smooth2dbsOutput, surfaceFileOfThreeByTwoLevel) {
  qortest::ScopedTempDir dir;
  Topo2dMultiLevel topo(1, 2, 1);  // 3 x 2 points
  QORVector<P3> mesh;
  for (int k = 0; k < 6; ++k) mesh.emplace_back(0.5f * k, 1.25f + k, -0.1f * k);
  Smooth2dbs s;
  s.setmtopo(mesh, topo, nullptr);
  testing::internal::CaptureStdout();
  s.writePostSurface(0, "level.srf");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), " Post Mesh saved in:level.srf\n");

  const std::vector<std::string> file = lines(std::ifstream("level.srf"));
  ASSERT_EQ(file.size(), 10u);
  for (std::size_t k = 0; k < 6; ++k) {
    ASSERT_FALSE(file[k].empty());
    EXPECT_EQ(file[k].back(), ' ') << "point lines end with a blank";
    std::istringstream values(file[k]);
    for (int c = 0; c < 3; ++c) {
      float v = 0;
      values >> v;
      EXPECT_NEAR(v, mesh[k][c], kPrintTol);
    }
  }
  EXPECT_EQ(file[6], "");
  EXPECT_EQ(file[7], "# Faces");
  EXPECT_EQ(file[8], "3 1 0 2");
  EXPECT_EQ(file[9], "5 3 2 4");
  EXPECT_THROW(s.writePostSurface(1, "none.srf"), std::out_of_range);
}

TEST(Smooth2dbsOutput, conditionMapPrintsBlocksOfTenColumnsNorthFirst) {
  Topo2dMultiLevel topo(1, 24, 2);  // 25 columns
  QORVector<P3> mesh(std::size_t(topo.getAllSize()));
  Smooth2dbs s;
  testing::internal::CaptureStdout();
  s.writebcID(0);  // no topology yet: nothing
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  s.setmtopo(mesh, topo, nullptr);
  s.setbcgeoIDSouth(12, 12, Smooth2dbs::onCurve, 2);

  testing::internal::CaptureStdout();
  s.writebcID(0);
  const std::vector<std::string> bc =
      lines(std::istringstream(testing::internal::GetCapturedStdout()));
  testing::internal::CaptureStdout();
  s.writegeoID(0);
  const std::vector<std::string> geo =
      lines(std::istringstream(testing::internal::GetCapturedStdout()));
  testing::internal::CaptureStdout();
  s.writegeoID(1);  // beyond the last level: nothing
  s.writebcID(-1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

  // Title, empty line, then per block: column numbers, empty line, rows j = 2, 1, 0.
  ASSERT_EQ(bc.size(), 2u + 3u * 5u);
  EXPECT_EQ(bc[0], "    ********** BC **********");
  EXPECT_EQ(geo[0], "    ********** GEO**********");
  EXPECT_EQ(bc[1], "");
  EXPECT_EQ(bc[2], "       0   1   2   3   4   5   6   7   8   9");
  EXPECT_EQ(bc[3], "");
  EXPECT_EQ(bc[4], "   2   0   0   0   0   0   0   0   0   0   0");
  EXPECT_EQ(bc[7], "      10  11  12  13  14  15  16  17  18  19");
  EXPECT_EQ(bc[11], "   0   0   0   4   0   0   0   0   0   0   0");
  EXPECT_EQ(geo[11], "   0  -1  -1   2  -1  -1  -1  -1  -1  -1  -1");
  EXPECT_EQ(bc[12], "      20  21  22  23  24");
  EXPECT_EQ(geo[16], "   0  -1  -1  -1  -1  -1");
}
