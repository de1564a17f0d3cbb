// SPDX-License-Identifier: Apache-2.0
#include "core/TextForms.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "core/NumberText.h"

namespace corvanta {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");

struct SpeedRow {
    double value;
    NetworkFormat format;
    const char* text;
};

TEST(HoursAndMinutesString, keepsHoursBeyondADay) {
    EXPECT_EQ(hoursAndMinutesString(0), "0h 0m");
    EXPECT_EQ(hoursAndMinutesString(59), "0h 59m");
    EXPECT_EQ(hoursAndMinutesString(121), "2h 1m");
    EXPECT_EQ(hoursAndMinutesString(5999), "99h 59m");
}

TEST(ChargingStateLabel, chargingGoesBeforeBeingPluggedIn) {
    EXPECT_EQ(chargingStateLabel(true, true), "Charging");
    EXPECT_EQ(chargingStateLabel(true, false), "Charging");
    EXPECT_EQ(chargingStateLabel(false, true), "Plugged In, Not Charging");
    EXPECT_EQ(chargingStateLabel(false, false), "On Battery");
}

TEST(NetworkSpeedFormatter, writesEveryFormat) {
    const std::vector<SpeedRow> rows = {
        // auto: the thresholds are inclusive and test the unrounded value
        {0, NetworkFormat::auto_, "0 B/s"},
        {0.4, NetworkFormat::auto_, "0 B/s"},
        {0.5, NetworkFormat::auto_, "1 B/s"},
        {999, NetworkFormat::auto_, "999 B/s"},
        {999.6, NetworkFormat::auto_, "1000 B/s"},
        {1000, NetworkFormat::auto_, "1.00 KB/s"},
        {999'999, NetworkFormat::auto_, "1000 KB/s"},
        {1e6, NetworkFormat::auto_, "1.00 MB/s"},
        {5e6, NetworkFormat::auto_, "5.00 MB/s"},
        {12.3e6, NetworkFormat::auto_, "12.3 MB/s"},
        {123e6, NetworkFormat::auto_, "123 MB/s"},
        {999'999'999, NetworkFormat::auto_, "1000 MB/s"},
        {1e9, NetworkFormat::auto_, "1.00 GB/s"},
        // decimals by size, on both sides of 10 and 100
        {9.99e6, NetworkFormat::MBps, "9.99 MB/s"},
        {9.999e6, NetworkFormat::MBps, "10.00 MB/s"},
        {10e6, NetworkFormat::MBps, "10.0 MB/s"},
        {99.96e6, NetworkFormat::MBps, "100.0 MB/s"},
        {100e6, NetworkFormat::MBps, "100 MB/s"},
        // the fixed formats don't switch units
        {120, NetworkFormat::KBps, "0.12 KB/s"},
        {2.5e9, NetworkFormat::KBps, "2500000 KB/s"},
        {1e9, NetworkFormat::GBps, "1.00 GB/s"},
        {1e9, NetworkFormat::gbps, "8.00 Gbps"},
        {1.5e6, NetworkFormat::mbps, "12.0 Mbps"},
        {1000, NetworkFormat::kbps, "8.00 kbps"},
    };
    for (const SpeedRow& row : rows) {
        EXPECT_EQ(NetworkSpeedFormatter::string(row.value, row.format), row.text)
            << row.value << " as " << rawValue(row.format);
    }
}

TEST(NetworkSpeedFormatter, aValueThatIsNoSpeedCountsAsZero) {
    for (const double value : {-1.0, -1e12, notANumber, infinity, -infinity}) {
        EXPECT_EQ(NetworkSpeedFormatter::string(value, NetworkFormat::auto_), "0 B/s");
        EXPECT_EQ(NetworkSpeedFormatter::string(value, NetworkFormat::MBps), "0.00 MB/s");
    }
}

TEST(SpeedString, keepsOneFixedStyle) {
    EXPECT_EQ(speedString(-5), "0 B/s");
    EXPECT_EQ(speedString(notANumber), "0 B/s");
    EXPECT_EQ(speedString(999), "999 B/s");
    EXPECT_EQ(speedString(1000), "1 KB/s");
    EXPECT_EQ(speedString(1499), "1 KB/s");
    EXPECT_EQ(speedString(999'999), "1000 KB/s");
    EXPECT_EQ(speedString(1e6), "1.0 MB/s");
    EXPECT_EQ(speedString(1.25e6), "1.2 MB/s");  // the half goes to even
    EXPECT_EQ(speedString(999'999'999), "1000.0 MB/s");
    EXPECT_EQ(speedString(1e9), "1.0 GB/s");
    EXPECT_EQ(speedString(infinity), "inf GB/s");
}

TEST(DurationString, dropsSecondsFromAnHourOn) {
    EXPECT_EQ(durationString(0), "0s");
    EXPECT_EQ(durationString(-3), "0s");
    EXPECT_EQ(durationString(59.4), "59s");
    EXPECT_EQ(durationString(59.5), "1m 0s");
    EXPECT_EQ(durationString(200), "3m 20s");
    EXPECT_EQ(durationString(3599.4), "59m 59s");
    EXPECT_EQ(durationString(3599.6), "1h 0m");
    EXPECT_EQ(durationString(7325), "2h 2m");
    EXPECT_EQ(durationString(90'000), "25h 0m");
    EXPECT_EQ(durationString(notANumber), "0s");
}

TEST(ThermalWord, coversEveryState) {
    EXPECT_EQ(thermalWord(0), "Nominal");
    EXPECT_EQ(thermalWord(1), "Fair");
    EXPECT_EQ(thermalWord(2), "Serious");
    EXPECT_EQ(thermalWord(3), "Critical");
    EXPECT_EQ(thermalWord(4), "Unknown");
    EXPECT_EQ(thermalWord(-1), "Unknown");
}

TEST(PercentText, hasNoDecimals) {
    EXPECT_EQ(percentText(0), "0%");
    EXPECT_EQ(percentText(41.6), "42%");
    EXPECT_EQ(percentText(100), "100%");
}

TEST(FixedText, agreesWithPrintfInTheCLocale) {
    std::setlocale(LC_ALL, "C");
    for (const double value :
         {0.0, -0.0, 0.5, 1.5, 2.5, 0.05, 0.15, 1.005, 123456.789, -3.25, 1e22, 5e-324, 1e308}) {
        for (const int decimals : {0, 1, 2, 6}) {
            std::array<char, 400> expected{};
            std::snprintf(expected.data(), expected.size(), "%.*f", decimals, value);
            EXPECT_EQ(fixedText(value, decimals), expected.data());
        }
    }
}

TEST(FixedText, outOfRangeDecimalsAreHeld) {
    EXPECT_EQ(fixedText(1.5, -1), "2");
    EXPECT_EQ(fixedText(-1e308, 1000).size(), 1 + 309 + 1 + 64U);
}

}  // namespace
}  // namespace corvanta
