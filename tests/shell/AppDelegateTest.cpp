// SPDX-License-Identifier: Apache-2.0
#include "shell/AppDelegate.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <chrono>
#include <vector>

#include "monitoring/collectors/ProcessControl.h"
#include "reports/WeeklyReportEngine.h"
#include "shell/DelegateFixture.h"
#include "shell/StatusRowBuilder.h"
#include "support/CapturedLog.h"

namespace corvanta {
namespace {

constexpr int deadline = 20'000;  // milliseconds
constexpr int noQuit = 99;

class AppDelegateTest : public test::DelegateFixture {
  protected:
    using DelegateFixture::launch;
    void launch() {
        launch(sink_);
        ASSERT_EQ(redraws(), 1);
    }

    void storeRowsOfAges(const std::vector<double>& ages) {
        SnapshotValues values;
        for (const double age : ages) {
            values.timestamp = instantFromSeconds(secondsSince1970(machine_.clock.now()) - age);
            database_.insertSnapshot(values);
        }
    }
    std::vector<double> storedAges() {
        std::vector<double> ages;
        for (const SystemSnapshot& row : database_.fetchHistory(10'000'000))
            ages.push_back(secondsSince1970(machine_.clock.now()) - static_cast<double>(row.timestamp));
        return ages;
    }

    int redraws() const { return item_->calls().setContent; }
    bool awaitRedraws(int count) const {
        return QTest::qWaitFor([&] { return redraws() >= count; }, deadline);
    }

    /// Runs the event loop, in which the work is done at once, and returns its exit code.
    template <class Work>
    static int exitCodeAfter(Work work) {
        QTimer giveUp;
        giveUp.callOnTimeout([] { QCoreApplication::exit(noQuit); });
        giveUp.start(deadline);
        QTimer::singleShot(0, qApp, work);
        return QApplication::exec();
    }

