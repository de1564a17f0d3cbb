// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ThermalFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OpenDescriptors.h"
#include "ThermalTree.h"

namespace corvanta {
namespace {

using test::openDescriptors;
using test::ThermalTree;
using Sensors = std::vector<CpuSensor>;
using Unit = ThrottleCounter::Unit;

constexpr int readingsBetweenSearches = 30;

TEST(TemperatureText, isANumberThatASensorCanMean) {
    EXPECT_EQ(parseTemperature("45000\n"), 45'000);
    EXPECT_EQ(parseTemperature("-5000\n"), -5'000);
    EXPECT_EQ(parseTemperature("-50000\n"), -50'000);
    EXPECT_EQ(parseTemperature("-50001\n"), std::nullopt);
    EXPECT_EQ(parseTemperature("150000\n"), 150'000);
    EXPECT_EQ(parseTemperature("150001\n"), std::nullopt);
    for (const char* text : {"", "\n", "45000", "45.0\n", "hot\n", "45000 \n", "99999999999999999999\n"}) {
        EXPECT_EQ(parseTemperature(text), std::nullopt) << text;
    }
}

TEST(ThrottleTotalText, isANumber) {
    EXPECT_EQ(parseThrottleTotal("0\n"), 0U);
    EXPECT_EQ(parseThrottleTotal("18446744073709551615\n"), 18'446'744'073'709'551'615U);
    for (const char* text : {"", "\n", "5", "-5\n", "five\n"}) {
        EXPECT_EQ(parseThrottleTotal(text), std::nullopt) << text;
    }
}

TEST(TripPoints, keepTheLowestOfEachKind) {
    TripPoints trips;
    EXPECT_FALSE(trips.isAny());
    trips.add("active", 50'000);
    EXPECT_FALSE(trips.isAny());
    trips.add("passive", 95'000);
    trips.add("passive", 85'000);
    trips.add("passive", 90'000);
    trips.add("hot", 100'000);
    trips.add("critical", 105'000);
    trips.add("critical", 110'000);
    EXPECT_EQ(trips, (TripPoints{85'000, 100'000, 105'000, false}));
}

TEST(TripPoints, unsetOnesAreNone) {
    TripPoints trips;
    for (const std::int64_t unset : {-274'000, 0, 125'001, 255'000}) {
        for (const char* kind : {"passive", "hot", "critical"}) trips.add(kind, unset);
    }
    EXPECT_FALSE(trips.isAny());
    trips.add("critical", 125'000);
    trips.add("hot", 1);
    EXPECT_EQ(trips, (TripPoints{{}, 1, 125'000, false}));
}

TEST(TripPoints, aPassiveOneBelowSeventyDegreesOnlyMakesTheZoneUsable) {
    TripPoints trips;
    trips.add("passive", 69'999);
    EXPECT_EQ(trips, (TripPoints{{}, {}, {}, true}));
    EXPECT_TRUE(trips.isAny());
    trips.add("passive", 70'000);
    EXPECT_EQ(trips.passive, 70'000);
}

class ThermalFilesTest : public testing::Test {
  protected:
    const ThermalReading& read() {
        files.read(reading);
        return reading;
    }

    ThermalTree tree;
    ThermalFiles files{tree.root()};
    ThermalReading reading;
};

TEST_F(ThermalFilesTest, processorSensorsComeWithTheirLimits) {
    tree.writeChip(0, "acpitz");
    tree.writeSensor(0, 1, 99'000);
    tree.writeChip(3, "coretemp");
    tree.writeSensor(3, 1, 60'000);
    tree.writeLimit(3, 1, 100'000);
    tree.writeSensor(3, 10, 70'000);
    tree.writeLimit(3, 10, 105'000);
    tree.write(tree.sensorFile(3, 1, "crit_alarm"), "1");
    EXPECT_EQ(read().sensors, (Sensors{{60'000, 100'000}, {70'000, 105'000}}));
    EXPECT_TRUE(files.isAny());
}

TEST_F(ThermalFilesTest, aSensorWithoutALimitIsTakenToThrottleAtNinetyFiveDegrees) {
    tree.writeChip(0, "k10temp");
    for (const int sensor : {1, 2, 3, 4}) tree.writeSensor(0, sensor, 50'000);
    tree.writeLimit(0, 2, 0);
    tree.writeLimit(0, 3, 125'001);
    tree.writeLimit(0, 4, 125'000);
    EXPECT_EQ(read().sensors,
              (Sensors{{50'000, 95'000}, {50'000, 95'000}, {50'000, 95'000}, {50'000, 125'000}}));
}

TEST_F(ThermalFilesTest, fiveChipsMeasureProcessorsAndOthersDoNot) {
    int chip = 0;
    for (const char* name : {"coretemp", "k10temp", "zenpower", "cpu_thermal", "soc_thermal", "nvme",
                             "iwlwifi_1", "coretemp2", "amdgpu", ""}) {
        tree.writeChip(chip, name);
        tree.writeSensor(chip, 1, 1'000 * chip);
        ++chip;
    }
    Sensors expected;
    for (std::int64_t i = 0; i < 5; ++i) expected.push_back({1'000 * i, 95'000});
    EXPECT_EQ(read().sensors, expected);
}

TEST_F(ThermalFilesTest, aSensorWithoutAReadingIsLeftOut) {
    tree.writeChip(0, "coretemp");
    tree.writeSensor(0, 1, 50'000);
    tree.makeUnreadable(tree.sensorFile(0, 2, "input"));
    tree.write(tree.sensorFile(0, 3, "input"), "garbage");
    tree.write(tree.sensorFile(0, 4, "input"), "");
    tree.writeSensor(0, 5, 50'000);
    EXPECT_EQ(read().sensors, (Sensors{{50'000, 95'000}, {50'000, 95'000}}));
    tree.writeSensor(0, 3, 60'000);
    tree.remove(tree.sensorFile(0, 5, "input"));
    tree.writeSensor(0, 1, 55'000);
    EXPECT_EQ(read().sensors.size(), 3U);  // the file that went is still open
}

TEST_F(ThermalFilesTest, zonesComeWithTheirTripPoints) {
    tree.writeZone(0, "acpitz", 45'000, {{"critical", 105'000}, {"passive", 95'000}, {"active", 50'000}});
    tree.writeZone(2, "x86_pkg_temp", 46'000, {{"passive", 0}, {"passive", -274'000}});
    tree.writeZone(11, "cpu-thermal", 47'000, {{"passive", 60'000}});
    EXPECT_EQ(read().zones, (std::vector<ThermalZone>{{0, 45'000, {95'000, {}, 105'000, false}},
                                                      {11, 47'000, {{}, {}, {}, true}}}));
}

TEST_F(ThermalFilesTest, zonesOfOtherPartsAreIgnored) {
    int zone = 0;
    for (const char* type : {"iwlwifi_1", "ath10k_hwmon", "ath", "nvme0", "BAT0"}) {
        tree.writeZone(zone++, type, 90'000, {{"critical", 80'000}});
    }
    EXPECT_TRUE(read().isEmpty());
    EXPECT_FALSE(files.isAny());
}

TEST_F(ThermalFilesTest, aZoneWithoutAReadingIsLeftOut) {
    tree.writeZone(0, "acpitz", 45'000, {{"critical", 105'000}});
    tree.makeUnreadable(tree.zoneFile(0, "temp"));
    EXPECT_TRUE(read().zones.empty());
    EXPECT_TRUE(files.isAny());
    tree.remove(tree.zoneFile(0, "temp"));
    EXPECT_TRUE(read().zones.empty());
    tree.write(tree.zoneFile(0, "temp"), "46000");
    EXPECT_EQ(read().zones.size(), 1U);
}

TEST_F(ThermalFilesTest, throttledTimeIsPreferredToTheCountOfOlderKernels) {
    tree.writeThrottling(0, "core_throttle_total_time_ms", 5);
    tree.writeThrottling(0, "core_throttle_count", 1);
    tree.writeThrottling(0, "package_throttle_total_time_ms", 6);
    tree.writeThrottling(3, "core_throttle_count", 7);
    tree.writeThrottling(3, "package_throttle_count", 8);
    EXPECT_EQ(read().throttling, (std::vector<ThrottleCounter>{{0, Unit::milliseconds, 5},
                                                               {1, Unit::milliseconds, 6},
                                                               {6, Unit::events, 7},
                                                               {7, Unit::events, 8}}));
}

TEST_F(ThermalFilesTest, oneCounterIsReadForEachCoreAndOneForEachPackage) {
    // Four processors on two cores in one package.
    for (int processor = 0; processor < 4; ++processor) {
        tree.writeThrottling(processor, "core_throttle_total_time_ms", 5);
        tree.writeThrottling(processor, "package_throttle_total_time_ms", 6);
        tree.writeTopology(processor, "physical_package_id", "0");
    }
    const std::vector<ThrottleCounter> expected = {
        {0, Unit::milliseconds, 5}, {1, Unit::milliseconds, 6}, {2, Unit::milliseconds, 5}};
    for (const char* file : {"thread_siblings_list", "core_cpus_list"}) {
        for (int processor = 0; processor < 4; ++processor) {
            tree.writeTopology(processor, file, processor % 2 == 0 ? "0,2" : "1,3");
        }
        ThermalFiles fresh(tree.root());
        fresh.read(reading);
        EXPECT_EQ(reading.throttling, expected) << file;
    }
}

TEST_F(ThermalFilesTest, packagesHaveCountersOfTheirOwn) {
    for (int processor = 0; processor < 2; ++processor) {
        tree.writeThrottling(processor, "package_throttle_count", 7);
        tree.writeTopology(processor, "physical_package_id", std::to_string(processor));
    }
    EXPECT_EQ(read().throttling, (std::vector<ThrottleCounter>{{1, Unit::events, 7}, {3, Unit::events, 7}}));
}

TEST_F(ThermalFilesTest, processorsWithoutAKnownPlaceAreAllRead) {
    for (int processor = 0; processor < 2; ++processor) {
        tree.writeThrottling(processor, "core_throttle_count", 7);
        tree.writeThrottling(processor, "package_throttle_count", 8);
    }
    EXPECT_EQ(read().throttling,
              (std::vector<ThrottleCounter>{
                  {0, Unit::events, 7}, {1, Unit::events, 8}, {2, Unit::events, 7}, {3, Unit::events, 8}}));
}

TEST_F(ThermalFilesTest, readingsFollowTheFiles) {
    tree.writeChip(0, "coretemp");
    tree.writeSensor(0, 1, 50'000);
    EXPECT_EQ(read().sensors[0].temperature, 50'000);
    tree.writeSensor(0, 1, 51'000);
    EXPECT_EQ(read().sensors[0].temperature, 51'000);
}

TEST_F(ThermalFilesTest, chipsThatWereNumberedAnewAreFoundByName) {
    tree.writeChip(1, "coretemp");
    tree.writeSensor(1, 1, 50'000);
    EXPECT_EQ(read().sensors.size(), 1U);
    tree.remove("class/hwmon/hwmon1");
    tree.writeChip(1, "nvme");
    tree.writeSensor(1, 1, 30'000);
    tree.writeChip(4, "coretemp");
    tree.writeSensor(4, 1, 60'000);
    for (int i = 1; i < readingsBetweenSearches; ++i) read();
    EXPECT_EQ(read().sensors, (Sensors{{60'000, 95'000}}));
}

TEST_F(ThermalFilesTest, driversThatLoadLateAreFound) {
    EXPECT_TRUE(read().isEmpty());
    tree.writeZone(0, "acpitz", 45'000, {{"hot", 100'000}});
    for (int i = 1; i < readingsBetweenSearches; ++i) EXPECT_TRUE(read().isEmpty());
    EXPECT_EQ(read().zones.size(), 1U);
}

TEST_F(ThermalFilesTest, tenThousandReadingsKeepTheDescriptorsTheyHave) {
    tree.writeChip(0, "coretemp");
    tree.writeSensor(0, 1, 50'000);
    tree.makeUnreadable(tree.sensorFile(0, 2, "input"));
    tree.writeZone(0, "acpitz", 45'000, {{"critical", 105'000}, {"passive", 95'000}});
    tree.writeThrottling(0, "core_throttle_total_time_ms", 5);
    const auto closed = openDescriptors();
    read();
    EXPECT_EQ(openDescriptors(), closed + 3);
    for (int i = 0; i < 10'000; ++i) read();
    EXPECT_EQ(openDescriptors(), closed + 3);
    EXPECT_EQ(reading.sensors.size(), 1U);
}

TEST_F(ThermalFilesTest, aLargeServerDoesNotUseUpTheDescriptors) {
    for (int processor = 0; processor < 100; ++processor) {
        tree.writeThrottling(processor, "core_throttle_total_time_ms", 1);
        tree.writeThrottling(processor, "package_throttle_total_time_ms", 2);
    }
    const auto closed = openDescriptors();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(read().throttling.size(), 200U);
    EXPECT_EQ(openDescriptors(), closed + 128);
}

TEST(HasThermalFiles, aMachineWithoutSensorsHasNone) {
    const ThermalTree tree;
    EXPECT_FALSE(hasThermalFiles(tree.root()));
    EXPECT_FALSE(hasThermalFiles("/nowhere"));
    tree.write("class/thermal/cooling_device0/type", "Processor");
    EXPECT_FALSE(hasThermalFiles(tree.root()));
}

TEST(HasThermalFiles, eachOfTheThreeSourcesIsEnough) {
    const ThermalTree chip;
    chip.writeChip(2, "coretemp");
    EXPECT_TRUE(hasThermalFiles(chip.root()));
    const ThermalTree zone;
    zone.writeZone(0, "acpitz", 45'000, {});
    EXPECT_TRUE(hasThermalFiles(zone.root()));
    const ThermalTree throttling;
    throttling.writeThrottling(0, "core_throttle_count", 0);
    EXPECT_TRUE(hasThermalFiles(throttling.root()));
}

}  // namespace
}  // namespace corvanta
