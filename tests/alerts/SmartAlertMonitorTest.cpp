// SPDX-License-Identifier: Apache-2.0
#include "alerts/SmartAlertMonitor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "alerts/AlertServices.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Titles = std::vector<std::string>;

constexpr double interval = 2;  // seconds between two samples

ProcessDetail process(std::int64_t id, const std::string& name, double cpuUsage, double ramUsage = 1) {
    ProcessDetail detail;
    detail.id = id;
    detail.name = name;
    detail.cpuUsage = cpuUsage;
    detail.ramUsage = ramUsage;
    return detail;
}

class SmartAlertMonitorTest : public testing::Test {
  protected:
    SmartAlertMonitorTest() { settings.notifyCooldownMinutes.set(0); }

    /// One sample, of the processes as they are now: the first leads the processor, the last the memory.
    void sample(double cpu, MemoryPressureLevel level = MemoryPressureLevel::normal) {
        const ProcessDetail* busiest = processes.empty() ? nullptr : &processes.front();
        const ProcessDetail* largest = processes.empty() ? nullptr : &processes.back();
        monitor.checkSystemState(cpu, level, busiest, largest, processes);
        ASSERT_TRUE(services.awaitTrendCheck());
        machine.clock.advance(interval);
    }
    void samples(int count, double cpu, MemoryPressureLevel level = MemoryPressureLevel::normal) {
        for (int i = 0; i < count; ++i) sample(cpu, level);
    }
    /// As many samples as last until the sixtieth second of a run, and the one at it.
    void minute(double cpu, MemoryPressureLevel level = MemoryPressureLevel::normal) {
        samples(31, cpu, level);
    }
    bool isActive() const { return monitor.activeAlertMessage().has_value(); }
    std::size_t trendChecks() const { return machine.threadSetup.labels().size(); }

    test::TempDirectory folder;
    test::FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    DatabaseManager database{folder.file("history.sqlite"), machine.clock};
    test::AlertServices services{machine, settings, database};
    SmartAlertMonitor& monitor = services.monitor;
    std::vector<ProcessDetail> processes = {process(71, "compiler", 380.04, 3),
                                            process(72, "editor", 20, 12.25)};
};

TEST_F(SmartAlertMonitorTest, atFirstNothingIsActive) {
    EXPECT_EQ(monitor.activeAlertTitle(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertMessage(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertIcon(), "sparkles");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::purple);
    EXPECT_EQ(monitor.activeAlertProcess(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::none);
    EXPECT_EQ(monitor.activeAlertAIContext(), std::nullopt);
}

TEST_F(SmartAlertMonitorTest, aMinuteOfEightyFivePercentRaisesAnAlert) {
    samples(30, 85);
    EXPECT_FALSE(isActive());
    EXPECT_EQ(services.titles(), Titles{});
    sample(85);
    EXPECT_EQ(monitor.activeAlertTitle(), "High CPU detected");
    EXPECT_EQ(monitor.activeAlertMessage(), "System CPU reached 85%. compiler led the sustained load.");
    EXPECT_EQ(monitor.activeAlertIcon(), "cpu");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::orange);
    EXPECT_EQ(monitor.activeAlertProcess(), "compiler");
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::aiExplanation);
    EXPECT_EQ(monitor.activeAlertAIContext(),
              (SmartAlertAIContext{
                  .processName = "compiler",
                  .reason = "CPU",
                  .usageContext =
                      "Historical sustained-CPU incident snapshot. system_cpu_percent=85.0; "
                      "sustained_seconds=60; process_name=compiler; matching_process_count=1; "
                      "top_instance_cpu_percent=380.0. Process count is a count, not a percentage. Explain "
                      "the detected interval in past tense and do not claim these values are current.",
                  .displaySummary = "System CPU 85% · 1 matching process"}));
    const auto requests = machine.notifications.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              (NotificationRequest{.identifier = "com.corvanta.proactive_CPU_compiler",
                                   .title = "High CPU Alert: compiler",
                                   .body = "System CPU reached 85%. compiler led the sustained load.",
                                   .interruptionLevel = InterruptionLevel::timeSensitive}));
}

