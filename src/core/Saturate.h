// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace corvanta {

/// A double as a 64-bit integer, truncated towards zero: values beyond the range are held at its ends, and
/// not-a-number reads as 0.
inline std::int64_t saturatedInt64(double value) {
    if (std::isnan(value)) return 0;
    // 2^63 is exactly representable as a double; the largest int64 is not.
    constexpr double limit = 9223372036854775808.0;
    if (value >= limit) return std::numeric_limits<std::int64_t>::max();
    if (value < -limit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

}  // namespace corvanta
