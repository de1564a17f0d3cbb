// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <vector>

#include "ctl/StoreTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

std::string utcTime(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    char text[64];
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

/// A table without the rules of the store's own, as a damaged or foreign file may have it.
constexpr const char* looseTable =
    "DROP TABLE performance_incidents; CREATE TABLE performance_incidents (id INTEGER PRIMARY KEY, "
    "started_at, "
    "detected_at, ended_at, kind, severity, peak_cpu, peak_memory_pressure, worst_memory_pressure_state, "
    "peak_network, min_battery, worst_thermal_state, top_cpu_process, top_cpu_usage, top_ram_process, "
    "top_ram_bytes, sample_count, dismissed_at, recovery_started_at, created_at);";

/// The columns of a row, as SQL.
using Columns = std::map<std::string, std::string>;

class IncidentTest : public StoreTest {
  protected:
    IncidentTest() { user_.setVariable("TZ", "UTC"); }

    /// A recovered incident from ten to five minutes ago.
    Columns incident() const {
        return {{"id", "7"},
                {"started_at", std::to_string(now_ - 600)},
                {"detected_at", std::to_string(now_ - 540)},
                {"ended_at", std::to_string(now_ - 300)},
                {"kind", "'cpu'"},
                {"severity", "2"},
                {"peak_cpu", "97.5"},
                {"peak_memory_pressure", "61.5"},
                {"worst_memory_pressure_state", "2"},
                {"peak_network", "2500000"},
                {"min_battery", "77"},
                {"worst_thermal_state", "'Fair'"},
                {"top_cpu_process", "'compiler'"},
                {"top_cpu_usage", "388.25"},
                {"top_ram_process", "'browser'"},
                {"top_ram_bytes", "2147483648"},
                {"sample_count", "30"},
                {"dismissed_at", "NULL"},
                {"recovery_started_at", std::to_string(now_ - 300)},
                {"created_at", "0"}};
    }
    /// Into a store that has been made.
    void insert(const Columns& columns) const {
        std::string names;
        std::string values;
        for (const auto& [name, value] : columns) {
            names += (names.empty() ? "" : ", ") + name;
            values += (values.empty() ? "" : ", ") + value;
        }
        Sql(user_.database())
            .run("INSERT INTO performance_incidents (" + names + ") VALUES (" + values + ");");
    }
    void replaceTable() const { Sql(user_.database()).run(looseTable); }

    Finished succeed(const std::string& arguments) const {
        Finished finished = ctl(arguments);
        EXPECT_EQ(finished.exitCode, 0) << arguments;
        EXPECT_EQ(finished.err, "") << arguments;
        return finished;
    }
    Json json(const std::string& arguments) const { return Json::parse(succeed(arguments + " --json").out); }
};

TEST_F(IncidentTest, textTellsTheIncidentItsFiguresAndItsTimeline) {
    fillStore({sample(1000, 99), sample(900, 20), sample(700, 20), sample(601, 20), sample(600, 90),
               sample(300, 96), sample(180, 20), sample(179, 99)});
    insert(incident());
    EXPECT_EQ(succeed("incident 7").out,
              "The strongest signal was sustained CPU load\n"
              "CPU remained elevated and peaked at 98%. The most prominent process observed was compiler.\n"
              "\n"
              "Trigger              CPU stayed at or above 85% for at least 60 seconds.\n"
              "Overlapping signals  System CPU peaked at 98%.\n"
              "                     macOS memory pressure reached warning.\n"
              "                     Network activity peaked at 2.5 MB/s.\n"
              "What changed         Average CPU moved from 20% to 93% (+73 points).\n"
              "Resolution           Recovered \u2014 Recovered after 5m 0s. Corvanta confirmed normal "
              "conditions remained stable "
              "for 90 seconds.\n"
              "Confidence           Strong confidence \u2014 Sustained signal, sufficient samples, recovery "
              "evidence, and a usable pre-incident baseline were recorded.\n"
              "Process evidence     compiler reached 388.2% process CPU.\n"
              "\n"
              "Started          " +
                  utcTime(now_ - 600) +
                  "\n"
                  "Detected         " +
                  utcTime(now_ - 540) +
                  "\n"
                  "Recovery began   " +
                  utcTime(now_ - 300) +
                  "\n"
                  "Ended            " +
                  utcTime(now_ - 300) +
                  "\n"
                  "Kind             CPU load\n"
                  "Severity         Critical\n"
                  "Peak CPU         98%\n"
                  "Peak pressure    62%\n"
                  "Worst level      Warning\n"
                  "Worst thermal    Fair\n"
                  "Peak network     2.5 MB/s\n"
                  "Lowest battery   77%\n"
                  "Busiest process  compiler 388%\n"
                  "Largest process  browser 2 GB\n"
                  "Samples          30\n"
                  "Dismissed        -\n"
                  "\n"
                  "Time                 CPU  Pressure  Level    Thermal  Network   Busiest process\n" +
                  utcTime(now_ - 900) + "  20%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n" +
                  utcTime(now_ - 700) + "  20%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n" +
                  utcTime(now_ - 601) + "  20%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n" +
                  utcTime(now_ - 600) + "  90%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n" +
                  utcTime(now_ - 300) + "  96%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n" +
                  utcTime(now_ - 180) + "  20%  40%       Warning  Fair     3.0 MB/s  compiler 180%\n");
}

TEST_F(IncidentTest, theSummaryStandsAlone) {
    fillStore({sample(700, 20), sample(600, 90)});
    insert(incident());
    const std::string expected =
        "The strongest signal was sustained CPU load\n"
        "CPU remained elevated and peaked at 98%. The most prominent process observed was compiler.\n"
        "Trigger: CPU stayed at or above 85% for at least 60 seconds.\n"
        "Resolution: Recovered after 5m 0s. Corvanta confirmed normal conditions remained stable for 90 "
        "seconds.\n"
        "Confidence: Strong confidence \u2014 Sustained signal, sufficient samples, recovery evidence, and a "
        "usable pre-incident baseline were recorded.\n"
        "Correlated process evidence: compiler reached 388.2% process CPU.\n"
        "What changed:\n"
        "\u2022 Average CPU moved from 20% to 90% (+70 points).";
    EXPECT_EQ(succeed("incident 7 --summary").out, expected + "\n");
    EXPECT_EQ(json("incident --summary 7"), Json({{"shareable_summary", expected}}));
    EXPECT_EQ(json("incident 7").at("shareable_summary"), expected);
}

TEST_F(IncidentTest, jsonHasTheRowTheNarrativeAndTheTimeline) {
    SnapshotValues bare = sample(500, 50);
    bare.thermalState = "";
    bare.topCPUProcess = std::nullopt;
    bare.topCPUUsage = 0;
    SnapshotValues full = sample(400, 60);
    full.batteryPercentage = 80;
    full.isCharging = true;
    full.topRAMProcess = "browser";
    full.topRAMBytes = 4096;
    fillStore({bare, full});
    insert(incident());
    const Json object = json("incident 7");
    EXPECT_EQ(object.at("incident").dump(), Json({{"id", 7},
                                                  {"started_at", now_ - 600},
                                                  {"detected_at", now_ - 540},
                                                  {"ended_at", now_ - 300},
                                                  {"kind", "cpu"},
                                                  {"severity", 2},
                                                  {"resolution", "recovered"},
                                                  {"peak_cpu", 97.5},
                                                  {"peak_memory_pressure", 61.5},
                                                  {"worst_memory_pressure_state", "Warning"},
                                                  {"peak_network", 2500000.0},
                                                  {"min_battery", 77},
                                                  {"worst_thermal_state", "Fair"},
                                                  {"top_cpu_process", "compiler"},
                                                  {"top_cpu_usage", 388.25},
                                                  {"top_ram_process", "browser"},
                                                  {"top_ram_bytes", 2147483648},
                                                  {"sample_count", 30},
                                                  {"dismissed_at", nullptr},
                                                  {"recovery_started_at", now_ - 300}})
                                                .dump());
    const Json& narrative = object.at("narrative");
    EXPECT_EQ(narrative.at("headline"), "The strongest signal was sustained CPU load");
    EXPECT_EQ(narrative.at("trigger"),
              Json({{"title", "Trigger"},
                    {"detail", "CPU stayed at or above 85% for at least 60 seconds."},
                    {"system_image", "cpu"}}));
    EXPECT_EQ(narrative.at("overlapping_signals").size(), 3u);
    EXPECT_EQ(narrative.at("changes")[0].at("title"), "CPU peak");
    EXPECT_EQ(narrative.at("resolution_state"), "recovered");
    EXPECT_EQ(narrative.at("confidence"), 3);
    EXPECT_EQ(narrative.at("contributor_detail"), "compiler reached 388.2% process CPU.");
    const Json& timeline = object.at("timeline");
    ASSERT_EQ(timeline.size(), 2u);
    EXPECT_EQ(timeline[0].at("timestamp"), now_ - 500);
    for (const char* key : {"battery_percentage", "is_charging", "top_cpu_process", "top_ram_process"}) {
        EXPECT_TRUE(timeline[0].at(key).is_null()) << key;
    }
    EXPECT_EQ(timeline[0].at("thermal_state"), "Unknown");
    EXPECT_EQ(timeline[1].dump(), Json({{"id", 2},
                                        {"timestamp", now_ - 400},
                                        {"cpu_usage", 60.0},
                                        {"memory_pressure", 40.0},
                                        {"memory_pressure_state", "Warning"},
                                        {"upload_speed", 1536.0},
                                        {"download_speed", 3e6},
                                        {"battery_percentage", 80},
                                        {"is_charging", true},
                                        {"thermal_state", "Fair"},
                                        {"top_cpu_process", "compiler"},
                                        {"top_cpu_usage", 180.0},
                                        {"top_ram_process", "browser"},
                                        {"top_ram_bytes", 4096}})
                                      .dump());
}

TEST_F(IncidentTest, anOpenIncidentIsToldAsOneThatGoesOn) {
    fillStore({sample(30, 90)});
    Columns open = incident();
    open["ended_at"] = open["recovery_started_at"] = "NULL";
    insert(open);
    const std::string text = succeed("incident 7").out;
    EXPECT_NE(text.find("Pressure remains above the incident threshold after 10m "), std::string::npos)
        << text;
    EXPECT_NE(text.find("\nEnded            -\n"), std::string::npos);
    EXPECT_NE(text.find("\n" + utcTime(now_ - 30) + "  90%"), std::string::npos);
    EXPECT_EQ(json("incident 7").at("narrative").at("resolution_state"), "active");
}

TEST_F(IncidentTest, aDismissedIncidentSaysSo) {
    fillStore({});
    Columns dismissed = incident();
    dismissed["dismissed_at"] = std::to_string(now_ - 100);
    insert(dismissed);
    EXPECT_NE(succeed("incident 7").out.find("\nDismissed        " + utcTime(now_ - 100) + "\n"),
              std::string::npos);
    EXPECT_EQ(json("incident 7").at("incident").at("dismissed_at"), now_ - 100);
}

TEST_F(IncidentTest, withoutSamplesTheTimelineSaysSo) {
    fillStore({});
    insert(incident());
    const std::string text = succeed("incident 7").out;
    EXPECT_EQ(linesOf(text).back(), "No samples around this incident.");
    EXPECT_EQ(json("incident 7").at("timeline"), Json::array());
}

TEST_F(IncidentTest, aNumberThatNoIncidentHasIsAFailureOfOneLine) {
    fillStore({sample(60)});
    insert(incident());
    for (const char* id : {"8", "0", "9223372036854775807"}) {
        for (const std::string options : {"", " --summary", " --json"}) {
            const Finished finished = ctl("incident " + std::string(id) + options);
            EXPECT_EQ(finished.exitCode, 1);
            EXPECT_EQ(finished.out, "");
            EXPECT_EQ(finished.err, "corvantactl: There is no incident " + std::string(id) + ".\n");
        }
    }
}

TEST_F(IncidentTest, theOldestOfFiveHundredIsFound) {
    fillStore({});
    Sql(user_.database())
        .run(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 501) INSERT INTO "
            "performance_incidents (id, started_at, detected_at, ended_at, kind, severity, created_at) "
            "SELECT i, " +
            std::to_string(now_ - 1000) + " + i, 0, 0, 'memory', 1, 0 FROM n;");
    EXPECT_EQ(json("incident 2").at("incident").at("id"), 2);
    EXPECT_EQ(ctl("incident 1").exitCode, 1);
}

