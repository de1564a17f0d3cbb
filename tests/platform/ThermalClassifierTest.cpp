// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ThermalClassifier.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace corvanta {
namespace {

constexpr int unknown = ThermalClassifier::unknown;
constexpr int nominal = ThermalClassifier::nominal;
constexpr int fair = ThermalClassifier::fair;
constexpr int serious = ThermalClassifier::serious;
constexpr int critical = ThermalClassifier::critical;

using Unit = ThrottleCounter::Unit;

/// What a machine shows that has all sources, by hand.
struct Machine {
    std::int64_t margin = 40'000;  ///< from the sensor to its limit
    std::int64_t zone = 40'000;
    TripPoints trips = {};
    double throttledPercent = 0;  ///< of the time
    bool isDegraded = false;
};

/// Feeds readings every two seconds, as the worker does.
class Feeder {
  public:
    int feed(const Machine& machine, double seconds = 0) {
        const double end = moment_ + seconds;
        step(machine);
        while (moment_ < end) {
            moment_ += 2;
            throttled_ += machine.throttledPercent * 20;
            step(machine);
        }
        return state;
    }
    /// The next reading, two seconds later.
    int next(const Machine& machine) {
        moment_ += 2;
        throttled_ += machine.throttledPercent * 20;
        step(machine);
        return state;
    }

    int state = unknown;

  private:
    void step(const Machine& machine) {
        ThermalReading reading;
        reading.sensors = {{100'000 - machine.margin, 100'000}};
        reading.zones = {{0, machine.zone, machine.trips}};
        reading.throttling = {{0, Unit::milliseconds, static_cast<std::uint64_t>(throttled_)}};
        state = classifier_.feed(moment_, reading, machine.isDegraded);
    }

