// SPDX-License-Identifier: Apache-2.0
// The anomalies' way from the stored history through the background into the alert.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "alerts/AlertServices.h"
#include "alerts/AnomalyHistory.h"
#include "alerts/SmartAlertMonitor.h"

namespace corvanta {
namespace {

using Titles = std::vector<std::string>;

class TrendCheckTest : public testing::Test {
  protected:
    TrendCheckTest() { machine.clock.setNow(history.clock.now()); }

    /// A history whose last quarter of an hour stands at these levels, above 20 and 30 percent as usual.
    void remember(double cpu, double pressure) {
        history.clock.setNow(machine.clock.now());
        std::vector<test::HistoryRow> rows;
        for (int i = 0; i < 2100; ++i) rows.push_back({1000 + i * 10, 20, 30});
        for (int i = 0; i < 40; ++i) rows.push_back({i * 10, cpu, pressure});
        history.replace(rows);
    }
    void sample() {
        monitor.checkSystemState(5, MemoryPressureLevel::normal, nullptr, nullptr, {});
        machine.clock.advance(2);
    }
    /// As many samples as lead to the next look through the history, and that itself.
    void look() {
        for (int i = 0; i < SmartAlertMonitor::trendCheckInterval; ++i) sample();
        ASSERT_TRUE(services.awaitTrendCheck());
    }
    std::size_t looks() const { return machine.threadSetup.labels().size(); }

    test::AnomalyHistory history;
    test::FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    test::AlertServices services{machine, settings, history.store};
    SmartAlertMonitor& monitor = services.monitor;
};

TEST_F(TrendCheckTest, everyThirtySamplesTheHistoryIsLookedThrough) {
    for (int i = 0; i < 29; ++i) sample();
    EXPECT_FALSE(monitor.isTrendChecking());
    sample();
    EXPECT_TRUE(monitor.isTrendChecking());
    ASSERT_TRUE(services.awaitTrendCheck());
    EXPECT_EQ(looks(), 1u);
    look();
    EXPECT_EQ(looks(), 2u);
    EXPECT_EQ(machine.threadSetup.labels(), (std::vector<std::string>{"trends", "trends"}));
    EXPECT_EQ(monitor.activeAlertMessage(), std::nullopt);
}

TEST_F(TrendCheckTest, anAnomalyIsAnAlertThatLeadsToTheHistory) {
    remember(45, 30);
    look();
    EXPECT_EQ(monitor.activeAlertTitle(), "Unusual activity");
    EXPECT_EQ(monitor.activeAlertMessage(), "CPU is at 45% — well above its usual 20% for your Mac.");
    EXPECT_EQ(monitor.activeAlertIcon(), "waveform.path.ecg");
    EXPECT_EQ(monitor.activeAlertColor(), ColorRole::red);
    EXPECT_EQ(monitor.activeAlertProcess(), std::nullopt);
    EXPECT_EQ(monitor.activeAlertDestination(), SmartAlertDestination::history);
    EXPECT_EQ(monitor.activeAlertAIContext(), std::nullopt);
    const auto requests = machine.notifications.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              (NotificationRequest{.identifier = "com.corvanta.anomaly_cpu",
                                   .title = "Unusual CPU Activity",
                                   .body = "CPU is at 45% — well above its usual 20% for your Mac.",
                                   .interruptionLevel = InterruptionLevel::timeSensitive}));
}

TEST_F(TrendCheckTest, theHighestScoreIsTold) {
    remember(45, 70);  // scores of 16.9 and 18.0
    look();
    EXPECT_EQ(monitor.activeAlertMessage(),
              "Memory pressure is at 70% — well above its usual 30% for your Mac.");
    EXPECT_EQ(services.titles(), (Titles{"Unusual Memory pressure Activity"}));
}

TEST_F(TrendCheckTest, ofEqualScoresTheFirstMetricIsTold) {
    // A scale of 1 for the CPU and of 1.5 for memory: 40 above 20 is as far as 60 above 30.
    remember(60, 90);
    look();
    EXPECT_EQ(monitor.activeAlertMessage(), "CPU is at 60% — well above its usual 20% for your Mac.");
}

TEST_F(TrendCheckTest, anAlertIsRedFromAboveAScoreOfSix) {
    // Usual levels spread so wide that their deviation is the scale.
    constexpr double median = 24;
    constexpr double deviation = 13.49;
    std::vector<test::HistoryRow> usual;
    for (int i = 0; i < 2100; ++i)
        usual.push_back({1000 + i * 10, median + (i % 3 - 1) * deviation, std::nullopt});
    for (const auto& [cpu, color] : {std::pair(144.0, ColorRole::orange), std::pair(144.1, ColorRole::red)}) {
        auto rows = usual;
        for (int i = 0; i < 40; ++i) rows.push_back({i * 10, cpu, std::nullopt});
        history.clock.setNow(machine.clock.now());
        history.replace(rows);
        look();
        const std::vector<Anomaly> found = services.detector.check();
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0].score > 6.0, color == ColorRole::red);
        EXPECT_NEAR(found[0].score, 6.0, 0.006);
        EXPECT_EQ(monitor.activeAlertColor(), color);
        monitor.dismissAlert();
        machine.clock.advance(3600);
    }
}

