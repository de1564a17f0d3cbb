// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <stop_token>
#include <vector>

#include "monitoring/collectors/BluetoothDevice.h"
#include "monitoring/collectors/BluetoothDeviceQuery.h"
#include "monitoring/collectors/BluetoothFallbackCache.h"
#include "platform/Platform.h"

namespace corvanta {

/// Puts the list of connected peripherals together from its three sources.
///
/// Owned by the monitor and by the work that it started, which may outlive it. One caller at a time, on a
/// background thread. Sources that fail leave the list shorter, or its levels unknown.
class BluetoothGatherer {
  public:
    static constexpr double queryTimeout = 2.0;  ///< seconds
    static constexpr std::chrono::seconds slowListingLimit{12};

    /// With no time for the slow listing, no other program is ever started.
    explicit BluetoothGatherer(const Platform& platform,
                               std::chrono::seconds fallbackLimit = slowListingLimit);

    /// Blocks for up to both limits and the time that the batteries take. In the order of the sources; cut
    /// short once `stop` is requested.
    std::vector<BluetoothDevice> gather(const std::stop_token& stop);

  private:
    BluetoothListing readFallback(const std::stop_token& stop);

    const Clock& clock_;
    BluetoothFallback& fallback_;
    PeripheralBatterySource& batteries_;
    const std::chrono::seconds fallbackLimit_;
    BluetoothDeviceQuery deviceQuery_;
    BluetoothFallbackCache fallbackCache_;
};

}  // namespace corvanta
