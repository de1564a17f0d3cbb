// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/NotificationGate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

namespace corvanta {
namespace {

constexpr Instant tenOClock = instantFromSeconds(1'800'000'000);

Instant after(double seconds) {
    return tenOClock + std::chrono::duration<double>(seconds);
}

TEST(NotificationGate, aKeyIsRefusedUntilItsCooldownIsOver) {
    NotificationGate gate;
    EXPECT_TRUE(gate.reserve("key", 30, tenOClock));
    EXPECT_FALSE(gate.reserve("key", 30, tenOClock));
    EXPECT_FALSE(gate.reserve("key", 30, after(29 * 60 + 59)));
    EXPECT_FALSE(gate.reserve("key", 30, after(29 * 60 + 59.999)));
    EXPECT_TRUE(gate.reserve("key", 30, after(30 * 60)));
    EXPECT_FALSE(gate.reserve("key", 30, after(59 * 60 + 59)));
    EXPECT_TRUE(gate.reserve("key", 30, after(60 * 60)));
}

TEST(NotificationGate, aRefusalDoesNotBeginTheCooldownAnew) {
    NotificationGate gate;
    ASSERT_TRUE(gate.reserve("key", 30, tenOClock));
    for (int second = 1; second < 30 * 60; ++second) ASSERT_FALSE(gate.reserve("key", 30, after(second)));
    EXPECT_TRUE(gate.reserve("key", 30, after(30 * 60)));
}

TEST(NotificationGate, eachKeyCoolsDownByItself) {
    NotificationGate gate;
    EXPECT_TRUE(gate.reserve("memory_pressure_2", 30, tenOClock));
    EXPECT_TRUE(gate.reserve("memory_pressure_4", 30, tenOClock));
    EXPECT_TRUE(gate.reserve("", 30, tenOClock));
    EXPECT_FALSE(gate.reserve("memory_pressure_2", 30, after(1)));
    EXPECT_FALSE(gate.reserve("", 30, after(1)));
}

TEST(NotificationGate, theCooldownIsTheOneOfTheCallThatAsks) {
    NotificationGate gate;
    ASSERT_TRUE(gate.reserve("key", 30, tenOClock));
    EXPECT_FALSE(gate.reserve("key", 6, after(300)));
    EXPECT_TRUE(gate.reserve("key", 5, after(300)));
}

TEST(NotificationGate, withoutACooldownNothingIsRefused) {
    NotificationGate gate;
    for (const double seconds : {0.0, 0.0, 1.0, -3600.0, 1.0}) {
        for (const std::int64_t minutes : {std::int64_t{0}, std::int64_t{-30}})
            EXPECT_TRUE(gate.reserve("key", minutes, after(seconds)));
    }
}

TEST(NotificationGate, aPassWithoutACooldownStillBeginsTheNextOne) {
    NotificationGate gate;
    ASSERT_TRUE(gate.reserve("key", 0, tenOClock));
    ASSERT_TRUE(gate.reserve("key", 0, after(600)));
    EXPECT_FALSE(gate.reserve("key", 30, after(1800)));
    EXPECT_TRUE(gate.reserve("key", 30, after(2400)));
}

TEST(NotificationGate, aClockThatWasSetBackLengthensTheCooldownByAsMuch) {
    NotificationGate gate;
    ASSERT_TRUE(gate.reserve("key", 30, tenOClock));
    EXPECT_FALSE(gate.reserve("key", 30, after(-3600)));
    EXPECT_FALSE(gate.reserve("key", 30, after(0)));
    EXPECT_FALSE(gate.reserve("key", 30, after(1799)));
    EXPECT_TRUE(gate.reserve("key", 30, after(1800)));
}

TEST(NotificationGate, theLongestCooldownThereIsRefusesForGood) {
    NotificationGate gate;
    constexpr auto longest = std::numeric_limits<std::int64_t>::max();
    ASSERT_TRUE(gate.reserve("key", longest, tenOClock));
    EXPECT_FALSE(gate.reserve("key", longest, after(1e9)));
}

TEST(NotificationGate, ofTwoThreadsThatRaceForOneKeyOneWins) {
    constexpr int rounds = 100'000;
    NotificationGate gate;
    std::vector<std::atomic<int>> winners(rounds);
    std::atomic<int> arrivals = 0;
    const auto race = [&] {
        for (int round = 0; round < rounds; ++round) {
            // Both start a round together, to which a thread that has to be woken would come too late.
            ++arrivals;
            for (int look = 1; arrivals < 2 * (round + 1); ++look) {
                if (look % 100 == 0) std::this_thread::yield();
            }
            if (gate.reserve("key", 30, after(round * 1800.0))) ++winners[static_cast<std::size_t>(round)];
        }
    };
    std::thread other(race);
    race();
    other.join();
    EXPECT_EQ(std::count(winners.begin(), winners.end(), 1), rounds);
}

}  // namespace
}  // namespace corvanta
