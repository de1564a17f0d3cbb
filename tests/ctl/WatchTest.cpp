// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "core/Clock.h"
#include "core/Instant.h"
#include "ctl/CtlTest.h"
#include "ctl/MachineLoad.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::json;

/// A `corvantactl watch` that runs.
class Watch : public Program {
  public:
    Watch(const TestUser& user, const std::string& options)
        : Program(CORVANTACTL_PROGRAM, words("watch " + options), user.environment()) {}

    /// The complete lines so far.
    std::vector<std::string> lines() {
        std::vector<std::string> complete;
        std::istringstream text(output());
        for (std::string line; std::getline(text, line) && !text.eof();) complete.push_back(line);
        return complete;
    }
    std::vector<double> figures(const char* name) {
        std::vector<double> values;
        for (const std::string& line : lines()) values.push_back(Json::parse(line).at(name).get<double>());
        return values;
    }
    bool awaitLines(std::size_t count) {
        return eventually([&] { return lines().size() >= count; });
    }
    /// The shortest time between two lines, in seconds. The first comes sooner than the rest.
    double pace(std::size_t lineCount) {
        EXPECT_TRUE(awaitLines(lineCount));
        const std::vector<double> moments = figures("timestamp");
        double shortest = 1e9;
        for (std::size_t i = 2; i < moments.size(); ++i) {
            shortest = std::min(shortest, moments[i] - moments[i - 1]);
        }
        return shortest;
    }
};

using WatchTest = CtlTest;

TEST_F(WatchTest, followsTheLoadUpAndDown) {
    user_.setRefreshFrequency(RefreshFrequency::high);
    Watch watch(user_, "--json");
    {
        Program load("stress-ng", words("--cpu 0 --timeout 100"), user_.environment());
        EXPECT_TRUE(eventually([&] {
            const auto loads = watch.figures("cpu_usage");
            return std::any_of(loads.begin(), loads.end(), [](double percent) { return percent >= 90; });
        }));
        load.signal(SIGTERM);
        EXPECT_EQ(load.exitCode(), 0) << load.errors();
    }
    // Half is low enough, unless other programs keep the machine busier than that by themselves; then the
    // figure has to be theirs.
    MachineLoad machine;
    double told = 0;
    double real = 0;
    std::size_t seen = watch.lines().size();
    EXPECT_TRUE(eventually([&] {
        const auto loads = watch.figures("cpu_usage");
        if (loads.size() == seen) return false;
        seen = loads.size();
        told = loads.back();
        real = machine.sinceLast();
        return std::abs(told - real) <= 15 && (told <= 50 || real > 35);
    })) << "told "
        << told << ", really " << real;
    watch.signal(SIGINT);
    EXPECT_EQ(watch.exitCode(), 0);
}

TEST_F(WatchTest, keepsTheUsersPace) {
    user_.setRefreshFrequency(RefreshFrequency::high);
    TestUser patientUser;
    patientUser.setRefreshFrequency(RefreshFrequency::low);
    TestUser newUser;
    Watch high(user_, "--json");
    Watch low(patientUser, "--json");
    Watch normal(newUser, "--json");

    const double highPace = high.pace(4);
    EXPECT_GE(highPace, 0.95);
    EXPECT_LT(highPace, 1.9);
    const double normalPace = normal.pace(4);
    EXPECT_GE(normalPace, 1.95);
    EXPECT_LT(normalPace, 2.9);
    const double lowPace = low.pace(4);
    EXPECT_GE(lowPace, 2.95);
    EXPECT_LT(lowPace, 3.9);
}

TEST_F(WatchTest, theFirstFiguresComeBeforeTheFirstRefresh) {
    user_.setRefreshFrequency(RefreshFrequency::low);
    const double start = secondsSince1970(SystemClock().now());
    Watch watch(user_, "--json");
    ASSERT_TRUE(watch.awaitLines(2));
    const std::vector<double> moments = watch.figures("timestamp");
    EXPECT_GE(moments[0] - start, 0.5);
    EXPECT_LT(moments[0] - start, 2.9);
    EXPECT_GE(moments[1] - moments[0], 2.95);
}

class WatchSignalTest : public CtlTest, public testing::WithParamInterface<int> {};

TEST_P(WatchSignalTest, endsInGoodOrder) {
    Watch watch(user_, "--json");
    ASSERT_TRUE(watch.awaitLines(1));
    watch.signal(GetParam());
    EXPECT_EQ(watch.exitCode(), 0);
    EXPECT_EQ(watch.errors(), "");
    // The last line is whole.
    EXPECT_EQ(watch.output().back(), '\n');
    EXPECT_TRUE(Json::accept(watch.lines().back()));
}

INSTANTIATE_TEST_SUITE_P(WatchTest, WatchSignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(WatchTest, textInAPipeIsPlainAndParted) {
    Watch watch(user_, "");
    ASSERT_TRUE(watch.awaitOutput("\n\nCPU "));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.exitCode(), 0);
    EXPECT_EQ(watch.output().find('\x1b'), std::string::npos);
    EXPECT_EQ(watch.output().rfind("CPU ", 0), 0u);
}

TEST_F(WatchTest, endsWhenItsReaderHasGone) {
    const std::string pipeline =
        "{ " + std::string(CORVANTACTL_PROGRAM) + " watch --json; echo $? >&2; } | head -n 1";
    Program shell("/bin/sh", {QStringLiteral("-c"), QString::fromStdString(pipeline)}, user_.environment());
    EXPECT_EQ(shell.exitCode(), 0);
    EXPECT_TRUE(Json::accept(shell.output()));
    EXPECT_EQ(shell.errors(), "1\n");  // in good order, and without a word
}

}  // namespace
}  // namespace corvanta::test
