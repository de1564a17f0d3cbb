// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <vector>

#include "ctl/StoreTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t hour = 3600;
constexpr std::int64_t day = 86400;

using HistoryTest = StoreTest;

TEST_F(HistoryTest, eachPeriodHasItsRowsOldestFirst) {
    // Written in no order.
    fillStore({sample(3 * day), sample(60), sample(40 * day), sample(2 * hour), sample(20 * day)});
    const std::vector<std::pair<std::string, std::vector<std::int64_t>>> periods = {
        {"--last 1h", {60}},
        {"--last 24h", {2 * hour, 60}},
        {"", {2 * hour, 60}},
        {"--last 7d", {3 * day, 2 * hour, 60}},
        {"--last 30d", {20 * day, 3 * day, 2 * hour, 60}},
    };
    for (const auto& [option, ages] : periods) {
        SCOPED_TRACE(option);
        const Finished json = ctl("history --json " + option);
        EXPECT_EQ(json.exitCode, 0);
        EXPECT_EQ(json.err, "");
        std::vector<std::int64_t> found;
        for (const Json& row : Json::parse(json.out))
            found.push_back(now_ - row.at("timestamp").get<std::int64_t>());
        EXPECT_EQ(found, ages);

        const Finished text = ctl("history " + option);
        EXPECT_EQ(text.exitCode, 0);
        EXPECT_EQ(text.err, "");
        const std::vector<std::string> lines = linesOf(text.out);
        ASSERT_EQ(lines.size(), ages.size() + 1);  // the heading
        EXPECT_TRUE(std::is_sorted(lines.begin() + 1, lines.end()));
    }
}

TEST_F(HistoryTest, jsonHasWhatWasStored) {
    SnapshotValues bare = sample(30);
    bare.thermalState = "";
    bare.topCPUProcess = std::nullopt;
    bare.topCPUUsage = 0;
    bare.pressureState = MemoryPressureLevel::unavailable;
    fillStore({sample(60, 12.5, 33.25), bare});
    const Json rows = Json::parse(ctl("history --json").out);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].dump(), Json({{"timestamp", now_ - 60},
                                    {"cpu_usage", 12.5},
                                    {"ram_usage", 33.25},
                                    {"disk_free", 500e9},
                                    {"upload_speed", 1536.0},
                                    {"download_speed", 3e6},
                                    {"memory_pressure", 33.25},
                                    {"memory_pressure_state", "Warning"},
                                    {"thermal_state", "Fair"},
                                    {"top_cpu_process", "compiler"},
                                    {"top_cpu_usage", 180.0}})
                                  .dump());
    EXPECT_EQ(rows[1].at("memory_pressure_state"), "Unavailable");
    EXPECT_TRUE(rows[1].at("thermal_state").is_null());
    EXPECT_TRUE(rows[1].at("top_cpu_process").is_null());
    EXPECT_EQ(rows[1].at("top_cpu_usage"), 0.0);
}

TEST_F(HistoryTest, textIsATable) {
    SnapshotValues bare = sample(30, 100);
    bare.thermalState = "";
    bare.topCPUProcess = std::nullopt;
    bare.diskFree = 0;
    fillStore({sample(60, 7.4, 33.6), bare});
    const std::vector<std::string> lines = linesOf(ctl("history").out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              "Time                 CPU   Pressure  Level    Disk free  Up      Down      Thermal  Busiest "
              "process");
    // The first column is the time.
    EXPECT_EQ(lines[1].substr(19),
              "  7%    34%       Warning  500 GB     2 KB/s  3.0 MB/s  Fair     compiler 180%");
    EXPECT_EQ(lines[2].substr(19), "  100%  40%       Warning  -          2 KB/s  3.0 MB/s  -        -");
}

TEST_F(HistoryTest, valuesThatNoMachineGivesAreNoneInTheTable) {
    fillStore({});
    Sql(user_.database())
        .run(
            "INSERT INTO metrics_history (timestamp, cpu_usage, memory_pressure, disk_free, upload_speed, "
            "download_speed, memory_pressure_state, top_cpu_process, top_cpu_usage) VALUES (" +
            std::to_string(now_ - 60) + ", 1e300, 9e999, -9e999, -1, -9e999, 77, 'x', -1e300);");
    const Finished text = ctl("history");
    EXPECT_EQ(text.exitCode, 0);
    const std::vector<std::string> lines = linesOf(text.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].substr(19), "  -    -         Unavailable  -          0 B/s  0 B/s  -        x -");
    const Finished json = ctl("history --json");
    EXPECT_EQ(json.exitCode, 0);
    ASSERT_TRUE(Json::accept(json.out)) << json.out;
    EXPECT_TRUE(Json::parse(json.out)[0].at("memory_pressure").is_null());
}

TEST_F(HistoryTest, timesAreTheMachines) {
    SnapshotValues values = sample(60);
    values.timestamp =
        instantFromSeconds(static_cast<double>(now_ / day * day - day) + 5 * hour + 6 * 60 + 7);
    fillStore({values});
    EXPECT_NE(ctl("history --last 7d").out.find(" 05:06:07  "), std::string::npos);
    user_.setVariable("TZ", "Asia/Kolkata");
    EXPECT_NE(ctl("history --last 7d").out.find(" 10:36:07  "), std::string::npos);
}

TEST_F(HistoryTest, anEmptyPeriodIsNoFailure) {
    fillStore({sample(2 * hour)});
    const Finished text = ctl("history --last 1h");
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.out, "No samples in this period.\n");
    EXPECT_EQ(text.err, "");
    const Finished json = ctl("history --last 1h --json");
    EXPECT_EQ(json.exitCode, 0);
    EXPECT_EQ(Json::parse(json.out), Json::array());
    EXPECT_EQ(json.err, "");
}

TEST_F(HistoryTest, anotherStoreCanBeNamed) {
    fillStore({sample(60)});
    const std::string moved = user_.folder() / "elsewhere.sqlite";
    std::filesystem::rename(user_.database(), moved);
    EXPECT_EQ(ctl("history --json").exitCode, 1);
    const Finished finished = ctl("history --json --database " + moved);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(Json::parse(finished.out).size(), 1u);
}

TEST_F(HistoryTest, aMonthOfSamplesIsListedWhole) {
    constexpr int count = 20'000;
    std::filesystem::create_directories(std::filesystem::path(user_.database()).parent_path());
    fillStore({});
    Sql sql(user_.database());
    sql.run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
            std::to_string(count) + ") INSERT INTO metrics_history (timestamp, cpu_usage) SELECT " +
            std::to_string(now_) + " - i * 10, i % 100 FROM n;");
    EXPECT_EQ(Json::parse(ctl("history --last 30d --json").out).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(linesOf(ctl("history --last 30d").out).size(), static_cast<std::size_t>(count) + 1);
}

}  // namespace
}  // namespace corvanta::test
