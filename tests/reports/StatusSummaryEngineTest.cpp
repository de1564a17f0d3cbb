// SPDX-License-Identifier: Apache-2.0
#include "reports/StatusSummaryEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "monitoring/MonitorFixture.h"
#include "support/TimeZone.h"

namespace corvanta {
namespace {

using StatusSummaryEngine::summarize;

constexpr double gib = 1024.0 * 1024 * 1024;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");
constexpr const char* calm = "All systems running smoothly";
constexpr const char* elevated = "Memory pressure elevated.";

ProcessDetail process(const std::string& name, double cpuUsage, double residentGib = 0) {
    ProcessDetail detail;
    detail.name = name;
    detail.cpuUsage = cpuUsage;
    detail.residentBytes = static_cast<std::uint64_t>(residentGib * gib);
    return detail;
}

/// The sentence at an even minute.
std::string sentence(const StatusFigures& figures) {
    return summarize(figures, 8);
}

StatusFigures withCPU(double usage) {
    StatusFigures figures;
    figures.cpuUsage = usage;
    return figures;
}
StatusFigures withPressure(MemoryPressureLevel level, double swapGib = 0) {
    StatusFigures figures;
    figures.memoryPressureLevel = level;
    figures.ramSwap = swapGib * gib;
    return figures;
}
StatusFigures withBattery(std::int64_t percentage, bool isCharging = false) {
    StatusFigures figures;
    figures.batteryPercentage = percentage;
    figures.isBatteryCharging = isCharging;
    return figures;
}
StatusFigures withHealth(std::int64_t health) {
    StatusFigures figures;
    figures.batteryHealth = health;
    return figures;
}
StatusFigures withDisk(double total, double free) {
    StatusFigures figures;
    figures.diskTotal = total;
    figures.diskFree = free;
    return figures;
}

/// Every rule matches.
StatusFigures allTroubles() {
    StatusFigures figures;
    figures.thermalState = "Critical";
    figures.memoryPressureLevel = MemoryPressureLevel::critical;
    figures.ramSwap = 2.5 * gib;
    figures.topCPU = process("encoder", 312.5);
    figures.topRAM = process("browser", 10, 6.25);
    figures.cpuUsage = 100;
    figures.batteryPercentage = 5;
    figures.batteryTimeRemaining = 12;
    figures.batteryHealth = 70;
    figures.batteryCycleCount = 900;
    figures.diskTotal = 100e9;
    figures.diskFree = 1e9;
    return figures;
}

TEST(StatusSummaryEngine, theFirstRuleThatMatchesGivesTheSentence) {
    StatusFigures figures = allTroubles();
    EXPECT_EQ(sentence(figures), "Your Mac is running warm — encoder is using 312% CPU.");
    figures.thermalState = "Nominal";
    EXPECT_EQ(sentence(figures), "Memory pressure critical — browser using 6.2 GB. 2.5 GB swapped.");
    figures.memoryPressureLevel = MemoryPressureLevel::warning;
    EXPECT_EQ(sentence(figures), "Memory pressure elevated. 2.5 GB swapped to disk.");
    figures.memoryPressureLevel = MemoryPressureLevel::normal;
    EXPECT_EQ(sentence(figures), "encoder is using 312.5% CPU, keeping your Mac busy.");
    figures.cpuUsage = 10;
    EXPECT_EQ(sentence(figures), "5% battery — about 12 minutes remaining.");
    figures.isBatteryCharging = true;
    EXPECT_EQ(sentence(figures), "Battery health at 70% (900 cycles). Consider service.");
    figures.batteryHealth = 100;
    EXPECT_EQ(sentence(figures), "Only 1.0 GB free on disk. Consider cleaning up.");
    figures.diskFree = 50e9;
    EXPECT_EQ(sentence(figures), calm);
}

TEST(StatusSummaryEngine, aMachineThatHasToldNothingYetIsCalm) {
    EXPECT_EQ(sentence({}), calm);
}

// Heat

TEST(StatusSummaryEngine, seriousHeatComesBeforeCriticalMemory) {
    StatusFigures figures = withPressure(MemoryPressureLevel::critical);
    figures.thermalState = "Serious";
    EXPECT_EQ(sentence(figures), "Your Mac is running warm. Close unused apps to help it cool down.");
}

TEST(StatusSummaryEngine, onlySeriousAndCriticalHeatAreTold) {
    for (const char* state : {"Nominal", "Fair", "Unknown", "", "serious", "Serious "}) {
        StatusFigures figures;
        figures.thermalState = state;
        EXPECT_EQ(sentence(figures), calm) << state;
    }
    for (const char* state : {"Serious", "Critical"}) {
        StatusFigures figures;
        figures.thermalState = state;
        figures.topCPU = process("encoder", 99.4);
        EXPECT_EQ(sentence(figures), "Your Mac is running warm — encoder is using 99% CPU.") << state;
    }
}

// Memory

TEST(StatusSummaryEngine, criticalMemoryNamesTheLargestProcessAndTheSwap) {
    StatusFigures figures = withPressure(MemoryPressureLevel::critical, 0.04);
    figures.topRAM = process("browser", 0, 1.5);
    EXPECT_EQ(sentence(figures), "Memory pressure critical — browser using 1.5 GB. 0.0 GB swapped.");
}

TEST(StatusSummaryEngine, criticalMemoryWithoutALargestProcessTellsTheSwapAlone) {
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::critical, 3)),
              "Memory pressure critical. 3.0 GB swapped to disk.");
}

