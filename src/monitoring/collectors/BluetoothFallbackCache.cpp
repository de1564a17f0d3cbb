// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/BluetoothFallbackCache.h"

#include <utility>

namespace corvanta {

BluetoothListing BluetoothFallbackCache::devices(double uptime,
                                                 const std::function<BluetoothListing()>& read) {
    {
        LockGuard guard(lock_);
        if (!refreshGate_.shouldRefresh(uptime)) return cachedDevices_;
    }
    BluetoothListing listing = read();

    LockGuard guard(lock_);
    cachedDevices_ = std::move(listing);
    return cachedDevices_;
}

void BluetoothFallbackCache::drop() {
    LockGuard guard(lock_);
    cachedDevices_ = {};
}

}  // namespace corvanta
