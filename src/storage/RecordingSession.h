// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Instant.h"

namespace corvanta {

/// A named stretch of time in which every monitoring cycle stored a sample of its own.
struct RecordingSession {
    std::int64_t id = 0;  ///< of its row
    std::string name;     ///< as it was given
    Instant startedAt;
    std::optional<Instant> endedAt;  ///< absent while it runs
    std::int64_t sampleCount = 0;

    bool operator==(const RecordingSession&) const = default;

    /// Seconds from the start to the end, or to `now` while it runs. Negative when the clock was set back
    /// meanwhile.
    double duration(Instant now) const { return (endedAt.value_or(now) - startedAt).count(); }

    /// The duration as "45s", "2m 5s" or "1h 3m", cut to whole numbers; a negative one is in seconds.
    std::string durationString(Instant now) const;
};

}  // namespace corvanta
