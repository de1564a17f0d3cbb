// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/SystemMemoryPressureMonitor.h"

namespace corvanta {

SystemMemoryPressureMonitor::SystemMemoryPressureMonitor(MemoryPressureEventSource& source,
                                                         const std::string& queue) {
    subscription_ = source.subscribe(queue, [weak = std::weak_ptr(stored_)](MemoryPressureEvents events) {
        const auto stored = weak.lock();
        const MemoryPressureLevel announced = level(events);
        if (!stored || announced == MemoryPressureLevel::unavailable) return;
        LockGuard guard(stored->mutex);
        stored->level = announced;
    });
}

MemoryPressureLevel SystemMemoryPressureMonitor::currentLevel() const {
    LockGuard guard(stored_->mutex);
    return stored_->level;
}

MemoryPressureLevel SystemMemoryPressureMonitor::level(MemoryPressureEvents events) {
    if (contains(events, MemoryPressureEvents::critical)) return MemoryPressureLevel::critical;
    if (contains(events, MemoryPressureEvents::warning)) return MemoryPressureLevel::warning;
    if (contains(events, MemoryPressureEvents::normal)) return MemoryPressureLevel::normal;
    return MemoryPressureLevel::unavailable;
}

}  // namespace corvanta
