// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <regex>

#include "ctl/StoreTest.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;

class SummaryTest : public StoreTest {
  protected:
    /// What a running program has stored that long ago.
    void store(std::int64_t age, MemoryPressureLevel level, const std::string& thermalState) const {
        SnapshotValues values = sample(age);
        values.pressureState = level;
        values.thermalState = thermalState;
        fillStore({values});
    }
    std::string summary() const {
        const Finished finished = ctl("summary");
        EXPECT_EQ(finished.exitCode, 0);
        EXPECT_EQ(finished.err, "");
        expectOneLine(finished.out);
        return finished.out;
    }
};

TEST_F(SummaryTest, isOneSentenceAndNeedsNoStore) {
    const std::regex sentence(
        "Your Mac is running warm.+\\.\n|Memory pressure (critical|elevated).+\\.\n|.+CPU.+\\.\n|"
        "\\d+% battery.+\\.\n|Battery health at .+\\.\n|Only .+ GB free on disk\\. Consider cleaning up\\.\n|"
        "Running normally\n|All systems running smoothly\n");
    const std::string text = summary();
    EXPECT_TRUE(std::regex_match(text, sentence)) << text;
}

TEST_F(SummaryTest, isAnObjectForPrograms) {
    store(0, MemoryPressureLevel::normal, "Critical");
    const Finished finished = ctl("summary --json");
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.err, "");
    expectOneLine(finished.out);
    const Json object = Json::parse(finished.out);
    ASSERT_EQ(object.size(), 1u);
    EXPECT_TRUE(object.at("summary").get<std::string>().starts_with("Your Mac is running warm"));
}

TEST_F(SummaryTest, tellsTheMemoryLevelThatTheRunningProgramKnows) {
    store(0, MemoryPressureLevel::critical, "Nominal");
    const std::string text = summary();
    EXPECT_TRUE(std::regex_match(text, std::regex("Memory pressure critical — .+ using [\\d.]+ GB\\. [\\d.]+ "
                                                  "GB swapped\\.\n")))
        << text;
}

TEST_F(SummaryTest, tellsTheHeatThatTheRunningProgramKnows) {
    store(0, MemoryPressureLevel::critical, "Serious");
    const std::string text = summary();
    EXPECT_TRUE(std::regex_match(text, std::regex("Your Mac is running warm — .+ is using \\d+% CPU\\.\n")))
        << text;
}

TEST_F(SummaryTest, whatWasStoredAMinuteAgoIsPast) {
    store(60, MemoryPressureLevel::critical, "Serious");
    const std::string text = summary();
    EXPECT_FALSE(text.starts_with("Your Mac is running warm")) << text;
    EXPECT_FALSE(text.starts_with("Memory pressure critical")) << text;
}

TEST_F(SummaryTest, whatStandsAnHourAheadIsNotThePresent) {
    store(-3600, MemoryPressureLevel::critical, "Serious");
    const std::string text = summary();
    EXPECT_FALSE(text.starts_with("Your Mac is running warm")) << text;
    EXPECT_FALSE(text.starts_with("Memory pressure critical")) << text;
}

TEST_F(SummaryTest, thePresentRowCountsBesideOneAnHourAhead) {
    store(0, MemoryPressureLevel::normal, "Serious");
    store(-3600, MemoryPressureLevel::critical, "Nominal");
    const std::string text = summary();
    EXPECT_TRUE(text.starts_with("Your Mac is running warm")) << text;
}

TEST_F(SummaryTest, aDamagedStoreDoesNotMatter) {
    fillStore({sample(0)});
    std::filesystem::resize_file(user_.database(), 1000);
    EXPECT_NE(summary(), "\n");
}

}  // namespace
}  // namespace corvanta::test
