// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "incidents/model/IncidentTimelineSample.h"
#include "incidents/model/PerformanceIncident.h"
#include "incidents/rules/IncidentHistoryGroup.h"
#include "incidents/rules/IncidentKindFilter.h"
#include "incidents/rules/IncidentResolutionFilter.h"
#include "incidents/rules/IncidentSeverityFilter.h"
#include "incidents/rules/IncidentTimeRangeFilter.h"
#include "storage/DatabaseManager.h"

namespace corvanta {

/// The incident history without its widgets: the stored incidents, filtered and grouped, the selected group
/// and the samples around it.
///
/// Owned by the view, and lives as long as that is open; it has no timer, so the view calls `refresh()` from
/// time to time and `reconcileSelection()` after a change of the filters. The store and the clock outlive it.
/// Main thread only. Nothing here fails: a store that can't be read holds no incidents, and one that can't be
/// written dismisses none.
class IncidentTimelineViewModel final : public QObject {
    Q_OBJECT

  public:
    IncidentTimelineViewModel(DatabaseManager& store, const Clock& clock);

    /// The newest of the store, at most 500, the dismissed ones too; newest start first.
    const std::vector<PerformanceIncident>& incidents() const { return incidents_; }

    // What passes the filters, worked out at each call; the present moment plays a part in it.

    /// Newest first.
    std::vector<IncidentHistoryGroup> historyGroups() const;
    /// Whether there are more to see with `includeDismissed`.
    bool hasDismissedIncidentsMatchingFilters() const;
    std::optional<IncidentHistoryGroup> selectedGroup() const;
    /// The representative of the selected group.
    std::optional<PerformanceIncident> selectedIncident() const;

    /// The `id` of a group, though perhaps of one that no longer passes the filters. Each write reads the
    /// samples anew.
    std::optional<std::int64_t> selectedIncidentID() const { return selectedIncidentID_; }
    void setSelectedIncidentID(std::optional<std::int64_t> id);

    /// Those around the representative of the selected group, oldest first.
    const std::vector<IncidentTimelineSample>& samples() const { return samples_; }

    /// In UTF-8. Space around it counts for nothing, nor does the case.
    const std::string& searchText() const { return filters_.searchText; }
    void setSearchText(std::string text);
    IncidentTimeRangeFilter timeRange() const { return filters_.timeRange; }
    void setTimeRange(IncidentTimeRangeFilter filter);
    IncidentKindFilter kindFilter() const { return filters_.kind; }
    void setKindFilter(IncidentKindFilter filter);
    IncidentSeverityFilter severityFilter() const { return filters_.severity; }
    void setSeverityFilter(IncidentSeverityFilter filter);
    IncidentResolutionFilter resolutionFilter() const { return filters_.resolution; }
    void setResolutionFilter(IncidentResolutionFilter filter);
    bool includeDismissed() const { return filters_.includeDismissed; }
    void setIncludeDismissed(bool included);
    void clearFilters();
    /// Whether anything differs from what `clearFilters` sets, be it only a search for spaces.
    bool hasActiveFilters() const { return filters_ != Filters(); }

    /// Reads the store anew. The selection stays if its group is still there; otherwise the first is
    /// selected.
    void refresh();
    /// Selects the first group if the selected one no longer passes the filters.
    void reconcileSelection();
    /// Dismisses, or restores, every incident of the selected group.
    void setSelectedGroupDismissed(bool dismissed);

  Q_SIGNALS:
    /// The state above has changed, or the store was read anew: the groups also change as time passes.
    void changed();

  private:
    struct Filters {
        std::string searchText;
        IncidentTimeRangeFilter timeRange = IncidentTimeRangeFilter::week;
        IncidentKindFilter kind = IncidentKindFilter::all;
        IncidentSeverityFilter severity = IncidentSeverityFilter::all;
        IncidentResolutionFilter resolution = IncidentResolutionFilter::all;
        bool includeDismissed = false;

        bool operator==(const Filters&) const = default;
    };

    std::string query() const;
    bool passes(const PerformanceIncident& incident, Instant now, const std::string& query) const;
    template <class Value>
    void change(Value& field, Value value);
    bool select(const std::vector<IncidentHistoryGroup>& groups, std::optional<std::int64_t> id);
    bool selectIfLost();

    DatabaseManager& store_;
    const Clock& clock_;

    std::vector<PerformanceIncident> incidents_;
    std::optional<std::int64_t> selectedIncidentID_;
    std::vector<IncidentTimelineSample> samples_;
    Filters filters_;
};

}  // namespace corvanta
