// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include "ctl/StoreTest.h"

namespace corvanta::test {
namespace {

// What loading the settings would change: there is no menu bar style, and a snooze has expired.
constexpr const char* changingSettings = R"({"showCPU":false, "performanceAlertsSnoozedUntil": 1000.5})";

/// Each command that looks at something.
class ReadOnlyTest : public StoreTest, public testing::WithParamInterface<const char*> {
  protected:
    /// Runs the command to its end; one that has no end of its own until it has written.
    void runCommand() {
        Program program(CORVANTACTL_PROGRAM, words(GetParam()), user_.environment());
        if (std::string_view(GetParam()).starts_with("watch")) {
            ASSERT_TRUE(program.awaitOutput("\n"));
            program.signal(SIGINT);
        }
        EXPECT_GE(program.exitCode(), 0);
        output_ = program.output();
        errors_ = program.errors();
    }

    std::string output_;
    std::string errors_;
};

TEST_P(ReadOnlyTest, changesNeitherTheStoreNorTheSettings) {
    fillStore({sample(3000), sample(60)});
    user_.writeSettings(changingSettings);
    const auto before = filesBelow(user_.folder());
    runCommand();
    EXPECT_NE(output_, "");
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(filesBelow(user_.folder()), before);
}

TEST_P(ReadOnlyTest, makesNothing) {
    const auto before = filesBelow(user_.folder());
    runCommand();
    EXPECT_EQ(filesBelow(user_.folder()), before);
}

TEST_P(ReadOnlyTest, leavesDamagedSettingsWhereTheyAre) {
    fillStore({sample(60)});
    user_.writeSettings("{\"showCPU\": fal");
    const auto before = filesBelow(user_.folder());
    runCommand();
    EXPECT_NE(output_, "");
    EXPECT_EQ(errors_, "corvantactl: Could not read the settings file " + user_.settings() +
                           ": it holds no settings\n");
    EXPECT_EQ(filesBelow(user_.folder()), before);
}

INSTANTIATE_TEST_SUITE_P(Commands, ReadOnlyTest,
                         testing::Values("status", "status --json", "watch", "watch --json", "history",
                                         "history --json", "trends", "trends --json", "incidents",
                                         "incidents --json", "sessions", "sessions --json", "summary",
                                         "summary --json", "report", "report --json", "anomalies",
                                         "anomalies --json"));

}  // namespace
}  // namespace corvanta::test
