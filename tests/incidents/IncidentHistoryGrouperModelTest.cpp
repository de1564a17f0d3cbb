// SPDX-License-Identifier: Apache-2.0
// The grouper against a second one that compares every incident with every group.
#include <gtest/gtest.h>

#include <rapidcheck/gtest.h>
#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <set>

#include "incidents/IncidentRecords.h"
#include "incidents/rules/IncidentCorrelation.h"
#include "incidents/rules/IncidentHistoryGrouper.h"

namespace corvanta {
namespace {

constexpr double window = 21600;

std::string contributorOf(const PerformanceIncident& incident) {
    std::string name = IncidentCorrelation::likelyContributor(incident).value_or("no-process-evidence");
    std::transform(name.begin(), name.end(), name.begin(), [](char c) { return std::tolower(c); });
    return name;
}

bool areAlike(const PerformanceIncident& a, const PerformanceIncident& b) {
    const bool haveEnded = a.endedAt && b.endedAt;
    const bool areOpen = !a.endedAt && !b.endedAt;
    const bool sameState =
        haveEnded || (areOpen && a.recoveryStartedAt.has_value() == b.recoveryStartedAt.has_value());
    return sameState && a.kind == b.kind && contributorOf(a) == contributorOf(b) &&
           a.dismissedAt.has_value() == b.dismissedAt.has_value();
}

std::vector<IncidentHistoryGroup> slowGroups(std::vector<PerformanceIncident> rest, double recurrenceWindow) {
    std::vector<IncidentHistoryGroup> groups;
    while (!rest.empty()) {
        auto newest = rest.begin();
        for (auto it = rest.begin(); it != rest.end(); ++it) {
            if (it->startedAt > newest->startedAt) newest = it;
        }
        const PerformanceIncident incident = *newest;
        rest.erase(newest);
        const auto joined =
            std::find_if(groups.begin(), groups.end(), [&](const IncidentHistoryGroup& group) {
                const double seconds = (group.representative.startedAt - incident.startedAt).count();
                return areAlike(group.representative, incident) && std::abs(seconds) <= recurrenceWindow;
            });
        if (joined == groups.end()) {
            groups.push_back({incident, {incident}});
        } else {
            joined->incidents.push_back(incident);
        }
    }
    return groups;
}

/// Starts lie on, just inside and just outside the window of one another.
rc::Gen<PerformanceIncident> anyIncident() {
    return rc::gen::exec([] {
        const auto step = *rc::gen::inRange(0, 13);
        const auto shift = *rc::gen::weightedElement<double>({{6, 0}, {1, 1}, {1, -1}, {1, 0.25}});
        PerformanceIncident incident = test::recoveredIncident(0, 1'800'000'000 + step * window / 3 + shift);
        incident.kind = *rc::gen::weightedElement<IncidentKind>({{12, IncidentKind::cpu},
                                                                 {2, IncidentKind::memory},
                                                                 {1, IncidentKind::thermal},
                                                                 {2, IncidentKind::combined}});
        const auto name = rc::gen::weightedElement<std::optional<std::string>>({{12, "compiler"},
                                                                                {2, "Compiler "},
                                                                                {1, "browser"},
                                                                                {1, "  "},
                                                                                {1, "a|active|visible"},
                                                                                {1, "No-Process-Evidence"},
                                                                                {1, std::nullopt}});
        incident.topCPUProcess = *name;
        incident.topRAMProcess = *name;
        incident.peakCPU = *rc::gen::element(50.0, 85.0, 110.0);
        incident.severity = *rc::gen::element(IncidentSeverity::warning, IncidentSeverity::critical);
        const auto set = *rc::gen::element(0, 1, 2, 2, 2, 2, 3, 3);
        if (set == 0) test::setOpen(incident);
        if (set == 1) test::setRecovering(incident);
        if (set == 3) test::setInterrupted(incident);
        if (*rc::gen::inRange(0, 8) == 0) incident.dismissedAt = incident.startedAt;
        return incident;
    });
}

std::vector<PerformanceIncident> anyIncidents() {
    auto incidents = *rc::gen::container<std::vector<PerformanceIncident>>(
        static_cast<std::size_t>(*rc::gen::inRange(0, 80)), anyIncident());
    for (std::size_t i = 0; i < incidents.size(); ++i) incidents[i].id = static_cast<std::int64_t>(i) + 1;
    return incidents;
}

RC_GTEST_PROP(IncidentHistoryGrouper, agreesWithASlowOneThatComparesAll, ()) {
    const auto incidents = anyIncidents();
    const double recurrenceWindow =
        *rc::gen::weightedElement<double>({{8, window},
                                           {2, window / 3},
                                           {1, 0},
                                           {1, -1},
                                           {1, NAN},
                                           {1, std::numeric_limits<double>::infinity()}});
    const auto groups = IncidentHistoryGrouper::group(incidents, recurrenceWindow);
    RC_CLASSIFY(groups.size() > 3 && groups.size() + 3 < incidents.size(), "several share groups");
    RC_ASSERT(groups == slowGroups(incidents, recurrenceWindow));
}

RC_GTEST_PROP(IncidentHistoryGrouper, takesDistinctStartsInAnyOrder, ()) {
    auto incidents = anyIncidents();
    std::set<Instant> starts;
    std::erase_if(incidents, [&](const PerformanceIncident& incident) {
        return !starts.insert(incident.startedAt).second;
    });
    const auto groups = IncidentHistoryGrouper::group(incidents);
    auto shuffled = incidents;
    for (std::size_t i = shuffled.size(); i > 1; --i) {
        std::swap(shuffled[i - 1], shuffled[*rc::gen::inRange<std::size_t>(0, i)]);
    }
    RC_ASSERT(IncidentHistoryGrouper::group(shuffled) == groups);
}

}  // namespace
}  // namespace corvanta
