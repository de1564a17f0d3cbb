// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PowerSupply.h"

#include <gtest/gtest.h>

#include <cmath>

#include <filesystem>
#include <limits>
#include <map>
#include <string>

#include "monitoring/collectors/BatteryMonitor.h"
#include "platform/OpenDescriptors.h"
#include "platform/linux/SysfsPowerSource.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Unit = BatteryFigures::Unit;
using Attributes = std::map<std::string, std::string>;

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();

const Attributes laptop = {
    {"type", "Battery"},         {"scope", "System"},        {"present", "1"},
    {"status", "Discharging"},   {"cycle_count", "312"},     {"energy_full_design", "57000000"},
    {"energy_full", "48500000"}, {"energy_now", "24250000"}, {"power_now", "12000000"},
    {"voltage_now", "11800000"}, {"capacity", "50"}};

BatteryFigures energyBattery(std::int64_t now, std::int64_t full) {
    return {.status = "Discharging", .capacity = 50, .now = now, .full = full};
}

/// A machine's folder of power supplies, which a test fills.
class SysfsPowerSourceTest : public testing::Test {
  protected:
    SysfsPowerSourceTest() { std::filesystem::create_directories(folder("")); }

    std::string folder(const std::string& supply) const { return root.file("class/power_supply/" + supply); }
    void write(const std::string& supply, const std::string& name, const std::string& value) const {
        root.write("class/power_supply/" + supply + "/" + name, value + "\n");
    }
    void add(const std::string& supply, const Attributes& attributes) const {
        for (const auto& [name, value] : attributes) write(supply, name, value);
    }
    /// In place of a file, what fails when it is read.
    void spoil(const std::string& supply, const std::string& name) const {
        std::filesystem::remove(folder(supply) + "/" + name);
        std::filesystem::create_directory(folder(supply) + "/" + name);
    }
    PowerSourceDescription only() {
        const PowerReading reading = source.read();
        EXPECT_EQ(reading.sources.size(), 1U);
        return reading.sources.empty() ? PowerSourceDescription{} : reading.sources[0];
    }

    test::TempDirectory root;
    test::FakeClock clock;
    SysfsPowerSource source{root.path().string(), clock};
};

TEST(PowerSupply, anAttributeIsItsFirstLine) {
    EXPECT_EQ(parseAttribute("Discharging\n"), "Discharging");
    EXPECT_EQ(parseAttribute("Not charging\n"), "Not charging");
    EXPECT_EQ(parseAttribute("Full"), "Full");
    EXPECT_EQ(parseAttribute(""), std::nullopt);
    EXPECT_EQ(parseAttribute("\nBattery"), std::nullopt);
}

TEST(PowerSupply, aFigureIsAWholeNumberAndNothingElse) {
    EXPECT_EQ(parseFigure("50\n"), 50);
    EXPECT_EQ(parseFigure("-1200000\n"), -1'200'000);
    EXPECT_EQ(parseFigure("9223372036854775807\n"), largest);
    for (const char* text :
         {"", "\n", "9223372036854775808\n", "1.5\n", "0x10\n", " 5\n", "5 \n", "full\n"}) {
        EXPECT_EQ(parseFigure(text), std::nullopt) << text;
    }
}

TEST(PowerSupply, mainsAndEverySortOfUsbBringPowerFromOutside) {
    for (const char* type : {"Mains", "USB", "USB_C", "USB_PD", "USB_DCP"})
        EXPECT_TRUE(isExternalSupply(type));
    for (const char* type : {"Battery", "UPS", "Unknown", "", "mains"}) EXPECT_FALSE(isExternalSupply(type));
}

TEST(PowerSupply, aPercentageIsTheSameWhenItIsWorkedOutAgain) {
    for (int percentage = 0; percentage < 100; ++percentage) {
        for (const double part : {0.0, 0.5, 0.999}) {
            const CapacityShare share = shareOfPercentage(percentage + part).value();
            EXPECT_EQ(std::trunc(static_cast<double>(share.current) / static_cast<double>(share.max) * 100),
                      percentage);
        }
    }
    EXPECT_EQ(shareOfPercentage(100), (CapacityShare{201, 200}));
}

TEST(PowerSupply, aPercentageBelowNoneOrAboveAllIsNone) {
    for (const double percentage : {-1.0, -0.5, 100.5, 255.0, -1e300, 1e300, std::nan("")})
        EXPECT_EQ(shareOfPercentage(percentage), std::nullopt) << percentage;
}

