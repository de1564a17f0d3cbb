// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>
#include <QTimerEvent>
#include <chrono>
#include <memory>
#include <vector>

#include "monitoring/RecordingSink.h"
#include "shell/AppDelegate.h"
#include "shell/OffscreenItem.h"
#include "shell/ProgramServices.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta::test {

/// The delegate on a machine made of fakes, past the first cycle of its monitor.
class DelegateFixture : public testing::Test {
  protected:
    static constexpr std::uint64_t gigabyte = 1'073'741'824;

    DelegateFixture() {
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
            std::make_unique<AppDelegate>(machine_.platform, settings_, database_, services_.notifications,
                                          services_.monitor, sink, std::move(item));
        QObject::connect(&delegate_->monitor(), &SystemMonitor::changed, delegate_.get(),
                         [this] { published_ = true; });
    }
    void launch(PublishSink& sink) {
        make(sink);
        finishCycle();
        delegate_->applicationDidFinishLaunching();
        ASSERT_TRUE(machine_.executor.runNext());  // the answer to the authorization
        ASSERT_TRUE(machine_.executor.runNext());  // the first look for peripherals
    }

    /// Waits for the cycle that runs and publishes it. Afterwards the monitor waits for its next one.
    void finishCycle() {
        published_ = false;
        while (!published_) ASSERT_TRUE(machine_.executor.runNext());
        ASSERT_TRUE(machine_.waiter.awaitWaits(++cycles_));
    }
    void runCycle(std::uint64_t percent) {
        queueLoad(percent);
        machine_.waiter.release();
        finishCycle();
    }

    /// The delegate's timer that fires once or again and again after that time; null without one.
    QTimer* timerOf(std::chrono::milliseconds interval) const {
        for (QTimer* timer : delegate_->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (timer->isActive() && timer->intervalAsDuration() == interval) return timer;
        }
        return nullptr;
    }
    static void fire(QTimer* timer) {
        QTimerEvent event(timer->timerId());
        QCoreApplication::sendEvent(timer, &event);
    }

    TempDirectory directory_;
    FakePlatform machine_;
    AppSettings settings_{machine_.defaults, machine_.loginItem, machine_.clock, machine_.executor};
    DatabaseManager database_{directory_.file("history.sqlite"), machine_.clock};
    ProgramServices services_{machine_, settings_, database_};
    std::unique_ptr<AppDelegate> delegate_;
    OffscreenItem* item_ = nullptr;

  private:
    CpuTicks ticks_;
    std::size_t cycles_ = 0;
    bool published_ = false;
};

}  // namespace corvanta::test