    ThermalClassifier classifier_;
    double moment_ = 100;
    double throttled_ = 0;  // milliseconds
};

const TripPoints passiveTrip = {85'000, {}, {}, false};
const TripPoints hotTrip = {{}, 85'000, {}, false};
const TripPoints criticalTrip = {{}, {}, 85'000, false};

struct Row {
    std::string name;
    Machine machine;
    int atOnce;
    int afterTenSeconds;
};

TEST(ThermalClassifier, risesByItsThresholds) {
    const std::vector<Row> rows = {
        {"cool", {}, nominal, nominal},
        // a hot trip
        {"at hot", {.zone = 85'000, .trips = hotTrip}, critical, critical},
        {"over hot", {.zone = 90'000, .trips = hotTrip}, critical, critical},
        {"below hot", {.zone = 84'999, .trips = hotTrip}, nominal, nominal},
        // within 3 degrees of a critical trip
        {"3 below critical", {.zone = 82'000, .trips = criticalTrip}, critical, critical},
        {"over critical", {.zone = 86'000, .trips = criticalTrip}, critical, critical},
        {"more than 3 below critical", {.zone = 81'999, .trips = criticalTrip}, nominal, nominal},
        // at or over a passive trip, for ten seconds; within 5 degrees of it
        {"at passive", {.zone = 85'000, .trips = passiveTrip}, fair, serious},
        {"below passive", {.zone = 84'999, .trips = passiveTrip}, fair, fair},
        {"5 below passive", {.zone = 80'000, .trips = passiveTrip}, fair, fair},
        {"more than 5 below passive", {.zone = 79'999, .trips = passiveTrip}, nominal, nominal},
        {"at a comfort trip", {.zone = 90'000, .trips = {{}, {}, {}, true}}, nominal, nominal},
        // the processor near its limit, for ten seconds
        {"3 below the limit", {.margin = 3'000}, nominal, serious},
        {"over the limit", {.margin = -1'000}, nominal, serious},
        {"more than 3 below the limit", {.margin = 3'001}, nominal, fair},
        {"15 below the limit", {.margin = 15'000}, nominal, fair},
        {"more than 15 below the limit", {.margin = 15'001}, nominal, nominal},
        // slowed down by a service
        {"degraded", {.isDegraded = true}, serious, serious},
    };
    for (const Row& row : rows) {
        Feeder feeder;
        EXPECT_EQ(feeder.feed(row.machine), row.atOnce) << row.name;
        EXPECT_EQ(feeder.feed(row.machine, 8), row.atOnce) << row.name;
        EXPECT_EQ(feeder.next(row.machine), row.afterTenSeconds) << row.name;
        EXPECT_EQ(feeder.feed(row.machine, 20), row.afterTenSeconds) << row.name;
    }
}

TEST(ThermalClassifier, risesByTheShareOfThrottledTime) {
    const std::vector<std::pair<double, int>> rows = {{0, nominal},  {0.1, fair},     {9.9, fair},
                                                      {10, serious}, {49.9, serious}, {100, serious}};
    for (const auto& [percent, expected] : rows) {
        Feeder feeder;
        EXPECT_EQ(feeder.feed({.throttledPercent = percent}, 20), expected) << percent;
    }
    // One burst is fair at once: a tenth of a second in two seconds is 1 % of ten.
    Feeder feeder;
    feeder.feed({});
    EXPECT_EQ(feeder.next({.throttledPercent = 5}), fair);
}

TEST(ThermalClassifier, heavyThrottlingAtTheLimitIsCriticalAfterTenSeconds) {
    const Machine hot = {.margin = 3'000, .throttledPercent = 50};
    Feeder feeder;
    feeder.feed({.throttledPercent = 50}, 10);
    EXPECT_EQ(feeder.state, serious);
    EXPECT_EQ(feeder.feed(hot, 8), serious);
    EXPECT_EQ(feeder.next(hot), critical);

    Feeder less;
    EXPECT_EQ(less.feed({.margin = 3'000, .throttledPercent = 49.9}, 40), serious);
    Feeder cooler;
    EXPECT_EQ(cooler.feed({.margin = 3'001, .throttledPercent = 50}, 40), serious);
}

TEST(ThermalClassifier, aBreakStartsTheTenSecondsAnew) {
    const Machine hot = {.margin = 3'000};
    Feeder feeder;
    feeder.feed(hot, 8);
    EXPECT_EQ(feeder.next({.margin = 15'001}), nominal);
    EXPECT_EQ(feeder.next(hot), nominal);
    EXPECT_EQ(feeder.feed(hot, 8), nominal);
    EXPECT_EQ(feeder.next(hot), serious);
}

struct Fall {
    std::string name;
    Machine raised;
    int state;
    Machine held;  ///< the weakest that holds the state
    Machine released;
    int lower;  ///< where the released state falls to
};

TEST(ThermalClassifier, fallsWhenWeakerConditionsHaveFailedForTenSeconds) {
    const TripPoints both = {85'000, 95'000, {}, false};
    const std::vector<Fall> rows = {
        {"hot trip",
         {.zone = 85'000, .trips = hotTrip},
         critical,
         {.zone = 82'000, .trips = hotTrip},
         {.zone = 81'999, .trips = hotTrip},
         nominal},
        {"critical trip",
         {.zone = 82'000, .trips = criticalTrip},
         critical,
         {.zone = 79'000, .trips = criticalTrip},
         {.zone = 78'999, .trips = criticalTrip},
         nominal},
        {"passive trip",
         {.zone = 85'000, .trips = passiveTrip},
         serious,
         {.zone = 82'000, .trips = passiveTrip},
         {.zone = 81'999, .trips = passiveTrip},
         fair},
        {"near a passive trip",
         {.zone = 80'000, .trips = passiveTrip},
         fair,
         {.zone = 77'000, .trips = passiveTrip},
         {.zone = 76'999, .trips = passiveTrip},
         nominal},
        {"the limit", {.margin = 3'000}, serious, {.margin = 6'000}, {.margin = 6'001}, fair},
        {"near the limit", {.margin = 15'000}, fair, {.margin = 18'000}, {.margin = 18'001}, nominal},
        {"hot, then over passive",
         {.zone = 95'000, .trips = both},
         critical,
         {.zone = 92'000, .trips = both},
         {.zone = 91'999, .trips = both},
         serious},
        {"degraded", {.isDegraded = true}, serious, {.isDegraded = true}, {}, nominal},
    };
    for (const Fall& row : rows) {
        Feeder feeder;
        EXPECT_EQ(feeder.feed(row.raised, 30), row.state) << row.name;
        EXPECT_EQ(feeder.feed(row.held, 60), row.state) << row.name;
        feeder.next(row.released);
        EXPECT_EQ(feeder.feed(row.released, 8), row.state) << row.name;
        feeder.feed(row.held);  // a break: the ten seconds start anew
        feeder.next(row.released);
        EXPECT_EQ(feeder.feed(row.released, 8), row.state) << row.name;
        EXPECT_EQ(feeder.next(row.released), row.lower) << row.name;
    }
}

TEST(ThermalClassifier, throttlingHoldsAStateByHalf) {
    const std::vector<std::tuple<double, double, int, int>> rows = {
        {10, 5, serious, serious}, {10, 4.9, serious, fair}, {1, 0.1, fair, fair}, {1, 0, fair, nominal}};
    for (const auto& [raising, later, state, expected] : rows) {
        Feeder feeder;
        EXPECT_EQ(feeder.feed({.throttledPercent = raising}, 20), state);
        EXPECT_EQ(feeder.feed({.throttledPercent = later}, 60), expected) << later;
    }
    const auto criticalThen = [](const Machine& later) {
        Feeder feeder;
        EXPECT_EQ(feeder.feed({.margin = 3'000, .throttledPercent = 50}, 40), critical);
        return feeder.feed(later, 60);
    };
    EXPECT_EQ(criticalThen({.margin = 6'000, .throttledPercent = 25}), critical);
    EXPECT_EQ(criticalThen({.margin = 6'001, .throttledPercent = 25}), serious);
    EXPECT_EQ(criticalThen({.margin = 6'000, .throttledPercent = 24.9}), serious);
}

TEST(ThermalClassifier, theSensorHottestForItsLimitDecides) {
    const auto stateWith = [](const std::vector<CpuSensor>& sensors) {
        ThermalClassifier classifier;
        ThermalReading reading;
        reading.sensors = sensors;
        int state = unknown;
        for (double moment = 0; moment <= 10; moment += 2) state = classifier.feed(moment, reading, false);
        return state;
    };
    EXPECT_EQ(stateWith({{60'000, 100'000}, {97'000, 100'000}, {50'000, 100'000}}), serious);
    // 90 of 104 is less than 70 of 80, though its distance is greater.
    EXPECT_EQ(stateWith({{90'000, 104'000}, {70'000, 80'000}}), fair);
    EXPECT_EQ(stateWith({{65'000, 80'000}, {80'000, 100'000}}), fair);  // 15 below 80
    EXPECT_EQ(stateWith({{60'000, 80'000}, {80'000, 100'000}}), nominal);
}

TEST(ThermalClassifier, aSingleUsableSourceIsEnoughForNominal) {
    const auto first = [](const ThermalReading& reading) {
        return ThermalClassifier().feed(0, reading, false);
    };
    EXPECT_EQ(first({{{40'000, 95'000}}, {}, {}}), nominal);
    EXPECT_EQ(first({{}, {{0, 40'000, {{}, {}, {}, true}}}, {}}), nominal);
    EXPECT_EQ(first({{}, {}, {{0, Unit::milliseconds, 5}}}), nominal);
    EXPECT_EQ(first({}), unknown);
}

TEST(ThermalClassifier, sourcesThatFallSilentLeadToUnknown) {
    ThermalClassifier classifier;
    ThermalReading hot;
    hot.zones = {{0, 85'000, hotTrip}};
    ThermalReading cool;
    cool.zones = {{0, 40'000, hotTrip}};
    EXPECT_EQ(classifier.feed(0, cool, false), nominal);
    EXPECT_EQ(classifier.feed(2, {}, false), unknown);
    EXPECT_EQ(classifier.feed(4, hot, false), critical);
    EXPECT_EQ(classifier.feed(6, {}, false), critical);
    EXPECT_EQ(classifier.feed(14, {}, false), critical);
    EXPECT_EQ(classifier.feed(16, {}, false), unknown);
    EXPECT_EQ(classifier.feed(18, {}, true), serious);
}

TEST(ThermalClassifier, aZoneThatFirmwareMakesUpIsOnlyEverNominal) {
    for (const std::int64_t fiction : {0, 27'800}) {
        const TripPoints trips = {{}, fiction > 0 ? fiction : 1, 3'000, false};
        ThermalClassifier classifier;
        ThermalReading reading;
        reading.zones = {{0, fiction, trips}};
        EXPECT_EQ(classifier.feed(0, reading, false), nominal) << fiction;
        EXPECT_EQ(classifier.feed(20, reading, false), nominal) << fiction;
        reading.zones[0].temperature = 27'900;
        EXPECT_EQ(classifier.feed(22, reading, false), critical) << fiction;
        // It measures, so the same figure is a temperature now.
        reading.zones[0].temperature = fiction;
        EXPECT_EQ(classifier.feed(60, reading, false), critical) << fiction;
    }
}

TEST(ThrottleWindow, measuresTheWorstCounterOverTenSeconds) {
    ThrottleWindow window;
    const auto feed = [&](double moment, std::uint64_t a, std::uint64_t b) {
        return window.feed(moment, {{0, Unit::milliseconds, a}, {1, Unit::milliseconds, b}});
    };
    EXPECT_EQ(feed(0, 700, 90'000), 0);
    EXPECT_DOUBLE_EQ(feed(2, 1'700, 90'000), 10);
    EXPECT_DOUBLE_EQ(feed(10, 1'700, 92'000), 20);
    EXPECT_DOUBLE_EQ(feed(12, 1'700, 92'000), 20);  // since 2
    EXPECT_DOUBLE_EQ(feed(22, 1'700, 92'000), 0);
    EXPECT_DOUBLE_EQ(feed(42, 1'700, 94'000), 10);    // over the twenty seconds that nobody looked
    EXPECT_DOUBLE_EQ(feed(52, 99'700, 94'000), 100);  // never more than all the time
}

TEST(ThrottleWindow, aCounterThatStartsAnewBeginsANewHistory) {
    ThrottleWindow window;
    const auto feed = [&](double moment, std::uint64_t total) {
        return window.feed(moment, {{0, Unit::milliseconds, total}});
    };
    feed(0, 18'446'744'073'709'551'000U);
    EXPECT_EQ(feed(2, 100), 0);
    EXPECT_DOUBLE_EQ(feed(4, 600), 5);
}

TEST(ThrottleWindow, aCounterThatIsBackAfterAWhileIsMeasuredOverThatTime) {
    ThrottleWindow window;
    window.feed(0, {{0, Unit::milliseconds, 100}});
    EXPECT_EQ(window.feed(50, {}), 0);
    EXPECT_DOUBLE_EQ(window.feed(100, {{0, Unit::milliseconds, 1'100}}), 1);
}

TEST(ThrottleWindow, eventsCountWhileTheyGrowInThreeOfFiveReadings) {
    const auto last = [](const std::vector<std::uint64_t>& totals) {
        ThrottleWindow window;
        double percent = 0;
        double moment = 0;
        for (const std::uint64_t total : totals) {
            percent = window.feed(moment, {{0, Unit::events, total}});
            moment += 2;
        }
        return percent;
    };
    EXPECT_EQ(last({5}), 0);
    EXPECT_EQ(last({5, 6, 7}), 0);
    EXPECT_EQ(last({5, 6, 7, 8}), 20);
    EXPECT_EQ(last({5, 6, 7, 8, 8, 8}), 20);
    EXPECT_EQ(last({5, 6, 7, 8, 8, 8, 8}), 0);  // the first growth is six readings back
    EXPECT_EQ(last({5, 6, 6, 7, 7, 8}), 20);
    EXPECT_EQ(last({0, 100, 100, 100, 100, 200}), 0);  // by how much doesn't matter
    EXPECT_EQ(last({5, 6, 7, 0, 1, 2}), 0);            // started anew
}

TEST(ThermalClassifier, eventsOfOlderKernelsAreSerious) {
    ThermalClassifier classifier;
    ThermalReading reading;
    int state = unknown;
    for (std::uint64_t i = 0; i < 4; ++i) {
        reading.throttling = {{0, Unit::events, i}};
        state = classifier.feed(2 * static_cast<double>(i), reading, false);
    }
    EXPECT_EQ(state, serious);
}

}  // namespace
}  // namespace corvanta
