#include "Base/RkTimePeriod.h"

#include <gtest/gtest.h>

#include <climits>

TEST(RkTimePeriodTest, SumsItsFields) {
    const RkTimePeriod period(1, 2, 3, 4, 5006, -1);
    EXPECT_EQ(period.Seconds(), 86400 + 2 * 3600 + 3 * 60 + 4 + 5);
    EXPECT_EQ(period.MilliSeconds(), 5);
    EXPECT_EQ(period.MicroSeconds(), 999);
}

TEST(RkTimePeriodTest, HoldsWhatDoesNotFitToTheLongestSpan) {
    const RkTimePeriod longest(INT_MAX);
    EXPECT_EQ(longest.TotalMicroSeconds(), INT64_MAX);
    EXPECT_EQ(longest + RkTimePeriod(1), longest);
    EXPECT_EQ(RkTimePeriod(INT_MIN) - longest, RkTimePeriod(INT_MIN));
}
