// Forward-then-inverse round trips of TurboTransform on the real machines of the data directory
// (QOR_DATA_DIR). Reports the largest error of each machine, relative to its passage size.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/Passages.h"
#include "qor/CoordTransform.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using D3 = qor::TripletBase<double>;

// Same derivation as for the analytic passages (the round trip is exact up to about ten float
// roundings of the coordinates), with the coordinates' magnitude in place of the passage size:
// machines given in millimetres or far from the origin carry larger absolute rounding.
constexpr double kRoundTripRelTol = 1e-5;

float distance(const P3& a, const P3& b) { return std::hypot(a[0] - b[0], a[1] - b[1]); }

double coordinateScale(const qortest::Passage& p) {
  double s = qortest::passageSize(p);
  for (const auto* c : {&p.hub, &p.shroud, &p.inlet, &p.outlet}) {
    for (const auto& q : *c) s = std::max({s, std::fabs(double(q[0])), std::fabs(double(q[1]))});
  }
  return s;
}

TEST(TurboTransformInverseRealData, roundTripOnEveryMachine) {
  if (qortest::dataDir().empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set";
  const std::vector<std::string> cases = qortest::dataCases();
  ASSERT_FALSE(cases.empty()) << "no machine with hub.csv under " << qortest::dataDir();

  const TurboTransform::space spaces[] = {TurboTransform::nm, TurboTransform::m, TurboTransform::mprime,
                                          TurboTransform::rnm};
  for (const std::string& name : cases) {
    SCOPED_TRACE(name);
    const qortest::Passage p = qortest::loadCase(name);
    TurboTransform t;
    qortest::initializeART(t, p);
    const int folded = t.createBackgroundMesh(TurboTransform::nonLinear, 2000);
    std::vector<P3> nodes;
    int ni = 0, nj = 0;
    t.getBackgroundMesh(nodes, ni, nj);
    auto node = [&](int i, int j) { return nodes.at(static_cast<std::size_t>(i * nj + j)); };

    // Points on the lines of span 0, 0.5 and 1 and in random cells, away from inlet and outlet.
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> u(0.05, 0.95);
    std::uniform_int_distribution<int> ci(1, ni - 3), cj(0, nj - 2);
    std::vector<P3> points;
    for (double ns : {0.0, 0.5, 1.0}) {
      qor::QORVector<P3> line;
      t.getConstantSpace(TurboTransform::nspanConst, ns, line);
      for (int k = 0; k < 30; ++k) {
        const std::size_t i = static_cast<std::size_t>(ci(rng));
        points.push_back(line[i] + (line[i + 1] - line[i]) * u(rng));
      }
    }
    for (int k = 0; k < 60; ++k) {
      const int i = ci(rng), j = cj(rng);
      const double s = u(rng), tt = u(rng);
      const P3 lo = node(i, j) + (node(i + 1, j) - node(i, j)) * s;
      const P3 hi = node(i, j + 1) + (node(i + 1, j + 1) - node(i, j + 1)) * s;
      points.push_back(lo + (hi - lo) * tt);
    }

    const double size = qortest::passageSize(p);
    const double tol = kRoundTripRelTol * coordinateScale(p);
    double worst = 0.0;
    int worstSpace = -1;
    for (TurboTransform::space s : spaces) {
      for (const P3& q : points) {
        P3 tns, back;
        t.convertARTtoSpaceTNs(s, q, tns);
        t.convertSpaceTNsToART(s, tns, back);
        const double e = distance(q, back);
        if (e > worst) {
          worst = e;
          worstSpace = static_cast<int>(s);
        }
      }
    }
    std::ostringstream report;
    report << name << ": mesh " << ni << " x " << nj << (folded != 0 ? " (folded)" : "")
           << ", largest round-trip error " << worst << " = " << worst / size
           << " of the passage size (space " << worstSpace << ")";
    std::cout << report.str() << std::endl;
    std::string key = "roundTrip_" + name;
    std::replace(key.begin(), key.end(), '/', '_');
    ::testing::Test::RecordProperty(key, report.str());
    EXPECT_LE(worst, tol);
  }
}

}  // namespace
