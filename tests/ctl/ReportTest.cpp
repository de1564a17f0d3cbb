// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "ctl/StoreTest.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

class ReportTest : public StoreTest {
  protected:
    /// Rows of three days, all alike.
    void fillDays(int count, double cpu, double pressure) const {
        std::vector<SnapshotValues> samples;
        for (int i = 0; i < count; ++i) samples.push_back(sample(i * 259'200 / (count - 1), cpu, pressure));
        fillStore(samples);
    }
    /// What the score has to be by the severities of the areas, in their order.
    static int scoreOf(const Json& insights) {
        const std::vector<std::map<std::string, int>> deductions = {
            {{"good", 0}, {"notice", 10}, {"warning", 25}},
            {{"good", 0}, {"notice", 10}, {"warning", 25}},
            {{"good", 0}, {"notice", 8}, {"critical", 20}},
            {{"good", 0}, {"notice", 5}, {"warning", 15}}};
        int score = 100;
        for (std::size_t i = 0; i < insights.size(); ++i)
            score -= deductions.at(i).at(insights[i].at("severity").get<std::string>());
        return score;
    }
    static double bootSeconds() {
        double seconds = 0;
        std::ifstream("/proc/uptime") >> seconds;
        return seconds;
    }
};

TEST_F(ReportTest, figuresOfTheWeekComeFromTheStoreAndTheOthersFromTheMachine) {
    fillDays(41, 70, 50);
    const Finished finished = ctl("report --json");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    expectOneLine(finished.out);
    const Json report = Json::parse(finished.out);
    std::vector<std::string> keys;
    for (const auto& entry : report.items()) keys.push_back(entry.key());
    EXPECT_EQ(keys, (std::vector<std::string>{"generated_at", "period_start", "period_end", "sample_count",
                                              "has_sufficient_data", "days_of_data", "average_cpu",
                                              "peak_cpu", "average_pressure", "peak_pressure", "disk_free_gb",
                                              "system_uptime_hours", "battery_health", "battery_cycles",
                                              "health_score", "headline", "insights"}));
    EXPECT_NEAR(report.at("generated_at").get<double>(), static_cast<double>(now_), 60);
    EXPECT_EQ(report.at("period_start"), now_ - 259'200);
    EXPECT_EQ(report.at("period_end"), now_);
    EXPECT_EQ(report.at("sample_count"), 41);
    EXPECT_EQ(report.at("has_sufficient_data"), true);
    EXPECT_EQ(report.at("days_of_data"), 3.0);
    EXPECT_EQ(report.at("average_cpu"), 70.0);
    EXPECT_EQ(report.at("peak_cpu"), 70.0);
    EXPECT_EQ(report.at("average_pressure"), 50.0);
    EXPECT_EQ(report.at("peak_pressure"), 50.0);
    // The rows say 500 GB. Builds and other tests write at the same time.
    const auto free = static_cast<double>(std::filesystem::space("/").available);
    EXPECT_NEAR(report.at("disk_free_gb").get<double>(), free / 1e9, 2);
    EXPECT_LE(report.at("system_uptime_hours").get<double>(), bootSeconds() / 3600);
    EXPECT_GT(report.at("system_uptime_hours").get<double>(), 0);

    const Json& insights = report.at("insights");
    ASSERT_GE(insights.size(), 3u);
    const Json cpu = {{"severity", "warning"},
                      {"title", "Sustained high CPU"},
                      {"detail",
                       "CPU averaged 70% this week and peaked at 70%. Something has been keeping "
                       "your Mac busy — check the top processes."}};
    EXPECT_EQ(insights[0].dump(2), cpu.dump(2));
    EXPECT_EQ(insights[1].at("title"), "Memory moderately used");
    EXPECT_EQ(insights[1].at("severity"), "notice");
    EXPECT_EQ(report.at("health_score").get<int>(), scoreOf(insights));
}

TEST_F(ReportTest, textTellsTheHeadlineTheScoreTheInsightsAndTheFigures) {
    fillDays(41, 20, 30);
    const Finished finished = ctl("report");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    const Json report = Json::parse(ctl("report --json").out);
    const std::vector<std::string> lines = linesOf(finished.out);
    ASSERT_GE(lines.size(), 13u) << finished.out;
    EXPECT_EQ(lines[0], report.at("headline").get<std::string>());
    EXPECT_EQ(lines[1], "Health score " + integerText(report.at("health_score").get<int>()) + " of 100");
    EXPECT_EQ(lines[2], "");
    EXPECT_NE(finished.out.find("  CPU stayed healthy         CPU load was low all week, averaging 20%.\n"),
              std::string::npos)
        << finished.out;
    EXPECT_NE(finished.out.find("  Memory stayed comfortable  "), std::string::npos) << finished.out;
    const auto expectLine = [&](const std::string& line) {
        EXPECT_NE(finished.out.find("\n" + line + "\n"), std::string::npos) << line << "\n" << finished.out;
    };
    expectLine("Period           " + localTime(now_ - 259'200) + " to " + localTime(now_));
    expectLine("Data             41 samples of 3.0 days");
    expectLine("CPU              20% on average, 20% at most");
    expectLine("Memory pressure  30% on average, 30% at most");
    EXPECT_EQ(finished.out.find("too few"), std::string::npos) << finished.out;
}

TEST_F(ReportTest, fewSamplesAreSaidToBeFew) {
    fillDays(29, 20, 30);
    const std::string text = ctl("report").out;
    EXPECT_TRUE(text.starts_with("There are too few samples yet to judge a week by.\nYour Mac ")) << text;
    EXPECT_NE(text.find("  CPU stayed healthy  "), std::string::npos) << text;
    EXPECT_EQ(Json::parse(ctl("report --json").out).at("has_sufficient_data"), false);
}

TEST_F(ReportTest, aStoreWithoutRowsTellsNoFiguresOfTheWeek) {
    fillStore({});
    const Finished finished = ctl("report");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    EXPECT_TRUE(finished.out.starts_with("There are too few samples yet to judge a week by.\n"))
        << finished.out;
    for (const char* line : {"Data             -", "CPU              -", "Memory pressure  -"}) {
        EXPECT_NE(finished.out.find("\n" + std::string(line) + "\n"), std::string::npos) << finished.out;
    }
    EXPECT_EQ(finished.out.find("CPU stayed healthy"), std::string::npos) << finished.out;
    EXPECT_EQ(finished.out.find("Memory stayed comfortable"), std::string::npos) << finished.out;

    const Json report = Json::parse(ctl("report --json").out);
    EXPECT_EQ(report.at("sample_count"), 0);
    const Json& insights = report.at("insights");
    ASSERT_GE(insights.size(), 3u);
    EXPECT_EQ(insights[0].at("title"), "CPU stayed healthy");
    EXPECT_EQ(insights[1].at("title"), "Memory stayed comfortable");
    EXPECT_NE(finished.out.find("  " + insights[2].at("title").get<std::string>() + "  "), std::string::npos)
        << finished.out;
}

TEST_F(ReportTest, oneSampleIsToldInTheSingular) {
    fillStore({sample(60)});
    const std::string text = ctl("report").out;
    EXPECT_NE(text.find("\nData             1 sample of 0.0 days\n"), std::string::npos) << text;
}

TEST_F(ReportTest, daysThatAWeekCannotHaveAreNotTold) {
    fillStore({sample(518'400), sample(-172'800)});
    EXPECT_NE(ctl("report").out.find("\nData             2 samples of 8.0 days\n"), std::string::npos);
    fillStore({sample(-172'900)});
    const std::string text = ctl("report").out;
    EXPECT_NE(text.find("\nData             -\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nCPU              25% on average, 25% at most\n"), std::string::npos) << text;
    EXPECT_EQ(Json::parse(ctl("report --json").out).at("sample_count"), 3);
}

TEST_F(ReportTest, lookingAtItMarksNoReport) {
    fillDays(41, 20, 30);
    user_.writeSettings(R"({"lastWeeklyReportAt": 1000.5})");
    const std::string before = readFile(user_.settings());
    EXPECT_EQ(ctl("report").exitCode, 0);
    EXPECT_EQ(readFile(user_.settings()), before);
}

}  // namespace
}  // namespace corvanta::test