TEST_F(IncidentTest, tellingChangesNothing) {
    fillStore({sample(500)});
    Columns open = incident();
    open["ended_at"] = open["recovery_started_at"] = "NULL";
    insert(open);
    const auto before = filesBelow(user_.folder());
    for (const char* options : {"", " --summary", " --json"}) succeed("incident 7" + std::string(options));
    EXPECT_EQ(filesBelow(user_.folder()), before);
}

TEST_F(IncidentTest, missingValuesHaveTheirStandIns) {
    fillStore({});
    replaceTable();
    insert({{"id", "7"}, {"started_at", std::to_string(now_ - 600)}});
    const std::string text = succeed("incident 7").out;
    EXPECT_NE(text.find("Several pressure signals overlapped\n"), std::string::npos);
    EXPECT_NE(
        text.find("\nKind             Combined pressure\nSeverity         Elevated\nPeak CPU         0%\n"
                  "Peak pressure    0%\nWorst level      Unavailable\nWorst thermal    Nominal\n"
                  "Peak network     0 B/s\nLowest battery   -\nBusiest process  -\nLargest process  -\n"
                  "Samples          0\nDismissed        -\n"),
        std::string::npos)
        << text;
    const Json row = json("incident 7").at("incident");
    EXPECT_EQ(row.at("kind"), "combined");
    EXPECT_EQ(row.at("severity"), 1);
    for (const char* key : {"ended_at", "min_battery", "top_cpu_process", "top_ram_process"}) {
        EXPECT_TRUE(row.at(key).is_null()) << key;
    }
}

