// SPDX-License-Identifier: Apache-2.0
#include "core/ByteCount.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace corvanta {
namespace {

constexpr std::int64_t kib = 1024, mib = 1024 * kib, gib = 1024 * mib, tib = 1024 * gib;

struct Row {
    std::int64_t bytes;
    const char* memory;
    const char* file;
};

std::string all(std::int64_t bytes, ByteCountStyle style) {
    return formatByteCount(bytes, style,
                           {ByteUnit::bytes, ByteUnit::kilobytes, ByteUnit::megabytes, ByteUnit::gigabytes,
                            ByteUnit::terabytes, ByteUnit::petabytes},
                           NumberSymbols{});
}

TEST(ByteCount, everyUnitHasItsDecimals) {
    const std::vector<Row> rows = {
        {0, "Zero KB", "Zero KB"},
        {1, "1 byte", "1 byte"},
        {2, "2 bytes", "2 bytes"},
        {999, "999 bytes", "999 bytes"},
        {1000, "1,000 bytes", "1 KB"},
        {1023, "1,023 bytes", "1 KB"},
        {1024, "1 KB", "1 KB"},
        {1536, "2 KB", "2 KB"},  // 1.5 KB: the half goes to even
        {2560, "2 KB", "3 KB"},  // 2.5 KB: the half goes to even
        {mib, "1 MB", "1 MB"},
        {mib + mib / 10 * 2, "1.2 MB", "1.3 MB"},
        {gib - mib / 10, "1,023.9 MB", "1.07 GB"},
        {gib - 1, "1,024 MB", "1.07 GB"},  // the raw count chooses the unit, not the rounded one
        {gib, "1 GB", "1.07 GB"},
        {gib + gib / 4, "1.25 GB", "1.34 GB"},
        {gib + gib / 2, "1.5 GB", "1.61 GB"},
        {1'000'000'000, "953.7 MB", "1 GB"},
        {412'340'000'000, "384.02 GB", "412.34 GB"},
        {tib, "1 TB", "1.1 TB"},
        {-gib - gib / 2, "-1.5 GB", "-1.61 GB"},
        {-1, "-1 byte", "-1 byte"},
        {std::numeric_limits<std::int64_t>::max(), "8,192 PB", "9,223.37 PB"},
        {std::numeric_limits<std::int64_t>::min(), "-8,192 PB", "-9,223.37 PB"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(all(row.bytes, ByteCountStyle::memory), row.memory) << row.bytes;
        EXPECT_EQ(all(row.bytes, ByteCountStyle::file), row.file) << row.bytes;
    }
}

TEST(ByteCount, anExactHalfGoesToEven) {
    // In units of a twentieth of a megabyte: .05 is between .0 and .1, .15 between .1 and .2.
    const auto text = [](std::int64_t bytes) {
        return formatByteCount(bytes, ByteCountStyle::file, {ByteUnit::megabytes}, NumberSymbols{});
    };
    EXPECT_EQ(text(50'000), "0 MB");
    EXPECT_EQ(text(50'001), "0.1 MB");
    EXPECT_EQ(text(150'000), "0.2 MB");
    EXPECT_EQ(text(250'000), "0.2 MB");
    EXPECT_EQ(text(1'950'000), "2 MB");
}

TEST(ByteCount, theUserSeesMegabytesAndUp) {
    EXPECT_EQ(formatBytes(0), "Zero KB");
    EXPECT_EQ(formatBytes(10'000), "0 MB");
    EXPECT_EQ(formatBytes(512.0 * 1024), "0.5 MB");
    EXPECT_EQ(formatBytes(4.2 * 1024 * 1024 * 1024), "4.2 GB");
    EXPECT_EQ(formatDiskBytes(1e12), "1 TB");
    EXPECT_EQ(formatDiskBytes(512e9), "512 GB");
    EXPECT_EQ(formatDiskBytes(2.5e15), "2,500 TB");
}

TEST(ByteCount, fractionsOfAByteAreCutOff) {
    EXPECT_EQ(formatBytes(0.9), "Zero KB");
    EXPECT_EQ(formatBytes(-0.9), "Zero KB");
}

TEST(ByteCount, aValueThatIsNoNumberOrOutOfRangeIsHeldInside) {
    EXPECT_EQ(formatBytes(std::nan("")), "Zero KB");
    EXPECT_EQ(formatDiskBytes(1e300), "9,223,372.04 TB");
    EXPECT_EQ(formatDiskBytes(-1e300), "-9,223,372.04 TB");
}

TEST(ByteCount, theSignsAreTheCallers) {
    EXPECT_EQ(formatByteCount(gib - mib / 10, ByteCountStyle::memory,
                              {ByteUnit::gigabytes, ByteUnit::megabytes}, NumberSymbols{",", "."}),
              "1.023,9 MB");
    EXPECT_EQ(formatByteCount(gib - mib / 10, ByteCountStyle::memory, {ByteUnit::megabytes},
                              NumberSymbols{",", "\u202f"}),
              "1\u202f023,9 MB");
}

TEST(ByteCount, theSmallestAllowedUnitServesWhatLiesBelowIt) {
    EXPECT_EQ(formatByteCount(1, ByteCountStyle::file, {ByteUnit::terabytes, ByteUnit::gigabytes}, {}),
              "0 GB");
    EXPECT_EQ(
        formatByteCount(25'000'000, ByteCountStyle::file, {ByteUnit::terabytes, ByteUnit::gigabytes}, {}),
        "0.02 GB");
}

RC_GTEST_PROP(ByteCountProperty, agreesWithLongDoubleArithmetic, (std::int64_t bytes)) {
    RC_PRE(bytes > 0);
    const std::string text = formatByteCount(bytes, ByteCountStyle::memory, {ByteUnit::gigabytes}, {".", ""});
    const long double exact = static_cast<long double>(bytes) / gib;
    RC_ASSERT(std::abs(static_cast<double>(std::stold(text) - exact)) <= 0.005 + 1e-9);
}

}  // namespace
}  // namespace corvanta
