// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentHistoryGrouper.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/AsciiCase.h"
#include "incidents/rules/IncidentCorrelation.h"

namespace corvanta::IncidentHistoryGrouper {
namespace {

std::string_view stateWord(const PerformanceIncident& incident) {
    if (incident.isRecovering()) return "recovering";
    return incident.isActive() ? "active" : "recovered";
}

std::string fingerprint(const PerformanceIncident& incident) {
    std::string text(rawValue(incident.kind));
    text += '|';
    text += asciiLowerCase(IncidentCorrelation::likelyContributor(incident).value_or("no-process-evidence"));
    text += '|';
    text += stateWord(incident);
    text += incident.isDismissed() ? "|dismissed" : "|visible";
    return text;
}

/// Not-a-number is older than every moment; it would break the order that a sort relies on.
bool isNewer(const PerformanceIncident& a, const PerformanceIncident& b) {
    const double aStart = secondsSince1970(a.startedAt);
    const double bStart = secondsSince1970(b.startedAt);
    return std::isnan(bStart) ? !std::isnan(aStart) : aStart > bStart;
}

/// Equal moments are no time apart even where they are infinite.
double secondsBetween(Instant older, Instant newer) {
    return older == newer ? 0 : (newer - older).count();
}

}  // namespace

std::vector<IncidentHistoryGroup> group(std::vector<PerformanceIncident> incidents, double recurrenceWindow) {
    // The store gives them in this order already, and a sort moves every record all the same.
    if (!std::is_sorted(incidents.begin(), incidents.end(), isNewer))
        std::stable_sort(incidents.begin(), incidents.end(), isNewer);
    std::vector<IncidentHistoryGroup> groups;
    // Of the groups of one fingerprint only the last can be near enough: it began beyond the window of each
    // group before it, and this incident began no later than it.
    std::unordered_map<std::string, std::size_t> lastGroups;
    for (PerformanceIncident& incident : incidents) {
        const auto [entry, isFirst] = lastGroups.try_emplace(fingerprint(incident), groups.size());
        if (!isFirst) {
            IncidentHistoryGroup& last = groups[entry->second];
            if (secondsBetween(incident.startedAt, last.representative.startedAt) <= recurrenceWindow) {
                last.incidents.push_back(std::move(incident));
                continue;
            }
            entry->second = groups.size();
        }
        IncidentHistoryGroup& started = groups.emplace_back();
        started.representative = incident;
        started.incidents.push_back(std::move(incident));
    }
    return groups;
}

}  // namespace corvanta::IncidentHistoryGrouper
