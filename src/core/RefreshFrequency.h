// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The sampling interval that the user chose. The raw value is persisted and shown.
enum class RefreshFrequency { low, normal, high };

inline constexpr std::array allRefreshFrequencies = {RefreshFrequency::low, RefreshFrequency::normal,
                                                     RefreshFrequency::high};
constexpr const auto& allCases(RefreshFrequency) {
    return allRefreshFrequencies;
}

constexpr std::string_view rawValue(RefreshFrequency value) {
    switch (value) {
        case RefreshFrequency::low:
            return "Low (Every 3s)";
        case RefreshFrequency::normal:
            return "Normal (Every 2s)";
        case RefreshFrequency::high:
            return "High (Every 1s)";
    }
    std::abort();
}

constexpr std::optional<RefreshFrequency> refreshFrequencyFromRaw(std::string_view raw) {
    return caseFromRaw<RefreshFrequency>(raw);
}

/// Seconds between the end of one cycle and the start of the next.
constexpr double timeInterval(RefreshFrequency value) {
    switch (value) {
        case RefreshFrequency::low:
            return 3.0;
        case RefreshFrequency::normal:
            return 2.0;
        case RefreshFrequency::high:
            return 1.0;
    }
    std::abort();
}

}  // namespace corvanta
