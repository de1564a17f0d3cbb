// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/Instant.h"

namespace corvanta {

/// The two clocks of the program. Wall time is what is stored and shown; uptime is what durations and gates
/// are measured on.
///
/// Owned by the program for its whole life. Any thread. Never fails.
class Clock {
  public:
    virtual ~Clock() = default;

    /// The wall clock. It can jump either way.
    virtual Instant now() const = 0;

    /// Seconds on a clock that is never stepped and stops while the machine sleeps.
    virtual double systemUptime() const = 0;
};

/// The machine's own clocks. Immutable.
class SystemClock final : public Clock {
  public:
    Instant now() const override;
    double systemUptime() const override;
};

}  // namespace corvanta
