#include "support/Passages.h"

using qor::TripletBase;
using F3 = TripletBase<float>;

// Division by zero throws invalid and leaves the triplet unchanged; lengths keep the invalid mark.
TEST(Triplet, arithmeticDivisionByZeroAndLengthsOfTheInvalidMark) {
  F3 p(1, 2, 3);
  qortest::expectError(qortest::captureError<qor::data::invalid>([&] { p /= 0.0; }), "Triplet", "operator/=",
                       "Attempt to divide by zero.");
  EXPECT_EQ(p, F3(1, 2, 3));
  EXPECT_THROW((void)(p / -0.0), qor::data::invalid);
  // Float division is done in double and rounded once; quotients may overflow.
  EXPECT_EQ((p / 3.0)[0], static_cast<float>(1.0 / 3.0));
  EXPECT_EQ((p / 3.0)[2], 1.0f);
  EXPECT_EQ((p / 1e-300)[0], std::numeric_limits<float>::infinity());
  const F3 a(1, 2, 3), b(4, -5, 6), origin(0, 0, 0);
  F3 c = a;
  c += b;
  c -= a;
  EXPECT_EQ((std::vector<F3>{c, a + b, a - b, a * 2, -a, 0.5 * a, a.cross(b)}),
            (std::vector<F3>{b, F3(5, -3, 9), F3(-3, 7, -3), F3(2, 4, 6), F3(-1, -2, -3), F3(0.5f, 1, 1.5f),
                             F3(27, 6, -13)}));
  EXPECT_EQ(a.dot(b), 12.0f);
  const float mark = 3.4028235e38f;  // the largest float marks an invalid length
  EXPECT_EQ((std::vector<float>{F3(mark, 0, 0).length(), F3(1, mark, 1).length(),
                                qor::squaredDistance(origin, F3(mark, 0, 0)), F3(3, 4, 0).length(),
                                qor::squaredDistance(origin, F3(3, 4, 0))}),
            (std::vector<float>{mark, mark, mark, 5.0f, 25.0f}));
  EXPECT_EQ(TripletBase<double>(3, 4, 12).length(), 13.0);
}

TEST(Message, placeholdersAreFilledInInsertionOrderAndUnusedValuesWarn) {
  EXPECT_EQ((qor::SystemMsg("Curve does not exist. Name= %1") << std::string("hub")).str(),
            "Curve does not exist. Name= hub");
  const std::string axis = qor::UserMsg("Axis vector definition insignificant. Axis vector= %1,%2,%3")
                           << 0.0f << 1.5 << -2;
  EXPECT_EQ(axis, "Axis vector definition insignificant. Axis vector= 0,1.5,-2");
  EXPECT_EQ((qor::SystemMsg("%1 and %1 again") << 7).str(), "7 and 7 again");
  EXPECT_EQ((qor::SystemMsg("pi=%1") << 3.14159265358979).str(), "pi=3.14159");
  EXPECT_EQ((qor::SystemMsg("n=%1") << 123456789u).str(), "n=123456789");
  // Kept for compatibility: an inserted "%2" is itself replaced by the second insertion.
  EXPECT_EQ((qor::SystemMsg("a %1 b %2") << "%2" << "x").str(), "a x b x");
  testing::internal::CaptureStderr();
  const std::string text = qor::SystemMsg("Space (%1) not allowed") << 9 << "extra";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: token %2 was not used in the message: \"extra\"\n");
  EXPECT_EQ(text, "Space (9) not allowed");
}

TEST(ErrorFamily, dataInvalidIsCaughtByItsBasesOnlyAndNullPointerIsInternal) {
  auto raise = [] {
    throw qor::data::invalid("ParametricDB", "throwCurveNotExist",
                             qor::SystemMsg("Curve does not exist. Name= %1") << "hub", qor::errorType::fatal);
  };
  static_assert(std::is_base_of<qor::data::error, qor::data::invalid>::value &&
                    !std::is_base_of<qor::internal::error, qor::data::invalid>::value,
                "caught by its family's base only");
  const qor::Error e = qortest::captureError(raise);
  qortest::expectError(e, "ParametricDB", "throwCurveNotExist", "Curve does not exist. Name= hub");
  EXPECT_EQ(e.getDescription(), "ParametricDB::throwCurveNotExist: Curve does not exist. Name= hub (error type 4)");
  static_assert(!std::is_base_of<std::exception, qor::Error>::value, "not a std::exception");
  const qor::Error copy = qortest::captureError<qor::internal::error>([] {
    throw qor::internal::nullPointer("TurboTransform", "convertXYZtoSpace",
                                     qor::SystemMsg("Null pointer to %1.") << "m_topo");
  });
  qortest::expectError(copy, "TurboTransform", "convertXYZtoSpace", "Null pointer to m_topo.");
}
