// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/NotificationGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

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
    for (double second = 1; second < 30 * 60; ++second) ASSERT_FALSE(gate.reserve("key", 30, after(second)));
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
    std::atomic<int> winners = 0;
    std::atomic<int> roundsWithOneWinner = 0;
    // Both threads leave a round together, and so start the next.
    std::barrier endOfRound(2, [&]() noexcept {
        if (winners.exchange(0) == 1) ++roundsWithOneWinner;
    });
    const auto race = [&] {
        for (int round = 0; round < rounds; ++round) {
            if (gate.reserve("key", 30, after(round * 1800.0))) ++winners;
            endOfRound.arrive_and_wait();
        }
    };
    std::thread other(race);
    race();
    other.join();
    EXPECT_EQ(roundsWithOneWinner, rounds);
}

}  // namespace
}  // namespace corvanta