TEST_F(IncidentTest, unknownWordsAndFiguresThatNoMachineGivesAreToldAsWell) {
    fillStore({});
    replaceTable();
    Columns odd = incident();
    odd["kind"] = "'meteor'";
    odd["severity"] = "99";
    odd["peak_cpu"] = "1e300";
    odd["peak_memory_pressure"] = "-9e999";
    odd["worst_memory_pressure_state"] = "3";
    odd["peak_network"] = "-5";
    odd["min_battery"] = "-9223372036854775808";
    odd["top_cpu_usage"] = "9e999";
    odd["top_ram_bytes"] = "-1";
    odd["sample_count"] = "-3";
    insert(odd);
    const std::string text = succeed("incident 7").out;
    EXPECT_NE(
        text.find("\nKind             Combined pressure\nSeverity         Elevated\nPeak CPU         -\n"
                  "Peak pressure    -\nWorst level      Unavailable\nWorst thermal    Fair\n"
                  "Peak network     0 B/s\nLowest battery   -9223372036854775808%\n"
                  "Busiest process  compiler -\nLargest process  browser \u2014\nSamples          -3\n"),
        std::string::npos)
        << text;
    const Json object = json("incident 7");
    EXPECT_EQ(object.at("incident").at("top_ram_bytes"), 0);
    EXPECT_TRUE(object.at("incident").at("peak_memory_pressure").is_null());
}

