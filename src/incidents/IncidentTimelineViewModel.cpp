// SPDX-License-Identifier: Apache-2.0
#include "incidents/IncidentTimelineViewModel.h"

#include <QString>
#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "core/AsciiCase.h"
#include "core/Utf8Text.h"
#include "incidents/rules/IncidentCorrelation.h"
#include "incidents/rules/IncidentHistoryGrouper.h"

namespace corvanta {
namespace {

/// Nearly every text is plain ASCII, for which the tables of all alphabets would cost more than the search.
std::string inLowerCase(std::string utf8) {
    const bool isAscii = std::none_of(utf8.begin(), utf8.end(),
                                      [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
    if (isAscii) return asciiLowerCase(std::move(utf8));
    return QString::fromStdString(utf8).toLower().toStdString();
}

/// What a search looks through.
std::string searchedText(const PerformanceIncident& incident) {
    std::string text;
    const auto append = [&text](std::string_view part) {
        if (!text.empty()) text += ' ';
        text += part;
    };
    append(label(incident.kind));
    append(label(incident.severity));
    append(incident.topCPUProcess ? *incident.topCPUProcess : std::string_view());
    append(incident.topRAMProcess ? *incident.topRAMProcess : std::string_view());
    append(IncidentCorrelation::summary(incident));
    return inLowerCase(std::move(text));
}

const IncidentHistoryGroup* find(const std::vector<IncidentHistoryGroup>& groups,
                                 std::optional<std::int64_t> id) {
    const auto found = std::find_if(groups.begin(), groups.end(),
                                    [id](const IncidentHistoryGroup& group) { return group.id() == id; });
    return found == groups.end() ? nullptr : &*found;
}

std::optional<std::int64_t> firstID(const std::vector<IncidentHistoryGroup>& groups) {
    if (groups.empty()) return std::nullopt;
    return groups.front().id();
}

}  // namespace

IncidentTimelineViewModel::IncidentTimelineViewModel(DatabaseManager& store, const Clock& clock)
    : store_(store), clock_(clock) {
    refresh();
}

std::vector<IncidentHistoryGroup> IncidentTimelineViewModel::historyGroups() const {
    const Instant now = clock_.now();
    const std::string wanted = query();
    std::vector<PerformanceIncident> shown;
    std::copy_if(incidents_.begin(), incidents_.end(), std::back_inserter(shown),
                 [&](const PerformanceIncident& incident) {
                     return (filters_.includeDismissed || !incident.isDismissed()) &&
                            passes(incident, now, wanted);
                 });
    return IncidentHistoryGrouper::group(std::move(shown));
}

bool IncidentTimelineViewModel::hasDismissedIncidentsMatchingFilters() const {
    const Instant now = clock_.now();
    const std::string wanted = query();
    return std::any_of(incidents_.begin(), incidents_.end(), [&](const PerformanceIncident& incident) {
        return incident.isDismissed() && passes(incident, now, wanted);
    });
}

std::optional<IncidentHistoryGroup> IncidentTimelineViewModel::selectedGroup() const {
    const auto groups = historyGroups();
    const IncidentHistoryGroup* const group = find(groups, selectedIncidentID_);
    if (!group) return std::nullopt;
    return *group;
}

std::optional<PerformanceIncident> IncidentTimelineViewModel::selectedIncident() const {
    const auto group = selectedGroup();
    if (!group) return std::nullopt;
    return group->representative;
}

void IncidentTimelineViewModel::setSelectedIncidentID(std::optional<std::int64_t> id) {
    if (select(historyGroups(), id)) Q_EMIT changed();
}

void IncidentTimelineViewModel::setSearchText(std::string text) {
    change(filters_.searchText, std::move(text));
}

void IncidentTimelineViewModel::setTimeRange(IncidentTimeRangeFilter filter) {
    change(filters_.timeRange, filter);
}

void IncidentTimelineViewModel::setKindFilter(IncidentKindFilter filter) {
    change(filters_.kind, filter);
}

void IncidentTimelineViewModel::setSeverityFilter(IncidentSeverityFilter filter) {
    change(filters_.severity, filter);
}

void IncidentTimelineViewModel::setResolutionFilter(IncidentResolutionFilter filter) {
    change(filters_.resolution, filter);
}

void IncidentTimelineViewModel::setIncludeDismissed(bool included) {
    change(filters_.includeDismissed, included);
}

void IncidentTimelineViewModel::clearFilters() {
    const bool wereActive = hasActiveFilters();
    filters_ = {};
    if (selectIfLost() || wereActive) Q_EMIT changed();
}

void IncidentTimelineViewModel::refresh() {
    incidents_ = store_.fetchIncidents(DatabaseManager::mostIncidents);
    const auto groups = historyGroups();
    select(groups, find(groups, selectedIncidentID_) ? selectedIncidentID_ : firstID(groups));
    Q_EMIT changed();
}

void IncidentTimelineViewModel::reconcileSelection() {
    if (selectIfLost()) Q_EMIT changed();
}

void IncidentTimelineViewModel::setSelectedGroupDismissed(bool dismissed) {
    const auto group = selectedGroup();
    if (!group) return;
    std::vector<std::int64_t> ids;
    ids.reserve(group->incidents.size());
    for (const PerformanceIncident& incident : group->incidents) ids.push_back(incident.id);
    store_.setIncidentsDismissed(std::move(ids), dismissed, clock_.now());
    refresh();
}

std::string IncidentTimelineViewModel::query() const {
    return inLowerCase(std::string(trimmedUtf8(filters_.searchText)));
}

bool IncidentTimelineViewModel::passes(const PerformanceIncident& incident, Instant now,
                                       const std::string& query) const {
    return includes(filters_.timeRange, incident.startedAt, now) && includes(filters_.kind, incident) &&
           includes(filters_.severity, incident) && includes(filters_.resolution, incident) &&
           (query.empty() || searchedText(incident).find(query) != std::string::npos);
}

template <class Value>
void IncidentTimelineViewModel::change(Value& field, Value value) {
    if (field == value) return;
    field = std::move(value);
    Q_EMIT changed();
}

/// Whether that changed anything.
bool IncidentTimelineViewModel::select(const std::vector<IncidentHistoryGroup>& groups,
                                       std::optional<std::int64_t> id) {
    const auto idBefore = std::exchange(selectedIncidentID_, id);
    const auto samplesBefore = std::exchange(samples_, {});
    if (const auto* group = find(groups, id)) samples_ = store_.fetchIncidentTimeline(group->representative);
    return selectedIncidentID_ != idBefore || samples_ != samplesBefore;
}

/// Whether that changed anything.
bool IncidentTimelineViewModel::selectIfLost() {
    const auto groups = historyGroups();
    return !find(groups, selectedIncidentID_) && select(groups, firstID(groups));
}

}  // namespace corvanta
