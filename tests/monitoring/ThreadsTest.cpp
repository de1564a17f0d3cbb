// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <future>
#include <vector>

#include "monitoring/collectors/WorkerPool.h"
#include "platform/BackgroundTasks.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using test::FakeThreadSetup;

TEST(WorkerPool, runsEveryJobOnce) {
    FakeThreadSetup setup;
    WorkerPool pool(6, setup, "worker");
    for (int round = 0; round < 500; ++round) {
        std::array<std::atomic<int>, 6> runs{};
        std::vector<WorkerPool::Job> jobs;
        for (auto& run : runs) jobs.emplace_back([&run] { ++run; });
        pool.runAll(jobs, {});
        for (const auto& run : runs) ASSERT_EQ(run, 1);
    }
}

TEST(WorkerPool, jobsThatWaitForEachOtherAllRunAtOnce) {
    FakeThreadSetup setup;
    WorkerPool pool(6, setup, "worker");
    std::barrier meeting(6);  // nobody passes unless all six are there
    const std::vector<WorkerPool::Job> jobs(6, [&] { meeting.arrive_and_wait(); });
    pool.runAll(jobs, {});
}

TEST(WorkerPool, aSlowJobHoldsUpNoOther) {
    FakeThreadSetup setup;
    WorkerPool pool(2, setup, "worker");
    std::promise<void> lastRan;
    const std::vector<WorkerPool::Job> jobs = {[&] { lastRan.get_future().wait(); }, [] {},
                                               [&] { lastRan.set_value(); }};
    pool.runAll(jobs, {});
}

TEST(WorkerPool, jobsNotBegunWhenCancelledDoNotRun) {
    FakeThreadSetup setup;
    WorkerPool pool(1, setup, "worker");
    std::stop_source stop;
    bool secondRan = false;
    const std::vector<WorkerPool::Job> jobs = {[&] { stop.request_stop(); }, [&] { secondRan = true; }};
    pool.runAll(jobs, stop.get_token());
    EXPECT_FALSE(secondRan);
}

TEST(WorkerPool, noJobsAreNoWork) {
    FakeThreadSetup setup;
    WorkerPool pool(1, setup, "worker");
    pool.runAll({}, {});
}

TEST(WorkerPool, itsThreadsAreBackgroundThreads) {
    FakeThreadSetup setup;
    {
        WorkerPool pool(3, setup, "com.corvanta.collector");
        std::barrier meeting(3);
        const std::vector<WorkerPool::Job> jobs(3, [&] { meeting.arrive_and_wait(); });
        pool.runAll(jobs, {});
    }
    EXPECT_EQ(setup.labels(), std::vector<std::string>(3, "com.corvanta.collector"));
}

TEST(BackgroundTasks, cancellingOneLeavesTheOthers) {
    FakeThreadSetup setup;
    BackgroundTasks tasks(setup);
    test::ManualWaiter waiter;
    std::atomic<int> cancelled = 0;
    const auto body = [&](const std::stop_token& stop) {
        if (!waiter.wait(1, stop)) ++cancelled;
    };
    std::stop_source first = tasks.start("first", body);
    tasks.start("second", body);
    ASSERT_TRUE(waiter.awaitWaits(2));
    first.request_stop();
    EXPECT_FALSE(tasks.waitForAll(std::chrono::milliseconds(0)));
    tasks.cancelAll();
    EXPECT_TRUE(tasks.waitForAll(std::chrono::seconds(20)));
    EXPECT_EQ(cancelled, 2);
}

TEST(BackgroundTasks, whatATaskHoldsIsGoneWhenItHasEnded) {
    FakeThreadSetup setup;
    BackgroundTasks tasks(setup);
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> weak = held;
    tasks.start("task", [held = std::move(held)](const std::stop_token&) {});
    ASSERT_TRUE(tasks.waitForAll(std::chrono::seconds(20)));
    EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace corvanta
