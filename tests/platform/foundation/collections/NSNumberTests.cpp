#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/text/NSString.h"

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::string text(double value) { return NSNumber::numberWithDouble(value)->stringValue()->UTF8String(); }
std::string textOfFloat(float value) { return NSNumber::numberWithFloat(value)->stringValue()->UTF8String(); }

TEST(NSNumber, RealsAreWrittenInPlainDigits) {
  EXPECT_EQ(text(100000), "100000");
  EXPECT_EQ(text(1e6), "1000000");
  EXPECT_EQ(text(2.5e9), "2500000000");
  EXPECT_EQ(text(-123456.75), "-123456.75");
  EXPECT_EQ(text(0.1), "0.1");
  EXPECT_EQ(text(0.0001), "0.0001");
  EXPECT_EQ(text(0.00012345), "0.00012345");
  EXPECT_EQ(text(9999999999999998.0), "9999999999999998");
  EXPECT_EQ(text(3), "3");
  EXPECT_EQ(text(0), "0");
  EXPECT_EQ(text(-0.5), "-0.5");
}

TEST(NSNumber, VeryLargeAndVerySmallRealsAreWrittenWithAnExponent) {
  EXPECT_EQ(text(1e16), "1e+16");
  EXPECT_EQ(text(-1.5e300), "-1.5e+300");
  EXPECT_EQ(text(0.00009), "9e-05");
  EXPECT_EQ(text(1e-300), "1e-300");
  EXPECT_EQ(text(12345678901234567.0), "1.2345678901234568e+16");
}

TEST(NSNumber, RealsReadBackAsTheyWere) {
  for (const double value : {1.0 / 3.0, 0.1 + 0.2, 2.2 * 3, 123456789.123456789, 5e-324, 1.7976931348623157e308}) {
    EXPECT_EQ(NSNumber::numberWithDouble(value)->stringValue()->doubleValue(), value);
  }
}

TEST(NSNumber, FloatIsWrittenAsAFloat) {
  EXPECT_EQ(textOfFloat(0.1F), "0.1");
  EXPECT_EQ(textOfFloat(3.14159F), "3.14159");
  EXPECT_EQ(textOfFloat(16777216.0F), "16777216");
  EXPECT_EQ(NSNumber::numberWithFloat(0.1F)->floatValue(), 0.1F);
  EXPECT_EQ(NSNumber::numberWithFloat(0.1F)->doubleValue(), static_cast<double>(0.1F));
}

TEST(NSNumber, WhatIsNoNumberHasAName) {
  EXPECT_EQ(text(notANumber), "nan");
  EXPECT_EQ(text(-notANumber), "nan");
  EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(text(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(NSNumber, NotANumberEqualsNothingElse) {
  const auto nan = NSNumber::numberWithDouble(notANumber);
  EXPECT_TRUE(nan->isEqual(NSNumber::numberWithDouble(-notANumber)));
  EXPECT_EQ(nan->hash(), NSNumber::numberWithDouble(-notANumber)->hash());
  for (const auto& other : {NSNumber::numberWithInteger(5), NSNumber::numberWithDouble(0),
                            NSNumber::numberWithBool(true), NSNumber::numberWithUnsignedInteger(NSUIntegerMax)}) {
    EXPECT_FALSE(nan->isEqual(other));
    EXPECT_FALSE(other->isEqual(nan));
  }
  const auto numbers = NSMutableArray::arrayWithObjects({NSNumber::numberWithInteger(1), nan, "a"_ns});
  numbers->removeObject(nan);
  EXPECT_EQ(numbers->count(), 2U);
}

TEST(NSNumber, NotANumberHasAPlaceInTheOrder) {
  const auto nan = NSNumber::numberWithDouble(notANumber);
  const auto below = NSNumber::numberWithInteger(-1);
  const auto above = NSNumber::numberWithDouble(1);
  EXPECT_EQ(nan->compare(nan), NSOrderedSame);
  EXPECT_EQ(below->compare(nan), NSOrderedAscending);
  EXPECT_EQ(nan->compare(below), NSOrderedDescending);
  EXPECT_EQ(nan->compare(above), NSOrderedAscending);
  EXPECT_EQ(above->compare(nan), NSOrderedDescending);
}

}  // namespace
