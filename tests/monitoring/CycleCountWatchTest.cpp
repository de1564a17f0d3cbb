// SPDX-License-Identifier: Apache-2.0
// What the monitor makes of the battery's cycle count, which outlives the process in one stored number.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "MonitorFixture.h"

namespace corvanta {
namespace {

using Calls = std::vector<std::string>;

constexpr std::string_view key = "lastKnownBatteryCycleCount";

class CycleCountWatchTest : public test::MonitorFixture {
  protected:
    void store(const DefaultsValue& value) {
        machine.defaults.values.insert_or_assign(std::string(key), value);
    }
    std::optional<std::int64_t> stored() const { return machine.defaults.integerValue(key); }

    void sample(std::optional<std::int64_t> count, std::optional<std::int64_t> health = std::nullopt) {
        script->battery = BatteryDetails{50, false, true, {}, count, health};
        cycle();
    }
    std::ptrdiff_t writes() const {
        return std::count(machine.defaults.writes.begin(), machine.defaults.writes.end(), key);
    }
    Calls told() const { return sink.callsOf("notifyBatteryCycleIncreased"); }
};

TEST_F(CycleCountWatchTest, theFirstCountIsStoredInSilence) {
    store(std::int64_t{0});
    sample(212);
    EXPECT_EQ(stored(), 212);
    EXPECT_EQ(told(), Calls{});
}

TEST_F(CycleCountWatchTest, aRiseIsToldAndStored) {
    store(std::int64_t{212});
    sample(213, 91);
    EXPECT_EQ(told(), (Calls{"notifyBatteryCycleIncreased 212 213 91"}));
    EXPECT_EQ(stored(), 213);
    sample(213, 91);
    EXPECT_EQ(told().size(), 1U);
}

TEST_F(CycleCountWatchTest, aRiseIsToldWithoutTheHealthIfThatIsUnknown) {
    store(std::int64_t{1});
    sample(400);
    EXPECT_EQ(told(), (Calls{"notifyBatteryCycleIncreased 1 400 absent"}));
}

TEST_F(CycleCountWatchTest, aFallDoesNothingAndTheNextRiseOverTheOldCountIsTold) {
    store(std::int64_t{213});
    sample(200);
    sample(213);
    EXPECT_EQ(told(), Calls{});
    EXPECT_EQ(stored(), 213);
    EXPECT_EQ(writes(), 0);
    sample(214);
    EXPECT_EQ(told(), (Calls{"notifyBatteryCycleIncreased 213 214 absent"}));
}

TEST_F(CycleCountWatchTest, aSampleWithoutACountChangesNothing) {
    store(std::int64_t{213});
    sample(std::nullopt);
    script->battery.reset();
    cycle();
    EXPECT_EQ(told(), Calls{});
    EXPECT_EQ(writes(), 0);
}

TEST_F(CycleCountWatchTest, aStoredValueThatIsNoIntegerCountsAsNone) {
    store(std::string("212"));
    sample(300);
    EXPECT_EQ(told(), Calls{});
    EXPECT_EQ(stored(), 300);
}

TEST_F(CycleCountWatchTest, aStoredNegativeCountIsNeitherToldNorReplaced) {
    store(std::int64_t{-1});
    sample(300);
    EXPECT_EQ(told(), Calls{});
    EXPECT_EQ(writes(), 0);
    EXPECT_EQ(stored(), -1);
}

TEST_F(CycleCountWatchTest, aRiseIsToldWithNotificationsOffToo) {
    settings.notificationsEnabled.set(false);
    store(std::int64_t{212});
    sample(213);
    EXPECT_EQ(told(), (Calls{"notifyBatteryCycleIncreased 212 213 absent"}));
    EXPECT_EQ(stored(), 213);
}

TEST_F(CycleCountWatchTest, theOldCountIsStillStoredWhileTheRiseIsTold) {
    struct Watcher final : PublishSink {
        explicit Watcher(const DefaultsStore& store) : defaults(store) {}
        void notifyBatteryCycleIncreased(std::int64_t, std::int64_t, std::optional<std::int64_t>) override {
            storedMeanwhile = defaults.integerValue(key);
        }
        const DefaultsStore& defaults;
        std::optional<std::int64_t> storedMeanwhile;
    } watcher{machine.defaults};
    target = &watcher;
    store(std::int64_t{212});
    sample(213);
    EXPECT_EQ(watcher.storedMeanwhile, 212);
    EXPECT_EQ(stored(), 213);
    monitor.reset();  // it publishes to the watcher
}

}  // namespace
}  // namespace corvanta
