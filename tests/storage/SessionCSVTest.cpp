// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"
#include "support/TimeZone.h"

namespace corvanta {
namespace {

using Records = std::vector<std::vector<std::string>>;

const std::string header =
    "Timestamp,CPU %,macOS Memory Pressure,Estimated Memory Pressure %,Disk Free Bytes,Upload Bytes/s,"
    "Download Bytes/s,Thermal State,Top CPU Process,Top CPU %";

SystemSnapshot sample() {
    return {.timestamp = 1'800'000'000,
            .cpuUsage = 12.5,
            .ramUsage = 77,
            .diskFree = 5e10,
            .uploadSpeed = 100.5,
            .downloadSpeed = 2000.75,
            .memoryPressure = 41.25,
            .memoryPressureState = MemoryPressureLevel::warning,
            .thermalState = "Fair",
            .topCPUProcess = "compiler",
            .topCPUUsage = 180.5};
}

/// What another program reads: fields up to a comma, records up to a line feed, and between quotes anything,
/// where two quotes are one. Anything else is no CSV.
Records parsed(const std::string& text) {
    Records records;
    std::size_t at = 0;
    while (at < text.size()) {
        records.emplace_back();
        for (char end = ','; end == ','; ++at) {
            std::string& field = records.back().emplace_back();
            if (text[at] == '"') {
                for (++at; text.at(at) != '"' || text.at(at + 1) == '"'; ++at) {
                    if (text[at] == '"') ++at;
                    field += text[at];
                }
                ++at;
            } else {
                while (text.at(at) != ',' && text.at(at) != '\n') field += text[at++];
            }
            end = text.at(at);
            if (end != ',' && end != '\n') throw std::runtime_error("something follows a quoted field");
        }
    }
    return records;
}

std::string lineOf(const SystemSnapshot& row) {
    const std::string text = DatabaseManager::sessionCSV({row});
    EXPECT_EQ(text.substr(0, header.size() + 1), header + "\n");
    return text.substr(header.size() + 1);
}

TEST(SessionCSV, noSamplesAreNoData) {
    EXPECT_EQ(DatabaseManager::sessionCSV({}), "No data");
}

TEST(SessionCSV, isTheGoldenFileByteForByte) {
    const test::TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    SystemSnapshot bare;
    bare.timestamp = 1'800'000'002;
    SystemSnapshot odd = sample();
    odd.timestamp = 1'785'000'000;  // in summer time
    odd.memoryPressureState = MemoryPressureLevel::critical;
    odd.thermalState = "Serious, \"hot\"";
    odd.topCPUProcess = "two\nlines";
    odd.diskFree = 1'234'567'890'123.5;
    odd.cpuUsage = 0.05;
    odd.topCPUUsage = 1599.96;
    SystemSnapshot calm = sample();
    calm.memoryPressureState = MemoryPressureLevel::normal;
    calm.topCPUProcess = "carriage\rreturn";
    const std::string golden = test::readFile(CORVANTA_GOLDEN "/sessions/session.csv");
    EXPECT_FALSE(golden.empty());
    EXPECT_EQ(DatabaseManager::sessionCSV({odd, sample(), calm, bare}), golden);
}

TEST(SessionCSV, aNameWithACommaIsQuoted) {
    SystemSnapshot row = sample();
    row.topCPUProcess = "one, two";
    EXPECT_NE(lineOf(row).find(",Fair,\"one, two\",180.5\n"), std::string::npos);
}

TEST(SessionCSV, aQuoteInANameIsDoubled) {
    SystemSnapshot row = sample();
    row.topCPUProcess = "the \"best\"";
    EXPECT_NE(lineOf(row).find(",Fair,\"the \"\"best\"\"\",180.5\n"), std::string::npos);
}

TEST(SessionCSV, aLineFeedIsQuotedAndACarriageReturnAloneIsNot) {
    SystemSnapshot row = sample();
    row.topCPUProcess = "a\nb";
    EXPECT_NE(lineOf(row).find(",Fair,\"a\nb\",180.5\n"), std::string::npos);
    row.topCPUProcess = "a\rb";
    EXPECT_NE(lineOf(row).find(",Fair,a\rb,180.5\n"), std::string::npos);
}

TEST(SessionCSV, everyFieldIsQuotedByTheSameRule) {
    SystemSnapshot row = sample();
    row.thermalState = "a,b";
    EXPECT_NE(lineOf(row).find(",\"a,b\",compiler,180.5\n"), std::string::npos);
}

TEST(SessionCSV, absentTextsAreEmptyFields) {
    SystemSnapshot row = sample();
    row.thermalState.reset();
    row.topCPUProcess.reset();
    EXPECT_NE(lineOf(row).find(",2001,,,180.5\n"), std::string::npos);
}

TEST(SessionCSV, everyLevelIsWrittenByItsLabel) {
    SystemSnapshot row = sample();
    for (const MemoryPressureLevel level : allMemoryPressureLevels) {
        row.memoryPressureState = level;
        EXPECT_EQ(parsed(lineOf(row)).at(0).at(2), label(level));
    }
}

TEST(SessionCSV, numbersThatNoMachineGivesAreStillOneFieldEach) {
    SystemSnapshot row = sample();
    row.cpuUsage = std::nan("");
    row.memoryPressure = std::numeric_limits<double>::infinity();
    row.diskFree = -std::numeric_limits<double>::infinity();
    row.uploadSpeed = std::numeric_limits<double>::max();
    row.timestamp = std::numeric_limits<std::int64_t>::max();
    const auto fields = parsed(lineOf(row)).at(0);
    ASSERT_EQ(fields.size(), 10u);
    EXPECT_EQ(fields[0], "?");
    EXPECT_EQ(fields[1], "nan");
    EXPECT_EQ(fields[3], "inf");
    EXPECT_EQ(fields[4], "-inf");
    EXPECT_EQ(fields[5].size(), 309u);
}

TEST(SessionCSV, exportIsTheTextOfTheSessionsSamples) {
    const test::TempDirectory folder;
    test::FakeClock clock;
    DatabaseManager store(folder.file("history.sqlite"), clock);
    ASSERT_EQ(store.startSession("one"), 1);
    EXPECT_EQ(store.exportSessionCSV(1), "No data");
    for (const double cpu : {1.0, 2.0}) {
        SessionSampleValues values;
        values.cpu = cpu;
        values.topCpuName = "a,b";
        store.insertSessionSample(values);
        clock.advance(1);
    }
    EXPECT_EQ(store.exportSessionCSV(1), DatabaseManager::sessionCSV(store.fetchSessionSamples(1)));
    EXPECT_EQ(parsed(store.exportSessionCSV(1)).size(), 3u);
    EXPECT_EQ(store.exportSessionCSV(2), "No data");
}

// Random samples

rc::Gen<std::string> names() {
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(
                            rc::gen::element<std::string>("a", "compiler", " ", ",", "\"", "\n", "\r", "\r\n",
                                                          "\xe2\x80\x8f", "\xff", "ü", std::string(1, '\0'))),
                        [](const std::vector<std::string>& parts) {
                            std::string name;
                            for (const std::string& part : parts) name += part;
                            return name;
                        });
}

rc::Gen<double> numbers() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return rc::gen::oneOf(rc::gen::arbitrary<double>(),
                          rc::gen::element(std::nan(""), infinity, -infinity, -0.0, 1e300, 99.95));
}

