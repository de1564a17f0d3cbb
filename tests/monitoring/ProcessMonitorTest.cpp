// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessMonitor.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/FakePlatform.h"
#include "support/FakeProcesses.h"

namespace corvanta {
namespace {

constexpr std::uint64_t gib = std::uint64_t{1} << 30;

/// A process that has used the given time, in hundredths of a second.
ListedProcess used(std::int64_t id, std::uint64_t cpuTime, std::uint64_t startTime = 1) {
    return {id, "p",
            ProcessUsage{.cpuTime = cpuTime, .threads = 1, .residentBytes = 0, .startTime = startTime}};
}

class ProcessMonitorTest : public testing::Test {
  protected:
    using Lists = std::vector<ListedProcess>;

    void give(test::FakeProcessLister::Reading reading) { lister.queue.push_back(std::move(reading)); }
    ProcessList force() { return monitor.getAllProcesses(true, clock.systemUptime()); }
    ProcessList ask() { return monitor.getAllProcesses(false, clock.systemUptime()); }

    test::FakeClock clock;
    test::FakeProcessLister lister;
    ProcessMonitor monitor{lister, clock, 4 * gib};
};

TEST_F(ProcessMonitorTest, turnsTheSystemsFiguresIntoADetail) {
    give(Lists{{42, "editor",
                ProcessUsage{.cpuTime = 1234, .threads = 7, .residentBytes = gib / 2, .startTime = 9}}});
    const auto processes = force();
    ASSERT_EQ(processes->size(), 1U);
    EXPECT_EQ(processes->front(), (ProcessDetail{.id = 42,
                                                 .name = "editor",
                                                 .cpuUsage = 0,
                                                 .ramUsage = 12.5,
                                                 .cpuTime = 12.34,
                                                 .threads = 7,
                                                 .residentBytes = gib / 2,
                                                 .kind = "User"}));
}

TEST_F(ProcessMonitorTest, theKernelIsNamedByItsID) {
    give(Lists{{0, "swapper", ProcessUsage{.cpuTime = 500, .threads = 60}}, {1, "kernel_task", {}}});
    const auto processes = force();
    EXPECT_EQ((*processes)[0].name, "kernel_task");
    EXPECT_EQ((*processes)[0].kind, "Kernel");
    EXPECT_EQ((*processes)[0].threads, 60);
    EXPECT_EQ((*processes)[0].residentBytes, 0U);
    EXPECT_EQ((*processes)[1].kind, "User");
}

TEST_F(ProcessMonitorTest, aProcessWithoutANameIsNamedByItsID) {
    give(Lists{{31, "", ProcessUsage{.cpuTime = 100}}});
    EXPECT_EQ(force()->front().name, "pid-31");
}

TEST_F(ProcessMonitorTest, aProcessThatTheSystemTellsNothingOfIsListedWithZeros) {
    give(Lists{used(1, 100), {31, "", {}}, used(40, 100)});
    const auto processes = force();
    ASSERT_EQ(processes->size(), 3U);
    EXPECT_EQ((*processes)[1], (ProcessDetail{.id = 31, .name = "pid-31", .kind = "User"}));
}

TEST_F(ProcessMonitorTest, theListersOrderStays) {
    give(Lists{used(0, 1), used(3, 900), used(20, 5), used(100, 70)});
    std::vector<std::int64_t> ids;
    for (const ProcessDetail& process : *force()) ids.push_back(process.id);
    EXPECT_EQ(ids, (std::vector<std::int64_t>{0, 3, 20, 100}));
}

TEST_F(ProcessMonitorTest, theFirstListHasNoSharesOfAProcessor) {
    give(Lists{used(1, 100'000), used(2, 5), used(3, 0)});
    for (const ProcessDetail& process : *force()) EXPECT_EQ(process.cpuUsage, 0) << process.id;
}

TEST_F(ProcessMonitorTest, theShareIsThatOfOneCoreSinceTheLastList) {
    give(Lists{used(1, 100), used(2, 100), used(3, 100), used(4, 100)});
    force();
    clock.advance(10);
    give(Lists{used(1, 100), used(2, 350), used(3, 1100), used(4, 4100)});
    const auto processes = force();
    EXPECT_DOUBLE_EQ((*processes)[0].cpuUsage, 0);
    EXPECT_DOUBLE_EQ((*processes)[1].cpuUsage, 25);
    EXPECT_DOUBLE_EQ((*processes)[2].cpuUsage, 100);
    EXPECT_DOUBLE_EQ((*processes)[3].cpuUsage, 400);  // four cores
}

TEST_F(ProcessMonitorTest, aNewProcessHasNoShareOnce) {
    give(Lists{used(1, 100), used(9, 100)});
    force();
    clock.advance(10);
    give(Lists{used(1, 200), used(5, 500), used(9, 300)});
    auto processes = force();
    EXPECT_DOUBLE_EQ((*processes)[0].cpuUsage, 10);
    EXPECT_DOUBLE_EQ((*processes)[1].cpuUsage, 0);
    EXPECT_DOUBLE_EQ((*processes)[2].cpuUsage, 20);
    clock.advance(10);
    give(Lists{used(5, 1000), used(9, 300)});
    processes = force();
    EXPECT_DOUBLE_EQ((*processes)[0].cpuUsage, 50);
    EXPECT_DOUBLE_EQ((*processes)[1].cpuUsage, 0);
}

TEST_F(ProcessMonitorTest, timeThatFellGivesNoShareAndNeverANegativeOne) {
    give(Lists{used(1, 5000)});
    force();
    clock.advance(10);
    give(Lists{used(1, 100)});
    EXPECT_EQ(force()->front().cpuUsage, 0);
    clock.advance(10);
    give(Lists{used(1, 200)});
    EXPECT_DOUBLE_EQ(force()->front().cpuUsage, 10);
}

TEST_F(ProcessMonitorTest, aReusedIDIsANewProcess) {
    give(Lists{used(1, 100, 7)});
    force();
    clock.advance(10);
    give(Lists{used(1, 900, 8)});
    EXPECT_EQ(force()->front().cpuUsage, 0);
    clock.advance(10);
    give(Lists{used(1, 1000, 8)});
    EXPECT_DOUBLE_EQ(force()->front().cpuUsage, 10);
}

TEST_F(ProcessMonitorTest, samplesOfTheListBeforeTheLastAreForgotten) {
    give(Lists{used(1, 100), used(2, 100)});
    force();
    clock.advance(10);
    give(Lists{used(1, 100), {2, "p", {}}});
    force();
    clock.advance(10);
    give(Lists{used(1, 100), used(2, 300)});
    EXPECT_EQ(force()->at(1).cpuUsage, 0);
}

TEST_F(ProcessMonitorTest, noTimeBetweenTwoListsGivesNoShare) {
    give(Lists{used(1, 100)});
    force();
    give(Lists{used(1, 200)});
    EXPECT_EQ(force()->front().cpuUsage, 0);
    clock.setUptime(clock.systemUptime() - 5);
    give(Lists{used(1, 300)});
    EXPECT_EQ(force()->front().cpuUsage, 0);
    clock.advance(1);
    give(Lists{used(1, 350)});
    EXPECT_DOUBLE_EQ(force()->front().cpuUsage, 50);
}

TEST_F(ProcessMonitorTest, theSameListStandsUntilTenSecondsHavePassed) {
    give(Lists{used(1, 100)});
    give(Lists{used(1, 200)});
    const auto first = ask();
    clock.advance(9.999);
    EXPECT_EQ(ask(), first);
    EXPECT_EQ(lister.calls, 1);
    clock.advance(0.001);
    const auto second = ask();
    EXPECT_NE(second, first);
    EXPECT_EQ(lister.calls, 2);
    EXPECT_DOUBLE_EQ(second->front().cpuUsage, 10);
    EXPECT_EQ(first->front().cpuUsage, 0);  // a list that was handed out never changes
}

TEST_F(ProcessMonitorTest, aClockThatWentBackLetsAFreshListBeTaken) {
    give(Lists{used(1, 100)});
    const auto first = monitor.getAllProcesses(false, 500);
    EXPECT_EQ(monitor.getAllProcesses(false, 500), first);
    EXPECT_NE(monitor.getAllProcesses(false, 499), first);
}

TEST_F(ProcessMonitorTest, aForcedListIsFreshAndLeavesTheTenSecondsAsTheyRun) {
    give(Lists{used(1, 100)});
    const auto first = ask();
    clock.advance(2);
    give(Lists{used(1, 150)});
    const auto forced = force();
    EXPECT_NE(forced, first);
    EXPECT_DOUBLE_EQ(forced->front().cpuUsage, 25);  // of the 2 s since the last list
    clock.advance(7.5);
    EXPECT_EQ(ask(), forced);
    clock.advance(0.5);
    EXPECT_NE(ask(), forced);
}

TEST_F(ProcessMonitorTest, aListThatFailsLeavesTheLastOneAndItsSamples) {
    EXPECT_TRUE(force()->empty());  // none has succeeded yet
    give(Lists{used(1, 100)});
    const auto first = force();
    clock.advance(10);
    give(std::nullopt);
    EXPECT_EQ(force(), first);
    give(Lists{});
    EXPECT_EQ(force(), first);
    clock.advance(10);
    give(Lists{used(1, 500)});
    EXPECT_DOUBLE_EQ(force()->front().cpuUsage, 20);  // across the gap
}

TEST_F(ProcessMonitorTest, aListThatFailsStillCountsForTheTenSeconds) {
    give(std::nullopt);
    ask();
    give(Lists{used(1, 100)});
    clock.advance(9.9);
    EXPECT_TRUE(ask()->empty());
    clock.advance(0.1);
    EXPECT_FALSE(ask()->empty());
}

TEST_F(ProcessMonitorTest, unknownPhysicalMemoryGivesNoShares) {
    ProcessMonitor unknowing(lister, clock, 0);
    give(Lists{{1, "p", ProcessUsage{.residentBytes = gib}}});
    const auto processes = unknowing.getAllProcesses(true, 0);
    EXPECT_EQ(processes->front().ramUsage, 0);
    EXPECT_EQ(processes->front().residentBytes, gib);
}

TEST_F(ProcessMonitorTest, thereIsNoLimitOnTheirNumber) {
    Lists many;
    for (int id = 1; id <= 20'000; ++id) many.push_back(used(id, 0));
    give(many);
    EXPECT_EQ(force()->size(), 20'000U);
}

TEST_F(ProcessMonitorTest, absurdFiguresGiveFiniteShares) {
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    give(Lists{used(1, 0)});
    force();
    clock.advance(1);
    give(Lists{{1, "p", ProcessUsage{.cpuTime = most, .threads = 3, .residentBytes = most, .startTime = 1}}});
    const auto processes = force();
    EXPECT_GT(processes->front().cpuUsage, 0);
    EXPECT_LT(processes->front().cpuUsage, std::numeric_limits<double>::infinity());
    EXPECT_LT(processes->front().ramUsage, std::numeric_limits<double>::infinity());
}

TEST_F(ProcessMonitorTest, severalThreadsMayAsk) {
    give(Lists{used(1, 100), used(2, 100)});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int j = 0; j < 100; ++j) {
                EXPECT_EQ(monitor.getAllProcesses(i % 2 == 0, clock.systemUptime())->size(), 2U);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace corvanta
