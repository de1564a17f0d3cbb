// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace corvanta {

/// How much evidence a narrative rests on. Ordered by its raw value, which is also the order of `<`.
enum class IncidentConfidence { limited = 1, moderate = 2, strong = 3 };

constexpr std::int64_t rawValue(IncidentConfidence confidence) {
    return static_cast<std::int64_t>(confidence);
}

constexpr std::optional<IncidentConfidence> incidentConfidenceFromRaw(std::int64_t raw) {
    if (raw < 1 || raw > 3) return std::nullopt;
    return static_cast<IncidentConfidence>(raw);
}

constexpr std::string_view label(IncidentConfidence confidence) {
    switch (confidence) {
        case IncidentConfidence::limited:
            return "Limited evidence";
        case IncidentConfidence::moderate:
            return "Moderate confidence";
        case IncidentConfidence::strong:
            return "Strong confidence";
    }
    std::abort();
}

}  // namespace corvanta
