// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "platform/NetCounterSource.h"

namespace corvanta {

/// Upload and download rates, from the byte counters of the network interfaces.
///
/// Owned by the monitoring loop. Any thread (locks sampleLock for the whole sample). A reading that fails
/// gives zeros and keeps the baseline, so that the next success measures across the gap.
class NetworkMonitor final : public NetworkCollector {
  public:
    NetworkMonitor(NetCounterSource& source, const Clock& clock);

    /// Bytes a second since the last call, summed over the preferred interfaces that are up now and were
    /// then. 0 for the first call, and when the wall clock has not moved forward since. A counter that fell
    /// adds nothing for its direction.
    NetworkSpeed getNetworkSpeed() override EXCLUDES(sampleLock_);

    /// The one family of interfaces that counts: the physical ones; without those, bridges; without either,
    /// tunnels. What passes through a tunnel or a bridge also passes a physical interface, and is counted
    /// there. Empty when there is none of these.
    static std::set<std::string> preferredInterfaceNames(const std::set<std::string>& names);

  private:
    NetCounterSource& source_;
    const Clock& clock_;

    Mutex sampleLock_;
    std::map<std::string, InterfaceCounter> lastCounters_ GUARDED_BY(sampleLock_);
    std::optional<Instant> lastTime_ GUARDED_BY(sampleLock_);
    std::vector<InterfaceReading> interfaces_ GUARDED_BY(sampleLock_);  // kept for its memory
};

}  // namespace corvanta
