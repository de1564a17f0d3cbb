// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <stop_token>

#include "core/Mutex.h"
#include "core/Waiter.h"
#include "monitoring/collectors/BluetoothDevice.h"
#include "platform/BackgroundTasks.h"
#include "platform/BluetoothSources.h"
#include "platform/ThreadSetup.h"

namespace corvanta {

/// Asks the Bluetooth service on a thread that may stall, and waits for the answer only so long.
///
/// Owned by the gatherer. Any thread (locks the state for a moment). While a question is stuck, no other is
/// asked. Where what the service would say is certain already, no thread is needed.
class BluetoothDeviceQuery {
  public:
    BluetoothDeviceQuery(BluetoothQuery& bluetooth, Waiter& waiter, ThreadSetup& threadSetup);
    /// Waits for the end of a question, but not for one that hangs.
    ~BluetoothDeviceQuery();
    BluetoothDeviceQuery(const BluetoothDeviceQuery&) = delete;
    BluetoothDeviceQuery& operator=(const BluetoothDeviceQuery&) = delete;

    /// The connected devices, levels unknown. Absent when there is no answer within `timeout`, in seconds,
    /// when an earlier question is still open, and when `stop` is requested; a late answer goes nowhere.
    std::optional<BluetoothListing> devices(double timeout, const std::stop_token& stop);

  private:
    struct State {
        Mutex lock;
        bool isRunning GUARDED_BY(lock) = false;
    };
    class Question;

    BluetoothQuery& bluetooth_;
    Waiter& waiter_;
    // A question may outlive this object, so it holds the state, and that weakly.
    std::shared_ptr<State> state_ = std::make_shared<State>();
    BackgroundTasks queue_;
};

}  // namespace corvanta
