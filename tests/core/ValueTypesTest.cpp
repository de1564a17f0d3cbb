// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>
#include <set>
#include <string>
#include <vector>

#include "core/GaugeValueMode.h"
#include "core/HistoryRing.h"
#include "core/Instant.h"
#include "core/Log.h"
#include "core/MemoryPressureLevel.h"
#include "core/MetricTypes.h"
#include "core/NetworkDirection.h"
#include "core/NetworkDisplayMode.h"
#include "core/NetworkFormat.h"
#include "core/PlainText.h"
#include "core/RefreshFrequency.h"
#include "core/SMARTStatus.h"
#include "core/TimeRange.h"
#include "core/ValueFormat.h"
#include "support/CapturedLog.h"

namespace corvanta {
namespace {

template <class E>
std::vector<std::string> rawTexts() {
    std::vector<std::string> texts;
    for (const E e : allCases(E{})) texts.emplace_back(rawValue(e));
    return texts;
}

using Texts = std::vector<std::string>;

TEST(RawValues, arePersistedInTheseWordsAndThisOrder) {
    EXPECT_EQ(rawTexts<RefreshFrequency>(),
              (Texts{"Low (Every 3s)", "Normal (Every 2s)", "High (Every 1s)"}));
    EXPECT_EQ(rawTexts<ValueFormat>(), (Texts{"Percentage (%)", "Size (GB)"}));
    EXPECT_EQ(rawTexts<GaugeValueMode>(), (Texts{"Used", "Free"}));
    EXPECT_EQ(rawTexts<NetworkDirection>(), (Texts{"Upload & Download", "Upload Only", "Download Only"}));
    EXPECT_EQ(rawTexts<NetworkDisplayMode>(), (Texts{"Inline", "Compact"}));
    EXPECT_EQ(rawTexts<NetworkFormat>(), (Texts{"Auto (Dynamic)", "GB/s", "MB/s", "KB/s", "Gbps (Gigabits)",
                                                "Mbps (Megabits)", "kbps (Kilobits)"}));
    EXPECT_EQ(rawTexts<SMARTStatus>(), (Texts{"Verified", "Failing", "Unknown"}));
}

TEST(RawValues, anUnknownTextIsNoCase) {
    EXPECT_EQ(refreshFrequencyFromRaw("Normal"), std::nullopt);
    EXPECT_EQ(refreshFrequencyFromRaw("normal (every 2s)"), std::nullopt);
    EXPECT_EQ(networkFormatFromRaw(""), std::nullopt);
    EXPECT_EQ(networkFormatFromRaw("gb/s"), std::nullopt);
    EXPECT_EQ(smartStatusFromRaw("Verified "), std::nullopt);
}

template <class E>
void everyCaseReadsBack(std::optional<E> (*fromRaw)(std::string_view)) {
    for (const E e : allCases(E{})) EXPECT_EQ(fromRaw(rawValue(e)), e) << rawValue(e);
}

TEST(RawValues, everyCaseReadsBack) {
    everyCaseReadsBack<RefreshFrequency>(refreshFrequencyFromRaw);
    everyCaseReadsBack<ValueFormat>(valueFormatFromRaw);
    everyCaseReadsBack<GaugeValueMode>(gaugeValueModeFromRaw);
    everyCaseReadsBack<NetworkDirection>(networkDirectionFromRaw);
    everyCaseReadsBack<NetworkDisplayMode>(networkDisplayModeFromRaw);
    everyCaseReadsBack<NetworkFormat>(networkFormatFromRaw);
    everyCaseReadsBack<SMARTStatus>(smartStatusFromRaw);
}

RC_GTEST_PROP(RawValuesProperty, onlyTheWholeTextIsTheCase, ()) {
    const NetworkFormat format =
        allNetworkFormats[*rc::gen::inRange<std::size_t>(0, allNetworkFormats.size())];
    std::string text(rawValue(format));
    const auto position = *rc::gen::inRange<std::size_t>(0, text.size());
    const auto letter = static_cast<char>(*rc::gen::inRange(32, 127));
    text[position] = letter;
    const auto read = networkFormatFromRaw(text);
    if (read) RC_ASSERT(rawValue(*read) == text);
    RC_ASSERT(networkFormatFromRaw(text + letter) == std::nullopt);
}

TEST(RefreshFrequency, hasItsInterval) {
    EXPECT_EQ(timeInterval(RefreshFrequency::low), 3.0);
    EXPECT_EQ(timeInterval(RefreshFrequency::normal), 2.0);
    EXPECT_EQ(timeInterval(RefreshFrequency::high), 1.0);
}

TEST(TimeRange, isItsLengthInSeconds) {
    const std::vector<std::pair<std::int64_t, std::string>> expected = {
        {3600, "1h"}, {86400, "24h"}, {604800, "7d"}, {2592000, "30d"}};
    ASSERT_EQ(allTimeRanges.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(rawValue(allTimeRanges[i]), expected[i].first);
        EXPECT_EQ(label(allTimeRanges[i]), expected[i].second);
        EXPECT_EQ(timeRangeFromRaw(expected[i].first), allTimeRanges[i]);
    }
    EXPECT_EQ(timeRangeFromRaw(0), std::nullopt);
    EXPECT_EQ(timeRangeFromRaw(3601), std::nullopt);
}

TEST(MemoryPressureLevel, hasTheRowsOfItsTable) {
    struct Row {
        MemoryPressureLevel level;
        int raw;
        const char* label;
        const char* symbol;
        ColorRole color;
        bool isElevated;
    };
    const std::vector<Row> rows = {
        {MemoryPressureLevel::unavailable, 0, "Unavailable", "questionmark.circle", ColorRole::secondary,
         false},
        {MemoryPressureLevel::normal, 1, "Normal", "memorychip", ColorRole::green, false},
        {MemoryPressureLevel::warning, 2, "Warning", "memorychip.fill", ColorRole::orange, true},
        {MemoryPressureLevel::critical, 4, "Critical", "exclamationmark.triangle.fill", ColorRole::red, true},
    };
    ASSERT_EQ(allMemoryPressureLevels.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        EXPECT_EQ(allMemoryPressureLevels[i], row.level);
        EXPECT_EQ(rawValue(row.level), row.raw);
        EXPECT_EQ(label(row.level), row.label);
        EXPECT_EQ(sfSymbol(row.level), row.symbol);
        EXPECT_EQ(color(row.level), row.color);
        EXPECT_EQ(isElevated(row.level), row.isElevated);
        EXPECT_EQ(memoryPressureLevelFromRaw(row.raw), row.level);
    }
}

TEST(MemoryPressureLevel, threeIsNoRawValueAndFourIsCritical) {
    EXPECT_EQ(memoryPressureLevelFromRaw(3), std::nullopt);
    EXPECT_EQ(memoryPressureLevelFromRaw(4), MemoryPressureLevel::critical);
    EXPECT_EQ(memoryPressureLevelFromRaw(5), std::nullopt);
    EXPECT_EQ(memoryPressureLevelFromRaw(-1), std::nullopt);
    EXPECT_EQ(memoryPressureLevelFromRaw(std::int64_t{1} << 32), std::nullopt);
    EXPECT_EQ(memoryPressureLevelFromRaw((std::int64_t{1} << 32) + 1), std::nullopt);
}

TEST(MemoryPressureLevel, anEstimateTurnsAtFiftyAndEighty) {
    EXPECT_EQ(memoryPressureLevelFromEstimate(-1), MemoryPressureLevel::normal);
    EXPECT_EQ(memoryPressureLevelFromEstimate(0), MemoryPressureLevel::normal);
    EXPECT_EQ(memoryPressureLevelFromEstimate(49.999), MemoryPressureLevel::normal);
    EXPECT_EQ(memoryPressureLevelFromEstimate(50.0), MemoryPressureLevel::warning);
    EXPECT_EQ(memoryPressureLevelFromEstimate(79.999), MemoryPressureLevel::warning);
    EXPECT_EQ(memoryPressureLevelFromEstimate(80.0), MemoryPressureLevel::critical);
    EXPECT_EQ(memoryPressureLevelFromEstimate(100), MemoryPressureLevel::critical);
}

TEST(ProcessDetail, comparesFieldByField) {
    const ProcessDetail process{7, "cc1plus", 99.5, 1.25, 12.0, 4, 1 << 20, "User"};
    EXPECT_EQ(process, ProcessDetail(process));
    const auto differs = [&](auto change) {
        ProcessDetail other = process;
        change(other);
        return other != process;
    };
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.id = 8; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.name = "cc1"; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.cpuUsage = 1; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.ramUsage = 1; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.cpuTime = 1; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.threads = 1; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.residentBytes = 1; }));
    EXPECT_TRUE(differs([](ProcessDetail& p) { p.kind = "Kernel"; }));
}