rc::Gen<SystemSnapshot> samples() {
    return rc::gen::build<SystemSnapshot>(
        rc::gen::set(&SystemSnapshot::timestamp), rc::gen::set(&SystemSnapshot::cpuUsage, numbers()),
        rc::gen::set(&SystemSnapshot::diskFree, numbers()),
        rc::gen::set(&SystemSnapshot::uploadSpeed, numbers()),
        rc::gen::set(&SystemSnapshot::downloadSpeed, numbers()),
        rc::gen::set(&SystemSnapshot::memoryPressure, numbers()),
        rc::gen::set(&SystemSnapshot::memoryPressureState,
                     rc::gen::elementOf(std::vector<MemoryPressureLevel>(allMemoryPressureLevels.begin(),
                                                                         allMemoryPressureLevels.end()))),
        rc::gen::set(&SystemSnapshot::thermalState,
                     rc::gen::map(names(), [](std::string name) { return std::optional(std::move(name)); })),
        rc::gen::set(&SystemSnapshot::topCPUProcess,
                     rc::gen::map(names(), [](std::string name) { return std::optional(std::move(name)); })),
        rc::gen::set(&SystemSnapshot::topCPUUsage, numbers()));
}

/// What printf gives, but for the sign of a not-a-number.
std::string printed(const char* format, double value) {
    std::array<char, 400> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string dateOf(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    std::array<char, 64> text{};
    if (gmtime_r(&time, &parts) == nullptr) return "?";
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

RC_GTEST_PROP(SessionCSVProperty, anotherProgramReadsTheTenFieldsBack, ()) {
    const test::TimeZone zone("UTC0");
    const auto rows = *rc::gen::nonEmpty(rc::gen::container<std::vector<SystemSnapshot>>(samples()));
    const Records records = parsed(DatabaseManager::sessionCSV(rows));
    RC_ASSERT(records.size() == rows.size() + 1);
    RC_ASSERT(records[0].size() == 10u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SystemSnapshot& row = rows[i];
        const std::vector<std::string> expected = {dateOf(row.timestamp),
                                                   printed("%.1f", row.cpuUsage),
                                                   std::string(label(row.memoryPressureState)),
                                                   printed("%.1f", row.memoryPressure),
                                                   printed("%.0f", row.diskFree),
                                                   printed("%.0f", row.uploadSpeed),
                                                   printed("%.0f", row.downloadSpeed),
                                                   *row.thermalState,
                                                   *row.topCPUProcess,
                                                   printed("%.1f", row.topCPUUsage)};
        RC_ASSERT(records[i + 1] == expected);
    }
}

}  // namespace
}  // namespace corvanta
