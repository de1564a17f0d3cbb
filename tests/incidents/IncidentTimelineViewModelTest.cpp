// SPDX-License-Identifier: Apache-2.0
#include "incidents/IncidentTimelineViewModel.h"

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

using IncidentTimelineViewModelTest = test::TimelineTest;

TEST_F(IncidentTimelineViewModelTest, startsWithTheWeekAndEverythingInIt) {
    open();
    EXPECT_EQ(model->searchText(), "");
    EXPECT_EQ(model->timeRange(), IncidentTimeRangeFilter::week);
    EXPECT_EQ(model->kindFilter(), IncidentKindFilter::all);
    EXPECT_EQ(model->severityFilter(), IncidentSeverityFilter::all);
    EXPECT_EQ(model->resolutionFilter(), IncidentResolutionFilter::all);
    EXPECT_FALSE(model->includeDismissed());
    EXPECT_FALSE(model->hasActiveFilters());
}

TEST_F(IncidentTimelineViewModelTest, withoutIncidentsNothingIsShownOrSelected) {
    open();
    EXPECT_TRUE(model->incidents().empty());
    EXPECT_TRUE(model->historyGroups().empty());
    EXPECT_EQ(model->selectedIncidentID(), std::nullopt);
    EXPECT_EQ(model->selectedGroup(), std::nullopt);
    EXPECT_EQ(model->selectedIncident(), std::nullopt);
    EXPECT_TRUE(model->samples().empty());
    EXPECT_FALSE(model->hasDismissedIncidentsMatchingFilters());

    store(recoveredIncident(1, now - hour));
    model->refresh();
    EXPECT_EQ(model->selectedIncidentID(), 1);
    sql.run("DELETE FROM performance_incidents;");
    model->refresh();
    EXPECT_TRUE(model->historyGroups().empty());
    EXPECT_EQ(model->selectedIncidentID(), std::nullopt);
    EXPECT_TRUE(model->samples().empty());
}

TEST_F(IncidentTimelineViewModelTest, selectsTheNewestGroupAtFirst) {
    store(recoveredIncident(1, now - 3 * hour));
    store(recoveredIncident(2, now - hour));
    store(recoveredIncident(3, now - 2 * hour, IncidentKind::memory));
    open();
    EXPECT_EQ(groups(), (Ids{{2, 1}, {3}}));
    EXPECT_EQ(model->selectedIncidentID(), 2);
    ASSERT_TRUE(model->selectedGroup());
    EXPECT_EQ(*model->selectedGroup(), model->historyGroups().front());
    EXPECT_EQ(model->selectedIncident(), model->selectedGroup()->representative);
}

TEST_F(IncidentTimelineViewModelTest, knowsTheNewestFiveHundredOnly) {
    sql.run("BEGIN;");
    for (int i = 0; i < 501; ++i) store(recoveredIncident(1000 + i, now - i));
    sql.run("COMMIT;");
    open();
    ASSERT_EQ(model->incidents().size(), 500U);
    EXPECT_EQ(model->incidents().back().id, 1499);
}

TEST_F(IncidentTimelineViewModelTest, aFilterAloneLeavesTheSelectionUntilItIsReconciled) {
    store(recoveredIncident(1, now - hour));
    store(recoveredIncident(2, now - 2 * hour, IncidentKind::memory));
    store(recoveredIncident(3, now - 9 * hour, IncidentKind::memory));
    open();
    model->setKindFilter(IncidentKindFilter::memory);
    EXPECT_EQ(model->selectedIncidentID(), 1);
    EXPECT_EQ(model->selectedGroup(), std::nullopt);
    EXPECT_EQ(model->selectedIncident(), std::nullopt);
    model->reconcileSelection();
    EXPECT_EQ(model->selectedIncidentID(), 2);
    // One that passes stays, though it is not the first.
    model->setSelectedIncidentID(3);
    const QSignalSpy changes(model.get(), &IncidentTimelineViewModel::changed);
    model->reconcileSelection();
    EXPECT_EQ(model->selectedIncidentID(), 3);
    EXPECT_EQ(changes.count(), 0);
    model->setSearchText("nothing has this");
    model->reconcileSelection();
    EXPECT_EQ(model->selectedIncidentID(), std::nullopt);
    EXPECT_TRUE(model->samples().empty());
    model->setSearchText("");
    model->reconcileSelection();
    EXPECT_EQ(model->selectedIncidentID(), 2);
}