TEST_F(SmartAlertMonitorTest, aMinuteOfCriticalMemoryRaisesAnAlert) {
    minute(12.4, MemoryPressureLevel::critical);
    EXPECT_EQ(monitor.activeAlertTitle(), "Critical memory pressure detected");
    EXPECT_EQ(monitor.activeAlertMessage(),
              "macOS reported critical memory pressure for one minute. editor was the largest contributor.");
    EXPECT_EQ(monitor.activeAlertIcon(), "memorychip");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::purple);
    EXPECT_EQ(monitor.activeAlertProcess(), "editor");
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::aiExplanation);
    EXPECT_EQ(monitor.activeAlertAIContext()->reason, "RAM");
    EXPECT_NE(monitor.activeAlertAIContext()->usageContext.find("top_instance_memory_percent=12.2"),
              std::string::npos)
        << monitor.activeAlertAIContext()->usageContext;
    EXPECT_EQ(services.titles(), (Titles{"High RAM Alert: editor"}));
}

TEST_F(SmartAlertMonitorTest, oneSampleBelowTheThresholdBeginsTheRunAnew) {
    samples(20, 100);
    sample(84.9);
    samples(30, 100);
    EXPECT_FALSE(isActive());
    sample(100);
    EXPECT_TRUE(isActive());
}

TEST_F(SmartAlertMonitorTest, oneSampleBelowCriticalBeginsTheRunAnew) {
    samples(20, 1, MemoryPressureLevel::critical);
    sample(1, MemoryPressureLevel::warning);
    samples(30, 1, MemoryPressureLevel::critical);
    EXPECT_FALSE(isActive());
    sample(1, MemoryPressureLevel::critical);
    EXPECT_TRUE(isActive());
}

TEST_F(SmartAlertMonitorTest, aFigureThatIsNoNumberIsNotHigh) {
    samples(20, 100);
    sample(std::numeric_limits<double>::quiet_NaN());
    samples(30, std::numeric_limits<double>::infinity());
    EXPECT_FALSE(isActive());
    sample(std::numeric_limits<double>::infinity());
    EXPECT_EQ(monitor.activeAlertMessage(), "System CPU reached 100%. compiler led the sustained load.");
}

TEST_F(SmartAlertMonitorTest, theTimeIsThatOfTheClockAndNotACountOfSamples) {
    sample(90);
    machine.clock.advance(58);
    sample(90);
    EXPECT_TRUE(isActive());
}

TEST_F(SmartAlertMonitorTest, warningNeverCounts) {
    samples(300, 10, MemoryPressureLevel::warning);
    EXPECT_FALSE(isActive());
    EXPECT_EQ(services.titles(), Titles{});
}

TEST_F(SmartAlertMonitorTest, withAnActiveAlertNothingElseIsRaised) {
    minute(100);
    ASSERT_EQ(services.titles().size(), 1u);
    const auto before = trendChecks();  // the thirtieth sample had one
    EXPECT_EQ(before, 1u);
    samples(300, 100, MemoryPressureLevel::critical);
    EXPECT_EQ(services.titles().size(), 1u);
    EXPECT_EQ(trendChecks(), before);

    // The counter stands where it stood: at one.
    monitor.dismissAlert();
    samples(28, 10);
    EXPECT_EQ(trendChecks(), before);
    sample(10);
    EXPECT_EQ(trendChecks(), before + 1);
}

TEST_F(SmartAlertMonitorTest, aRunBeginsOnlyAfterTheDismissal) {
    minute(100);
    samples(100, 100);
    monitor.dismissAlert();
    samples(30, 100);
    EXPECT_FALSE(isActive());
    sample(100);
    EXPECT_TRUE(isActive());
    EXPECT_EQ(services.titles().size(), 2u);
}

TEST_F(SmartAlertMonitorTest, memoryThatStaysCriticalAlertsAtOnceAfterTheDismissalOfTheCpusAlert) {
    minute(100, MemoryPressureLevel::critical);
    // Both runs were a minute old. The first took them, the second began in the same sample.
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: compiler"}));
    samples(30, 100, MemoryPressureLevel::critical);
    monitor.dismissAlert();
    sample(100, MemoryPressureLevel::critical);
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: compiler", "High RAM Alert: editor"}));
}

TEST_F(SmartAlertMonitorTest, memoryThatRecoversMeanwhileBeginsAnew) {
    minute(100, MemoryPressureLevel::critical);
    sample(100, MemoryPressureLevel::normal);
    samples(60, 10, MemoryPressureLevel::critical);
    monitor.dismissAlert();
    samples(30, 10, MemoryPressureLevel::critical);
    EXPECT_FALSE(isActive());
    sample(10, MemoryPressureLevel::critical);
    EXPECT_TRUE(isActive());
}