    test::RecordingSink sink_;
};

TEST_F(AppDelegateTest, samplingStartsAheadOfTheLaunch) {
    make(sink_);
    finishCycle();
    EXPECT_EQ(sink_.snapshots.size(), 1u);
    EXPECT_EQ(redraws(), 0);
}

TEST_F(AppDelegateTest, theLaunchShowsTheItemAtOnce) {
    make(sink_);
    delegate_->applicationDidFinishLaunching();
    EXPECT_EQ(redraws(), 1);
    EXPECT_EQ(item_->calls().setToolTip, 1);
    finishCycle();
}

TEST_F(AppDelegateTest, peripheralsAreLookedForFromTheLaunchToTheEnd) {
    make(sink_);
    EXPECT_EQ(machine_.bluetoothQuery.subscribers.size(), 0u);
    finishCycle();
    delegate_->applicationDidFinishLaunching();
    EXPECT_EQ(machine_.bluetoothQuery.subscribers.size(), 1u);
    ASSERT_TRUE(machine_.bluetoothFallback.readings.await(1));
    delegate_.reset();
    EXPECT_EQ(machine_.bluetoothQuery.subscribers.size(), 0u);
}

TEST_F(AppDelegateTest, eachCycleRedrawsTheRowALittleLater) {
    launch();
    for (const std::uint64_t load : {75u, 20u, 20u}) {
        const int before = redraws();
        runCycle(load);
        EXPECT_EQ(redraws(), before);
        ASSERT_TRUE(awaitRedraws(before + 1));
        EXPECT_EQ(redraws(), before + 1);

        const SystemMonitor& monitor = delegate_->monitor();
        EXPECT_EQ(monitor.cpuUsage(), static_cast<double>(load));
        const StatusRow expected =
            buildStatusRow({.cpuPercent = static_cast<double>(load),
                            .ramText = QString::fromStdString(monitor.formattedRAM()),
                            .pressureLevel = monitor.displayedMemoryPressureLevel(),
                            .pressureText = QString::fromStdString(monitor.formattedMemoryPressure())},
                           Appearance::dark);
        EXPECT_EQ(item_->calls().row, expected);
        EXPECT_EQ(item_->toolTip().toStdString(), monitor.tooltipText());
    }
}

TEST_F(AppDelegateTest, theToolTipIsComposedOnlyForThePointer) {
    machine_.machineFacts.description.name = "Test Book";
    launch();
    const int before = redraws();
    runCycle(75);
    ASSERT_TRUE(awaitRedraws(before + 1));
    EXPECT_EQ(item_->calls().setToolTip, 1);
    EXPECT_TRUE(item_->toolTip().startsWith(QStringLiteral("CPU Load: 75%\n• Model: Test Book, ")));
    // The values of the moment, whether the row shows them yet or not.
    runCycle(20);
    EXPECT_TRUE(item_->toolTip().startsWith(QStringLiteral("CPU Load: 20%\n")));
    EXPECT_EQ(item_->calls().setToolTip, 1);
}

TEST_F(AppDelegateTest, aBurstOfChangesIsOneRedrawOfTheLastState) {
    launch();
    const int before = redraws();
    runCycle(10);
    runCycle(30);
    runCycle(50);
    ASSERT_TRUE(awaitRedraws(before + 1));
    EXPECT_TRUE(item_->calls().row->plainText.startsWith(QStringLiteral("CPU 50%,")));
    // The next change's redraw is the next one.
    runCycle(70);
    ASSERT_TRUE(awaitRedraws(before + 2));
    EXPECT_EQ(redraws(), before + 2);
    EXPECT_TRUE(item_->calls().row->plainText.startsWith(QStringLiteral("CPU 70%,")));
}

TEST_F(AppDelegateTest, aChangeOfTheLowPowerModeRedrawsWithoutACycle) {
    launch();
    const int before = redraws();
    machine_.lowPower.enabled = true;
    machine_.lowPower.subscribers.fire();
    EXPECT_TRUE(awaitRedraws(before + 1));
    EXPECT_TRUE(delegate_->monitor().isLowPowerModeEnabled());
}

TEST_F(AppDelegateTest, aChangedSettingRedrawsAtOnce) {
    launch();
    const int before = redraws();
    const QString shown = item_->calls().row->plainText;
    settings_.valueFormat.set(ValueFormat::percentage);
    EXPECT_EQ(redraws(), before + 1);
    EXPECT_NE(item_->calls().row->plainText, shown);
    EXPECT_EQ(item_->calls().row->plainText.toStdString(), "CPU 0%, RAM 38%, Memory pressure Est. Normal");
}

TEST_F(AppDelegateTest, anotherAppearanceRedrawsAtOnceInItsColors) {
    launch();
    const int before = redraws();
    const StatusRow dark = *item_->calls().row;
    item_->setAppearance(Appearance::light);
    EXPECT_EQ(redraws(), before + 1);
    EXPECT_NE(item_->calls().row, dark);
    EXPECT_EQ(item_->calls().row->chip.background, rowTheme(Appearance::light).chipBackground);
    EXPECT_EQ(item_->calls().row->plainText, dark.plainText);
}

TEST_F(AppDelegateTest, aPrimaryClickTakesAFreshSample) {
    launch();
    const int before = redraws();
    queueLoad(60);
    item_->click(Qt::LeftButton);
    ASSERT_TRUE(machine_.executor.runNext());
    EXPECT_EQ(delegate_->monitor().cpuUsage(), 60);
    EXPECT_TRUE(awaitRedraws(before + 1));
    EXPECT_EQ(machine_.waiter.waits().size(), 1u);  // the loop still waits
    EXPECT_EQ(item_->calls().popUpMenu, 0);
}

TEST_F(AppDelegateTest, anotherStartTakesAFreshSample) {
    launch();
    queueLoad(60);
    delegate_->activate();
    ASSERT_TRUE(machine_.executor.runNext());
    EXPECT_EQ(delegate_->monitor().cpuUsage(), 60);
}

TEST_F(AppDelegateTest, aSecondaryClickDropsTheMenu) {
    launch();
    item_->click(Qt::RightButton);
    EXPECT_EQ(item_->calls().popUpMenu, 1);
    EXPECT_EQ(item_->calls().menu, &delegate_->menu());
    EXPECT_TRUE(delegate_->menu().isVisible());
    delegate_->menu().close();
    item_->click(Qt::RightButton);
    EXPECT_EQ(item_->calls().popUpMenu, 2);
    delegate_->menu().close();
    EXPECT_EQ(machine_.executor.queued(), 0u);
}

TEST_F(AppDelegateTest, theMenuQuits) {
    launch();
    const QList<QAction*> actions = delegate_->menu().actions();
    ASSERT_FALSE(actions.isEmpty());
    QAction* quit = actions.last();
    EXPECT_EQ(quit->text(), QStringLiteral("Quit Corvanta"));
    EXPECT_EQ(quit->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
    EXPECT_TRUE(quit->isShortcutVisibleInContextMenu());
    EXPECT_FALSE(quit->icon().isNull());
    EXPECT_EQ(exitCodeAfter([quit] { quit->trigger(); }), 0);
}

TEST_F(AppDelegateTest, quitEndsTheEventLoop) {
    launch();
    EXPECT_EQ(exitCodeAfter([this] { delegate_->quitApp(); }), 0);
}

TEST_F(AppDelegateTest, theLaunchPrunesTheStore) {
    storeRowsOfAges({2592001.0, 2592000.0, 60.0});
    make(sink_);
    finishCycle();
    EXPECT_EQ(storedAges(), (std::vector{2592001.0, 2592000.0, 60.0}));
    delegate_->applicationDidFinishLaunching();
    EXPECT_EQ(storedAges(), (std::vector{2592000.0, 60.0}));
}

TEST_F(AppDelegateTest, theStoreIsPrunedOnceADay) {
    launch();
    storeRowsOfAges({2592001.0, 2592000.0, 60.0});
    QTimer* const daily = timerOf(std::chrono::hours(24));
    ASSERT_NE(daily, nullptr);
    EXPECT_FALSE(daily->isSingleShot());
    for (const std::vector<double>& left : {std::vector{2592000.0, 60.0}, std::vector{86460.0}}) {
        fire(daily);
        EXPECT_EQ(storedAges(), left);
        machine_.clock.advance(86400);
    }
}

TEST_F(AppDelegateTest, theProgramsSinkStoresARowAtMostEveryTenSeconds) {
    make(services_.sink);
    finishCycle();
    EXPECT_EQ(database_.fetchHistory().size(), 1u);
    machine_.clock.advance(9.9);
    runCycle(40);
    EXPECT_EQ(database_.fetchHistory().size(), 1u);
    machine_.clock.advance(0.1);
    runCycle(80);
    const std::vector<SystemSnapshot> rows = database_.fetchHistory();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].cpuUsage, 80);
    EXPECT_EQ(rows[1].memoryPressure, 25);
    EXPECT_EQ(rows[1].thermalState, "Nominal");
    EXPECT_EQ(rows[1].timestamp - rows[0].timestamp, 10);
}

TEST_F(AppDelegateTest, itEndsInTheMiddleOfACycle) {
    const test::CapturedLog log;
    make(sink_);
    delegate_->applicationDidFinishLaunching();
    // The first cycle has no executor to publish it.
    delegate_.reset();
    EXPECT_TRUE(sink_.calls.empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(AppDelegateTest, theLaunchAsksForTheRightToNotify) {
    launch();
    EXPECT_EQ(machine_.notifications.authorizationRequests(), 1);
}

TEST_F(AppDelegateTest, withNotificationsOffNothingIsAskedUntilTheyAreOn) {
    settings_.notificationsEnabled.set(false);
    make(sink_);
    finishCycle();
    delegate_->applicationDidFinishLaunching();
    EXPECT_EQ(machine_.notifications.authorizationRequests(), 0);
    settings_.notificationsEnabled.set(false);
    EXPECT_EQ(machine_.notifications.removals(), 0);  // no change
    settings_.notificationsEnabled.set(true);
    settings_.notificationsEnabled.set(true);
    EXPECT_EQ(machine_.notifications.authorizationRequests(), 1);
    settings_.notificationsEnabled.set(false);
    EXPECT_EQ(machine_.notifications.removals(), 1);
}

class NotificationClickTest : public AppDelegateTest, public testing::WithParamInterface<const char*> {};

TEST_P(NotificationClickTest, takesAFreshSample) {
    launch();
    queueLoad(60);
    machine_.notifications.click(std::string("com.corvanta.") + GetParam());
    ASSERT_TRUE(machine_.executor.runNext());
    EXPECT_EQ(delegate_->monitor().cpuUsage(), 60);
}

INSTANTIATE_TEST_SUITE_P(AppDelegateTest, NotificationClickTest,
                         testing::Values("battery_low", "weekly_report"));

class AlertMenuTest : public AppDelegateTest {
  protected:
    /// A load of a minute by one process, which is then the alert.
    void raise(const std::string& name = "R&D <b>\n") {
        launch(services_.sink);
        machine_.processes.queue = {std::vector<ListedProcess>{{71, name, ProcessUsage{}}}};
        machine_.processSignaller.start(71, name);
        machine_.clock.advance(10);
        runCycle(100);
        machine_.clock.advance(60);
        runCycle(100);
        ASSERT_TRUE(services_.monitor.activeAlertMessage().has_value());
    }
    QStringList rows() {
        Q_EMIT delegate_->menu().aboutToShow();
        QStringList rows;
        for (const QAction* action : delegate_->menu().actions())
            rows.append(action->isSeparator() ? QStringLiteral("-") : action->text());
        return rows;
    }
    QAction* row(int index) { return delegate_->menu().actions().value(index); }
};

TEST_F(AlertMenuTest, withoutAnAlertTheMenuHasNone) {
    launch(services_.sink);
    EXPECT_EQ(rows(), (QStringList{QStringLiteral("Quit Corvanta")}));
}

TEST_F(AlertMenuTest, theAlertStandsOnTopInPlainText) {
    raise();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(
            rows(),
            (QStringList{QStringLiteral("High CPU detected"),
                         QStringLiteral("System CPU reached 100%. R&&D <b>  led the sustained load."),
                         QStringLiteral("Ask R&&D <b>  (PID 71) to quit"), QStringLiteral("Dismiss alert"),
                         QStringLiteral("-"), QStringLiteral("Quit Corvanta")}));
    }
    EXPECT_FALSE(row(0)->isEnabled());
    EXPECT_FALSE(row(1)->isEnabled());
}

TEST_F(AlertMenuTest, aDismissalThereLetsTheNextAlertCome) {
    raise();
    rows();
    row(3)->trigger();
    EXPECT_EQ(services_.monitor.activeAlertMessage(), std::nullopt);
    EXPECT_EQ(rows(), (QStringList{QStringLiteral("Quit Corvanta")}));
    machine_.clock.advance(400);
    runCycle(100);
    machine_.clock.advance(60);
    runCycle(100);
    EXPECT_TRUE(services_.monitor.activeAlertMessage().has_value());
    EXPECT_EQ(services_.titles().size(), 2u);
}

TEST_F(AlertMenuTest, itsProcessCanBeAskedToQuit) {
    raise("web");
    rows();
    row(2)->trigger();
    EXPECT_EQ(machine_.processSignaller.signals.back().id, 71);
    EXPECT_EQ(machine_.processSignaller.signals.back().signal, ProcessControl::terminateSignal);
    EXPECT_EQ(services_.monitor.activeAlertMessage(), std::nullopt);
}

TEST_F(AlertMenuTest, aClickOnTheNotificationDropsTheMenuWhileThereIsAnAlert) {
    raise("web");
    machine_.notifications.click("com.corvanta.proactive_CPU_web");
    EXPECT_EQ(item_->calls().popUpMenu, 1);
    delegate_->menu().close();
    services_.monitor.dismissAlert();
    machine_.notifications.click("com.corvanta.proactive_CPU_web");
    EXPECT_EQ(item_->calls().popUpMenu, 1);
}

TEST_F(AppDelegateTest, aPeripheralsLowBatteryIsNotified) {
    machine_.peripheralBatteries.services = {{.batteryPercent = 9, .product = "<b>Mouse</b>"}};
    launch();
    const auto requests = machine_.notifications.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].body, "<b>Mouse</b> battery is at 9%. Charge it soon to avoid interruption.");
}

