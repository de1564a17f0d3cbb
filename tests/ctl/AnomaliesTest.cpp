// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <vector>

#include "core/NumberText.h"
#include "ctl/StoreTest.h"
#include "storage/StoreTestSupport.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

class AnomaliesTest : public StoreTest {
  protected:
    /// A store whose rows of the last quarter of an hour are all alike. Those before it have a
    /// median of 20% of CPU and 40% of memory pressure, and a deviation of 4 from both.
    void fill(int older, int recent, double cpu, double pressure) {
        fillStore({});
        addRows(older, 1000, "20 + (i % 5 - 2) * 4", "40 + (i % 5 - 2) * 4");
        // Their age has room for the time that a test takes.
        addRows(recent, 60, fixedText(cpu, 2), fixedText(pressure, 2));
    }
    Json metrics() {
        const Finished finished = ctl("anomalies --json");
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.err, "");
        expectOneLine(finished.out);
        Json all = Json::parse(finished.out);
        EXPECT_EQ(all.size(), 2u);
        return all;
    }
    std::vector<std::string> lines() {
        const Finished finished = ctl("anomalies");
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.err, "");
        std::vector<std::string> all = linesOf(finished.out);
        EXPECT_EQ(all.size(), 3u) << finished.out;
        all.resize(3);
        return all;
    }

  private:
    void addRows(int count, int youngest, const std::string& cpu, const std::string& pressure) {
        if (count == 0) return;
        Sql(user_.database())
            .run("WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                 integerText(count - 1) +
                 ") INSERT INTO metrics_history (timestamp, cpu_usage, memory_pressure) SELECT " +
                 integerText(now_ - youngest) + " - i * 10, " + cpu + ", " + pressure + " FROM n;");
    }
};

TEST_F(AnomaliesTest, aStoreWithoutRowsHasNoBaseline) {
    fill(0, 0, 0, 0);
    const Json nothing = {{"baseline_median", nullptr}, {"baseline_deviation", nullptr},
                          {"baseline_values", nullptr}, {"recent_median", nullptr},
                          {"score", nullptr},           {"verdict", "tooFewValuesForBaseline"}};
    Json cpu = {{"metric", "cpu"}};
    cpu.update(nothing);
    Json pressure = {{"metric", "memoryPressure"}};
    pressure.update(nothing);
    EXPECT_EQ(metrics().dump(), Json({cpu, pressure}).dump());
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  "Metric           Normal  Deviation  Values  Last 15 min  Score  Verdict",
                  "CPU              -       -          -       -            -      Not judged: fewer than 30 "
                  "values in seven days",
                  "Memory pressure  -       -          -       -            -      Not judged: fewer than 30 "
                  "values in seven days"}));
}

TEST_F(AnomaliesTest, thirtyValuesOfSevenDaysMakeABaselineButNoJudgement) {
    fill(29, 0, 0, 0);
    EXPECT_EQ(metrics()[0].at("verdict"), "tooFewValuesForBaseline");
    fill(1, 0, 0, 0);  // a row more, as old as another one
    const Json cpu = metrics()[0];
    EXPECT_EQ(cpu.at("verdict"), "baselineTooShort");
    EXPECT_EQ(cpu.at("baseline_values"), 30);
    EXPECT_EQ(cpu.at("recent_median"), nullptr);
}

TEST_F(AnomaliesTest, aBaselineIsJudgedByFromTwoThousandValuesOn) {
    fill(1969, 30, 90, 90);
    const Json tooShort = metrics()[0];
    EXPECT_EQ(tooShort.at("baseline_values"), 1999);
    EXPECT_EQ(tooShort.at("verdict"), "baselineTooShort");
    EXPECT_EQ(tooShort.at("recent_median"), nullptr);
    EXPECT_EQ(tooShort.at("score"), nullptr);
    EXPECT_EQ(lines()[1],
              "CPU              20.0%   4.0        1999    -            -      Not judged: fewer than 2000 "
              "values in seven days");
    fill(1, 0, 0, 0);
    const Json judged = metrics()[0];
    EXPECT_EQ(judged.at("baseline_values"), 2000);
    EXPECT_EQ(judged.at("verdict"), "unusual");
}

