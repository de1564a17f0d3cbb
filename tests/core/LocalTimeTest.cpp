// SPDX-License-Identifier: Apache-2.0
#include "core/LocalTime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "support/TimeZone.h"

namespace corvanta {
namespace {

TEST(LocalTime, isTheTimeOfThePresentZone) {
    {
        const test::TimeZone utc("UTC0");
        EXPECT_EQ(localTime(0), "1970-01-01 00:00:00");
        EXPECT_EQ(localTime(1'800'000'000), "2027-01-15 08:00:00");
        EXPECT_EQ(localTime(-1), "1969-12-31 23:59:59");
    }
    // Named for what is taken from it to reach UTC.
    const test::TimeZone india("IST-5:30");
    EXPECT_EQ(localTime(1'800'000'000), "2027-01-15 13:30:00");
}

TEST(LocalTime, anHourThatComesTwiceIsWrittenTwice) {
    const test::TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(localTime(1'792'888'200), "2026-10-25 02:30:00");
    EXPECT_EQ(localTime(1'792'888'200 + 3600), "2026-10-25 02:30:00");
}

TEST(LocalTime, aMomentOutsideTheCalendarIsAQuestionMark) {
    EXPECT_EQ(localTime(std::numeric_limits<std::int64_t>::max()), "?");
    EXPECT_EQ(localTime(std::numeric_limits<std::int64_t>::min()), "?");
}

TEST(LocalTime, theMinuteIsThatOfThePresentZone) {
    {
        const test::TimeZone utc("UTC0");
        EXPECT_EQ(localMinute(1'800'000'000), 0);
        EXPECT_EQ(localMinute(1'800'000'000 - 1), 59);
        EXPECT_EQ(localMinute(1'800'000'000 + 60), 1);
    }
    const test::TimeZone nepal("NPT-5:45");
    EXPECT_EQ(localMinute(1'800'000'000), 45);
}

TEST(LocalTime, aMomentOutsideTheCalendarHasTheMinuteZero) {
    EXPECT_EQ(localMinute(std::numeric_limits<std::int64_t>::max()), 0);
    EXPECT_EQ(localMinute(std::numeric_limits<std::int64_t>::min()), 0);
}

}  // namespace
}  // namespace corvanta