TEST(StatusSummaryEngine, criticalMemoryLeavesOutAProcessOfNoResidentBytes) {
    StatusFigures figures = withPressure(MemoryPressureLevel::critical, 3);
    figures.topRAM = process("browser", 0);
    EXPECT_EQ(sentence(figures), "Memory pressure critical. 3.0 GB swapped to disk.");
    figures.topRAM->residentBytes = 1;
    EXPECT_EQ(sentence(figures), "Memory pressure critical — browser using 0.0 GB. 3.0 GB swapped.");
}

TEST(StatusSummaryEngine, elevatedMemoryTellsTheSwapIfThereIsAny) {
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::warning, 0.0501)),
              "Memory pressure elevated. 0.1 GB swapped to disk.");
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::warning, 12.34)),
              "Memory pressure elevated. 12.3 GB swapped to disk.");
}

TEST(StatusSummaryEngine, aTwentiethOfAGigabyteOfSwapCountsAsNone) {
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::warning, 0.05)), elevated);
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::warning)), elevated);
}

TEST(StatusSummaryEngine, normalAndUnknownMemoryAreNotTold) {
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::normal, 8)), calm);
    EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::unavailable, 8)), calm);
}

TEST(StatusSummaryEngine, elevatedMemoryComesBeforeAFullProcessor) {
    StatusFigures figures = withPressure(MemoryPressureLevel::warning);
    figures.cpuUsage = 100;
    EXPECT_EQ(sentence(figures), elevated);
}

// Processor

TEST(StatusSummaryEngine, cpuAboveEightyFiveIsTold) {
    EXPECT_EQ(sentence(withCPU(85.1)), "CPU usage is high at 85%. Your Mac is working hard.");
    EXPECT_EQ(sentence(withCPU(99.5)), "CPU usage is high at 100%. Your Mac is working hard.");
}

TEST(StatusSummaryEngine, cpuOfExactlyEightyFiveIsNotTold) {
    EXPECT_EQ(sentence(withCPU(85)), calm);
}

TEST(StatusSummaryEngine, highCPUNamesTheBusiestProcessWithOneDecimal) {
    StatusFigures figures = withCPU(90);
    figures.topCPU = process("compiler", 180);
    EXPECT_EQ(sentence(figures), "compiler is using 180.0% CPU, keeping your Mac busy.");
}

// Battery

TEST(StatusSummaryEngine, aBatteryAtNineteenPercentIsLow) {
    EXPECT_EQ(sentence(withBattery(19)), "19% battery remaining. Plug in soon.");
    EXPECT_EQ(sentence(withBattery(0)), "0% battery remaining. Plug in soon.");
}

