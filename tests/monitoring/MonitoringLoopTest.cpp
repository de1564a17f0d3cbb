// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/MonitoringLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <future>
#include <vector>

#include "ScriptedCollectors.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::CollectorScript;
using test::FakePlatform;
using test::Hold;

class MonitoringLoopTest : public testing::Test {
  protected:
    ~MonitoringLoopTest() override {
        if (loop) loop->close();
    }

    FakePlatform machine;
    std::shared_ptr<CollectorScript> script = std::make_shared<CollectorScript>();
    std::vector<CycleReadings> published;
    std::shared_ptr<MonitoringLoop> loop =
        MonitoringLoop::create(machine.platform, test::makeScriptedCollectors(script),
                               [this](const CycleReadings& readings) { published.push_back(readings); });
};

TEST_F(MonitoringLoopTest, theFirstCycleRunsWithoutAnyWait) {
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(published.size(), 1U);
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    EXPECT_EQ(machine.executor.queued(), 0U);
}

TEST_F(MonitoringLoopTest, theWaitStartsOnlyWhenTheCycleHasBeenPublished) {
    loop->startMonitoring();
    while (machine.executor.queued() == 0) std::this_thread::yield();
    EXPECT_TRUE(machine.waiter.waits().empty());
    ASSERT_TRUE(machine.executor.runNext());  // the publish step of the first cycle
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(2));
    EXPECT_EQ(published.size(), 2U);
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{2.0, 2.0}));
}

TEST_F(MonitoringLoopTest, aNewIntervalHoldsFromTheNextWaitOn) {
    loop->setInterval(1.0);
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    loop->setInterval(3.0);  // the wait in progress goes on
    EXPECT_EQ(machine.executor.queued(), 0U);
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{1.0}));
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(2));
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{1.0, 3.0}));
}

TEST_F(MonitoringLoopTest, theIntervalIsReadAfterTheCycle) {
    loop->startMonitoring();
    while (machine.executor.queued() == 0) std::this_thread::yield();
    loop->setInterval(3.0);  // while the publish step is still to come
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{3.0}));
}

TEST_F(MonitoringLoopTest, theSixCollectorsRunAtOnceWhenTheyTakeLong) {
    std::barrier meeting(6);  // nobody passes unless all six are there
    script->duringEach = [&] { meeting.arrive_and_wait(); };
    loop->collect({});
    EXPECT_EQ(script->readings, 6);
}

TEST_F(MonitoringLoopTest, cancellingACycleCancelsTheReadingsNotYetBegun) {
    // The first reading, on the one worker that is woken at first, cancels the cycle at once.
    std::stop_source stop;
    script->duringEach = [&] { stop.request_stop(); };
    auto cycle = std::async(std::launch::async, [&] { return loop->updateMetrics(stop.get_token()); });
    EXPECT_EQ(cycle.get(), MonitoringLoop::Outcome::completed);
    EXPECT_LT(script->readings, 6);
    EXPECT_EQ(machine.executor.queued(), 0U);
}

TEST_F(MonitoringLoopTest, theReadingsOfAllSixCollectorsArePublished) {
    script->cpu = 42;
    script->ram.total = 16e9;
    script->disk = {1e9, 2e9};
    script->battery = BatteryDetails{80, true, true, 30, 12, 90};
    script->network = {100, 200};
    script->processes = {ProcessDetail{7, "cc1plus", 1, 1, 1, 1, 1, "User"}};
    machine.lowPower.enabled = true;
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    const CycleReadings& readings = published.at(0);
    EXPECT_EQ(readings.cpuUsage, 42);
    EXPECT_EQ(readings.ram, script->ram);
    EXPECT_EQ(readings.disk, script->disk);
    EXPECT_EQ(readings.battery, script->battery);
    EXPECT_EQ(readings.network, script->network);
    EXPECT_EQ(*readings.processes, script->processes);
    EXPECT_TRUE(readings.isLowPowerModeEnabled);
    EXPECT_EQ(script->diskNow, 1000);
    EXPECT_EQ(script->batteryNow, 1000);
    EXPECT_EQ(script->processesNow, 1000);
    EXPECT_FALSE(script->processesForced);
}

TEST_F(MonitoringLoopTest, aCycleCancelledWhileItGathersPublishesNothing) {
    Hold hold;
    script->duringCpu = [&] { hold.pass(); };
    std::stop_source stop;
    auto cycle = std::async(std::launch::async, [&] { return loop->updateMetrics(stop.get_token()); });
    ASSERT_TRUE(hold.awaitArrival());
    stop.request_stop();
    hold.open();
    EXPECT_EQ(cycle.get(), MonitoringLoop::Outcome::completed);
    EXPECT_EQ(machine.executor.queued(), 0U);

    // The coordinator is free again.
    auto next = std::async(std::launch::async, [&] { return loop->updateMetrics({}); });
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(next.get(), MonitoringLoop::Outcome::completed);
    EXPECT_EQ(published.size(), 1U);
}

TEST_F(MonitoringLoopTest, aCycleIsOverOnlyWhenItsPublishStepHasReturned) {
    auto cycle = std::async(std::launch::async, [&] { return loop->updateMetrics({}); });
    // Until its publish step has run, everybody else is refused.
    while (machine.executor.queued() == 0) std::this_thread::yield();
    EXPECT_EQ(loop->updateMetrics({}), MonitoringLoop::Outcome::skippedAlreadyRunning);
    EXPECT_EQ(script->cpuReadings, 1);
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(cycle.get(), MonitoringLoop::Outcome::completed);
}