TEST_F(IncidentTimelineViewModelTest, theTimelineIsThatOfTheRepresentativeAlone) {
    store(recoveredIncident(1, now - 1000));      // ended 60 seconds later
    store(recoveredIncident(2, now - 2 * hour));  // of the same group
    for (const double age : {2 * hour, 1301.0, 1300.0, 1000.0, 820.0, 819.0}) {
        database.insertSnapshot(test::sampleAt(now - age));
    }
    open();
    EXPECT_EQ(groups(), (Ids{{1, 2}}));
    EXPECT_EQ(sampleAges(), (std::vector<double>{1300, 1000, 820}));
    model->setSelectedIncidentID(2);  // no group's
    EXPECT_EQ(model->selectedIncidentID(), 2);
    EXPECT_EQ(model->selectedGroup(), std::nullopt);
    EXPECT_TRUE(model->samples().empty());
    model->setSelectedIncidentID(std::nullopt);
    EXPECT_EQ(model->selectedIncidentID(), std::nullopt);
    model->setSelectedIncidentID(1);
    EXPECT_EQ(model->samples().size(), 3U);
}

TEST_F(IncidentTimelineViewModelTest, theTimelineOfAnOpenIncidentReachesToThePresent) {
    PerformanceIncident incident = recoveredIncident(1, now - 1000);
    test::setOpen(incident);
    store(incident);
    for (const double age : {500.0, 0.0, -1.0}) database.insertSnapshot(test::sampleAt(now - age));
    open();
    EXPECT_EQ(sampleAges(), (std::vector<double>{500, 0}));
    clock.advance(1);
    model->refresh();
    EXPECT_EQ(sampleAges(), (std::vector<double>{500, 0, -1}));
}