class WeeklyReportAnnouncementTest : public AppDelegateTest {
  protected:
    /// Thirty rows, the oldest of that age.
    void storeWeek(double oldestAge = 86400) {
        std::vector<double> ages;
        for (int i = 0; i < 29; ++i) ages.push_back(i * 10.0);
        ages.push_back(oldestAge);
        storeRowsOfAges(ages);
    }
    std::vector<std::string> titles() const { return services_.titles(); }
    std::optional<double> marked() const { return machine_.defaults.doubleValue("lastWeeklyReportAt"); }
    double now() const { return secondsSince1970(machine_.clock.now()); }
};

TEST_F(WeeklyReportAnnouncementTest, thirtySecondsAfterTheLaunchAReportThatIsDueIsAnnounced) {
    launch();
    storeWeek();
    QTimer* const first = timerOf(std::chrono::seconds(30));
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isSingleShot());
    EXPECT_EQ(marked(), std::nullopt);
    fire(first);
    EXPECT_EQ(marked(), now());
    const auto requests = machine_.notifications.requests();
    ASSERT_EQ(requests.size(), 1u);
    const WeeklyReport report =
        WeeklyReportEngine::generate(database_, machine_.clock, &delegate_->monitor());
    EXPECT_EQ(requests[0].title, "Your Weekly Mac Health Report");
    EXPECT_EQ(requests[0].body, report.headline + " Health score: " + std::to_string(report.healthScore) +
                                    "/100. Tap to see the details.");
}

