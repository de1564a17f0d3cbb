// SPDX-License-Identifier: Apache-2.0
#include "monitoring/SystemMonitor.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "MonitorFixture.h"

namespace corvanta {
namespace {

using test::CollectorScript;
using test::FakePlatform;
using test::Hold;
using test::RecordingSink;
using Calls = std::vector<std::string>;

ProcessDetail process(std::int64_t id, std::string name, double cpu, double ram) {
    ProcessDetail detail;
    detail.id = id;
    detail.name = std::move(name);
    detail.cpuUsage = cpu;
    detail.ramUsage = ram;
    detail.residentBytes = static_cast<std::uint64_t>(ram * 1000);
    return detail;
}

class SystemMonitorTest : public test::MonitorFixture {};

TEST_F(SystemMonitorTest, everyPropertyHasItsInitialValue) {
    machine.lowPower.enabled = true;
    start();
    EXPECT_EQ(monitor->cpuUsage(), 0);
    EXPECT_EQ(monitor->ramFree(), 0);
    EXPECT_EQ(monitor->ramActive(), 0);
    EXPECT_EQ(monitor->ramWired(), 0);
    EXPECT_EQ(monitor->ramCompressed(), 0);
    EXPECT_EQ(monitor->ramSwap(), 0);
    EXPECT_EQ(monitor->ramTotal(), 0);
    EXPECT_EQ(monitor->diskFree(), 0);
    EXPECT_EQ(monitor->diskTotal(), 0);
    EXPECT_EQ(monitor->diskSmartStatus(), SMARTStatus::unknown);
    EXPECT_EQ(monitor->diskModel(), "Unknown");
    EXPECT_EQ(monitor->batteryPercentage(), std::nullopt);
    EXPECT_FALSE(monitor->isBatteryCharging());
    EXPECT_FALSE(monitor->isBatteryPluggedIn());
    EXPECT_TRUE(monitor->isLowPowerModeEnabled());  // the platform's value at creation
    EXPECT_EQ(monitor->batteryCycleCount(), std::nullopt);
    EXPECT_EQ(monitor->batteryHealth(), std::nullopt);
    EXPECT_EQ(monitor->batteryTimeRemaining(), std::nullopt);
    EXPECT_TRUE(monitor->cpuHistory().empty());
    EXPECT_TRUE(monitor->networkHistory().empty());
    EXPECT_EQ(monitor->uploadSpeed(), 0);
    EXPECT_EQ(monitor->downloadSpeed(), 0);
    EXPECT_EQ(monitor->requestedProcessSelection(), std::nullopt);
    EXPECT_TRUE(monitor->allProcesses().empty());
    EXPECT_TRUE(monitor->topCPU().empty());
    EXPECT_TRUE(monitor->topRAM().empty());
    EXPECT_EQ(monitor->thermalState(), "Nominal");
    EXPECT_EQ(monitor->memoryPressurePercentage(), 0);
    EXPECT_EQ(monitor->estimatedMemoryPressureLevel(), MemoryPressureLevel::unavailable);
    EXPECT_EQ(monitor->memoryPressureLevel(), MemoryPressureLevel::unavailable);
}

TEST_F(SystemMonitorTest, theFirstCycleOfRealCollectorsReadsNoLoad) {
    machine.cpuTicks.queue = {std::vector<CpuTicks>{{0, 900, 0, 100, 0}},
                              std::vector<CpuTicks>{{0, 950, 0, 150, 0}}};
    monitor = std::make_unique<SystemMonitor>(machine.platform, settings, sink);
    ASSERT_TRUE(machine.executor.runNext());  // no wait came before it
    EXPECT_EQ(monitor->cpuUsage(), 0);
    EXPECT_EQ(monitor->uploadSpeed(), 0);
    EXPECT_EQ(monitor->downloadSpeed(), 0);
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    machine.waiter.release();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_DOUBLE_EQ(monitor->cpuUsage(), 50);
}

TEST_F(SystemMonitorTest, theReadingsBecomeItsProperties) {
    script->cpu = 37.5;
    script->ram = {1, 2, 3, 4, 5, 6, 55.5, MemoryPressureLevel::warning};
    script->disk = {100, 200};
    script->battery = BatteryDetails{64, true, false, 90, 300, 88};
    script->network = {11, 22};
    script->level = MemoryPressureLevel::normal;
    script->smartStatus = SMARTStatus::verified;
    machine.thermal.state = 2;
    start();
    QSignalSpy changes(monitor.get(), &SystemMonitor::changed);
    machine.lowPower.enabled = true;
    cycles = 1;
    ASSERT_TRUE(machine.executor.runNext());

    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(monitor->cpuUsage(), 37.5);
    EXPECT_EQ(monitor->ramFree(), 1);
    EXPECT_EQ(monitor->ramActive(), 2);
    EXPECT_EQ(monitor->ramWired(), 3);
    EXPECT_EQ(monitor->ramCompressed(), 4);
    EXPECT_EQ(monitor->ramSwap(), 5);
    EXPECT_EQ(monitor->ramTotal(), 6);
    EXPECT_EQ(monitor->diskFree(), 100);
    EXPECT_EQ(monitor->diskTotal(), 200);
    EXPECT_EQ(monitor->diskSmartStatus(), SMARTStatus::verified);
    EXPECT_EQ(monitor->diskModel(), "Test Drive");
    EXPECT_EQ(monitor->batteryPercentage(), 64);
    EXPECT_TRUE(monitor->isBatteryCharging());
    EXPECT_FALSE(monitor->isBatteryPluggedIn());
    EXPECT_EQ(monitor->batteryCycleCount(), 300);
    EXPECT_EQ(monitor->batteryHealth(), 88);
    EXPECT_EQ(monitor->batteryTimeRemaining(), 90);
    EXPECT_EQ(monitor->cpuHistory(), (std::vector<double>{37.5}));
    EXPECT_EQ(monitor->networkHistory(), (std::vector<SystemMonitor::NetworkRates>{{11, 22}}));
    EXPECT_EQ(monitor->uploadSpeed(), 11);
    EXPECT_EQ(monitor->downloadSpeed(), 22);
    EXPECT_EQ(monitor->thermalState(), "Serious");
    EXPECT_EQ(monitor->memoryPressurePercentage(), 55.5);
    EXPECT_EQ(monitor->estimatedMemoryPressureLevel(), MemoryPressureLevel::warning);
    EXPECT_EQ(monitor->memoryPressureLevel(), MemoryPressureLevel::normal);
}

TEST_F(SystemMonitorTest, theCallsOutOfACycleComeInOneOrder) {
    script->cpu = 91;
    script->level = MemoryPressureLevel::warning;
    script->battery = BatteryDetails{19, false, true, 40, 501, 88};
    script->processes = {process(1, "small", 1, 1), process(2, "busy", 80, 2), process(3, "large", 3, 60)};
    machine.defaults.values["lastKnownBatteryCycleCount"] = std::int64_t{500};
    machine.thermal.state = 2;
    sink.decision.shouldNotifyLowBattery = true;
    sink.recording = true;
    start();
    QObject::connect(monitor.get(), &SystemMonitor::changed, monitor.get(),
                     [this] { sink.calls.emplace_back("changed"); });
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(sink.calls, (Calls{
                              "notifyBatteryCycleIncreased 500 501 88",
                              "notifyMemoryPressure Warning",
                              "checkSystemState 91.0 Warning busy large 3",
                              "checkThermalState Serious",
                              "checkBatteryLifecycle 501 88",
                              "observe",
                              "observeBattery 19 plugged 20 enabled",
                              "notifyLowBattery 19",
                              "insertSnapshot",
                              "recordPersistedObservation",
                              "isRecording",
                              "insertSessionSample",
                              "changed",
                          }));
}

TEST_F(SystemMonitorTest, aCalmDesktopMakesOnlyTheCallsOfEveryCycle) {
    cycle();
    sink.calls.clear();
    machine.clock.advance(2);
    cycle();
    EXPECT_EQ(sink.calls, (Calls{"checkSystemState 0.0 Unavailable none none 0", "checkThermalState Nominal",
                                 "checkBatteryLifecycle absent absent", "observe", "isRecording"}));
}

TEST_F(SystemMonitorTest, theObservationCarriesTheSample) {
    script->cpu = 91;
    script->ram.estimatedPressurePercentage = 61;
    script->level = MemoryPressureLevel::critical;
    script->battery = BatteryDetails{19, true, true, {}, {}, {}};
    script->network = {5, 6};
    script->processes = {process(2, "busy", 80, 2), process(3, "large", 3, 60)};
    machine.thermal.state = 7;
    machine.clock.setNow(instantFromSeconds(1'700'000'000.75));
    machine.clock.setUptime(4321.5);
    cycle();
    IncidentObservation expected;
    expected.timestamp = instantFromSeconds(1'700'000'000.75);
    expected.systemUptime = 4321.5;
    expected.cpuUsage = 91;
    expected.memoryPressureState = MemoryPressureLevel::critical;
    expected.estimatedMemoryPressure = 61;
    expected.thermalState = "Unknown";
    expected.uploadSpeed = 5;
    expected.downloadSpeed = 6;
    expected.batteryPercentage = 19;
    expected.isCharging = true;
    expected.topCPUProcess = "busy";
    expected.topCPUUsage = 80;
    expected.topRAMProcess = "large";
    expected.topRAMBytes = 60000;
    EXPECT_EQ(sink.observations, (std::vector{expected}));
    EXPECT_EQ(sink.persisted, (std::vector{expected}));
}

TEST_F(SystemMonitorTest, theStoredRowRepeatsTheEstimateAsRam) {
    script->cpu = 12;
    script->ram.estimatedPressurePercentage = 34;
    script->disk = {5e9, 9e9};
    script->level = MemoryPressureLevel::normal;
    script->battery = BatteryDetails{70, false, true, {}, {}, {}};
    script->network = {7, 8};
    script->processes = {process(2, "busy", 80, 2), process(3, "large", 3, 60)};
    sink.recording = true;
    cycle();
    SnapshotValues row;
    row.cpu = 12;
    row.ram = 34;
    row.diskFree = 5e9;
    row.upload = 7;
    row.download = 8;
    row.pressure = 34;
    row.pressureState = MemoryPressureLevel::normal;
    row.thermalState = "Nominal";
    row.batteryPercentage = 70;
    row.isCharging = false;
    row.topCPUProcess = "busy";
    row.topCPUUsage = 80;
    row.topRAMProcess = "large";
    row.topRAMBytes = 60000;
    row.timestamp = machine.clock.now();
    EXPECT_EQ(sink.snapshots, (std::vector{row}));
    const SessionSampleValues sample{12,        34,     5e9, 7, 8, 34, MemoryPressureLevel::normal,
                                     "Nominal", "busy", 80};
    EXPECT_EQ(sink.sessionSamples, (std::vector{sample}));
}

TEST_F(SystemMonitorTest, withoutProcessesNamesAreAbsentAndValuesZero) {
    sink.recording = true;
    cycle();
    EXPECT_EQ(sink.snapshots.at(0).topCPUProcess, std::nullopt);
    EXPECT_EQ(sink.snapshots.at(0).topCPUUsage, 0);
    EXPECT_EQ(sink.snapshots.at(0).topRAMProcess, std::nullopt);
    EXPECT_EQ(sink.snapshots.at(0).topRAMBytes, 0U);
    EXPECT_EQ(sink.sessionSamples.at(0).topCpuName, "");
    EXPECT_EQ(sink.sessionSamples.at(0).topCpuUsage, 0);
}

TEST_F(SystemMonitorTest, theRingsKeepSixtyEntries) {
    for (int i = 1; i <= 61; ++i) {
        script->cpu = i;
        script->network = {i + 0.5, i + 0.25};
        cycle();
        ASSERT_EQ(monitor->cpuHistory().size(), static_cast<std::size_t>(std::min(i, 60)));
        ASSERT_EQ(monitor->networkHistory().size(), static_cast<std::size_t>(std::min(i, 60)));
    }
    EXPECT_EQ(monitor->cpuHistory().front(), 2);  // the oldest has gone
    EXPECT_EQ(monitor->cpuHistory().back(), 61);
    EXPECT_EQ(monitor->networkHistory().front(), (SystemMonitor::NetworkRates{2.5, 2.25}));
}

TEST_F(SystemMonitorTest, fiveProcessesStandAsTheyAreAndSixAreCut) {
    for (int i = 0; i < 5; ++i)
        script->processes.push_back(process(i + 1, std::string(1, char('a' + i)), i, 10 - i));
    cycle();
    EXPECT_EQ(monitor->topCPU().size(), 5U);
    EXPECT_EQ(monitor->topCPU().front().name, "e");
    EXPECT_EQ(monitor->topRAM().front().name, "a");
    EXPECT_EQ(monitor->allProcesses(), script->processes);  // in the collector's order

    script->processes.push_back(process(6, "f", 0.5, 100));
    cycle();
    ASSERT_EQ(monitor->topCPU().size(), 5U);
    EXPECT_EQ(monitor->topCPU().back().name, "f");  // "a" with 0 has gone
    ASSERT_EQ(monitor->topRAM().size(), 5U);
    EXPECT_EQ(monitor->topRAM().front().name, "f");
    EXPECT_EQ(monitor->allProcesses().size(), 6U);
}

TEST_F(SystemMonitorTest, equalProcessesKeepTheirOrder) {
    for (int i = 0; i < 20; ++i) script->processes.push_back(process(i, std::to_string(i), i % 2, 1));
    cycle();
    Calls cpu, ram;
    for (const auto& p : monitor->topCPU()) cpu.push_back(p.name);
    for (const auto& p : monitor->topRAM()) ram.push_back(p.name);
    EXPECT_EQ(cpu, (Calls{"1", "3", "5", "7", "9"}));
    EXPECT_EQ(ram, (Calls{"0", "1", "2", "3", "4"}));
}

TEST_F(SystemMonitorTest, notANumberRanksAsZero) {
    for (int i = 0; i < 40; ++i) {
        script->processes.push_back(process(i, std::to_string(i), i % 3 == 0 ? std::nan("") : i, 1));
    }
    cycle();
    Calls names;
    for (const auto& p : monitor->topCPU()) names.push_back(p.name);
    EXPECT_EQ(names, (Calls{"38", "37", "35", "34", "32"}));
}

TEST_F(SystemMonitorTest, aMachineWithoutABatteryNeverReachesTheTracker) {
    for (int i = 0; i < 3; ++i) cycle();
    EXPECT_EQ(monitor->batteryPercentage(), std::nullopt);
    EXPECT_TRUE(sink.callsOf("observeBattery").empty());
    EXPECT_EQ(sink.observations.back().batteryPercentage, std::nullopt);
}

TEST_F(SystemMonitorTest, aBatteryReadingThatFailsOnceLeavesThePublishedValuesStanding) {
    script->battery = BatteryDetails{50, false, false, 60, 10, 95};
    cycle();
    script->battery.reset();
    machine.clock.advance(10);
    cycle();
    EXPECT_EQ(monitor->batteryPercentage(), 50);
    EXPECT_EQ(monitor->batteryCycleCount(), 10);
    EXPECT_EQ(monitor->batteryTimeRemaining(), 60);
    EXPECT_EQ(sink.callsOf("observeBattery").size(), 2U);  // on the old value
    EXPECT_EQ(sink.observations.back().batteryPercentage, std::nullopt);
    EXPECT_EQ(sink.observations.back().isCharging, std::nullopt);
    ASSERT_EQ(sink.snapshots.size(), 2U);
    EXPECT_EQ(sink.snapshots.back().batteryPercentage, std::nullopt);
    EXPECT_EQ(sink.snapshots.back().isCharging, std::nullopt);
    EXPECT_EQ(sink.callsOf("checkBatteryLifecycle"),
              (Calls{"checkBatteryLifecycle 10 95", "checkBatteryLifecycle 10 95"}));  // as published
}

TEST_F(SystemMonitorTest, theRowCarriesTheObservationsMoment) {
    struct TickingClock final : Clock {
        Instant now() const override { return instantFromSeconds(static_cast<double>(++seconds)); }
        double systemUptime() const override { return 1; }
        mutable std::atomic<std::int64_t> seconds = 1'800'000'000;
    } clock;
    const Platform platform{clock,
                            machine.waiter,
                            machine.executor,
                            machine.threadSetup,
                            machine.cpuTicks,
                            machine.memoryCounters,
                            machine.memoryPressureEvents,
                            machine.netCounters,
                            machine.volumeCapacity,
                            machine.driveHealth,
                            machine.processes,
                            machine.processSignaller,
                            machine.powerSources,
                            machine.lowPower,
                            machine.powerChanges,
                            machine.bluetoothQuery,
                            machine.bluetoothFallback,
                            machine.peripheralBatteries,
                            machine.thermal,
                            machine.machineFacts,
                            machine.defaults,
                            machine.loginItem,
                            machine.notifications};
    monitor = std::make_unique<SystemMonitor>(platform, settings, sink);
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_EQ(sink.snapshots.size(), 1U);
    EXPECT_EQ(sink.snapshots[0].timestamp, sink.observations.at(0).timestamp);
    monitor.reset();
}

TEST_F(SystemMonitorTest, aNegativeKnownCycleCountIsLeftAlone) {
    machine.defaults.values["lastKnownBatteryCycleCount"] = std::int64_t{-1};
    script->battery = BatteryDetails{50, false, false, {}, 10, {}};
    cycle();
    EXPECT_TRUE(sink.callsOf("notifyBatteryCycleIncreased").empty());
    EXPECT_EQ(machine.defaults.integerValue("lastKnownBatteryCycleCount"), -1);
}

TEST_F(SystemMonitorTest, aSinkSeesTheValuesOfItsOwnStep) {
    struct Watcher final : PublishSink {
        void notifyBatteryCycleIncreased(std::int64_t, std::int64_t, std::optional<std::int64_t>) override {
            pressureAtStart = monitor->memoryPressurePercentage();
        }
        void checkSystemState(double, MemoryPressureLevel, const ProcessDetail*, const ProcessDetail*,
                              const std::vector<ProcessDetail>&) override {
            pressureLater = monitor->memoryPressurePercentage();
        }
        SystemMonitor* monitor = nullptr;
        double pressureAtStart = -1;
        double pressureLater = -1;
    } watcher;
    machine.defaults.values["lastKnownBatteryCycleCount"] = std::int64_t{1};
    script->battery = BatteryDetails{50, false, false, {}, 10, {}};
    script->ram.estimatedPressurePercentage = 61;
    monitor = std::make_unique<SystemMonitor>(machine.platform, settings, watcher, [this](const Platform&) {
        return test::makeScriptedCollectors(script);
    });
    watcher.monitor = monitor.get();
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(watcher.pressureAtStart, 0);
    EXPECT_EQ(watcher.pressureLater, 61);
    monitor.reset();
}

TEST_F(SystemMonitorTest, theFirstCycleCountIsStoredInSilenceAndOnlyARiseIsTold) {
    const auto stored = [&] { return machine.defaults.integerValue("lastKnownBatteryCycleCount"); };
    const auto sample = [&](std::int64_t count) {
        script->battery = BatteryDetails{50, false, false, {}, count, 77};
        cycle();
    };
    sample(500);
    EXPECT_EQ(stored(), 500);
    EXPECT_TRUE(sink.callsOf("notifyBatteryCycleIncreased").empty());
    sample(501);
    EXPECT_EQ(stored(), 501);
    sample(499);
    EXPECT_EQ(stored(), 501);
    sample(501);
    EXPECT_EQ(stored(), 501);
    EXPECT_EQ(sink.callsOf("notifyBatteryCycleIncreased"), (Calls{"notifyBatteryCycleIncreased 500 501 77"}));
    EXPECT_EQ(std::count(machine.defaults.writes.begin(), machine.defaults.writes.end(),
                         "lastKnownBatteryCycleCount"),
              2);
}

TEST_F(SystemMonitorTest, eachArrivalInAnElevatedLevelIsTold) {
    using L = MemoryPressureLevel;
    for (const L level :
         {L::unavailable, L::normal, L::warning, L::warning, L::critical, L::warning, L::normal}) {
        script->level = level;
        cycle();
    }
    EXPECT_EQ(sink.callsOf("notifyMemoryPressure"),
              (Calls{"notifyMemoryPressure Warning", "notifyMemoryPressure Critical",
                     "notifyMemoryPressure Warning"}));
}

TEST_F(SystemMonitorTest, theEstimateNeverDrivesThePressureNotification) {
    script->ram.estimatedPressureLevel = MemoryPressureLevel::critical;
    cycle();
    EXPECT_TRUE(sink.callsOf("notifyMemoryPressure").empty());
}

TEST_F(SystemMonitorTest, withNotificationsOffTheTrackerRunsAndPressureIsStillHandedOver) {
    settings.notificationsEnabled.set(false);
    script->level = MemoryPressureLevel::critical;
    script->battery = BatteryDetails{10, false, false, {}, {}, {}};
    sink.decision = {true, 10};
    cycle();
    EXPECT_EQ(sink.callsOf("observeBattery"), (Calls{"observeBattery 10 unplugged 20 disabled"}));
    EXPECT_TRUE(sink.callsOf("notifyLowBattery").empty());
    EXPECT_TRUE(sink.callsOf("notifyBatteryDischargeMilestone").empty());
    EXPECT_EQ(sink.callsOf("notifyMemoryPressure"), (Calls{"notifyMemoryPressure Critical"}));
}

TEST_F(SystemMonitorTest, theLowBatteryAlertGoesBeforeTheMilestone) {
    script->battery = BatteryDetails{9, false, false, {}, {}, {}};
    settings.notifyOnLowBattery.set(false);
    settings.lowBatteryThreshold.set(33);
    sink.decision = {true, 10};
    cycle();
    EXPECT_EQ(sink.callsOf("observeBattery"), (Calls{"observeBattery 9 unplugged 33 disabled"}));
    EXPECT_EQ(sink.callsOf("notifyLowBattery"), (Calls{"notifyLowBattery 9"}));
    EXPECT_TRUE(sink.callsOf("notifyBatteryDischargeMilestone").empty());
    sink.decision = {false, 30};
    cycle();
    EXPECT_EQ(sink.callsOf("notifyBatteryDischargeMilestone"), (Calls{"notifyBatteryDischargeMilestone 30"}));
}

TEST_F(SystemMonitorTest, aRowIsStoredEveryTenSecondsOfWallClock) {
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 1U);
    machine.clock.advance(9.75);
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 1U);
    machine.clock.advance(0.25);
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 2U);
    EXPECT_EQ(sink.persisted.size(), 2U);
}

TEST_F(SystemMonitorTest, aWallClockSetBackStoresNothingUntilItHasCaughtUp) {
    const Instant start = machine.clock.now();
    cycle();
    machine.clock.setNow(start - std::chrono::hours(1));
    cycle();
    machine.clock.setNow(start);
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 1U);
    EXPECT_EQ(sink.observations.size(), 3U);  // the incident logic goes on
    machine.clock.setNow(start + std::chrono::seconds(10));
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 2U);
    machine.clock.setNow(start + std::chrono::hours(1000));  // a jump forwards stores at once
    cycle();
    EXPECT_EQ(sink.snapshots.size(), 3U);
}

