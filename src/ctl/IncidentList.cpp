// SPDX-License-Identifier: Apache-2.0
#include "ctl/IncidentList.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/TextForms.h"
#include "ctl/IncidentJson.h"
#include "ctl/StoreCommands.h"
#include "incidents/IncidentTimelineViewModel.h"
#include "incidents/rules/IncidentCorrelation.h"

namespace corvanta::ctl {
namespace {

/// The words of the command line; the parser has checked them.
struct IncidentListing {
    std::string range{rawValue(IncidentTimeRangeFilter::week)};
    std::string kind{rawValue(IncidentKindFilter::all)};
    std::string severity{rawValue(IncidentSeverityFilter::all)};
    std::string resolution{rawValue(IncidentResolutionFilter::all)};
    std::string search;
    bool includeDismissed = false;
};

void filter(IncidentTimelineViewModel& timeline, const IncidentListing& listing) {
    if (const auto range = incidentTimeRangeFilterFromRaw(listing.range)) timeline.setTimeRange(*range);
    if (const auto kind = incidentKindFilterFromRaw(listing.kind)) timeline.setKindFilter(*kind);
    if (const auto severity = incidentSeverityFilterFromRaw(listing.severity))
        timeline.setSeverityFilter(*severity);
    if (const auto resolution = incidentResolutionFilterFromRaw(listing.resolution))
        timeline.setResolutionFilter(*resolution);
    timeline.setSearchText(listing.search);
    timeline.setIncludeDismissed(listing.includeDismissed);
}

Json jsonOf(const IncidentHistoryGroup& group) {
    Json incidents = Json::array();
    for (const PerformanceIncident& incident : group.incidents) incidents.push_back(incidentJson(incident));
    return {{"id", group.id()},
            {"repeat_count", group.repeatCount()},
            {"highest_severity", rawValue(group.highestSeverity())},
            {"is_dismissed", group.isDismissed()},
            {"likely_contributor", orNull(IncidentCorrelation::likelyContributor(group.representative))},
            {"incidents", std::move(incidents)}};
}

/// The numbers of those that came before, as `dismiss` takes them.
std::string othersOf(const IncidentHistoryGroup& group) {
    std::string ids;
    for (const PerformanceIncident& incident : group.incidents) {
        if (incident.id != group.id()) ids += (ids.empty() ? "" : " ") + integerText(incident.id);
    }
    return ids;
}

std::vector<std::string> textOf(const IncidentHistoryGroup& group, Instant now) {
    const PerformanceIncident& incident = group.representative;
    return {integerText(group.id()),
            localTime(storedSeconds(incident.startedAt)),
            std::string(label(incident.kind)),
            std::string(label(group.highestSeverity())),
            std::string(label(incident.resolutionState())) + (group.isDismissed() ? ", dismissed" : ""),
            durationString(incident.duration(now)),
            integerText(group.repeatCount()),
            plainText(IncidentCorrelation::likelyContributor(incident).value_or("-")),
            othersOf(group)};
}

std::string emptyText(const IncidentTimelineViewModel& timeline) {
    std::string text =
        timeline.hasActiveFilters() ? "No incidents match.\n" : "No incidents in the last 7 days.\n";
    if (timeline.hasDismissedIncidentsMatchingFilters())
        text += "There are dismissed ones, which --dismissed shows.\n";
    return text;
}

int runIncidents(const Surroundings& at, const IncidentListing& listing) {
    DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    IncidentTimelineViewModel timeline(store, at.ports.clock);
    filter(timeline, listing);
    const std::vector<IncidentHistoryGroup> groups = timeline.historyGroups();
    if (at.output.json) {
        Json list = Json::array();
        for (const IncidentHistoryGroup& group : groups) list.push_back(jsonOf(group));
        return print(dumped(list) + "\n") ? 0 : 1;
    }
    if (groups.empty()) return print(emptyText(timeline)) ? 0 : 1;

    const Instant now = at.ports.clock.now();
    std::vector<std::vector<std::string>> lines = {
        {"ID", "Start", "Kind", "Severity", "State", "Duration", "Count", "Contributor", "Others"}};
    for (const IncidentHistoryGroup& group : groups) lines.push_back(textOf(group, now));
    return print(table(lines)) ? 0 : 1;
}

}  // namespace

void addIncidents(CommandList& commands) {
    auto listing = std::make_shared<IncidentListing>();
    CLI::App& command =
        commands.add("incidents", "List the recorded incidents, newest first",
                     [listing](const Surroundings& at) { return runIncidents(at, *listing); });
    const auto addChoice = [&command](const char* name, std::string& word, const char* description,
                                      const auto& cases) {
        command.add_option(name, word, description)->check(rawValuesOf(cases))->capture_default_str();
    };
    addChoice("--range", listing->range, "How far to look back", allIncidentTimeRangeFilters);
    addChoice("--kind", listing->kind, "Only those of one kind", allIncidentKindFilters);
    addChoice("--severity", listing->severity, "Only those of one severity", allIncidentSeverityFilters);
    addChoice("--resolution", listing->resolution, "Only those that stand so", allIncidentResolutionFilters);
    command.add_option("--search", listing->search, "Only those in whose description this text stands")
        ->type_name("TEXT");
    command.add_flag("--dismissed", listing->includeDismissed, "Dismissed ones too");
}

}  // namespace corvanta::ctl
