// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// How an incident stands, as shown to the user.
enum class IncidentResolutionState { active, recovering, recovered, interrupted };

inline constexpr std::array allIncidentResolutionStates = {
    IncidentResolutionState::active, IncidentResolutionState::recovering, IncidentResolutionState::recovered,
    IncidentResolutionState::interrupted};
constexpr const auto& allCases(IncidentResolutionState) {
    return allIncidentResolutionStates;
}

constexpr std::string_view rawValue(IncidentResolutionState state) {
    switch (state) {
        case IncidentResolutionState::active:
            return "active";
        case IncidentResolutionState::recovering:
            return "recovering";
        case IncidentResolutionState::recovered:
            return "recovered";
        case IncidentResolutionState::interrupted:
            return "interrupted";
    }
    std::abort();
}

constexpr std::optional<IncidentResolutionState> incidentResolutionStateFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentResolutionState>(raw);
}

constexpr std::string_view label(IncidentResolutionState state) {
    switch (state) {
        case IncidentResolutionState::active:
            return "Active";
        case IncidentResolutionState::recovering:
            return "Confirming recovery";
        case IncidentResolutionState::recovered:
            return "Recovered";
        case IncidentResolutionState::interrupted:
            return "Monitoring ended";
    }
    std::abort();
}

}  // namespace corvanta
