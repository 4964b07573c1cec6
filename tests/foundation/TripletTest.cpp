#include <gtest/gtest.h>

#include "qor/CoordTransform.h"

using qor::TripletBase;

TEST(Triplet, divisionByZeroThrowsInvalidAndLeavesTripletUnchanged) {
  TripletBase<float> p(1, 2, 3);
  try {
    p /= 0.0;
    FAIL() << "no exception";
  } catch (const qor::data::invalid& e) {
    EXPECT_EQ(e.getClassName(), "Triplet");
    EXPECT_EQ(e.getFunctionName(), "operator/=");
    EXPECT_EQ(e.getMessage(), "Attempt to divide by zero.");
    EXPECT_EQ(e.getErrorType(), qor::errorType::fatal);
  }
  EXPECT_EQ(p, TripletBase<float>(1, 2, 3));
  EXPECT_THROW((void)(p / -0.0), qor::data::invalid);
  EXPECT_NO_THROW((void)(p / 1e-30));
}

TEST(Triplet, lengthKeepsInvalidMark) {
  EXPECT_EQ(TripletBase<float>(3.4028235e38f, 0, 0).length(), 3.4028235e38f);
  EXPECT_EQ(TripletBase<float>(1, 3.4028235e38f, 1).length(), 3.4028235e38f);
  EXPECT_EQ(TripletBase<float>(3, 4, 0).length(), 5.0f);
}
