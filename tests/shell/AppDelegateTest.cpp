// SPDX-License-Identifier: Apache-2.0
#include "shell/AppDelegate.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>
#include <chrono>
#include <memory>
#include <vector>

#include "monitoring/RecordingSink.h"
#include "shell/OffscreenItem.h"
#include "shell/ProgramSink.h"
#include "shell/StatusRowBuilder.h"
#include "support/CapturedLog.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

constexpr int deadline = 20'000;  // milliseconds
constexpr int noQuit = 99;
constexpr std::uint64_t gigabyte = 1'073'741'824;

/// The delegate on a machine made of fakes, past the first cycle of its monitor.
class AppDelegateTest : public testing::Test {
  protected:
    AppDelegateTest() {
        machine_.memoryCounters.reading.physicalMemory = 16 * gigabyte;
        machine_.memoryCounters.reading.counters = VirtualMemoryCounters{.free = 4 * gigabyte,
                                                                         .active = 6 * gigabyte,
                                                                         .wired = 4 * gigabyte,
                                                                         .purgeable = 0,
                                                                         .compressed = 0,
                                                                         .external = 2 * gigabyte};
    }

    /// The load of the next cycle, in percent of 100 ticks.
    void queueLoad(std::uint64_t percent) {
        ticks_.user += percent;
        ticks_.idle += 100 - percent;
        machine_.cpuTicks.queue.push_back(std::vector{ticks_});
    }

    void make(PublishSink& sink) {
        queueLoad(0);
        auto item = std::make_unique<OffscreenItem>();
        item_ = item.get();
        delegate_ =
            std::make_unique<AppDelegate>(machine_.platform, settings_, database_, sink, std::move(item));
    }
    void launch() {
        make(sink_);
        finishCycle();
        delegate_->applicationDidFinishLaunching();
        ASSERT_EQ(redraws(), 1);
        ASSERT_TRUE(machine_.executor.runNext());  // the first look for peripherals
    }

    /// Waits for the cycle that runs and publishes it. Afterwards the monitor waits for its next one.
    void finishCycle() {
        ASSERT_TRUE(machine_.executor.runNext());
        ASSERT_TRUE(machine_.waiter.awaitWaits(++cycles_));
    }
    void runCycle(std::uint64_t percent) {
        queueLoad(percent);
        machine_.waiter.release();
        finishCycle();
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
    QTimer* repeatingTimer() const {
        for (QTimer* timer : delegate_->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (!timer->isSingleShot()) return timer;
        }
        return nullptr;
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

    test::TempDirectory directory_;
    test::FakePlatform machine_;
    AppSettings settings_{machine_.defaults, machine_.loginItem, machine_.clock, machine_.executor};
    DatabaseManager database_{directory_.file("history.sqlite"), machine_.clock};
    test::RecordingSink sink_;
    std::unique_ptr<AppDelegate> delegate_;
    OffscreenItem* item_ = nullptr;

  private:
    CpuTicks ticks_;
    std::size_t cycles_ = 0;
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
    ASSERT_TRUE(machine_.executor.runNext());  // the cycle's results or the peripherals
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
    QTimer* const daily = repeatingTimer();
    ASSERT_NE(daily, nullptr);
    EXPECT_EQ(daily->intervalAsDuration(), std::chrono::hours(24));
    ASSERT_TRUE(daily->isActive());
    for (const std::vector<double>& left : {std::vector{2592000.0, 60.0}, std::vector{86460.0}}) {
        QTimerEvent event(daily->timerId());
        QCoreApplication::sendEvent(daily, &event);
        EXPECT_EQ(storedAges(), left);
        machine_.clock.advance(86400);
    }
}

TEST_F(AppDelegateTest, theProgramsSinkStoresARowAtMostEveryTenSeconds) {
    IncidentDetector detector(database_, settings_);
    ProgramSink sink(database_, detector);
    make(sink);
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

}  // namespace
}  // namespace corvanta