TEST(PowerSupply, aCapacityBelowNoneOrAboveAllIsNotTold) {
    using Share = std::optional<CapacityShare>;
    const auto shareOf = [](const std::vector<BatteryFigures>& batteries) -> Share {
        const PowerSourceDescription source = joinedBatteries(batteries, true).sources.at(0);
        if (!source.currentCapacity) return std::nullopt;
        return CapacityShare{*source.currentCapacity, source.maxCapacity.value()};
    };
    struct Row {
        std::int64_t capacity;
        Share alone;           ///< without contents
        Share withContents;    ///< of which a quarter is left
        Share besideAHalf;     ///< joined with another one
        Share contentsBeside;  ///< and with contents of its own
    };
    const Row rows[] = {
        {-1, std::nullopt, CapacityShare{5, 20}, std::nullopt, CapacityShare{75, 200}},
        {0, CapacityShare{1, 200}, CapacityShare{1, 200}, CapacityShare{50, 200}, CapacityShare{50, 200}},
        {100, CapacityShare{201, 200}, CapacityShare{201, 200}, CapacityShare{150, 200},
         CapacityShare{150, 200}},
        {101, std::nullopt, CapacityShare{5, 20}, std::nullopt, CapacityShare{75, 200}},
        {255, std::nullopt, CapacityShare{5, 20}, std::nullopt, CapacityShare{75, 200}},
    };
    const BatteryFigures half{.capacity = 50};
    for (const Row& row : rows) {
        const BatteryFigures alone{.capacity = row.capacity};
        const BatteryFigures withContents{.capacity = row.capacity, .now = 5, .full = 20};
        EXPECT_EQ(shareOf({alone}), row.alone) << row.capacity;
        EXPECT_EQ(shareOf({withContents}), row.withContents) << row.capacity;
        EXPECT_EQ(shareOf({half, alone}), row.besideAHalf) << row.capacity;
        EXPECT_EQ(shareOf({half, withContents}), row.contentsBeside) << row.capacity;
    }
}

TEST(PowerSupply, withoutABatteryThereIsNothing) {
    EXPECT_EQ(joinedBatteries({}, true), PowerReading{});
}

TEST(PowerSupply, aSecondBatteryIsJoinedByItsEnergy) {
    const PowerReading reading =
        joinedBatteries({energyBattery(10, 20), energyBattery(50, 60)}, std::nullopt);
    ASSERT_EQ(reading.sources.size(), 1U);
    EXPECT_EQ(reading.sources[0].currentCapacity, 60);
    EXPECT_EQ(reading.sources[0].maxCapacity, 80);
}

TEST(PowerSupply, batteriesOfDifferentUnitsAreJoinedByTheirPercentages) {
    BatteryFigures second = energyBattery(5, 100);
    second.unit = Unit::charge;
    second.capacity.reset();
    const PowerReading reading = joinedBatteries({energyBattery(10, 20), second}, std::nullopt);
    EXPECT_EQ(reading.sources[0].currentCapacity, 55);
    EXPECT_EQ(reading.sources[0].maxCapacity, 200);
    EXPECT_EQ(reading.sources[0].timeToEmpty, noEstimate);
}

TEST(PowerSupply, batteriesChargeWhenOneDoes) {
    BatteryFigures charging = energyBattery(10, 20);
    charging.status = "Charging";
    charging.flow = 10'000'000;
    BatteryFigures resting = energyBattery(10'000'000, 20'000'000);
    resting.status = "Not charging";
    const PowerReading reading = joinedBatteries({resting, charging}, true);
    EXPECT_EQ(reading.sources[0].isCharging, true);
    EXPECT_EQ(reading.sources[0].timeToFullCharge, 60);
    EXPECT_EQ(reading.sources[0].timeToEmpty, noEstimate);
    EXPECT_EQ(joinedBatteries({resting, resting}, true).sources[0].isCharging, false);
}