TEST_F(SmartAlertMonitorTest, withoutAProcessTheAlertWaitsForOne) {
    const auto present = processes;
    processes.clear();
    samples(40, 85);
    EXPECT_FALSE(isActive());
    processes = present;
    sample(85);
    EXPECT_TRUE(isActive());
}

TEST_F(SmartAlertMonitorTest, memoryAlertsWhereTheProcessorLacksAProcess) {
    for (int i = 0; i <= 30; ++i) {
        monitor.checkSystemState(100, MemoryPressureLevel::critical, nullptr, &processes.back(), processes);
        machine.clock.advance(interval);
        ASSERT_TRUE(services.awaitTrendCheck());
    }
    EXPECT_EQ(services.titles(), (Titles{"High RAM Alert: editor"}));
}

TEST_F(SmartAlertMonitorTest, severalProcessesOfTheNameAreCounted) {
    processes = {process(1, "web", 90.4), process(2, "Web", 5), process(3, "web", 3), process(4, "web", 2)};
    minute(97.5);
    EXPECT_EQ(monitor.activeAlertMessage(),
              "System CPU reached 98%. 3 web processes led the sustained load.");
    EXPECT_EQ(monitor.activeAlertProcess(), "web");
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: web (×3)"}));
    EXPECT_NE(monitor.activeAlertAIContext()->usageContext.find("matching_process_count=3;"),
              std::string::npos);
    EXPECT_EQ(monitor.activeAlertAIContext()->displaySummary, "System CPU 98% · 3 matching processes");
}

