// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>

#include "RecordingSink.h"
#include "ScriptedCollectors.h"
#include "monitoring/SystemMonitor.h"
#include "support/FakePlatform.h"

namespace corvanta::test {

/// A monitor on a machine made of fakes, with collectors that answer by a script.
class MonitorFixture : public testing::Test {
  protected:
    void start() {
        monitor = std::make_unique<SystemMonitor>(
            machine.platform, settings, *target,
            [this](const Platform&) { return makeScriptedCollectors(script); });
        QObject::connect(monitor.get(), &SystemMonitor::changed, monitor.get(), [this] { published = true; });
    }

    /// Lets one cycle run and be published; the first starts with the monitor.
    void cycle() {
        published = false;
        if (!monitor) {
            start();
        } else {
            machine.waiter.release();
        }
        while (!published) ASSERT_TRUE(machine.executor.runNext());
        ASSERT_TRUE(machine.waiter.awaitWaits(++cycles));
    }

    FakePlatform machine;
    AppSettings settings{machine.defaults, machine.loginItem, machine.clock, machine.executor};
    std::shared_ptr<CollectorScript> script = std::make_shared<CollectorScript>();
    RecordingSink sink;
    PublishSink* target = &sink;  ///< what the monitor publishes to
    std::unique_ptr<SystemMonitor> monitor;
    std::size_t cycles = 0;
    bool published = false;  ///< since the cycle began
};

}  // namespace corvanta::test