TEST(StatusSummaryEngine, aBatteryAtTwentyPercentIsNotLow) {
    EXPECT_EQ(sentence(withBattery(20)), calm);
}

TEST(StatusSummaryEngine, aChargingBatteryLeavesItToTheLaterRules) {
    StatusFigures figures = withBattery(5, true);
    EXPECT_EQ(sentence(figures), calm);
    figures.diskTotal = 100e9;
    figures.diskFree = 4.94e9;
    EXPECT_EQ(sentence(figures), "Only 4.9 GB free on disk. Consider cleaning up.");
    figures.batteryHealth = 80;
    EXPECT_EQ(sentence(figures), "Battery health at 80%. Consider service.");
}

TEST(StatusSummaryEngine, theTimeLeftIsToldFromOneMinuteOn) {
    StatusFigures figures = withBattery(10);
    figures.batteryTimeRemaining = 1;
    EXPECT_EQ(sentence(figures), "10% battery — about 1 minutes remaining.");
    for (const std::int64_t minutes : {0, -1}) {
        figures.batteryTimeRemaining = minutes;
        EXPECT_EQ(sentence(figures), "10% battery remaining. Plug in soon.") << minutes;
    }
}

TEST(StatusSummaryEngine, aHealthOfEightyFourIsTold) {
    EXPECT_EQ(sentence(withHealth(84)), "Battery health at 84%. Consider service.");
    EXPECT_EQ(sentence(withHealth(85)), calm);
}

TEST(StatusSummaryEngine, theCycleCountIsToldButDecidesNothing) {
    StatusFigures figures = withHealth(85);
    figures.batteryCycleCount = 5000;
    EXPECT_EQ(sentence(figures), calm);
    figures.batteryHealth = 84;
    EXPECT_EQ(sentence(figures), "Battery health at 84% (5000 cycles). Consider service.");
    figures.batteryHealth.reset();
    EXPECT_EQ(sentence(figures), calm);
}

// Disk

TEST(StatusSummaryEngine, aDiskUsedToMoreThanNineteenTwentiethsIsTold) {
    EXPECT_EQ(sentence(withDisk(1e12, 49.9e9)), "Only 49.9 GB free on disk. Consider cleaning up.");
    EXPECT_EQ(sentence(withDisk(1e12, 0)), "Only 0.0 GB free on disk. Consider cleaning up.");
}

TEST(StatusSummaryEngine, aDiskUsedToExactlyNineteenTwentiethsIsNotTold) {
    EXPECT_EQ(sentence(withDisk(1e12, 50e9)), calm);
    EXPECT_EQ(sentence(withDisk(100, 5)), calm);
}

TEST(StatusSummaryEngine, aDiskThatWasNotReadYetIsNotTold) {
    EXPECT_EQ(sentence(withDisk(0, 0)), calm);
    EXPECT_EQ(sentence(withDisk(-1, -1)), calm);
}

// Calm

TEST(StatusSummaryEngine, aCalmMachineAlternatesEachMinute) {
    for (int minute = 0; minute < 60; minute += 2) {
        EXPECT_EQ(summarize(StatusFigures{}, minute), "All systems running smoothly") << minute;
        EXPECT_EQ(summarize(StatusFigures{}, minute + 1), "Running normally") << minute;
    }
}

// What no machine should tell

TEST(StatusSummaryEngine, aFigureThatIsNoNumberMatchesNoRule) {
    for (const double broken : {notANumber, infinity, -infinity}) {
        EXPECT_EQ(sentence(withCPU(broken)), calm) << broken;
        EXPECT_EQ(sentence(withDisk(broken, 1)), calm) << broken;
        EXPECT_EQ(sentence(withDisk(1e12, broken)), calm) << broken;
        EXPECT_EQ(sentence(withDisk(broken, broken)), calm) << broken;
        EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::warning, broken)), elevated) << broken;
        EXPECT_EQ(sentence(withPressure(MemoryPressureLevel::critical, broken)),
                  "Memory pressure critical. 0.0 GB swapped to disk.")
            << broken;
    }
}

