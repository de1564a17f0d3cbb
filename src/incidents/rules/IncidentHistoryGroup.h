// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "incidents/model/PerformanceIncident.h"

namespace corvanta {

/// One line of the incident history: a problem, as often as it came back.
struct IncidentHistoryGroup {
    PerformanceIncident representative;          ///< the one that is shown: the newest
    std::vector<PerformanceIncident> incidents;  ///< all of them, the representative too; newest first

    std::int64_t id() const { return representative.id; }
    std::size_t repeatCount() const { return incidents.size(); }
    /// That of the representative if the list is empty.
    IncidentSeverity highestSeverity() const {
        const auto highest =
            std::max_element(incidents.begin(), incidents.end(),
                             [](const auto& a, const auto& b) { return a.severity < b.severity; });
        return highest == incidents.end() ? representative.severity : highest->severity;
    }
    bool isDismissed() const { return representative.isDismissed(); }

    bool operator==(const IncidentHistoryGroup&) const = default;
};

}  // namespace corvanta