TEST_F(AnomaliesTest, theLastQuarterOfAnHourIsJudgedFromThirtyValuesOn) {
    fill(2000, 29, 90, 90);
    const Json tooFew = metrics()[0];
    EXPECT_EQ(tooFew.at("verdict"), "tooFewRecentValues");
    EXPECT_EQ(tooFew.at("baseline_values"), 2029);
    EXPECT_EQ(tooFew.at("recent_median"), nullptr);
    EXPECT_EQ(tooFew.at("score"), nullptr);
    EXPECT_EQ(lines()[1],
              "CPU              20.0%   4.0        2029    -            -      Not judged: fewer than 30 "
              "values in the last 15 minutes");
    fill(0, 1, 90, 90);
    EXPECT_EQ(metrics()[0].at("verdict"), "unusual");
}

TEST_F(AnomaliesTest, belowItsFloorNothingIsUnusual) {
    fill(4000, 30, 39.99, 54.99);
    const Json all = metrics();
    EXPECT_EQ(all[0].at("verdict"), "belowFloor");
    EXPECT_EQ(all[0].at("recent_median"), 39.99);
    EXPECT_EQ(all[0].at("score"), nullptr);
    EXPECT_EQ(all[1].at("verdict"), "belowFloor");
    const auto text = lines();
    EXPECT_TRUE(text[1].ends_with("  -      Never unusual below 40%")) << text[1];
    EXPECT_TRUE(text[2].ends_with("  -      Never unusual below 55%")) << text[2];
}

TEST_F(AnomaliesTest, theFiguresBehindAJudgementAreTold) {
    fill(2001, 31, 95, 55);
    const Json all = metrics();
    const Json cpu = {{"metric", "cpu"},         {"baseline_median", 20.0}, {"baseline_deviation", 4.0},
                      {"baseline_values", 2032}, {"recent_median", 95.0},   {"score", (95 - 20) * 0.6745 / 4},
                      {"verdict", "unusual"}};
    const Json pressure = {{"metric", "memoryPressure"}, {"baseline_median", 40.0},
                           {"baseline_deviation", 4.0},  {"baseline_values", 2032},
                           {"recent_median", 55.0},      {"score", (55 - 40) * 0.6745 / 4},
                           {"verdict", "usual"}};
    EXPECT_EQ(all.dump(), Json({cpu, pressure}).dump());
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  "Metric           Normal  Deviation  Values  Last 15 min  Score  Verdict",
                  "CPU              20.0%   4.0        2032    95.0%        12.6   Unusual for this machine",
                  "Memory pressure  40.0%   4.0        2032    55.0%        2.5    Usual for this machine"}));
}

TEST_F(AnomaliesTest, valuesThatNoMachineGivesAreMissing) {
    fill(2000, 30, 90, 1e300);
    const Json pressure = metrics()[1];
    EXPECT_EQ(pressure.at("verdict"), "tooFewRecentValues");
    EXPECT_EQ(pressure.at("baseline_values"), 2000);
    EXPECT_EQ(lines()[2],
              "Memory pressure  40.0%   4.0        2000    -            -      Not judged: fewer than 30 "
              "values in the last 15 minutes");
}

// The newest rows of a running program stand in the log beside its file until it writes them back.
TEST_F(AnomaliesTest, aRunningProgramIsReadAlongWithAndLeftAlone) {
    fill(2000, 29, 90, 90);
    DatabaseManager running(user_.database(), clock_);
    running.insertSnapshot(sample(30, 90, 90));
    Sql write(user_.database());
    write.run("BEGIN IMMEDIATE;");
    const auto content = [this] { return readFile(user_.database()) + readFile(user_.database() + "-wal"); };
    const std::string before = content();
    EXPECT_EQ(metrics()[0].at("verdict"), "unusual");
    EXPECT_EQ(content(), before);
    write.run("COMMIT;");
    running.insertSnapshot(sample(20, 90, 90));
    EXPECT_EQ(metrics()[0].at("baseline_values"), 2031);
}

}  // namespace
}  // namespace corvanta::test
