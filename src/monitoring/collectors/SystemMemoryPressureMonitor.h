// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "core/Mutex.h"
#include "monitoring/collectors/Collectors.h"
#include "platform/MemoryPressureEventSource.h"

namespace corvanta {

/// Keeps the memory pressure level that the system itself announces.
///
/// Owned by the monitoring loop. Any thread (locks only the stored level). The level is `unavailable` until a
/// first event, and from then on only moves between `normal`, `warning` and `critical`. On a system without
/// such events it stays `unavailable`.
class SystemMemoryPressureMonitor final : public MemoryPressureCollector {
  public:
    explicit SystemMemoryPressureMonitor(MemoryPressureEventSource& source,
                                         const std::string& queue = "com.corvanta.memory-pressure");

    MemoryPressureLevel currentLevel() const override;

    /// The worst level in a set of events; `unavailable` for a set without a known bit.
    static MemoryPressureLevel level(MemoryPressureEvents events);

  private:
    // The event handler may run while this object is being destroyed, so it holds the level, and that weakly.
    struct StoredLevel {
        Mutex mutex;
        MemoryPressureLevel level GUARDED_BY(mutex) = MemoryPressureLevel::unavailable;
    };

    std::shared_ptr<StoredLevel> stored_ = std::make_shared<StoredLevel>();
    std::unique_ptr<Subscription> subscription_;
};

}  // namespace corvanta