TEST_F(SystemMonitorTest, aRecordingSessionGetsEveryCycle) {
    sink.recording = true;
    for (int i = 0; i < 4; ++i) cycle();
    EXPECT_EQ(sink.sessionSamples.size(), 4U);
    EXPECT_EQ(sink.snapshots.size(), 1U);
    sink.recording = false;
    cycle();
    EXPECT_EQ(sink.sessionSamples.size(), 4U);
}

TEST_F(SystemMonitorTest, aRefreshOpensTheCachesAndRunsACycle) {
    cycle();
    monitor->refreshRateLimitedMetrics();
    EXPECT_EQ(script->batteryInvalidations, 1);
    EXPECT_EQ(script->diskInvalidations, 1);
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(monitor->cpuHistory().size(), 2U);
    EXPECT_FALSE(script->processesForced);
}

TEST_F(SystemMonitorTest, aRefreshDuringACycleStartsNoSecondOne) {
    Hold hold;
    script->duringCpu = [&] { hold.pass(); };
    start();
    ASSERT_TRUE(hold.awaitArrival());
    ASSERT_TRUE(test::awaitEndOfTask(machine.threadSetup, "com.corvanta.refresh",
                                     [&] { monitor->refreshRateLimitedMetrics(); }));
    EXPECT_EQ(script->batteryInvalidations, 1);
    hold.open();
    ASSERT_TRUE(machine.executor.runNext());
    ASSERT_TRUE(machine.waiter.awaitWaits(1));
    EXPECT_EQ(machine.executor.runQueued(), 0);
    EXPECT_EQ(script->cpuReadings, 1);
    EXPECT_EQ(monitor->cpuHistory().size(), 1U);
}

