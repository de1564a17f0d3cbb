// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusMessage>
#include <QSet>
#include <QString>
#include <QVariantMap>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Mutex.h"
#include "platform/BluetoothSources.h"
#include "platform/linux/BusService.h"

namespace corvanta {

/// The batteries of peripherals as UPower knows them, over D-Bus.
///
/// Owned by the source of batteries. One reader at a time, on a background thread; subscriptions belong to
/// the main thread. UPower is never started for this: all that it would say of a peripheral, BlueZ or a
/// driver says as well. While there is a subscription, it is asked again only after it has told of a change.
class UPowerPeripherals {
  public:
    struct Battery {
        PeripheralBattery battery;
        std::string nativePath;  ///< the driver's name for it, or that of another service

        bool operator==(const Battery&) const = default;
    };

    explicit UPowerPeripherals(BusService::Connect connect);

    std::vector<Battery> read();
    std::unique_ptr<Subscription> subscribe(const std::function<void()>& onChange);

    /// Of all properties of one of its devices. Absent for a device that is no peripheral, or whose level
    /// isn't known.
    static std::optional<Battery> batteryOf(const QVariantMap& properties);

  private:
    bool ask(std::vector<Battery>& batteries);
    bool isChange(const QDBusMessage& signal) const;

    BusService service_;
    std::atomic<std::uint64_t> changes_ = 0;  // of what is asked for

    mutable Mutex mutex_;
    std::vector<Battery> batteries_ GUARDED_BY(mutex_);
    QSet<QString> machineSupplies_ GUARDED_BY(mutex_);         // whose changes are none of ours
    std::optional<std::uint64_t> validAt_ GUARDED_BY(mutex_);  // the changes for which `batteries_` is true
};

}  // namespace corvanta
