// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// A look-back period for charts. The raw value is its length in seconds.
enum class TimeRange : std::int64_t { hour1 = 3600, hours24 = 86400, days7 = 604800, days30 = 2592000 };

inline constexpr std::array allTimeRanges = {TimeRange::hour1, TimeRange::hours24, TimeRange::days7,
                                             TimeRange::days30};
constexpr const auto& allCases(TimeRange) {
    return allTimeRanges;
}

constexpr std::int64_t rawValue(TimeRange value) {
    return static_cast<std::int64_t>(value);
}
constexpr std::optional<TimeRange> timeRangeFromRaw(std::int64_t raw) {
    return caseFromRaw<TimeRange>(raw);
}

constexpr std::string_view label(TimeRange value) {
    switch (value) {
        case TimeRange::hour1:
            return "1h";
        case TimeRange::hours24:
            return "24h";
        case TimeRange::days7:
            return "7d";
        case TimeRange::days30:
            return "30d";
    }
    std::abort();
}

}  // namespace corvanta