TEST_F(SystemMonitorTest, theLowPowerFlagChangesWithoutWaitingForACycle) {
    start();
    EXPECT_FALSE(monitor->isLowPowerModeEnabled());
    QSignalSpy changes(monitor.get(), &SystemMonitor::changed);
    machine.lowPower.enabled = true;
    machine.lowPower.subscribers.fire();
    EXPECT_TRUE(monitor->isLowPowerModeEnabled());
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(SystemMonitorTest, aPowerChangeStartsTheRetryingRefresh) {
    cycle();
    machine.powerChanges.subscribers.fire();
    ASSERT_TRUE(machine.waiter.awaitWaits(2));
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{2.0, 0.1}));
}

TEST_F(SystemMonitorTest, theSettingSetsTheIntervalOfTheNextWait) {
    settings.refreshFrequency.set(RefreshFrequency::high);
    cycle();
    settings.refreshFrequency.set(RefreshFrequency::low);  // the wait in progress is not cut short
    EXPECT_EQ(machine.executor.queued(), 0U);
    cycle();
    EXPECT_EQ(machine.waiter.waits(), (std::vector<double>{1.0, 3.0}));
}

TEST_F(SystemMonitorTest, theCollectorsAreMadeBeforeTheSubscriptionsAndTheLoopComesLast) {
    Calls order;
    struct OrderedPressure final : MemoryPressureEventSource {
        explicit OrderedPressure(Calls& o) : order(o) {}
        std::unique_ptr<Subscription> subscribe(const std::string& label,
                                                std::function<void(MemoryPressureEvents)>) override {
            order.push_back("pressure on " + label);
            return nullptr;
        }
        Calls& order;
    } pressure{order};
    struct OrderedLowPower final : LowPowerSource {
        explicit OrderedLowPower(Calls& o) : order(o) {}
        bool isLowPowerModeEnabled() const override {
            order.emplace_back("low power flag");
            return false;
        }
        std::unique_ptr<Subscription> subscribe(const std::function<void()>&) override {
            order.emplace_back("low power events");
            return nullptr;
        }
        Calls& order;
    } lowPower{order};
    struct OrderedPower final : PowerChangeSource {
        explicit OrderedPower(Calls& o) : order(o) {}
        std::unique_ptr<Subscription> subscribe(const std::function<void()>&) override {
            order.emplace_back("power changes");
            return nullptr;
        }
        Calls& order;
    } power{order};
    struct OrderedThreads final : ThreadSetup {
        explicit OrderedThreads(Hold& h) : hold(h) {}
        void enterUtilityThread(const std::string& label) override {
            if (label == "com.corvanta.monitor") hold.pass();
        }
        Hold& hold;
    };
    Hold hold;
    OrderedThreads threads{hold};
    const Platform platform{machine.clock,
                            machine.waiter,
                            machine.executor,
                            threads,
                            machine.cpuTicks,
                            machine.memoryCounters,
                            pressure,
                            machine.netCounters,
                            machine.volumeCapacity,
                            machine.driveHealth,
                            machine.processes,
                            machine.processSignaller,
                            machine.powerSources,
                            lowPower,
                            power,
                            machine.bluetoothQuery,
                            machine.bluetoothFallback,
                            machine.peripheralBatteries,
                            machine.thermal,
                            machine.machineFacts,
                            machine.defaults,
                            machine.loginItem,
                            machine.notifications};
    monitor = std::make_unique<SystemMonitor>(platform, settings, sink);
    EXPECT_EQ(order, (Calls{"low power flag", "pressure on com.corvanta.memory-pressure", "low power events",
                            "power changes"}));
    ASSERT_TRUE(hold.awaitArrival());  // the loop has been started
    hold.open();
    ASSERT_TRUE(machine.executor.runNext());
    monitor.reset();
}

TEST_F(SystemMonitorTest, destructionDuringACycleEndsItQuietly) {
    start();
    while (machine.executor.queued() == 0) std::this_thread::yield();
    monitor.reset();
    machine.executor.runQueued();
    EXPECT_TRUE(sink.calls.empty());
    EXPECT_EQ(machine.powerChanges.subscribers.size(), 0U);
    EXPECT_EQ(machine.lowPower.subscribers.size(), 0U);
}

TEST_F(SystemMonitorTest, theRequestedProcessIsTheViewsAffair) {
    cycle();
    QSignalSpy changes(monitor.get(), &SystemMonitor::changed);
    monitor->setRequestedProcessSelection("cc1plus");
    EXPECT_EQ(changes.count(), 1);
    cycle();
    EXPECT_EQ(monitor->requestedProcessSelection(), "cc1plus");
}

}  // namespace
}  // namespace corvanta