TEST_F(TrendCheckTest, atMostOneAnHourIsRaised) {
    remember(45, 30);
    look();
    const Instant raised = machine.clock.now();
    for (const double elapsed : {3599.0, 3600.0}) {
        monitor.dismissAlert();
        for (int i = 0; i < 29; ++i) sample();
        machine.clock.setNow(raised + std::chrono::duration<double>(elapsed));
        remember(45, 30);
        const std::size_t before = looks();
        sample();
        ASSERT_TRUE(services.awaitTrendCheck());
        EXPECT_EQ(looks() - before, elapsed < 3600 ? 0u : 1u);
        EXPECT_EQ(monitor.activeAlertMessage().has_value(), elapsed >= 3600);
    }
    EXPECT_EQ(services.titles().size(), 2u);
}

TEST_F(TrendCheckTest, aStoreThatIsClosedHoldsNoAnomaly) {
    const DatabaseManager closed("/nowhere/history.sqlite", machine.clock, StoreAccess::readOnly);
    test::AlertServices unlucky(machine, settings, closed);
    for (int i = 0; i < 30; ++i)
        unlucky.monitor.checkSystemState(5, MemoryPressureLevel::normal, nullptr, nullptr, {});
    EXPECT_TRUE(unlucky.monitor.isTrendChecking());
    EXPECT_TRUE(unlucky.awaitTrendCheck());
    EXPECT_EQ(unlucky.monitor.activeAlertMessage(), std::nullopt);
}

TEST_F(TrendCheckTest, aLookThatFindsNothingDoesNotBeginTheHour) {
    remember(30, 30);
    look();
    EXPECT_EQ(monitor.activeAlertMessage(), std::nullopt);
    remember(45, 30);
    look();
    EXPECT_TRUE(monitor.activeAlertMessage().has_value());
}

TEST_F(TrendCheckTest, anAlertRaisedMeanwhileDropsTheAnomaly) {
    remember(45, 30);
    for (int i = 0; i < 30; ++i) sample();
    ASSERT_TRUE(monitor.isTrendChecking());
    monitor.checkBatteryLifecycle(900, 90);
    ASSERT_TRUE(services.awaitTrendCheck());
    EXPECT_EQ(monitor.activeAlertTitle(), "Battery needs attention");
    EXPECT_EQ(services.titles(), Titles{});

    // Nothing was recorded, so the next look may raise it.
    monitor.dismissAlert();
    look();
    EXPECT_EQ(monitor.activeAlertTitle(), "Unusual activity");
}

TEST_F(TrendCheckTest, oneLookAtATime) {
    for (int i = 0; i < 90; ++i) sample();  // nobody fetches the first result
    ASSERT_TRUE(services.awaitTrendCheck());
    EXPECT_EQ(looks(), 1u);
}

TEST_F(TrendCheckTest, aSnoozeSilencesTheNotificationAlone) {
    settings.snoozePerformanceAlerts(3600);
    remember(45, 30);
    look();
    EXPECT_EQ(monitor.activeAlertTitle(), "Unusual activity");
    EXPECT_EQ(services.titles(), Titles{});
}

TEST_F(TrendCheckTest, aResultThatComesAfterTheMonitorIsDropped) {
    remember(45, 30);
    {
        SmartAlertMonitor shortLived(services.notifications, services.detector, machine.clock,
                                     machine.executor, machine.threadSetup);
        for (int i = 0; i < 30; ++i)
            shortLived.checkSystemState(5, MemoryPressureLevel::normal, nullptr, nullptr, {});
    }
    ASSERT_TRUE(machine.executor.runNext());
    EXPECT_EQ(services.titles(), Titles{});
}

}  // namespace
}  // namespace corvanta
