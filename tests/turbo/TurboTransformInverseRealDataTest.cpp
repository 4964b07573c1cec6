// Forward-then-inverse round trips of TurboTransform on the real machines of the data directory
// (QOR_DATA_DIR). Reports the largest error of each machine, relative to its passage size.

#include <iostream>

#include "support/Passages.h"

namespace {

using qor::TurboTransform;
using qortest::P3;
using D3 = qor::TripletBase<double>;

// Same derivation as for the analytic passages (the round trip is exact up to about ten float
// roundings of the coordinates), with the coordinates' magnitude in place of the passage size:
// machines given in millimetres or far from the origin carry larger absolute rounding.
constexpr double kRoundTripRelTol = 1e-5;

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
    qortest::Built b;
    const int folded = qortest::build(b, p, TurboTransform::nonLinear, 2000);
    const TurboTransform& t = b.transform;
    // Points on the lines of span 0, 0.5 and 1 and in random cells, away from inlet and outlet.
    std::mt19937 rng(42);
    std::vector<P3> points;
    for (double ns : {0.0, 0.5, 1.0, -1.0}) {
      const auto more = qortest::samplePoints(b, ns, rng, ns < 0.0 ? 60 : 30, 0.05);
      points.insert(points.end(), more.begin(), more.end());
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
        const double e = qortest::meridionalDistance(q, back);
        if (e > worst) {
          worst = e;
          worstSpace = static_cast<int>(s);
        }
      }
    }
    std::ostringstream report;
    report << name << ": mesh " << b.ni << " x " << b.nj << (folded != 0 ? " (folded)" : "")
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
