// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"
#include "incidents/model/PerformanceIncident.h"

namespace corvanta {

/// Which incidents the history shows, by how they stand.
enum class IncidentResolutionFilter { all, active, recovered, interrupted };

inline constexpr std::array allIncidentResolutionFilters = {
    IncidentResolutionFilter::all, IncidentResolutionFilter::active, IncidentResolutionFilter::recovered,
    IncidentResolutionFilter::interrupted};
constexpr const auto& allCases(IncidentResolutionFilter) {
    return allIncidentResolutionFilters;
}

constexpr std::string_view rawValue(IncidentResolutionFilter filter) {
    switch (filter) {
        case IncidentResolutionFilter::all:
            return "all";
        case IncidentResolutionFilter::active:
            return "active";
        case IncidentResolutionFilter::recovered:
            return "recovered";
        case IncidentResolutionFilter::interrupted:
            return "interrupted";
    }
    std::abort();
}

constexpr std::optional<IncidentResolutionFilter> incidentResolutionFilterFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentResolutionFilter>(raw);
}

constexpr std::string_view label(IncidentResolutionFilter filter) {
    switch (filter) {
        case IncidentResolutionFilter::all:
            return "Any resolution";
        case IncidentResolutionFilter::active:
            return "Active";
        case IncidentResolutionFilter::recovered:
            return "Recovered";
        case IncidentResolutionFilter::interrupted:
            return "Monitoring ended";
    }
    std::abort();
}

/// `active` includes what confirms its recovery.
constexpr bool includes(IncidentResolutionFilter filter, const PerformanceIncident& incident) {
    switch (filter) {
        case IncidentResolutionFilter::all:
            return true;
        case IncidentResolutionFilter::active:
            return incident.isActive();
        case IncidentResolutionFilter::recovered:
            return incident.hasConfirmedRecovery();
        case IncidentResolutionFilter::interrupted:
            return incident.wasInterrupted();
    }
    std::abort();
}

}  // namespace corvanta
