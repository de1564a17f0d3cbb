// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "monitoring/BluetoothAlerts.h"
#include "monitoring/collectors/BluetoothGatherer.h"
#include "platform/BackgroundTasks.h"
#include "platform/Platform.h"
#include "settings/AppSettings.h"

namespace corvanta {

/// Keeps the list of connected peripherals with their battery levels, and warns once when one runs low.
///
/// Owned by the application delegate from the launch on. Main thread only; the sources are asked in the
/// background. It refreshes at once, every 15 seconds, and shortly after a change that the sources tell of.
/// There is no error path.
class BluetoothMonitor final : public QObject {
    Q_OBJECT

  public:
    static constexpr std::chrono::seconds refreshInterval{15};
    static constexpr std::chrono::milliseconds eventDelay{300};
    static constexpr std::int64_t rearmedLevel =
        26;  ///< percent; from here on a warned device is warned again

    BluetoothMonitor(const Platform& platform, AppSettings& settings, BluetoothAlerts& alerts);
    /// Calls the running refresh off and waits for its end, but not for one that hangs.
    ~BluetoothMonitor() override;

    /// By name, as the user's language sorts it and in any case.
    const std::vector<BluetoothDevice>& connectedDevices() const { return connectedDevices_; }

    /// Starts a refresh and returns. It lapses while one is running.
    void refresh();

    /// The list as it is now, without a monitor. It starts no other program, and blocks for up to the time of
    /// the query and of the batteries. Any thread.
    static std::vector<BluetoothDevice> readOnce(const Platform& platform);

  Q_SIGNALS:
    /// The list is another than before.
    void changed();

  private:
    using Devices = std::vector<BluetoothDevice>;

    void finish(std::optional<Devices> devices);
    void warnOfLowBatteries();

    // Constant after construction.
    const Platform& platform_;
    AppSettings& settings_;
    BluetoothAlerts& alerts_;
    const std::shared_ptr<BluetoothGatherer> gatherer_;

    // Main thread only, as all below.
    Devices connectedDevices_;
    bool refreshInProgress_ = false;
    QSet<QString> lowBatteryNotifiedDevices_;  // names in lower case

    QTimer refreshTimer_{this};
    QTimer eventTimer_{this};  // a burst of events becomes one refresh
    std::unique_ptr<Subscription> connectionEvents_;
    std::unique_ptr<Subscription> batteryEvents_;
    BackgroundTasks workQueue_;
};

}  // namespace corvanta