TEST(StoredSeconds, areTruncatedTowardsZero) {
    EXPECT_EQ(storedSeconds(instantFromSeconds(1.999)), 1);
    EXPECT_EQ(storedSeconds(instantFromSeconds(-1.999)), -1);
    EXPECT_EQ(storedSeconds(instantFromSeconds(1e300)), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(storedSeconds(instantFromSeconds(-1e300)), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(storedSeconds(instantFromSeconds(std::numeric_limits<double>::quiet_NaN())), 0);
}

RC_GTEST_PROP(HistoryRingProperty, keepsTheNewestEntriesInOrder, (const std::vector<int>& values)) {
    const auto limit = *rc::gen::inRange<std::size_t>(1, 70);
    std::vector<int> ring;
    for (const int value : values) {
        appendToRing(ring, value, limit);
        RC_ASSERT(ring.size() <= limit);
    }
    const std::size_t kept = std::min(limit, values.size());
    RC_ASSERT(ring == std::vector<int>(values.end() - static_cast<std::ptrdiff_t>(kept), values.end()));
}

TEST(PlainText, everyControlCharacterBecomesOneBlank) {
    EXPECT_EQ(plainText(std::string_view("a\0b\x7f"
                                         "c\td",
                                         7)),
              "a b c d");
    EXPECT_EQ(plainText("\xc2\x80 \xc2\x9b"
                        "31m\xc2\x9f"),
              "   31m ");
    EXPECT_EQ(plainText("\xc2\xa0\xc2\xb5 na\xc3\xafve \xe2\x86\x91"),
              "\xc2\xa0\xc2\xb5 na\xc3\xafve \xe2\x86\x91");
    EXPECT_EQ(plainText("\xc2"), "\xc2");
    // What would turn the order of a line: an override, an isolate, and a mark.
    EXPECT_EQ(plainText("a\u202egnp\u2069\u200f."), "a gnp  .");
    EXPECT_EQ(plainText("\u05e9\u05dc"), "\u05e9\u05dc");  // letters stay
    EXPECT_EQ(plainText(""), "");
}

TEST(Log, aLineNeverBreaks) {
    const test::CapturedLog log;
    logLine("one\ntwo\rthree\x1b[31m");
    EXPECT_EQ(log.lines(), (Texts{"one two three [31m"}));
}

TEST(Log, goesToStandardOutput) {
    testing::internal::CaptureStdout();
    logLine("Could not insert row.");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Could not insert row.\n");
}

}  // namespace
}  // namespace corvanta
