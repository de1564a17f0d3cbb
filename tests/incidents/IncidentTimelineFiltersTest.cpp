// SPDX-License-Identifier: Apache-2.0
// What the incident history lets through to be seen.
#include <QSignalSpy>

#include "incidents/TimelineFixture.h"

namespace corvanta {
namespace {

using test::dismissed;
using test::Ids;
using test::recoveredIncident;
using test::storeNow;

constexpr double now = storeNow;
constexpr double hour = 3600;
constexpr double day = 86400;

using IncidentTimelineFiltersTest = test::TimelineTest;

TEST_F(IncidentTimelineFiltersTest, eachTimeRangeReachesAsFarAsItSays) {
    const std::vector<double> ages = {0, day, day + 1, 7 * day, 7 * day + 1, 30 * day, 30 * day + 1};
    std::int64_t id = 0;
    for (const double age : ages) store(recoveredIncident(++id, now - age));
    store(recoveredIncident(++id, now + day));  // the wall clock was set back
    open();
    const auto count = [this](IncidentTimeRangeFilter range) {
        model->setTimeRange(range);
        std::size_t incidents = 0;
        for (const auto& group : model->historyGroups()) incidents += group.repeatCount();
        return incidents;
    };
    EXPECT_EQ(count(IncidentTimeRangeFilter::day), 3U);
    EXPECT_EQ(count(IncidentTimeRangeFilter::week), 5U);
    EXPECT_EQ(count(IncidentTimeRangeFilter::month), 7U);
    EXPECT_EQ(count(IncidentTimeRangeFilter::all), 8U);
    // Time passes, and nothing was read anew.
    clock.advance(1);
    EXPECT_EQ(count(IncidentTimeRangeFilter::day), 2U);
}

TEST_F(IncidentTimelineFiltersTest, eachFilterDropsWhatItDoesNotInclude) {
    PerformanceIncident critical = recoveredIncident(1, now - hour, IncidentKind::memory);
    critical.severity = IncidentSeverity::critical;
    PerformanceIncident open = recoveredIncident(2, now - 2 * hour);
    test::setOpen(open);
    PerformanceIncident recovering = recoveredIncident(3, now - 3 * hour);
    test::setRecovering(recovering);
    PerformanceIncident interrupted = recoveredIncident(4, now - 4 * hour, IncidentKind::thermal);
    test::setInterrupted(interrupted);
    for (const auto& incident : {critical, open, recovering, interrupted}) store(incident);
    this->open();
    model->setKindFilter(IncidentKindFilter::cpu);
    EXPECT_EQ(groups(), (Ids{{2}, {3}}));
    model->setResolutionFilter(IncidentResolutionFilter::active);
    EXPECT_EQ(groups(), (Ids{{2}, {3}}));
    model->setResolutionFilter(IncidentResolutionFilter::recovered);
    EXPECT_EQ(groups(), Ids{});
    model->setKindFilter(IncidentKindFilter::all);
    EXPECT_EQ(groups(), (Ids{{1}}));
    model->setResolutionFilter(IncidentResolutionFilter::interrupted);
    EXPECT_EQ(groups(), (Ids{{4}}));
    model->setResolutionFilter(IncidentResolutionFilter::all);
    model->setSeverityFilter(IncidentSeverityFilter::critical);
    EXPECT_EQ(groups(), (Ids{{1}}));
    model->setSeverityFilter(IncidentSeverityFilter::elevated);
    EXPECT_EQ(groups(), (Ids{{2}, {3}, {4}}));
}

TEST_F(IncidentTimelineFiltersTest, aGroupHoldsOnlyWhatTheFiltersLetThrough) {
    PerformanceIncident critical = recoveredIncident(2, now - 2 * hour);
    critical.severity = IncidentSeverity::critical;
    store(recoveredIncident(1, now - hour));
    store(critical);
    store(recoveredIncident(3, now - 3 * hour));
    open();
    EXPECT_EQ(groups(), (Ids{{1, 2, 3}}));
    EXPECT_EQ(model->selectedGroup()->highestSeverity(), IncidentSeverity::critical);
    model->setSeverityFilter(IncidentSeverityFilter::elevated);
    EXPECT_EQ(groups(), (Ids{{1, 3}}));
    EXPECT_EQ(model->selectedGroup()->repeatCount(), 2U);
}

TEST_F(IncidentTimelineFiltersTest, aDismissedIncidentIsAGroupOfItsOwnBesideAVisibleOne) {
    store(recoveredIncident(1, now - hour));
    store(dismissed(recoveredIncident(2, now - 2 * hour)));
    store(recoveredIncident(3, now - 3 * hour));
    open();
    EXPECT_EQ(groups(), (Ids{{1, 3}}));
    model->setIncludeDismissed(true);
    EXPECT_EQ(groups(), (Ids{{1, 3}, {2}}));
    EXPECT_TRUE(model->historyGroups().back().isDismissed());
}

TEST_F(IncidentTimelineFiltersTest, theWordsOfAKindFindEveryIncidentOfIt) {
    std::int64_t id = 0;
    for (const IncidentKind kind : allIncidentKinds) {
        ++id;
        store(recoveredIncident(id, now - static_cast<double>(id) * hour, kind));
    }
    open();
    EXPECT_EQ(found("CPU load"), (Ids{{1}}));
    EXPECT_EQ(found("cpu LOAD"), (Ids{{1}}));
    EXPECT_EQ(found("memory PRESSURE elevated"), (Ids{{2}}));
    EXPECT_EQ(found("Thermal pressure"), (Ids{{3}}));
    EXPECT_EQ(found("combined p"), (Ids{{4}}));
    EXPECT_EQ(found("  eLeVaTeD\t\n"), (Ids{{1}, {2}, {3}, {4}}));
    EXPECT_EQ(found("critical"), Ids{});
    EXPECT_EQ(found("load cpu"), Ids{});
}

TEST_F(IncidentTimelineFiltersTest, aProcessIsFoundInEitherFieldAndInTheSummary) {
    PerformanceIncident busy = recoveredIncident(1, now - hour);
    busy.topCPUProcess = "Linker";
    busy.topRAMProcess = std::nullopt;
    PerformanceIncident large = recoveredIncident(2, now - 2 * hour);
    large.topCPUProcess = "compiler";  // the contributor, so that the other is in no summary
    large.topRAMProcess = "the linker's cache";
    PerformanceIncident neither = recoveredIncident(3, now - 3 * hour);
    for (const auto& incident : {busy, large, neither}) store(incident);
    open();
    EXPECT_EQ(found("LINKER"), (Ids{{1}, {2}}));
    EXPECT_EQ(found("linker's"), (Ids{{2}}));
    EXPECT_EQ(found("process observed was linker."), (Ids{{1}}));
    EXPECT_EQ(found("peaked AT 0%"), (Ids{{1}, {2, 3}}));
    EXPECT_EQ(found("process observed was compiler."), (Ids{{2, 3}}));
}

TEST_F(IncidentTimelineFiltersTest, aSearchKnowsTheCaseOfEveryAlphabet) {
    PerformanceIncident incident = recoveredIncident(1, now - hour);
    incident.topCPUProcess = "ÜBERSETZER Ψ";
    store(incident);
    open();
    EXPECT_EQ(found("übersetzer ψ"), (Ids{{1}}));
    EXPECT_EQ(found("\u2003Übersetzer\u00a0"), (Ids{{1}}));
    EXPECT_EQ(found("ubersetzer"), Ids{});
}

TEST_F(IncidentTimelineFiltersTest, aSearchTextIsNoPattern) {
    PerformanceIncident incident = recoveredIncident(1, now - hour);
    incident.topCPUProcess = "a.*(b";
    store(incident);
    store(recoveredIncident(2, now - 2 * hour));
    open();
    EXPECT_EQ(found(".*("), (Ids{{1}}));
    EXPECT_EQ(found("%_"), Ids{});
    EXPECT_EQ(found("\xff\xfe"), Ids{});
}

TEST_F(IncidentTimelineFiltersTest, aSearchForSpacesFiltersNothingYetIsActive) {
    store(recoveredIncident(1, now - hour));
    open();
    EXPECT_EQ(found("  \t\n "), (Ids{{1}}));
    EXPECT_TRUE(model->hasActiveFilters());
}

TEST_F(IncidentTimelineFiltersTest, everyFilterThatIsNotAtItsDefaultIsActive) {
    open();
    const auto isActiveAfter = [this](auto set) {
        model->clearFilters();
        EXPECT_FALSE(model->hasActiveFilters());
        set(*model);
        return model->hasActiveFilters();
    };
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setSearchText(" "); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setTimeRange(IncidentTimeRangeFilter::all); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setTimeRange(IncidentTimeRangeFilter::day); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setKindFilter(IncidentKindFilter::cpu); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setSeverityFilter(IncidentSeverityFilter::elevated); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setResolutionFilter(IncidentResolutionFilter::active); }));
    EXPECT_TRUE(isActiveAfter([](auto& m) { m.setIncludeDismissed(true); }));
    EXPECT_FALSE(isActiveAfter([](auto& m) { m.setSelectedIncidentID(5); }));
}

