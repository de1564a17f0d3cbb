// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "core/Mutex.h"
#include "monitoring/collectors/BluetoothDevice.h"
#include "monitoring/collectors/MonitoringRefreshGate.h"

namespace corvanta {

/// The last slow listing, taken anew only so often.
///
/// Owned by the gatherer. Any thread (locks itself, but not during a listing); one listing at a time is up to
/// the caller. A listing that failed is an empty one, and stands as long as any other.
class BluetoothFallbackCache {
  public:
    static constexpr double minimumInterval = 300.0;  ///< seconds of uptime

    BluetoothListing devices(double uptime, const std::function<BluetoothListing()>& read);

    /// Drops the last listing, which is known to be out of date. When the next is due stays as it is.
    void drop();

  private:
    Mutex lock_;
    MonitoringRefreshGate refreshGate_ GUARDED_BY(lock_){minimumInterval};
    BluetoothListing cachedDevices_ GUARDED_BY(lock_);
};

}  // namespace corvanta