TEST_F(MonitoringLoopTest, startingAgainCancelsTheLoopThatRuns) {
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    loop->startMonitoring();  // the first loop's wait ends in cancellation
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(2));
    machine.waiter.release();  // the ended wait of the first loop
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(3));
    EXPECT_EQ(published.size(), 3U);
    EXPECT_EQ(machine.executor.queued(), 0U);
}

TEST_F(MonitoringLoopTest, aRequestDuringACycleLapses) {
    Hold hold;
    script->duringCpu = [&] { hold.pass(); };
    loop->startMonitoring();
    ASSERT_TRUE(hold.awaitArrival());
    ASSERT_TRUE(
        test::awaitEndOfTask(machine.threadSetup, "com.corvanta.refresh", [&] { loop->requestCycle(); }));
    EXPECT_EQ(loop->updateMetrics({}), MonitoringLoop::Outcome::skippedAlreadyRunning);
    hold.open();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    EXPECT_EQ(machine.executor.runQueued(), 0);
    EXPECT_EQ(published.size(), 1U);
    EXPECT_EQ(script->cpuReadings, 1);
}

TEST_F(MonitoringLoopTest, aPowerChangeWaitsATenthOfASecondAndThenReadsTheBatteryAfresh) {
    loop->refreshBatteryAfterPowerSourceChange();
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    EXPECT_EQ(script->batteryInvalidations, 0);
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(script->batteryInvalidations, 1);
    EXPECT_EQ(published.size(), 1U);
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{0.1}));
}

TEST_F(MonitoringLoopTest, aPowerChangeDuringALongCycleTriesFiveTimesAndGivesUp) {
    Hold hold;
    script->duringCpu = [&] { hold.pass(); };
    auto longCycle = std::async(std::launch::async, [&] { return loop->updateMetrics({}); });
    ASSERT_TRUE(hold.awaitArrival());

    loop->refreshBatteryAfterPowerSourceChange();
    for (std::size_t wait = 1; wait <= 5; ++wait) {
        ASSERT_TRUE(machine.waiter.awaitWaits(wait));
        machine.waiter.release();
    }
    while (script->batteryInvalidations < 5) std::this_thread::yield();
    hold.open();
    ASSERT_TRUE(machine.executor.runNext());
    longCycle.get();
    loop->close();  // the task has ended by itself: nothing is left to cancel
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{0.1, 0.2, 0.2, 0.2, 0.2}));
    EXPECT_EQ(script->batteryInvalidations, 5);
    EXPECT_EQ(published.size(), 1U);
}

TEST_F(MonitoringLoopTest, aPowerChangeEndsItsTriesWithTheFirstCycleThatRuns) {
    Hold hold;
    script->duringCpu = [&] { hold.pass(); };
    auto longCycle = std::async(std::launch::async, [&] { return loop->updateMetrics({}); });
    ASSERT_TRUE(hold.awaitArrival());
    loop->refreshBatteryAfterPowerSourceChange();
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    machine.waiter.release();
    ASSERT_TRUE(machine.waiter.awaitWaits(2));  // refused once
    hold.open();
    ASSERT_TRUE(machine.executor.runNext());
    longCycle.get();
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    loop->close();
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{0.1, 0.2}));
    EXPECT_EQ(published.size(), 2U);
}

TEST_F(MonitoringLoopTest, aBurstOfPowerChangesIsNotMerged) {
    for (int i = 0; i < 3; ++i) loop->refreshBatteryAfterPowerSourceChange();
    ASSERT_TRUE(machine.waiter.awaitWaits(3));
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{0.1, 0.1, 0.1}));
}

TEST_F(MonitoringLoopTest, nothingIsPublishedOnceItIsClosed) {
    loop->startMonitoring();
    while (machine.executor.queued() == 0) std::this_thread::yield();
    loop->close();
    machine.executor.runQueued();
    EXPECT_TRUE(published.empty());
}

TEST(MonitoringLoopLifetime, theTasksHoldItWeaklyBetweenRounds) {
    // Never destroyed: the thread of the dropped loop is not waited for.
    static FakePlatform& machine = *new FakePlatform;
    int published = 0;
    auto loop = MonitoringLoop::create(machine.platform, {}, [&](const CycleReadings&) { ++published; });
    const std::weak_ptr<MonitoringLoop> weak = loop;
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    while (weak.use_count() > 1) std::this_thread::yield();
    loop.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(published, 1);
}

TEST_F(MonitoringLoopTest, itsThreadsAreBackgroundThreads) {
    loop->startMonitoring();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    const std::vector<std::string> labels = machine.threadSetup.labels();
    EXPECT_EQ(std::count(labels.begin(), labels.end(), "com.corvanta.monitor"), 1);
    EXPECT_GE(std::count(labels.begin(), labels.end(), "com.corvanta.collector"), 1);
    EXPECT_LE(std::count(labels.begin(), labels.end(), "com.corvanta.collector"), 6);
}

}  // namespace
}  // namespace corvanta