TEST(PowerSupply, theCyclesAreThoseOfTheMostUsedBatteryAndTheCapacitiesAreSummed) {
    BatteryFigures first{.capacity = 50, .full = 40, .fullDesign = 50, .cycleCount = 7};
    BatteryFigures second{.capacity = 50, .full = 20, .fullDesign = 50, .cycleCount = 900};
    const BatteryRegistry joined{.cycleCount = 900, .rawMaxCapacity = 60, .designCapacity = 100};
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry, joined);
    EXPECT_EQ(joinedBatteries({second, first}, {}).registry, joined);
    EXPECT_EQ(joinedBatteries({second}, {}).registry->cycleCount, 900);  // the other has been taken out
    EXPECT_EQ(joinedBatteries({first}, {}).registry->cycleCount, 7);
    second.cycleCount = 0;  // not known
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry->cycleCount, 7);
    first.cycleCount = -1;
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry->cycleCount, std::nullopt);
    second.fullDesign = 0;  // one that does not tell both leaves the other's
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry->rawMaxCapacity, 40);
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry->designCapacity, 50);
    first.full.reset();
    EXPECT_EQ(joinedBatteries({first, second}, {}).registry, BatteryRegistry{});
}

TEST(PowerSupply, aCurrentMayHaveASignAndNeedsAVoltage) {
    BatteryFigures battery{.status = "Discharging",
                           .unit = Unit::charge,
                           .now = 2'000'000,
                           .full = 4'000'000,
                           .flow = -1'000'000,
                           .voltage = 11'000'000};
    const auto timeToEmpty = [&] { return joinedBatteries({battery}, false).sources[0].timeToEmpty; };
    EXPECT_EQ(timeToEmpty(), 120);
    battery.voltage.reset();
    EXPECT_EQ(timeToEmpty(), noEstimate);
}

TEST(PowerSupply, belowAHundredMilliwattsThereIsNoEstimate) {
    BatteryFigures battery = energyBattery(1'000'000, 2'000'000);
    battery.flow = 99'999;
    EXPECT_EQ(joinedBatteries({battery}, false).sources[0].timeToEmpty, noEstimate);
    battery.flow = 100'000;
    EXPECT_EQ(joinedBatteries({battery}, false).sources[0].timeToEmpty, 600);
}

TEST(PowerSupply, absurdFiguresStayFigures) {
    for (const std::int64_t figure :
         {smallest, std::int64_t{-1}, std::int64_t{0}, std::int64_t{250}, largest}) {
        for (const char* status : {"Charging", "Discharging", "\xff"}) {
            for (const Unit unit : {Unit::energy, Unit::charge}) {
                const BatteryFigures battery{.status = status,
                                             .capacity = figure,
                                             .unit = unit,
                                             .now = figure,
                                             .full = figure,
                                             .fullDesign = figure,
                                             .flow = figure,
                                             .voltage = figure,
                                             .cycleCount = figure};
                for (const auto& batteries : {std::vector{battery}, std::vector{battery, battery}}) {
                    const PowerReading reading = joinedBatteries(batteries, true);
                    const auto details = BatteryMonitor::detailsOf(reading.sources.at(0));
                    if (!details) continue;
                    EXPECT_GE(details->percentage, 0);
                    EXPECT_LE(details->percentage, 100);
                }
            }
        }
    }
}

TEST_F(SysfsPowerSourceTest, readsALaptopOnItsBattery) {
    add("BAT0", laptop);
    add("AC", {{"type", "Mains"}, {"online", "0"}});
    const PowerReading reading = source.read();
    EXPECT_EQ(reading.sources, (std::vector<PowerSourceDescription>{{.currentCapacity = 101,
                                                                     .maxCapacity = 200,
                                                                     .isCharging = false,
                                                                     .timeToFullCharge = noEstimate,
                                                                     .timeToEmpty = 121,
                                                                     .powerSourceState = "Battery Power"}}));
    EXPECT_EQ(
        reading.registry,
        (BatteryRegistry{.cycleCount = 312, .rawMaxCapacity = 48'500'000, .designCapacity = 57'000'000}));
}

TEST_F(SysfsPowerSourceTest, readsALaptopOnTheCharger) {
    add("BAT0", laptop);
    write("BAT0", "status", "Charging");
    add("AC", {{"type", "Mains"}, {"online", "0"}});
    add("ucsi-source-psy-1", {{"type", "USB"}, {"online", "1"}});
    const PowerSourceDescription battery = only();
    EXPECT_EQ(battery.isCharging, true);
    EXPECT_EQ(battery.timeToFullCharge, 121);
    EXPECT_EQ(battery.timeToEmpty, noEstimate);
    EXPECT_EQ(battery.powerSourceState, "AC Power");
}

