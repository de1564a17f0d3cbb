// SPDX-License-Identifier: Apache-2.0
#include "core/Clock.h"

#include <gtest/gtest.h>
#include <time.h>

#include <thread>

#include "core/Waiter.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

double secondsOf(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

TEST(SystemClock, wallTimeAndUptimeAreTheSystemsOwn) {
    const SystemClock clock;
    const double wallBefore = secondsOf(CLOCK_REALTIME);
    const double wall = secondsSince1970(clock.now());
    EXPECT_LE(wallBefore, wall + 1e-5);
    EXPECT_LE(wall, secondsOf(CLOCK_REALTIME) + 1e-5);

    const double uptimeBefore = secondsOf(CLOCK_MONOTONIC);
    const double uptime = clock.systemUptime();
    EXPECT_LE(uptimeBefore, uptime + 1e-5);
    EXPECT_LE(uptime, secondsOf(CLOCK_MONOTONIC) + 1e-5);
}

TEST(SystemWaiter, aWaitOfNoTimeEndsAtOnce) {
    SystemWaiter waiter;
    EXPECT_TRUE(waiter.wait(0, {}));
    EXPECT_TRUE(waiter.wait(-1, {}));
}

TEST(SystemWaiter, cancellationEndsAWait) {
    SystemWaiter waiter;
    std::stop_source stop;
    std::jthread canceller([&] { stop.request_stop(); });
    EXPECT_FALSE(waiter.wait(3600, stop.get_token()));
    EXPECT_FALSE(waiter.wait(3600, stop.get_token()));
}

// Contracts that the system's own and the hand-driven ones both keep.

TEST(ClockContract, uptimeNeverGoesBack) {
    SystemClock real;
    test::FakeClock fake;
    for (const Clock* clock : {static_cast<const Clock*>(&real), static_cast<const Clock*>(&fake)}) {
        double last = clock->systemUptime();
        for (int i = 0; i < 1000; ++i) {
            fake.advance(0.001);
            const double now = clock->systemUptime();
            EXPECT_GE(now, last);
            last = now;
        }
    }
}

TEST(WaiterContract, aCancelledWaitTellsSoAndAnEndedOneToo) {
    SystemWaiter real;
    test::ManualWaiter fake;
    for (Waiter* waiter : {static_cast<Waiter*>(&real), static_cast<Waiter*>(&fake)}) {
        std::stop_source stop;
        stop.request_stop();
        EXPECT_FALSE(waiter->wait(3600, stop.get_token()));
        fake.release();
        fake.release();
        EXPECT_TRUE(waiter->wait(0, {}));
    }
}

}  // namespace
}  // namespace corvanta