TEST_F(IncidentTimelineViewModelTest, everyWriteOfTheSelectionReadsTheTimeline) {
    PerformanceIncident incident = recoveredIncident(1, now - 1000);
    test::setOpen(incident);
    store(incident);
    open();
    const QSignalSpy changes(model.get(), &IncidentTimelineViewModel::changed);
    model->setSelectedIncidentID(1);
    EXPECT_EQ(changes.count(), 0);
    database.insertSnapshot(test::sampleAt(now));
    model->setSelectedIncidentID(1);
    EXPECT_EQ(sampleAges(), (std::vector<double>{0}));
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(IncidentTimelineViewModelTest, settersAnnounceAChangeAndNothingElse) {
    store(recoveredIncident(1, now - hour));
    store(recoveredIncident(2, now - 2 * hour, IncidentKind::memory));
    open();
    const QSignalSpy changes(model.get(), &IncidentTimelineViewModel::changed);
    int expected = 0;
    const auto announces = [&](const char* what, auto set) {
        set();
        EXPECT_EQ(changes.count(), ++expected) << what;
        set();
        EXPECT_EQ(changes.count(), expected) << what;
    };
    announces("search", [&] { model->setSearchText("e"); });
    announces("range", [&] { model->setTimeRange(IncidentTimeRangeFilter::day); });
    announces("kind", [&] { model->setKindFilter(IncidentKindFilter::memory); });
    announces("severity", [&] { model->setSeverityFilter(IncidentSeverityFilter::elevated); });
    announces("resolution", [&] { model->setResolutionFilter(IncidentResolutionFilter::recovered); });
    announces("dismissed", [&] { model->setIncludeDismissed(true); });
    announces("reconciled", [&] { model->reconcileSelection(); });
    announces("selection", [&] { model->setSelectedIncidentID(1); });
    announces("cleared", [&] { model->clearFilters(); });
}

TEST_F(IncidentTimelineViewModelTest, everyRefreshIsAnnouncedOnceEverythingIsInPlace) {
    open();
    store(recoveredIncident(1, now - hour));
    database.insertSnapshot(test::sampleAt(now - hour));
    int announced = 0;
    QObject::connect(model.get(), &IncidentTimelineViewModel::changed, [&] {
        ++announced;
        EXPECT_EQ(model->incidents().size(), 1U);
        EXPECT_EQ(model->selectedIncidentID(), 1);
        EXPECT_EQ(model->samples().size(), 1U);
    });
    model->refresh();
    EXPECT_EQ(announced, 1);
    model->refresh();
    EXPECT_EQ(announced, 2);
}

TEST_F(IncidentTimelineViewModelTest, aRefreshKeepsTheSelectionWhileItsGroupIsThere) {
    store(recoveredIncident(1, now - hour));
    store(recoveredIncident(2, now - 2 * hour, IncidentKind::memory));
    open();
    model->setSelectedIncidentID(2);
    store(recoveredIncident(3, now - 60, IncidentKind::thermal));
    model->refresh();
    EXPECT_EQ(groups(), (Ids{{3}, {1}, {2}}));
    EXPECT_EQ(model->selectedIncidentID(), 2);
    // A newer one takes the place of the representative, so the group has another id.
    store(recoveredIncident(4, now - 30, IncidentKind::memory));
    model->refresh();
    EXPECT_EQ(groups(), (Ids{{4, 2}, {3}, {1}}));
    EXPECT_EQ(model->selectedIncidentID(), 4);
}

TEST_F(IncidentTimelineViewModelTest, aRefreshSelectsTheFirstWhenTheFiltersHideTheSelection) {
    store(recoveredIncident(1, now - hour));
    store(recoveredIncident(2, now - 2 * hour, IncidentKind::memory));
    open();
    model->setKindFilter(IncidentKindFilter::memory);
    model->refresh();
    EXPECT_EQ(model->selectedIncidentID(), 2);
}

TEST_F(IncidentTimelineViewModelTest, dismissingAGroupDismissesAllItsMembersInOneTransaction) {
    for (const std::int64_t id : {1, 2, 3})
        store(recoveredIncident(id, now - static_cast<double>(id) * hour));
    store(recoveredIncident(4, now - 4 * hour, IncidentKind::memory));
    sql.run(
        "CREATE TRIGGER refused BEFORE UPDATE ON performance_incidents WHEN NEW.id = 3 BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    open();
    EXPECT_EQ(groups(), (Ids{{1, 2, 3}, {4}}));
    model->setSelectedGroupDismissed(true);
    EXPECT_EQ(dismissals(), (Texts{"1|NULL", "2|NULL", "3|NULL", "4|NULL"}));
    EXPECT_EQ(groups(), (Ids{{1, 2, 3}, {4}}));

    sql.run("DROP TRIGGER refused;");
    model->setSelectedGroupDismissed(true);
    const std::string at = std::to_string(storeNow);
    EXPECT_EQ(dismissals(), (Texts{"1|" + at, "2|" + at, "3|" + at, "4|NULL"}));
    EXPECT_EQ(groups(), (Ids{{4}}));
    EXPECT_EQ(model->selectedIncidentID(), 4);
}

TEST_F(IncidentTimelineViewModelTest, restoringAGroupRestoresAllItsMembers) {
    store(recoveredIncident(1, now - hour));
    store(dismissed(recoveredIncident(2, now - 2 * hour)));
    store(dismissed(recoveredIncident(3, now - 3 * hour)));
    open();
    model->setIncludeDismissed(true);
    EXPECT_EQ(groups(), (Ids{{1}, {2, 3}}));
    model->setSelectedIncidentID(2);
    model->setSelectedGroupDismissed(false);
    EXPECT_EQ(dismissals(), (Texts{"1|NULL", "2|NULL", "3|NULL"}));
    EXPECT_EQ(groups(), (Ids{{1, 2, 3}}));
    EXPECT_EQ(model->selectedIncidentID(), 1);
}

TEST_F(IncidentTimelineViewModelTest, dismissalReachesOnlyTheMembersThatTheFiltersLetThrough) {
    PerformanceIncident critical = recoveredIncident(2, now - 2 * hour);
    critical.severity = IncidentSeverity::critical;
    store(recoveredIncident(1, now - hour));
    store(critical);
    open();
    model->setSeverityFilter(IncidentSeverityFilter::elevated);
    model->setSelectedGroupDismissed(true);
    EXPECT_EQ(dismissals(), (Texts{"1|" + std::to_string(storeNow), "2|NULL"}));
}

TEST_F(IncidentTimelineViewModelTest, withoutASelectedGroupDismissalDoesNothing) {
    store(recoveredIncident(1, now - hour));
    open();
    model->setSelectedIncidentID(77);
    const QSignalSpy changes(model.get(), &IncidentTimelineViewModel::changed);
    model->setSelectedGroupDismissed(true);
    EXPECT_EQ(dismissals(), (Texts{"1|NULL"}));
    EXPECT_EQ(model->selectedIncidentID(), 77);
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(IncidentTimelineViewModelTest, aStoreThatIsOnlyReadShowsItsIncidentsAndDismissesNone) {
    store(recoveredIncident(1, now - hour));
    database.insertSnapshot(test::sampleAt(now - hour));
    DatabaseManager reader(folder.file("store.sqlite"), clock, StoreAccess::readOnly);
    IncidentTimelineViewModel reading(reader, clock);
    EXPECT_EQ(reading.selectedIncidentID(), 1);
    EXPECT_EQ(reading.samples().size(), 1U);
    reading.setSelectedGroupDismissed(true);
    EXPECT_EQ(dismissals(), (Texts{"1|NULL"}));
    EXPECT_EQ(reading.historyGroups().size(), 1U);
}

TEST_F(IncidentTimelineViewModelTest, aStoreThatIsNotThereHoldsNothing) {
    DatabaseManager missing(folder.file("missing.sqlite"), clock, StoreAccess::readOnly);
    IncidentTimelineViewModel reading(missing, clock);
    EXPECT_TRUE(reading.historyGroups().empty());
    EXPECT_EQ(reading.selectedIncidentID(), std::nullopt);
    reading.setSelectedGroupDismissed(true);
    reading.refresh();
    EXPECT_TRUE(reading.samples().empty());
}

}  // namespace
}  // namespace corvanta
