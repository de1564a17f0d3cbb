// SPDX-License-Identifier: Apache-2.0
#include "alerts/AlertBanner.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "alerts/AlertServices.h"
#include "monitoring/collectors/ProcessControl.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Signal = test::FakeProcessSignaller::Signal;

class AlertBannerTest : public testing::Test {
  protected:
    void add(std::int64_t id, const std::string& name, double cpuUsage) {
        ProcessDetail detail;
        detail.id = id;
        detail.name = name;
        detail.cpuUsage = cpuUsage;
        processes.push_back(detail);
        machine.processSignaller.start(id, name);
    }
    /// An alert about the first of the processes.
    void raise(const std::string& name = "web") {
        ProcessDetail process;
        process.name = name;
        for (int i = 0; i < 2; ++i) {
            monitor.checkSystemState(100, MemoryPressureLevel::normal, &process, nullptr, processes);
            machine.clock.advance(60);
        }
    }
    std::optional<AlertBanner> banner() { return alertBanner(monitor, processes, machine.processSignaller); }
    /// The process that could be stopped, or 0.
    std::int64_t target() {
        const auto shown = banner();
        return shown && shown->stop ? shown->stop->process->id() : 0;
    }

    test::TempDirectory folder;
    test::FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    DatabaseManager database{folder.file("history.sqlite"), machine.clock};
    test::AlertServices services{machine, settings, database};
    SmartAlertMonitor& monitor = services.monitor;
    std::vector<ProcessDetail> processes;
};

TEST_F(AlertBannerTest, withoutAnAlertThereIsNone) {
    EXPECT_FALSE(banner().has_value());
}

TEST_F(AlertBannerTest, aPerformanceAlertOffersAllThreeActions) {
    add(71, "web", 30);
    raise();
    const auto shown = banner();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->title, "High CPU detected");
    EXPECT_EQ(shown->message, "System CPU reached 100%. web led the sustained load.");
    EXPECT_EQ(shown->systemImage, "cpu");
    EXPECT_EQ(shown->color, ColorRole::orange);
    ASSERT_TRUE(shown->stop);
    EXPECT_EQ(shown->stop->help, "Ask web (PID 71) to quit");
    EXPECT_EQ(shown->detailTitle, "Explain");
    EXPECT_EQ(shown->detailHelp, "Explain the recorded incident snapshot with AI");
    EXPECT_EQ(shown->dismissHelp, "Dismiss alert");
}

TEST_F(AlertBannerTest, aWornBatteryCanOnlyBeDismissed) {
    add(71, "web", 30);
    monitor.checkBatteryLifecycle(900, 90);
    const auto shown = banner();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->title, "Battery needs attention");
    EXPECT_FALSE(shown->stop.has_value());
    EXPECT_EQ(shown->detailTitle, std::nullopt);
    EXPECT_EQ(shown->detailHelp, "View details");
}

TEST_F(AlertBannerTest, theBusiestOfTheNameIsStoppedAndOfEqualOnesTheFirst) {
    add(70, "Web", 99);
    add(71, "web", 30);
    add(72, "web", 40);
    add(73, "web", 40);
    add(74, "other", 90);
    add(75, "web", std::numeric_limits<double>::quiet_NaN());
    raise();
    EXPECT_EQ(target(), 72);
    machine.processSignaller.end(72);
    EXPECT_EQ(target(), 73);
    machine.processSignaller.end(73);
    EXPECT_EQ(target(), 71);
}

TEST_F(AlertBannerTest, aProcessThatHasAnotherNameByNowIsPassedOver) {
    add(71, "web", 90);
    add(72, "web", 30);
    raise();
    machine.processSignaller.start(71, "other");
    EXPECT_EQ(target(), 72);
}

TEST_F(AlertBannerTest, ofVeryManyProcessesOnlyAFewAreTried) {
    for (int i = 0; i < 10'000; ++i) add(1000 + i, "web", 30);
    raise();
    machine.processSignaller.error = 1;
    machine.processSignaller.holds = 0;
    EXPECT_EQ(target(), 0);
    EXPECT_LE(machine.processSignaller.holds, 16);
}

TEST_F(AlertBannerTest, theActionGoesWithTheLastProcess) {
    add(71, "web", 30);
    raise();
    machine.processSignaller.end(71);
    const auto shown = banner();
    ASSERT_TRUE(shown);
    EXPECT_FALSE(shown->stop.has_value());
    EXPECT_EQ(shown->detailTitle, "Explain");
}

TEST_F(AlertBannerTest, aProcessThatMayNotBeSignalledIsPassedOver) {
    add(machine.processSignaller.ownID, "web", 90);
    add(1, "web", 80);
    add(std::int64_t{1} << 31, "web", 70);
    add(71, "web", 30);
    raise();
    EXPECT_EQ(target(), 71);
    machine.processSignaller.error = 1;
    EXPECT_EQ(target(), 0);
}

TEST_F(AlertBannerTest, aProtectedProcessIsNoTarget) {
    add(71, "systemd", 30);
    raise("systemd");
    EXPECT_EQ(target(), 0);
}

TEST_F(AlertBannerTest, stoppingAsksTheProcessToQuitAndDismisses) {
    add(71, "web", 30);
    raise();
    auto shown = banner();
    ASSERT_TRUE(shown && shown->stop);
    stopAlertProcess(*shown->stop, monitor, machine.processSignaller);
    EXPECT_EQ(machine.processSignaller.signals.back(), (Signal{71, ProcessControl::terminateSignal}));
    EXPECT_FALSE(banner().has_value());
}

TEST_F(AlertBannerTest, anotherProcessThatWasGivenTheIdIsLeftAlone) {
    add(71, "web", 30);
    raise();
    auto shown = banner();
    ASSERT_TRUE(shown && shown->stop);
    machine.processSignaller.start(71, "web");
    const auto before = machine.processSignaller.signals;
    stopAlertProcess(*shown->stop, monitor, machine.processSignaller);
    EXPECT_EQ(machine.processSignaller.signals, before);
    EXPECT_FALSE(banner().has_value());
}

}  // namespace
}  // namespace corvanta
