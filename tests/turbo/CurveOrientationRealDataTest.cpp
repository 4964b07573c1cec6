// CurveOrientation on the real machines: the curves as given pass; one reversed curve is found
// (hub or inlet); hub and shroud swapped, or both reversed, are refused naming the curves; curves
// whose ends meet nowhere are reported, not reversed.
#include "Passages.h"
#include "qor/turbo/CurveOrientation.h"

namespace {

using qortest::P3;
using Curves = std::vector<std::vector<P3>>;
using qor::CurveOrientation;

const std::vector<std::string> kFiles = {"m/hub.csv", "m/shroud.csv", "m/inlet.csv", "m/outlet.csv"};

CurveOrientation check(const Curves& c, const std::vector<std::string>& names = kFiles) {
  return CurveOrientation::check(c[0], c[1], c[2], c[3], names);
}

std::vector<P3> reversed(std::vector<P3> c) {
  std::reverse(c.begin(), c.end());
  return c;
}

/// The message of the data::invalid that check throws.
std::string refusal(const Curves& c, const std::vector<std::string>& names = kFiles) {
  return qortest::captureError<qor::data::invalid>([&] { check(c, names); }).getMessage();
}

TEST(CurveOrientationRealData, findsEachKindOfMistakeOnEveryMachine) {
  const auto cases = qortest::dataCases();
  if (cases.empty()) GTEST_SKIP() << "QOR_DATA_DIR is not set to a directory: skipped";
  for (const std::string& name : cases) {
    SCOPED_TRACE(name);
    const qortest::Passage p = qortest::loadCase(name);
    const Curves given = {p.hub.points(), p.shroud.points(), p.inlet.points(), p.outlet.points()};

    const CurveOrientation ok = check(given);
    EXPECT_FALSE(ok.changed());
    EXPECT_TRUE(ok.meet);
    EXPECT_EQ(ok.message, "");

    for (int k : {CurveOrientation::hub, CurveOrientation::inlet, CurveOrientation::outlet}) {
      Curves c = given;
      c[std::size_t(k)] = reversed(c[std::size_t(k)]);
      const CurveOrientation found = check(c);
      for (int m = 0; m < 4; ++m) EXPECT_EQ(found.reverse[m], m == k) << k << " " << m;
      const char* expected[] = {
          "m/hub.csv: the hub curve runs outlet to inlet while the other curves agree with each "
          "other; reversed it",
          "", "m/inlet.csv: the inlet curve runs shroud to hub while the other curves agree with "
              "each other; reversed it",
          "m/outlet.csv: the outlet curve runs shroud to hub while the other curves agree with "
          "each other; reversed it"};
      EXPECT_EQ(found.message, expected[k]);
    }

    EXPECT_EQ(refusal({given[1], given[0], given[2], given[3]}),
              "m/hub.csv, m/shroud.csv, m/inlet.csv, m/outlet.csv: the curve files contradict each "
              "other (hub and shroud are swapped, or the inlet and the outlet run shroud to hub); "
              "which is meant cannot be told, fix the files");
    EXPECT_EQ(refusal({reversed(given[0]), reversed(given[1]), given[2], given[3]}, {}),
              "hub, shroud: the curves contradict each other (the hub and the shroud run outlet "
              "to inlet); which is meant cannot be told, fix the curves");

    // The outlet given as a copy of the inlet: no reading makes the ends meet.
    const CurveOrientation apart = check({given[0], given[1], given[2], given[2]});
    EXPECT_FALSE(apart.meet);
    EXPECT_FALSE(apart.changed());
    EXPECT_NE(apart.message.find("do not meet at the passage corners"), std::string::npos);
  }
  EXPECT_THROW(check({{}, {P3()}, {P3()}, {P3()}}), qor::data::invalid);
}

}  // namespace