TEST_F(IncidentTimelineFiltersTest, clearingTheFiltersShowsEverythingAndSelectsTheFirstIfNeeded) {
    store(recoveredIncident(1, now - hour));
    store(dismissed(recoveredIncident(2, now - 2 * hour, IncidentKind::memory)));
    open();
    model->setSearchText("memory");
    model->setTimeRange(IncidentTimeRangeFilter::day);
    model->setKindFilter(IncidentKindFilter::memory);
    model->setSeverityFilter(IncidentSeverityFilter::elevated);
    model->setResolutionFilter(IncidentResolutionFilter::recovered);
    model->setIncludeDismissed(true);
    model->reconcileSelection();
    EXPECT_EQ(model->selectedIncidentID(), 2);
    const QSignalSpy changes(model.get(), &IncidentTimelineViewModel::changed);
    model->clearFilters();
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(model->searchText(), "");
    EXPECT_EQ(model->timeRange(), IncidentTimeRangeFilter::week);
    EXPECT_EQ(model->kindFilter(), IncidentKindFilter::all);
    EXPECT_EQ(model->severityFilter(), IncidentSeverityFilter::all);
    EXPECT_EQ(model->resolutionFilter(), IncidentResolutionFilter::all);
    EXPECT_FALSE(model->includeDismissed());
    EXPECT_EQ(model->selectedIncidentID(), 1);
    model->clearFilters();
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(IncidentTimelineFiltersTest, tellsOfDismissedIncidentsThatPassTheOtherFilters) {
    PerformanceIncident incident = dismissed(recoveredIncident(1, now - 2 * day));
    store(incident);
    store(recoveredIncident(2, now - 3 * day, IncidentKind::memory));
    open();
    EXPECT_TRUE(model->hasDismissedIncidentsMatchingFilters());
    const auto isToldAfter = [this](auto set) {
        model->clearFilters();
        set(*model);
        return model->hasDismissedIncidentsMatchingFilters();
    };
    EXPECT_TRUE(isToldAfter([](auto& m) { m.setIncludeDismissed(true); }));
    EXPECT_FALSE(isToldAfter([](auto& m) { m.setTimeRange(IncidentTimeRangeFilter::day); }));
    EXPECT_TRUE(isToldAfter([](auto& m) { m.setTimeRange(IncidentTimeRangeFilter::all); }));
    EXPECT_FALSE(isToldAfter([](auto& m) { m.setKindFilter(IncidentKindFilter::memory); }));
    EXPECT_TRUE(isToldAfter([](auto& m) { m.setKindFilter(IncidentKindFilter::cpu); }));
    EXPECT_FALSE(isToldAfter([](auto& m) { m.setSeverityFilter(IncidentSeverityFilter::critical); }));
    EXPECT_FALSE(isToldAfter([](auto& m) { m.setResolutionFilter(IncidentResolutionFilter::active); }));
    EXPECT_FALSE(isToldAfter([](auto& m) { m.setSearchText("browser"); }));
    EXPECT_TRUE(isToldAfter([](auto& m) { m.setSearchText("Compiler"); }));
}

}  // namespace
}  // namespace corvanta
