// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/Subscription.h"

namespace corvanta {

/// A set of memory pressure events, one bit each.
enum class MemoryPressureEvents : std::uint32_t { none = 0, normal = 1, warning = 2, critical = 4 };

constexpr MemoryPressureEvents operator|(MemoryPressureEvents a, MemoryPressureEvents b) {
    return static_cast<MemoryPressureEvents>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr bool contains(MemoryPressureEvents set, MemoryPressureEvents event) {
    return (static_cast<std::uint32_t>(set) & static_cast<std::uint32_t>(event)) != 0;
}

/// The system's announcements of memory pressure.
///
/// Owned by the platform for the program's life. Any thread may subscribe.
class MemoryPressureEventSource {
  public:
    virtual ~MemoryPressureEventSource() = default;

    /// Calls `handler` at each change of the level, on a thread of its own named `queueLabel`. There is no
    /// initial call: a machine whose pressure does not change stays silent. Null when the system has no such
    /// source.
    virtual std::unique_ptr<Subscription> subscribe(const std::string& queueLabel,
                                                    std::function<void(MemoryPressureEvents)> handler) = 0;
};

}  // namespace corvanta
