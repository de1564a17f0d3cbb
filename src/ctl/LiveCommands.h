// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ctl/Command.h"
#include "monitoring/collectors/BluetoothDevice.h"
#include "monitoring/collectors/MonitoringLoop.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"
#include "platform/Platform.h"
#include "reports/StatusSummaryEngine.h"
#include "reports/WeeklyReportEngine.h"

namespace corvanta::ctl {

/// This machine's figures, read by the same collectors as the program's. It publishes and stores nothing.
///
/// Owned by a command. Main thread only.
class LiveSample {
  public:
    /// Seconds that tell enough of the rates between two readings.
    static constexpr double interval = 0.5;

    /// Takes the first reading, against which the next one measures rates.
    explicit LiveSample(const Platform& platform);
    ~LiveSample();

    /// Reads again; rates cover the time since the last reading, but for the processes, whose list is up to
    /// 10 s old, and the peripherals, which are up to 15 s old.
    void refresh();
    /// The same, with a fresh list of processes.
    void refreshAll();
    /// The same without the peripherals, which can take seconds to tell.
    void refreshMachine();
    /// Waits until the drives have told of themselves, but not for long.
    void awaitDrives() const;

    std::string text(const OutputOptions& options) const;
    /// One JSON object on one line.
    std::string json() const;
    StatusFigures statusFigures() const;
    /// The first reading has it all.
    WeeklyReportPresent reportPresent() const;

  private:
    void refreshProcesses();
    void measure();

    const Platform& platform_;
    std::shared_ptr<MonitoringLoop> loop_;
    CycleReadings readings_;
    int thermalState_ = 0;
    std::vector<BluetoothDevice> peripherals_;
    MonitoringRefreshGate peripheralsGate_;
    Instant moment_;
};

void addStatus(CommandList& commands);  ///< two readings half a second apart, then the figures once
void addWatch(CommandList& commands);   ///< the figures at each refresh of the user's setting, until Ctrl+C

}  // namespace corvanta::ctl