TEST_F(IncidentTest, aNameBreaksNoLineAndWritesNoEscape) {
    SnapshotValues values = sample(500);
    values.topCPUProcess = "one\ntwo\x1b[31m";
    values.thermalState = "Fa\x1b]0;x\air";
    fillStore({values});
    Columns named = incident();
    named["top_cpu_process"] =
        "'evil' || char(10) || 'Trigger: none' || char(27) || '[2J' || char(155) || '1m'";
    named["top_ram_process"] = "char(0x202e) || 'gnp' || char(13)";
    named["worst_thermal_state"] = "'Serious' || char(10, 27)";
    insert(named);
    for (const std::string options : {"", " --summary"}) {
        const std::string text = succeed("incident 7" + options).out;
        for (const char control : {'\x1b', '\r', '\a', '\x7f'}) {
            EXPECT_EQ(text.find(control), std::string::npos) << text;
        }
        EXPECT_EQ(text.find("\xc2\x9b"), std::string::npos);
        EXPECT_EQ(text.find("\nTrigger: none"), std::string::npos);
        EXPECT_NE(text.find("most prominent process observed was evil Trigger: none [2J 1m.\n"),
                  std::string::npos)
            << text;
    }
    EXPECT_EQ(linesOf(succeed("incident 7 --summary").out).size(), 9u);
    EXPECT_NE(succeed("incident 7").out.find("  one two [31m 180%\n"), std::string::npos);
    const std::string out = succeed("incident 7 --json").out;
    expectOneLine(out);
    for (const char byte : out) EXPECT_TRUE(byte == '\n' || (byte >= ' ' && byte < '\x7f'));
    EXPECT_EQ(Json::parse(out).at("incident").at("top_ram_process"), "\u202egnp\r");
}

TEST_F(IncidentTest, timesThatCanNotBeAreTold) {
    fillStore({sample(-500, 30)});
    Columns future = incident();
    future["id"] = "1";
    future["started_at"] = std::to_string(now_ + 1000);
    future["ended_at"] = future["recovery_started_at"] = "NULL";
    insert(future);
    Columns backwards = incident();
    backwards["id"] = "2";
    backwards["ended_at"] = std::to_string(now_ - 86400);
    insert(backwards);
    Columns endless = incident();
    endless["id"] = "3";
    endless["started_at"] = "-9223372036854775808";
    endless["ended_at"] = endless["detected_at"] = "9223372036854775807";
    insert(endless);
    EXPECT_NE(succeed("incident 1").out.find("Pressure remains above the incident threshold after 0s."),
              std::string::npos);
    EXPECT_NE(succeed("incident 2").out.find("Recovered after 0s."), std::string::npos);
    EXPECT_EQ(json("incident 2").at("timeline"), Json::array());
    EXPECT_NE(succeed("incident 3").out.find("\nEnded            ?\n"), std::string::npos);
    EXPECT_EQ(json("incident 3").at("timeline").size(), 1u);
}

}  // namespace
}  // namespace corvanta::test
