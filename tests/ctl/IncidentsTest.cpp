// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "ctl/StoreTest.h"
#include "incidents/IncidentRecords.h"
#include "incidents/StoredIncidents.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

constexpr double hour = 3600;
constexpr double day = 86400;

class IncidentsTest : public StoreTest {
  protected:
    IncidentsTest() { fillStore({}); }

    PerformanceIncident aged(std::int64_t id, double age, IncidentKind kind = IncidentKind::cpu) const {
        return recoveredIncident(id, static_cast<double>(now_) - age, kind);
    }

    void store(const PerformanceIncident& incident) const {
        Sql sql(user_.database());
        storeIncident(sql, incident);
    }

    /// The members of each group; the first is the one that is shown.
    Ids groups(const std::string& options = "") const {
        const Finished finished = ctl("incidents --json " + options);
        EXPECT_EQ(finished.exitCode, 0) << options;
        EXPECT_EQ(finished.err, "") << options;
        Ids ids;
        for (const Json& group : Json::parse(finished.out)) {
            std::vector<std::int64_t>& members = ids.emplace_back();
            for (const Json& incident : group.at("incidents")) members.push_back(incident.at("id"));
        }
        return ids;
    }

    std::vector<std::string> lines(const std::string& options = "") const {
        const Finished finished = ctl("incidents " + options);
        EXPECT_EQ(finished.exitCode, 0) << options;
        EXPECT_EQ(finished.err, "") << options;
        std::vector<std::string> all;
        std::istringstream stream(finished.out);
        for (std::string line; std::getline(stream, line);) all.push_back(line);
        return all;
    }
};

TEST_F(IncidentsTest, aGroupIsOneLine) {
    PerformanceIncident critical = aged(2, 2 * hour);
    critical.severity = IncidentSeverity::critical;
    PerformanceIncident open = aged(4, 200, IncidentKind::memory);
    setOpen(open);
    open.recoveryStartedAt = instantFromSeconds(static_cast<double>(now_ - 100));
    open.topCPUProcess.reset();
    for (const auto& incident : {aged(1, hour), critical, aged(3, 3 * hour), open}) store(incident);
    const auto shown = lines();
    ASSERT_EQ(shown.size(), 3U);
    EXPECT_EQ(shown[0],
              "ID  Start                Kind             Severity  State                Duration  "
              "Count  Contributor  Others");
    EXPECT_EQ(shown[1].substr(0, 4), "4   ");
    // After the id comes the time.
    EXPECT_EQ(shown[1].substr(23), "  Memory pressure  Elevated  Confirming recovery  1m 40s    1      -");
    EXPECT_EQ(shown[2].substr(23),
              "  CPU load         Critical  Recovered            1m 0s     3      compiler     2 3");
}

