// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <string_view>
#include <tuple>
#include <vector>

#include "incidents/IncidentRecords.h"
#include "incidents/rules/IncidentKindFilter.h"
#include "incidents/rules/IncidentResolutionFilter.h"
#include "incidents/rules/IncidentSeverityFilter.h"
#include "incidents/rules/IncidentTimeRangeFilter.h"

namespace corvanta {
namespace {

using Texts = std::vector<std::pair<std::string_view, std::string_view>>;

/// Raw value and label of each case, in declared order; each raw value reads back as its case, no other does.
template <class Filter, class FromRaw>
Texts textsOf(FromRaw fromRaw) {
    Texts texts;
    for (const Filter filter : allCases(Filter{})) {
        texts.emplace_back(rawValue(filter), label(filter));
        EXPECT_EQ(fromRaw(rawValue(filter)), filter);
    }
    for (const auto* raw : {"", "All", "all ", "unknown"}) EXPECT_EQ(fromRaw(raw), std::nullopt) << raw;
    return texts;
}

TEST(IncidentTimeRangeFilter, hasItsTextsInOrder) {
    EXPECT_EQ(textsOf<IncidentTimeRangeFilter>(incidentTimeRangeFilterFromRaw),
              (Texts{{"day", "24 hours"}, {"week", "7 days"}, {"month", "30 days"}, {"all", "All time"}}));
}

TEST(IncidentTimeRangeFilter, includesWhatIsNotOlderThanItsLookBack) {
    const double now = 1'800'000'000;
    for (const auto& [filter, seconds] : {std::pair{IncidentTimeRangeFilter::day, 86400.0},
                                          {IncidentTimeRangeFilter::week, 604800.0},
                                          {IncidentTimeRangeFilter::month, 2592000.0}}) {
        SCOPED_TRACE(rawValue(filter));
        const auto isIncluded = [filter = filter, now](double instant) {
            return includes(filter, instantFromSeconds(instant), instantFromSeconds(now));
        };
        EXPECT_TRUE(isIncluded(now - seconds));
        EXPECT_TRUE(isIncluded(now - seconds + 0.5));
        EXPECT_FALSE(isIncluded(now - seconds - 0.5));
        EXPECT_TRUE(isIncluded(now));
        EXPECT_TRUE(isIncluded(now + 1e6));
        EXPECT_EQ(lookBack(filter), seconds);
    }
    EXPECT_EQ(lookBack(IncidentTimeRangeFilter::all), std::nullopt);
    EXPECT_TRUE(includes(IncidentTimeRangeFilter::all,
                         instantFromSeconds(-std::numeric_limits<double>::infinity()),
                         instantFromSeconds(now)));
}

TEST(IncidentKindFilter, hasItsTextsInOrder) {
    EXPECT_EQ(textsOf<IncidentKindFilter>(incidentKindFilterFromRaw),
              (Texts{{"all", "All categories"},
                     {"cpu", "CPU load"},
                     {"memory", "Memory pressure"},
                     {"thermal", "Thermal pressure"},
                     {"combined", "Combined pressure"}}));
}

TEST(IncidentKindFilter, includesTheKindOfItsName) {
    for (const IncidentKindFilter filter : allIncidentKindFilters) {
        for (const IncidentKind kind : allIncidentKinds) {
            EXPECT_EQ(includes(filter, test::recoveredIncident(1, 0, kind)),
                      filter == IncidentKindFilter::all || rawValue(filter) == rawValue(kind))
                << rawValue(filter) << " " << rawValue(kind);
        }
    }
}

TEST(IncidentSeverityFilter, hasItsTextsInOrder) {
    EXPECT_EQ(textsOf<IncidentSeverityFilter>(incidentSeverityFilterFromRaw),
              (Texts{{"all", "All severities"}, {"elevated", "Elevated"}, {"critical", "Critical"}}));
}

TEST(IncidentSeverityFilter, includesOneSeverityOrAll) {
    PerformanceIncident warning = test::recoveredIncident(1, 0);
    PerformanceIncident critical = warning;
    warning.severity = IncidentSeverity::warning;
    critical.severity = IncidentSeverity::critical;
    for (const auto& [filter, isWarning, isCritical] : {std::tuple{IncidentSeverityFilter::all, true, true},
                                                        {IncidentSeverityFilter::elevated, true, false},
                                                        {IncidentSeverityFilter::critical, false, true}}) {
        EXPECT_EQ(includes(filter, warning), isWarning) << rawValue(filter);
        EXPECT_EQ(includes(filter, critical), isCritical) << rawValue(filter);
    }
}

TEST(IncidentResolutionFilter, hasItsTextsInOrder) {
    EXPECT_EQ(textsOf<IncidentResolutionFilter>(incidentResolutionFilterFromRaw),
              (Texts{{"all", "Any resolution"},
                     {"active", "Active"},
                     {"recovered", "Recovered"},
                     {"interrupted", "Monitoring ended"}}));
}

TEST(IncidentResolutionFilter, takesOneThatConfirmsItsRecoveryForActive) {
    using Filter = IncidentResolutionFilter;
    using Passes = std::vector<Filter>;
    for (const auto& [set, expected] : {std::pair{&test::setOpen, Passes{Filter::all, Filter::active}},
                                        {&test::setRecovering, Passes{Filter::all, Filter::active}},
                                        {&test::setRecovered, Passes{Filter::all, Filter::recovered}},
                                        {&test::setInterrupted, Passes{Filter::all, Filter::interrupted}}}) {
        PerformanceIncident incident = test::recoveredIncident(1, 0);
        set(incident);
        Passes passed;
        for (const Filter filter : allIncidentResolutionFilters) {
            if (includes(filter, incident)) passed.push_back(filter);
        }
        EXPECT_EQ(passed, expected);
    }
}

}  // namespace
}  // namespace corvanta
