#include <gtest/gtest.h>

#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "qor/CoordTransform.h"
#include "support/Passages.h"

using qor::TripletBase;

TEST(Triplet, divisionByZeroThrowsInvalidAndLeavesTripletUnchanged) {
  TripletBase<float> p(1, 2, 3);
  qortest::expectError(qortest::captureError<qor::data::invalid>([&] { p /= 0.0; }), "Triplet",
                       "operator/=", "Attempt to divide by zero.");
  EXPECT_EQ(p, TripletBase<float>(1, 2, 3));
  EXPECT_THROW((void)(p / -0.0), qor::data::invalid);
  // Float division is done in double and rounded once; quotients may overflow.
  EXPECT_EQ((p / 3.0)[0], static_cast<float>(1.0 / 3.0));
  EXPECT_EQ((p / 3.0)[2], 1.0f);
  EXPECT_EQ((p / 1e-300)[0], std::numeric_limits<float>::infinity());
}

TEST(Triplet, lengthAndSquaredDistanceKeepTheInvalidMark) {
  const TripletBase<float> origin(0, 0, 0);
  EXPECT_EQ(TripletBase<float>(3.4028235e38f, 0, 0).length(), 3.4028235e38f);
  EXPECT_EQ(TripletBase<float>(1, 3.4028235e38f, 1).length(), 3.4028235e38f);
  EXPECT_EQ(qor::squaredDistance(origin, TripletBase<float>(3.4028235e38f, 0, 0)), 3.4028235e38f);
  EXPECT_EQ(TripletBase<float>(3, 4, 0).length(), 5.0f);
  EXPECT_EQ(qor::squaredDistance(origin, TripletBase<float>(3, 4, 0)), 25.0f);
  EXPECT_EQ(TripletBase<double>(3, 4, 12).length(), 13.0);
}

TEST(Triplet, componentWiseArithmeticDotAndCross) {
  const TripletBase<float> a(1, 2, 3), b(4, -5, 6);
  EXPECT_EQ(a + b, TripletBase<float>(5, -3, 9));
  EXPECT_EQ(a - b, TripletBase<float>(-3, 7, -3));
  EXPECT_EQ(-a, TripletBase<float>(-1, -2, -3));
  TripletBase<float> c = a;
  c += b;
  c -= a;
  EXPECT_EQ(c, b);
  EXPECT_EQ(a * 2, TripletBase<float>(2, 4, 6));
  EXPECT_EQ(0.5 * a, TripletBase<float>(0.5f, 1, 1.5f));
  EXPECT_EQ(a.dot(b), 12.0f);
  EXPECT_EQ(a.cross(b), TripletBase<float>(27, 6, -13));
}

TEST(TripletQORVector, copiesAStandardVectorAndSwapsInConstantTime) {
  std::vector<TripletBase<float>> points{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  qor::TripletQORVector list(points);
  ASSERT_EQ(list.size(), 3u);
  EXPECT_FALSE(list.empty());
  for (unsigned k = 0; k < list.size(); ++k) EXPECT_EQ(list[k], points[k]);
  std::vector<TripletBase<float>> other{{0, 0, 1}};
  list.swap(other);
  EXPECT_EQ(other, points);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0], TripletBase<float>(0, 0, 1));
  EXPECT_TRUE(qor::TripletQORVector().empty());
}

TEST(QORVector, isAStandardVectorWithAVirtualDestructor) {
  static_assert(std::has_virtual_destructor<qor::QORVector<int>>::value, "virtual destructor");
  static_assert(std::is_base_of<std::vector<double>, qor::QORVector<double>>::value, "a vector");
  std::unique_ptr<qor::QORVector<std::string>> names(new qor::QORVector<std::string>{"hub", "shroud"});
  EXPECT_EQ(names->size(), 2u);
  EXPECT_EQ(names->at(1), "shroud");
}

TEST(Message, placeholdersAreFilledInInsertionOrder) {
  EXPECT_EQ((qor::SystemMsg("Curve does not exist. Name= %1") << std::string("hub")).str(),
            "Curve does not exist. Name= hub");
  const std::string axis = qor::UserMsg("Axis vector definition insignificant. Axis vector= %1,%2,%3")
                           << 0.0f << 1.5 << -2;
  EXPECT_EQ(axis, "Axis vector definition insignificant. Axis vector= 0,1.5,-2");
  EXPECT_EQ((qor::SystemMsg("%1 and %1 again") << 7).str(), "7 and 7 again");
  EXPECT_EQ((qor::SystemMsg("pi=%1") << 3.14159265358979).str(), "pi=3.14159");
  EXPECT_EQ((qor::SystemMsg("n=%1") << 123456789u).str(), "n=123456789");
}

TEST(Message, insertedTextIsItselfFilledByLaterInsertions) {
  // Kept for compatibility: a value containing "%2" is replaced by the second insertion.
  EXPECT_EQ((qor::SystemMsg("a %1 b %2") << "%2"
                                         << "x")
                .str(),
            "a x b x");
}

TEST(Message, unusedPlaceholderWarnsOnStandardErrorAndKeepsTheText) {
  testing::internal::CaptureStderr();
  const std::string text = qor::SystemMsg("Space (%1) not allowed") << 9 << "extra";
  const std::string warning = testing::internal::GetCapturedStderr();
  EXPECT_EQ(text, "Space (9) not allowed");
  EXPECT_EQ(warning, "Warning: token %2 was not used in the message: \"extra\"\n");
}

TEST(ErrorFamily, dataInvalidIsCaughtByItsBasesOnly) {
  bool caughtAsInternal = false, caughtAsDataError = false, caughtAsError = false;
  auto raise = [] {
    throw qor::data::invalid("ParametricDB", "throwCurveNotExist",
                             qor::SystemMsg("Curve does not exist. Name= %1") << "hub", qor::errorType::fatal);
  };
  try {
    try {
      raise();
    } catch (const qor::internal::error&) {
      caughtAsInternal = true;
    }
  } catch (const qor::data::error& e) {
    caughtAsDataError = true;
    EXPECT_EQ(e.getClassName(), "ParametricDB");
    EXPECT_EQ(e.getFunctionName(), "throwCurveNotExist");
    EXPECT_EQ(e.getMessage(), "Curve does not exist. Name= hub");
    EXPECT_EQ(static_cast<int>(e.getErrorType()), 4);
  }
  try {
    raise();
  } catch (const qor::Error& e) {
    caughtAsError = true;
    EXPECT_EQ(e.getDescription(), "ParametricDB::throwCurveNotExist: Curve does not exist. Name= hub (error type 4)");
  }
  EXPECT_FALSE(caughtAsInternal);
  EXPECT_TRUE(caughtAsDataError);
  EXPECT_TRUE(caughtAsError);
  static_assert(!std::is_base_of<std::exception, qor::Error>::value, "not a std::exception");
}

TEST(ErrorFamily, nullPointerIsAnInternalErrorAndCopiesKeepTheValues) {
  const auto e = qortest::captureError<qor::internal::error>([] {
    throw qor::internal::nullPointer("TurboTransform", "convertXYZtoSpace",
                                     qor::SystemMsg("Null pointer to %1.") << "m_topo");
  });
  const qor::Error copy = e;
  EXPECT_EQ(copy.getMessage(), "Null pointer to m_topo.");
  EXPECT_EQ(copy.getClassName(), "TurboTransform");
  EXPECT_EQ(copy.getErrorType(), qor::errorType::fatal);
}
