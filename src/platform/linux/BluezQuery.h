// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusMessage>
#include <QSet>
#include <QString>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Mutex.h"
#include "platform/BluetoothSources.h"
#include "platform/linux/BusService.h"
#include "platform/linux/LinuxBluetoothFallback.h"

namespace corvanta {

/// The devices of BlueZ, the Bluetooth service, over D-Bus.
///
/// Owned by the platform for the program's life. Any thread (locks what was last told); subscriptions belong
/// to the main thread. While there is a subscription, BlueZ is asked again only after it has told of a
/// change, and one that isn't there only once it has come. What it finds and forgets while it looks around
/// is no change: only devices that are connected or have a battery count.
class BluezQuery final : public BluetoothQuery {
  public:
    static constexpr std::chrono::milliseconds callLimit{2000};

    explicit BluezQuery(BusService::Connect connect, std::chrono::milliseconds callTime = callLimit);

    std::optional<BluetoothAnswer> knownDevices() override;
    std::optional<BluetoothAnswer> pairedDevices() override;
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange) override;

    /// The levels that came with the last answer, of connected devices. None while a question is open.
    std::vector<PeripheralBattery> batteries() const;
    /// `fails` while a question is open.
    BluetoothServiceState state() const;

  private:
    /// What BlueZ said of all its devices.
    struct Told {
        BluetoothAnswer answer;
        std::vector<PeripheralBattery> batteries;
        QSet<QString> counted;  // the paths of those that are connected or have a battery
    };

    static Told toldBy(const BusAnswer& answer, BluetoothServiceState& state);
    bool isChange(const QDBusMessage& signal) const;
    bool isCounted(const QString& path) const;

    const std::chrono::milliseconds callTime_;
    BusService service_;
    std::atomic<std::uint64_t> changes_ = 0;  // of what is asked for; most signals are about other things

    mutable Mutex mutex_;
    BluetoothServiceState state_ GUARDED_BY(mutex_) = BluetoothServiceState::fails;
    Told told_ GUARDED_BY(mutex_);
    std::optional<std::uint64_t> validAt_ GUARDED_BY(mutex_);  // the changes for which `told_` is true
};

}  // namespace corvanta
