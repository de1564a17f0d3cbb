// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "core/Instant.h"

namespace corvanta::PerformanceAlertSnoozePolicy {

/// True while a snooze lasts: `until` is present and strictly later than `at`.
constexpr bool isSnoozed(std::optional<Instant> until, Instant at) {
    return until && *until > at;
}

}  // namespace corvanta::PerformanceAlertSnoozePolicy
