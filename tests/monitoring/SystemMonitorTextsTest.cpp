// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "MonitorFixture.h"

namespace corvanta {
namespace {

constexpr double gib = 1024.0 * 1024 * 1024;
constexpr double gigabyte = 1e9;

enum class Power { battery, charging, full };

BatteryDetails battery(std::int64_t percentage, Power power,
                       std::optional<std::int64_t> timeRemaining = std::nullopt,
                       std::optional<std::int64_t> cycleCount = std::nullopt,
                       std::optional<std::int64_t> healthPercent = std::nullopt) {
    const bool isCharging = power == Power::charging;
    const bool isPluggedIn = power != Power::battery;
    return {percentage, isCharging, isPluggedIn, timeRemaining, cycleCount, healthPercent};
}

class SystemMonitorTextsTest : public test::MonitorFixture {
  protected:
    SystemMonitorTextsTest() {
        machine.machineFacts.description = {"Test Book", "book1,1", "Test Processor 9",
                                            4,           8,         "Test System 1"};
    }

    /// The text after a cycle with these readings.
    std::string tooltip() {
        cycle();
        return monitor->tooltipText();
    }
    /// The last block of the tool tip, which is the battery's where there is one.
    std::string lastBlock() {
        const std::string text = tooltip();
        return text.substr(text.rfind("\n\n") + 2);
    }
    static int blocks(std::string_view text) {
        int count = 1;
        for (auto at = text.find("\n\n"); at != text.npos; at = text.find("\n\n", at + 1)) ++count;
        return count;
    }
};

TEST_F(SystemMonitorTextsTest, textsFollowTheSettings) {
    script->cpu = 41.6;
    script->ram = {6 * gib, 4 * gib, 3 * gib, 1 * gib, 0, 16 * gib, 25, MemoryPressureLevel::normal};
    cycle();
    EXPECT_EQ(monitor->formattedCPU(), "42%");
    EXPECT_EQ(monitor->formattedRAM(), "6 GB");
    settings.gaugeValueMode.set(GaugeValueMode::usage);
    EXPECT_EQ(monitor->formattedRAM(), "8 GB");
    settings.valueFormat.set(ValueFormat::percentage);
    EXPECT_EQ(monitor->formattedRAM(), "50%");
    settings.gaugeValueMode.set(GaugeValueMode::remaining);
    EXPECT_EQ(monitor->formattedRAM(), "38%");  // 37.5: the half goes to even
    EXPECT_EQ(monitor->formatNetworkSpeed(5e6), "5.00 MB/s");
    settings.networkFormat.set(NetworkFormat::kbps);
    EXPECT_EQ(monitor->formatNetworkSpeed(1000), "8.00 kbps");
}

TEST_F(SystemMonitorTextsTest, theEstimateStandsInUntilTheSystemHasTold) {
    script->ram.estimatedPressureLevel = MemoryPressureLevel::warning;
    cycle();
    EXPECT_EQ(monitor->formattedMemoryPressure(), "Est. Warning");
    EXPECT_NE(monitor->tooltipText().find("\n• macOS Pressure: Unavailable\n• Estimated Pressure: Warning ("),
              std::string::npos);
    EXPECT_EQ(monitor->displayedMemoryPressureLevel(), MemoryPressureLevel::warning);
    script->level = MemoryPressureLevel::normal;
    cycle();
    EXPECT_EQ(monitor->formattedMemoryPressure(), "Normal");
    EXPECT_NE(monitor->tooltipText().find("\n• macOS Pressure: Normal\n"), std::string::npos);
    EXPECT_EQ(monitor->displayedMemoryPressureLevel(), MemoryPressureLevel::normal);
}

TEST_F(SystemMonitorTextsTest, fractionsOfMemoryAreApartAndBounded) {
    cycle();
    EXPECT_EQ(monitor->ramUsedFraction(), 0);  // no total
    EXPECT_EQ(monitor->ramAvailableFraction(), 0);
    script->ram = {6 * gib, 4 * gib, 3 * gib, 1 * gib, 0, 16 * gib, 25, MemoryPressureLevel::normal};
    cycle();
    EXPECT_EQ(monitor->ramUsedBytes(), 8 * gib);
    EXPECT_EQ(monitor->ramAvailableBytes(), 6 * gib);
    EXPECT_EQ(monitor->ramUsedFraction(), 0.5);
    EXPECT_EQ(monitor->ramAvailableFraction(), 0.375);
    script->ram = {-1, -1, 0, 0, 0, 16 * gib, 25, MemoryPressureLevel::normal};
    cycle();
    EXPECT_EQ(monitor->ramUsedBytes(), 0);
    EXPECT_EQ(monitor->ramAvailableBytes(), 0);
    EXPECT_EQ(monitor->ramAvailableFraction(), 0);
    script->ram = {20 * gib, 20 * gib, 0, 0, 0, 16 * gib, 25, MemoryPressureLevel::normal};
    cycle();
    EXPECT_EQ(monitor->ramUsedFraction(), 1);
    EXPECT_EQ(monitor->ramAvailableFraction(), 1);
}

TEST_F(SystemMonitorTextsTest, theDiskAlwaysShowsItsFreeSide) {
    cycle();
    EXPECT_EQ(monitor->formattedDisk(), "Zero KB");
    settings.valueFormat.set(ValueFormat::percentage);
    EXPECT_EQ(monitor->formattedDisk(), "0%");  // no total
    script->disk = {120 * gigabyte, 500 * gigabyte};
    cycle();
    for (const GaugeValueMode mode : allGaugeValueModes) {
        settings.gaugeValueMode.set(mode);
        settings.valueFormat.set(ValueFormat::percentage);
        EXPECT_EQ(monitor->formattedDisk(), "24%");
        settings.valueFormat.set(ValueFormat::size);
        EXPECT_EQ(monitor->formattedDisk(), "120 GB");
    }
}

TEST_F(SystemMonitorTextsTest, theBatteryIsItsPercentageOrNotThere) {
    cycle();
    EXPECT_EQ(monitor->formattedBattery(), "N/A");
    script->battery = battery(64, Power::battery);
    cycle();
    EXPECT_EQ(monitor->formattedBattery(), "64%");
}

TEST_F(SystemMonitorTextsTest, speedsFollowTheNetworkFormat) {
    script->network = {1'000, 5e6};
    cycle();
    EXPECT_EQ(monitor->formattedUpload(), monitor->formatNetworkSpeed(1'000));
    EXPECT_EQ(monitor->formattedDownload(), "5.00 MB/s");
    settings.networkFormat.set(NetworkFormat::kbps);
    EXPECT_EQ(monitor->formattedUpload(), "8.00 kbps");
    EXPECT_NE(monitor->tooltipText().find("\n• Up: 8.00 kbps | Down: 40000 kbps"), std::string::npos)
        << monitor->tooltipText();
}

TEST_F(SystemMonitorTextsTest, theToolTipHasFiveBlocks) {
    script->cpu = 41.6;
    script->ram = {6 * gib, 4 * gib, 3 * gib, gib, gib / 2, 16 * gib, 25.4, MemoryPressureLevel::normal};
    script->level = MemoryPressureLevel::warning;
    script->disk = {120 * gigabyte, 500 * gigabyte};
    script->smartStatus = SMARTStatus::verified;
    script->network = {5e6, 12e6};
    script->battery = battery(64, Power::charging, 75, 312, 91);
    EXPECT_EQ(tooltip(),
              "CPU Load: 42%\n• Model: Test Book, Test Processor 9\n• Cores: 4 Physical, 8 Logical\n\n"
              "Memory Available: 6 GB of 16 GB\n• macOS Pressure: Warning\n"
              "• Estimated Pressure: Normal (25%)\n• Active: 4 GB\n• Wired: 3 GB\n• Compressed: 1 GB\n"
              "• Swap Used: 512 MB\n\n"
              "Disk Free: 120 GB of 500 GB\n• Model: Test Drive\n• S.M.A.R.T.: Verified\n\n"
              "Network Speed\n• Up: 5.00 MB/s | Down: 12.0 MB/s\n\n"
              "Battery: 64% (Charging)\n• Time to Full: 1h 15m\n• Low Power Mode: Off\n"
              "• Health: 91% (312 Cycles)");
}

TEST_F(SystemMonitorTextsTest, aDriveWithoutAStatusHasNoModelEither) {
    script->disk = {120 * gigabyte, 500 * gigabyte};
    script->smartStatus = SMARTStatus::unknown;
    EXPECT_NE(tooltip().find("\n\nDisk Free: 120 GB of 500 GB\n\nNetwork Speed\n"), std::string::npos);
    script->smartStatus = SMARTStatus::failing;
    EXPECT_NE(tooltip().find("500 GB\n• Model: Test Drive\n• S.M.A.R.T.: Failing\n\n"), std::string::npos);
}

TEST_F(SystemMonitorTextsTest, aDesktopHasFourBlocks) {
    EXPECT_EQ(blocks(tooltip()), 4);
    EXPECT_EQ(monitor->tooltipText().find("Battery"), std::string::npos);
    script->battery = battery(64, Power::battery);
    EXPECT_EQ(blocks(tooltip()), 5);
}

TEST_F(SystemMonitorTextsTest, aFullBatteryOnPowerHasNoTime) {
    script->battery = battery(100, Power::full, 90);
    EXPECT_EQ(lastBlock(), "Battery: 100% (Plugged In, Not Charging)\n• Low Power Mode: Off");
}

TEST_F(SystemMonitorTextsTest, aChargingBatteryCountsToFull) {
    script->battery = battery(50, Power::charging, 60);
    EXPECT_EQ(lastBlock(), "Battery: 50% (Charging)\n• Time to Full: 1h 0m\n• Low Power Mode: Off");
    script->battery->timeRemaining.reset();
    EXPECT_EQ(lastBlock(), "Battery: 50% (Charging)\n• Low Power Mode: Off");
}

TEST_F(SystemMonitorTextsTest, aBatteryInUseCountsToEmpty) {
    machine.lowPower.enabled = true;
    script->battery = battery(50, Power::battery, 5'999);
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Time Remaining: 99h 59m\n• Low Power Mode: On");
    script->battery->timeRemaining = 0;
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Time Remaining: 0h 0m\n• Low Power Mode: On");
    script->battery->timeRemaining.reset();
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Low Power Mode: On");
}

TEST_F(SystemMonitorTextsTest, healthIsToldWithItsCyclesOrNotAtAll) {
    script->battery = battery(50, Power::battery, {}, {}, 91);
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Low Power Mode: Off");
    script->battery = battery(50, Power::battery, {}, 312);
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Low Power Mode: Off");
    script->battery = battery(50, Power::battery, {}, 312, 91);
    EXPECT_EQ(lastBlock(), "Battery: 50% (On Battery)\n• Low Power Mode: Off\n• Health: 91% (312 Cycles)");
}

TEST_F(SystemMonitorTextsTest, theMachineIsDescribedOnceAndNeverOnTheMainThread) {
    EXPECT_NE(tooltip().find("• Model: Test Book, Test Processor 9\n"), std::string::npos);
    machine.machineFacts.description.name = "Another";
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(tooltip().find("• Model: Test Book, Test Processor 9\n"), std::string::npos);
    }
    EXPECT_EQ(machine.machineFacts.descriptions, 1);
    EXPECT_EQ(machine.machineFacts.descriptionsOnMainThread, 0);
}

TEST_F(SystemMonitorTextsTest, theMachineIsANamelessOneUntilTheFirstCycle) {
    start();
    EXPECT_NE(monitor->tooltipText().find("• Model: \n• Cores: 0 Physical, 0 Logical\n"), std::string::npos);
    EXPECT_EQ(machine.machineFacts.descriptionsOnMainThread, 0);
}

}  // namespace
}  // namespace corvanta