TEST_F(SmartAlertMonitorTest, tenThousandProcessesOfOneNameAreOneAlert) {
    processes.assign(10'000, process(9, "fork", 1));
    minute(100);
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: fork (×10000)"}));
}

TEST_F(SmartAlertMonitorTest, aProcessThatTheListDoesNotHoldCountsAsOne) {
    const ProcessDetail gone = process(5, "gone", 50);
    for (int i = 0; i <= 30; ++i) {
        monitor.checkSystemState(90, MemoryPressureLevel::normal, &gone, nullptr, processes);
        machine.clock.advance(interval);
        ASSERT_TRUE(services.awaitTrendCheck());
    }
    EXPECT_EQ(monitor.activeAlertMessage(), "System CPU reached 90%. gone led the sustained load.");
    EXPECT_NE(monitor.activeAlertAIContext()->usageContext.find("matching_process_count=1;"),
              std::string::npos);
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: gone"}));
}

TEST_F(SmartAlertMonitorTest, moreThanAHundredPercentIsToldAsAHundred) {
    minute(140);
    EXPECT_EQ(monitor.activeAlertMessage(), "System CPU reached 100%. compiler led the sustained load.");
    EXPECT_EQ(monitor.activeAlertAIContext()->displaySummary, "System CPU 100% · 1 matching process");
    EXPECT_NE(monitor.activeAlertAIContext()->usageContext.find("system_cpu_percent=100.0;"),
              std::string::npos);
    EXPECT_EQ(machine.notifications.requests().at(0).body, monitor.activeAlertMessage());
}

TEST_F(SmartAlertMonitorTest, theAlertIsRaisedWhateverBecomesOfItsNotification) {
    settings.notificationsEnabled.set(false);
    minute(100);
    EXPECT_TRUE(isActive());
    EXPECT_EQ(services.titles(), Titles{});
}

TEST_F(SmartAlertMonitorTest, aDismissalKeepsIconAndColorAndNothingElse) {
    minute(100);
    monitor.dismissAlert();
    EXPECT_EQ(monitor.activeAlertTitle(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertMessage(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertProcess(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::none);
    EXPECT_EQ(monitor.activeAlertAIContext(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertIcon(), "cpu");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::orange);
}

TEST_F(SmartAlertMonitorTest, itTellsOfEachChangeOnce) {
    int changes = 0;
    QObject::connect(&monitor, &SmartAlertMonitor::changed, &monitor, [&] { ++changes; });
    monitor.dismissAlert();
    samples(30, 100);
    EXPECT_EQ(changes, 0);
    samples(40, 100);
    EXPECT_EQ(changes, 1);
    monitor.dismissAlert();
    monitor.dismissAlert();
    EXPECT_EQ(changes, 2);
}

TEST_F(SmartAlertMonitorTest, eachArrivalInSeriousAndCriticalHeatIsTold) {
    for (const std::string state : {"Nominal", "Fair", "Serious", "Serious", "Critical", "Fair", "Critical",
                                    "Serious", "Nominal", "Unknown"})
        monitor.checkThermalState(state);
    EXPECT_EQ(services.titles(), (Titles{"Thermal Throttling: Serious", "Thermal Throttling: Critical",
                                         "Thermal Throttling: Critical", "Thermal Throttling: Serious"}));
    EXPECT_FALSE(isActive());
}

TEST_F(SmartAlertMonitorTest, heatIsToldBesideAnActiveAlert) {
    minute(100);
    monitor.checkThermalState("Critical");
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: compiler", "Thermal Throttling: Critical"}));
}

class BatteryLifecycleTest : public SmartAlertMonitorTest {
  protected:
    /// Whether the reading raises an alert. It is dismissed at once.
    bool raises(std::optional<std::int64_t> cycles, std::optional<std::int64_t> health) {
        monitor.checkBatteryLifecycle(cycles, health);
        const bool isRaised = isActive();
        monitor.dismissAlert();
        return isRaised;
    }
};

TEST_F(BatteryLifecycleTest, aWornBatteryIsAnAlertWithoutNotificationOrRoute) {
    minute(100);
    monitor.dismissAlert();
    monitor.checkBatteryLifecycle(812, 90);
    EXPECT_EQ(monitor.activeAlertTitle(), "Battery needs attention");
    EXPECT_EQ(monitor.activeAlertMessage(),
              "Cycle count is high at 812. Consider having the battery inspected.");
    EXPECT_EQ(monitor.activeAlertIcon(), "battery.100.exclamationmark");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::orange);
    EXPECT_EQ(monitor.activeAlertProcess(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::none);
    EXPECT_EQ(monitor.activeAlertAIContext(), std::nullopt);
    EXPECT_EQ(services.titles(), (Titles{"High CPU Alert: compiler"}));
}

TEST_F(BatteryLifecycleTest, cyclesComeBackEveryFifty) {
    EXPECT_FALSE(raises(799, 90));
    EXPECT_TRUE(raises(800, 90));
    EXPECT_FALSE(raises(800, 90));
    EXPECT_FALSE(raises(849, 90));
    EXPECT_TRUE(raises(850, 90));
}

TEST_F(BatteryLifecycleTest, healthComesBackEveryFivePoints) {
    EXPECT_FALSE(raises(100, 80));
    EXPECT_TRUE(raises(100, 79));
    EXPECT_FALSE(raises(100, 75));
    EXPECT_TRUE(raises(100, 74));
}

TEST_F(BatteryLifecycleTest, cyclesOutrankHealth) {
    monitor.checkBatteryLifecycle(900, 60);
    EXPECT_EQ(monitor.activeAlertMessage(),
              "Cycle count is high at 900. Consider having the battery inspected.");
    monitor.dismissAlert();
    EXPECT_FALSE(raises(900, 60));
    EXPECT_FALSE(raises(900, 40));
}

TEST_F(BatteryLifecycleTest, aSoundBatteryForgetsTheLastAlert) {
    EXPECT_TRUE(raises(100, 79));
    EXPECT_FALSE(raises(100, 80));
    EXPECT_TRUE(raises(100, 79));
    EXPECT_FALSE(raises(std::nullopt, std::nullopt));
    EXPECT_TRUE(raises(std::nullopt, 79));
}

TEST_F(BatteryLifecycleTest, anActiveAlertPutsItOff) {
    minute(100);
    monitor.checkBatteryLifecycle(800, 90);
    EXPECT_EQ(monitor.activeAlertTitle(), "High CPU detected");
    monitor.checkBatteryLifecycle(100, 90);  // which would forget, and does not
    monitor.dismissAlert();
    EXPECT_TRUE(raises(800, 90));
}

TEST_F(BatteryLifecycleTest, anActiveAlertKeepsWhatWasRaisedLast) {
    EXPECT_TRUE(raises(800, 90));
    minute(100);
    monitor.checkBatteryLifecycle(100, 90);
    monitor.dismissAlert();
    EXPECT_FALSE(raises(800, 90));
}

}  // namespace
}  // namespace corvanta
