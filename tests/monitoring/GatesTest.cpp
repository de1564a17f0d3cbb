// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <optional>
#include <stdexcept>

#include "monitoring/collectors/MonitoringCycleCoordinator.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"

namespace corvanta {
namespace {

using Outcome = MonitoringCycleCoordinator::Outcome;

TEST(MonitoringRefreshGate, theFirstCallPasses) {
    MonitoringRefreshGate gate(5);
    EXPECT_EQ(gate.lastRefreshTime(), std::nullopt);
    EXPECT_TRUE(gate.shouldRefresh(0));
    EXPECT_EQ(gate.lastRefreshTime(), 0);
    EXPECT_EQ(gate.minimumInterval(), 5);
}

TEST(MonitoringRefreshGate, opensAgainAtExactlyTheInterval) {
    MonitoringRefreshGate gate(5);
    EXPECT_TRUE(gate.shouldRefresh(100));
    EXPECT_FALSE(gate.shouldRefresh(100));
    EXPECT_FALSE(gate.shouldRefresh(104.999));
    EXPECT_TRUE(gate.shouldRefresh(105));
    EXPECT_FALSE(gate.shouldRefresh(109));
}

TEST(MonitoringRefreshGate, aClockThatWentBackwardsPassesAndRestartsTheGate) {
    MonitoringRefreshGate gate(5);
    gate.shouldRefresh(100);
    EXPECT_TRUE(gate.shouldRefresh(50));
    EXPECT_FALSE(gate.shouldRefresh(54));
    EXPECT_TRUE(gate.shouldRefresh(55));
}

RC_GTEST_PROP(MonitoringRefreshGateProperty, agreesWithItsRuleWrittenOut, (const std::vector<int>& steps)) {
    MonitoringRefreshGate gate(10);
    std::optional<double> last;
    double now = 0;
    for (const int step : steps) {
        now += step % 25;
        const bool expected = !last || *last > now || now - *last >= 10;
        RC_ASSERT(gate.shouldRefresh(now) == expected);
        if (expected) last = now;
    }
}

TEST(MonitoringCycleCoordinator, refusesASecondCycleWithoutCallingIt) {
    MonitoringCycleCoordinator coordinator;
    bool secondRan = false;
    EXPECT_FALSE(coordinator.isRunning());
    const Outcome outcome = coordinator.run([&] {
        EXPECT_TRUE(coordinator.isRunning());
        EXPECT_EQ(coordinator.run([&] { secondRan = true; }), Outcome::skippedAlreadyRunning);
    });
    EXPECT_EQ(outcome, Outcome::completed);
    EXPECT_FALSE(secondRan);
    EXPECT_FALSE(coordinator.isRunning());
    EXPECT_EQ(coordinator.run([] {}), Outcome::completed);
}

TEST(MonitoringCycleCoordinator, aBodyThatThrowsClearsTheFlag) {
    MonitoringCycleCoordinator coordinator;
    EXPECT_THROW(coordinator.run([] { throw std::runtime_error("x"); }), std::runtime_error);
    EXPECT_FALSE(coordinator.isRunning());
}

}  // namespace
}  // namespace corvanta