TEST_F(IncidentsTest, timesAreTheMachines) {
    PerformanceIncident incident = aged(1, 0);
    incident.startedAt = instantFromSeconds(1'800'000'000);
    setRecovered(incident);
    store(incident);
    EXPECT_EQ(lines("--range all").at(1).substr(0, 23), "1   2027-01-15 08:00:00");
    user_.setVariable("TZ", "Asia/Kolkata");
    EXPECT_EQ(lines("--range all").at(1).substr(0, 23), "1   2027-01-15 13:30:00");
}

TEST_F(IncidentsTest, jsonHasEveryMemberAsStored) {
    PerformanceIncident first = aged(1, hour);
    first.detectedAt = first.startedAt + std::chrono::duration<double>(60);
    first.severity = IncidentSeverity::critical;
    first.peakCPU = 97.5;
    first.peakMemoryPressure = 41.25;
    first.worstMemoryPressureState = MemoryPressureLevel::warning;
    first.peakNetworkBytesPerSecond = 1536.5;
    first.minimumBatteryPercentage = 40;
    first.worstThermalState = "Fair";
    first.topCPUUsage = 180.5;
    first.topRAMProcess = "browser";
    first.topRAMBytes = 4'000'000'000;
    first.sampleCount = 12;
    PerformanceIncident second = aged(2, 2 * hour);
    setInterrupted(second);
    store(first);
    store(second);
    const Json list = Json::parse(ctl("incidents --json").out);
    ASSERT_EQ(list.size(), 1U);
    const std::int64_t start = now_ - 3600;
    const Json expected = {{"id", 1},
                           {"started_at", start},
                           {"detected_at", start + 60},
                           {"ended_at", start + 60},
                           {"kind", "cpu"},
                           {"severity", 2},
                           {"resolution", "recovered"},
                           {"peak_cpu", 97.5},
                           {"peak_memory_pressure", 41.25},
                           {"worst_memory_pressure_state", label(MemoryPressureLevel::warning)},
                           {"peak_network", 1536.5},
                           {"min_battery", 40},
                           {"worst_thermal_state", "Fair"},
                           {"top_cpu_process", "compiler"},
                           {"top_cpu_usage", 180.5},
                           {"top_ram_process", "browser"},
                           {"top_ram_bytes", 4'000'000'000},
                           {"sample_count", 12},
                           {"dismissed_at", nullptr},
                           {"recovery_started_at", start + 60}};
    EXPECT_EQ(list[0].at("incidents").at(0).dump(), expected.dump());
    const Json& other = list[0].at("incidents").at(1);
    EXPECT_EQ(other.at("id"), 2);
    EXPECT_EQ(other.at("resolution"), "interrupted");
    EXPECT_TRUE(other.at("recovery_started_at").is_null());
    EXPECT_TRUE(other.at("min_battery").is_null());
    EXPECT_TRUE(other.at("top_ram_process").is_null());
    Json group = list[0];
    group.erase("incidents");
    EXPECT_EQ(group.dump(), Json({{"id", 1},
                                  {"repeat_count", 2},
                                  {"highest_severity", 2},
                                  {"is_dismissed", false},
                                  {"likely_contributor", "compiler"}})
                                .dump());
}

TEST_F(IncidentsTest, eachOptionFilters) {
    PerformanceIncident critical = aged(1, hour, IncidentKind::memory);
    critical.severity = IncidentSeverity::critical;
    critical.topCPUProcess = "Browser";
    PerformanceIncident open = aged(2, 2 * day);
    setOpen(open);
    PerformanceIncident interrupted = aged(3, 8 * day, IncidentKind::thermal);
    setInterrupted(interrupted);
    PerformanceIncident dismissed = aged(5, 3 * hour);
    dismissed.dismissedAt = dismissed.startedAt;
    for (const auto& incident :
         {critical, open, interrupted, aged(4, 40 * day, IncidentKind::combined), dismissed})
        store(incident);
    const std::vector<std::pair<std::string, Ids>> rows = {
        {"", {{1}, {2}}},
        {"--range day", {{1}}},
        {"--range week", {{1}, {2}}},
        {"--range month", {{1}, {2}, {3}}},
        {"--range all", {{1}, {2}, {3}, {4}}},
        {"--range all --kind all", {{1}, {2}, {3}, {4}}},
        {"--range all --kind cpu", {{2}}},
        {"--range all --kind memory", {{1}}},
        {"--range all --kind thermal", {{3}}},
        {"--range all --kind combined", {{4}}},
        {"--severity all", {{1}, {2}}},
        {"--severity elevated", {{2}}},
        {"--severity critical", {{1}}},
        {"--range all --resolution all", {{1}, {2}, {3}, {4}}},
        {"--range all --resolution active", {{2}}},
        {"--range all --resolution recovered", {{1}, {4}}},
        {"--range all --resolution interrupted", {{3}}},
        {"--search bROWSER", {{1}}},
        {"--search load", {{2}}},
        {"--dismissed", {{1}, {5}, {2}}},
        {"--dismissed --kind cpu --severity elevated --range day", {{5}}},
    };
    for (const auto& [options, expected] : rows) {
        EXPECT_EQ(groups(options), expected) << options;
        EXPECT_EQ(lines(options).size(), expected.size() + 1) << options;
    }
    // A dismissed one says so.
    EXPECT_NE(lines("--dismissed").at(2).find("  Recovered, dismissed  "), std::string::npos);
}

TEST_F(IncidentsTest, anEmptyListSaysWhatItLeavesOut) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ(lines(), (Lines{"No incidents in the last 7 days."}));
    EXPECT_EQ(lines("--range day"), (Lines{"No incidents match."}));
    PerformanceIncident dismissed = aged(1, hour);
    dismissed.dismissedAt = dismissed.startedAt;
    store(dismissed);
    const std::string hint = "There are dismissed ones, which --dismissed shows.";
    EXPECT_EQ(lines(), (Lines{"No incidents in the last 7 days.", hint}));
    EXPECT_EQ(lines("--kind cpu"), (Lines{"No incidents match.", hint}));
    EXPECT_EQ(lines("--kind memory"), (Lines{"No incidents match."}));
    EXPECT_EQ(lines("--kind memory --dismissed"), (Lines{"No incidents match."}));
    EXPECT_EQ(lines("--dismissed").size(), 2U);
    EXPECT_EQ(groups(), Ids{});
}

TEST_F(IncidentsTest, rowsThatNobodyWritesAreShownAsFarAsTheyGo) {
    const std::string now = std::to_string(now_);
    Sql sql(user_.database());
    sql.run(
        "DROP TABLE performance_incidents; CREATE TABLE performance_incidents (id INTEGER PRIMARY KEY, "
        "started_at INTEGER, detected_at INTEGER, ended_at INTEGER, kind TEXT, severity INTEGER, peak_cpu "
        "REAL, "
        "peak_memory_pressure REAL, worst_memory_pressure_state INTEGER, peak_network REAL, min_battery "
        "INTEGER, worst_thermal_state TEXT, top_cpu_process TEXT, top_cpu_usage REAL, top_ram_process TEXT, "
        "top_ram_bytes INTEGER, sample_count INTEGER, dismissed_at INTEGER, recovery_started_at INTEGER, "
        "created_at INTEGER);");
    const std::string columns =
        "INSERT INTO performance_incidents (id, started_at, ended_at, kind, severity, peak_cpu, "
        "worst_memory_pressure_state, top_cpu_process, top_ram_bytes) VALUES ";
    sql.run(columns + "(1, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);");
    sql.run(columns + "(2, " + now + ", " + now + ", 'volcano', 99, 9e999, 77, 'x', -5);");
    sql.run(columns + "(3, " + now + " + 86400, NULL, 'cpu', 'hard', -9e999, 'bad', X'ff41', 7);");
    sql.run(columns + "(4, 9223372036854775807, -9223372036854775807 - 1, 'cpu', 2, 1e300, -1, '', 1);");
    sql.run(columns + "(5, -9223372036854775807 - 1, 9223372036854775807, 'CPU', 0, 0, 0, '   ', 1);");
    EXPECT_EQ(groups("--range all"), (Ids{{4}, {3}, {2}, {1}, {5}}));

    const Json list = Json::parse(ctl("incidents --json --range all").out);
    const auto& only = [&](std::size_t at) { return list.at(at).at("incidents").at(0); };
    EXPECT_EQ(only(2).at("kind"), "combined");
    EXPECT_EQ(only(2).at("severity"), 1);
    EXPECT_EQ(only(2).at("top_ram_bytes"), 0);
    EXPECT_EQ(only(2).at("worst_memory_pressure_state"), label(MemoryPressureLevel::unavailable));
    EXPECT_TRUE(only(2).at("peak_cpu").is_null());
    EXPECT_EQ(only(3).at("kind"), "combined");
    EXPECT_EQ(only(3).at("worst_thermal_state"), "Nominal");

    const auto shown = lines("--range all");
    ASSERT_EQ(shown.size(), 6U);
    const std::string future = shown[2];
    EXPECT_EQ(future.substr(0, 1), "3");
    EXPECT_NE(future.find("  CPU load           Elevated  Active            0s "), std::string::npos)
        << future;
    EXPECT_NE(shown[3].find("  Combined pressure  Elevated  Monitoring ended  0s "), std::string::npos)
        << shown[3];
}

TEST_F(IncidentsTest, aWordThatIsNoChoiceIsBadUsage) {
    for (const char* arguments :
         {"--range year", "--range Day", "--range", "--kind disk", "--kind", "--severity warning",
          "--severity 2", "--resolution recovering", "--resolution", "--search", "--dismissed=maybe", "cpu",
          "--last 24h", "--limit 5"}) {
        const Finished finished = ctl(std::string("incidents ") + arguments);
        EXPECT_EQ(finished.exitCode, 2) << arguments;
        EXPECT_EQ(finished.out, "") << arguments;
        EXPECT_NE(finished.err, "") << arguments;
    }
    EXPECT_NE(ctl("incidents --kind disk").err.find("disk"), std::string::npos);
}

TEST_F(IncidentsTest, anotherStoreCanBeNamed) {
    store(aged(1, hour));
    const std::string moved = user_.folder() / "elsewhere.sqlite";
    std::filesystem::rename(user_.database(), moved);
    EXPECT_EQ(ctl("incidents").exitCode, 1);
    EXPECT_EQ(groups("--database " + moved), (Ids{{1}}));
}

}  // namespace
}  // namespace corvanta::test