TEST_F(SysfsPowerSourceTest, readsABatteryThatCountsCharges) {
    add("BAT1", {{"type", "Battery"},
                 {"status", "Discharging"},
                 {"charge_now", "2000000"},
                 {"charge_full", "3000000"},
                 {"charge_full_design", "4000000"},
                 {"current_now", "500000"},
                 {"voltage_now", "12000000"}});
    const PowerReading reading = source.read();
    ASSERT_EQ(reading.sources.size(), 1U);
    EXPECT_EQ(reading.sources[0].currentCapacity, 2'000'000);
    EXPECT_EQ(reading.sources[0].maxCapacity, 3'000'000);
    EXPECT_EQ(reading.sources[0].timeToEmpty, 240);
    EXPECT_EQ(reading.registry, (BatteryRegistry{.rawMaxCapacity = 3'000'000, .designCapacity = 4'000'000}));
}

TEST_F(SysfsPowerSourceTest, onlyTheMachinesOwnBatteriesThatAreInCount) {
    add("hidpp_battery_0",
        {{"type", "Battery"}, {"scope", "Device"}, {"status", "Full"}, {"capacity", "35"}});
    add("UPS0", {{"type", "UPS"}, {"status", "Full"}, {"capacity", "90"}});
    add("BAT0", laptop);
    write("BAT0", "present", "0");
    EXPECT_EQ(source.read(), PowerReading{});
    write("BAT0", "present", "1");
    EXPECT_EQ(only().currentCapacity, 101);
}

TEST_F(SysfsPowerSourceTest, everyFieldMayFail) {
    for (const auto& [name, value] : laptop) {
        if (name == "type") continue;
        add("BAT0", laptop);
        spoil("BAT0", name);
        const auto details = BatteryMonitor::detailsOf(only());
        // Whether it charges must be known; all else is found in another way, or is absent.
        EXPECT_EQ(details.has_value(), name != "status") << name;
        EXPECT_EQ(details.value_or(BatteryDetails{.percentage = 50}).percentage, 50) << name;
        std::filesystem::remove_all(folder("BAT0"));
        source.expectChange();
    }
}

TEST_F(SysfsPowerSourceTest, garbageInAFieldIsNoValue) {
    add("BAT0", laptop);
    for (const char* name : {"capacity", "cycle_count", "energy_full_design", "power_now", "energy_now"}) {
        write("BAT0", name, std::string("\xff\0garbage", 9));
    }
    write("BAT0", "status", "\x01\xfe");
    const PowerReading reading = source.read();
    ASSERT_EQ(reading.sources.size(), 1U);
    EXPECT_EQ(reading.sources[0],
              (PowerSourceDescription{
                  .isCharging = false, .timeToFullCharge = noEstimate, .timeToEmpty = noEstimate}));
    EXPECT_EQ(reading.registry, BatteryRegistry{});
}

TEST_F(SysfsPowerSourceTest, aBatteryThatIsPulledOutIsGoneAtOnce) {
    add("BAT0", laptop);
    EXPECT_EQ(source.read().sources.size(), 1U);
    std::filesystem::remove_all(folder("BAT0"));
    EXPECT_EQ(source.read(), PowerReading{});
}

TEST_F(SysfsPowerSourceTest, withoutABatteryTheFolderIsLookedAtEveryThirtySecondsOrWhenTold) {
    EXPECT_EQ(source.read(), PowerReading{});
    add("BAT0", laptop);
    clock.advance(29.9);
    EXPECT_EQ(source.read(), PowerReading{});
    clock.advance(0.1);
    EXPECT_EQ(source.read().sources.size(), 1U);
    std::filesystem::remove_all(folder("BAT0"));
    add("BAT1", laptop);
    EXPECT_EQ(source.read(), PowerReading{});
    source.expectChange();
    EXPECT_EQ(source.read().sources.size(), 1U);
}

TEST_F(SysfsPowerSourceTest, aMachineWithoutTheFolderHasNoBattery) {
    SysfsPowerSource none(root.file("none"), clock);
    EXPECT_EQ(none.read(), PowerReading{});
}

TEST_F(SysfsPowerSourceTest, tenThousandReadingsLeaveNoDescriptorOpen) {
    add("BAT0", laptop);
    add("AC", {{"type", "Mains"}, {"online", "1"}});
    const auto before = test::openDescriptors();
    for (int i = 0; i < 10'000; ++i) {
        if (i % 100 == 0) source.expectChange();
        source.read();
    }
    EXPECT_EQ(test::openDescriptors(), before);
}

}  // namespace
}  // namespace corvanta