TEST_F(WeeklyReportAnnouncementTest, theDailyTimerAnnouncesTheNextOneAWeekLater) {
    launch();
    QTimer* const daily = timerOf(std::chrono::hours(24));
    ASSERT_NE(daily, nullptr);
    std::vector<int> days;
    for (int day = 0; day < 17; ++day) {
        storeWeek();
        const std::size_t before = titles().size();
        fire(daily);
        if (titles().size() > before) days.push_back(day);
        machine_.clock.advance(86400);
    }
    EXPECT_EQ(days, (std::vector{0, 7, 14}));
}

TEST_F(WeeklyReportAnnouncementTest, whatIsNotDueIsNeitherMarkedNorAnnounced) {
    launch();
    storeWeek(86399);
    delegate_->checkWeeklyReport();
    EXPECT_EQ(marked(), std::nullopt);
    EXPECT_EQ(titles(), std::vector<std::string>{});
}

TEST_F(WeeklyReportAnnouncementTest, itIsMarkedAlsoWhenItCannotBeDelivered) {
    launch();
    storeWeek();
    settings_.notificationsEnabled.set(false);
    delegate_->checkWeeklyReport();
    EXPECT_EQ(marked(), now());
    EXPECT_EQ(titles(), std::vector<std::string>{});
}

TEST_F(WeeklyReportAnnouncementTest, itIsMarkedBeforeItIsDelivered) {
    launch();
    storeWeek();
    std::optional<double> markedThen;
    machine_.notifications.duringDelivery = [&] { markedThen = marked(); };
    delegate_->checkWeeklyReport();
    EXPECT_EQ(markedThen, now());
}

TEST_F(WeeklyReportAnnouncementTest, aMarkInTheFutureHoldsTheNextOneBack) {
    launch();
    storeWeek();
    machine_.defaults.set("lastWeeklyReportAt", now() + 1000);
    delegate_->checkWeeklyReport();
    EXPECT_EQ(titles(), std::vector<std::string>{});
    EXPECT_EQ(marked(), now() + 1000);
}

}  // namespace
}  // namespace corvanta