TEST(StatusSummaryEngine, aProcessWithoutAMeasuredLoadIsNotNamed) {
    for (const double broken : {notANumber, infinity, -infinity}) {
        StatusFigures figures = withCPU(90);
        figures.topCPU = process("compiler", broken);
        EXPECT_EQ(sentence(figures), "CPU usage is high at 90%. Your Mac is working hard.") << broken;
        figures.thermalState = "Serious";
        EXPECT_EQ(sentence(figures), "Your Mac is running warm. Close unused apps to help it cool down.")
            << broken;
    }
}

// On a monitor

class StatusSummaryOfMonitor : public test::MonitorFixture {
  protected:
    // Its threads end before the time zone is set back.
    void TearDown() override { monitor.reset(); }

    std::string summary() const { return summarize(*monitor, machine.clock.now()); }
    static ProcessDetail sized(std::string name, double cpuUsage, double ramUsage, double residentGib) {
        ProcessDetail detail = process(std::move(name), cpuUsage, residentGib);
        detail.ramUsage = ramUsage;
        return detail;
    }

    const test::TimeZone utc_{"UTC0"};
};

TEST_F(StatusSummaryOfMonitor, eachPublishedValueIsTakenFromItsPlace) {
    script->cpu = 97;
    script->ram.swap = 2 * gib;
    script->processes = {sized("browser", 20, 50, 8), sized("compiler", 150, 5, 1)};
    script->disk = {.free = 1e9, .total = 100e9};
    script->battery =
        BatteryDetails{.percentage = 7, .timeRemaining = 9, .cycleCount = 321, .healthPercent = 81};
    script->level = MemoryPressureLevel::critical;
    machine.thermal.state = 2;
    cycle();
    EXPECT_EQ(summary(), "Your Mac is running warm — compiler is using 150% CPU.");
    machine.thermal.state = 1;
    cycle();
    EXPECT_EQ(summary(), "Memory pressure critical — browser using 8.0 GB. 2.0 GB swapped.");
    script->level = MemoryPressureLevel::warning;
    cycle();
    EXPECT_EQ(summary(), "Memory pressure elevated. 2.0 GB swapped to disk.");
    script->level = MemoryPressureLevel::normal;
    cycle();
    EXPECT_EQ(summary(), "compiler is using 150.0% CPU, keeping your Mac busy.");
    script->cpu = 50;
    cycle();
    EXPECT_EQ(summary(), "7% battery — about 9 minutes remaining.");
    script->battery->isCharging = true;
    cycle();
    EXPECT_EQ(summary(), "Battery health at 81% (321 cycles). Consider service.");
    script->battery->healthPercent = 85;
    cycle();
    EXPECT_EQ(summary(), "Only 1.0 GB free on disk. Consider cleaning up.");
    script->disk.free = 99e9;
    cycle();
    EXPECT_EQ(summary(), "All systems running smoothly");
}

TEST_F(StatusSummaryOfMonitor, withoutProcessesTheMachineIsToldAlone) {
    script->cpu = 97.2;
    cycle();
    EXPECT_EQ(summary(), "CPU usage is high at 97%. Your Mac is working hard.");
}

TEST_F(StatusSummaryOfMonitor, theMinuteIsThatOfTheUsersClock) {
    cycle();
    const double tenOClock = 1'800'007'200;  // in UTC
    const double sevenPast = tenOClock + 7 * 60;
    EXPECT_EQ(summarize(*monitor, instantFromSeconds(sevenPast)), "Running normally");
    EXPECT_EQ(summarize(*monitor, instantFromSeconds(sevenPast + 59.9)), "Running normally");
    EXPECT_EQ(summarize(*monitor, instantFromSeconds(sevenPast + 60)), "All systems running smoothly");
    const test::TimeZone nepal("NPT-5:45");
    EXPECT_EQ(summarize(*monitor, instantFromSeconds(sevenPast)), "All systems running smoothly");
}

}  // namespace
}  // namespace corvanta
