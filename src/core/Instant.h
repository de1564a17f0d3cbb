// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

namespace corvanta {

/// A moment of wall-clock time, with fractions of a second.
using Instant = std::chrono::sys_time<std::chrono::duration<double>>;

/// Seconds since 1970-01-01 UTC, with their fraction.
constexpr double secondsSince1970(Instant instant) {
    return instant.time_since_epoch().count();
}

constexpr Instant instantFromSeconds(double seconds) {
    return Instant{std::chrono::duration<double>{seconds}};
}

/// The whole seconds that the store keeps: truncated towards zero. Nothing else truncates an instant. A value
/// beyond 64 bits is held at the nearest end, and not-a-number reads as 0.
std::int64_t storedSeconds(Instant instant);

}  // namespace corvanta
