// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentHistoryGrouper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "incidents/IncidentRecords.h"

namespace corvanta {
namespace {

using IncidentHistoryGrouper::group;
using test::Ids;
using test::idsOf;
using test::recoveredIncident;

constexpr double hour = 3600;
constexpr double infinity = std::numeric_limits<double>::infinity();

/// Two alike but for what the function changes in the older one.
template <class Change>
Ids groupsOfTwo(Change change) {
    PerformanceIncident other = recoveredIncident(2, -60);
    change(other);
    return idsOf(group({recoveredIncident(1, 0), other}));
}

const Ids together = {{1, 2}};
const Ids apart = {{1}, {2}};

TEST(IncidentHistoryGrouper, noIncidentsAreNoGroups) {
    EXPECT_TRUE(group({}).empty());
}

TEST(IncidentHistoryGrouper, exactlySixHoursApartIsTogetherAndOneSecondMoreIsNot) {
    EXPECT_EQ(idsOf(group({recoveredIncident(1, 6 * hour), recoveredIncident(2, 0)})), together);
    EXPECT_EQ(idsOf(group({recoveredIncident(1, 6 * hour + 1), recoveredIncident(2, 0)})), apart);
}

TEST(IncidentHistoryGrouper, aNameIsTheSameInAnyCaseOfItsPlainLetters) {
    const auto named = [](std::int64_t id, const char* name) {
        auto incident = recoveredIncident(id, 0);
        incident.topCPUProcess = name;
        return incident;
    };
    EXPECT_EQ(idsOf(group({named(1, "Compiler"), named(2, " compILER ")})), together);
    EXPECT_EQ(idsOf(group({named(1, "\u00dcbersetzer"), named(2, "\u00fcbersetzer")})), apart);
}

TEST(IncidentHistoryGrouper, theWindowCanBeAnother) {
    EXPECT_EQ(idsOf(group({recoveredIncident(1, 10), recoveredIncident(2, 0)}, 10)), together);
    EXPECT_EQ(idsOf(group({recoveredIncident(1, 10.5), recoveredIncident(2, 0)}, 10)), apart);
    EXPECT_EQ(idsOf(group({recoveredIncident(1, 0), recoveredIncident(2, 0)}, 0)), together);
}

TEST(IncidentHistoryGrouper, aChainOfNearOnesDoesNotKeepAGroupGoing) {
    const auto groups = group({recoveredIncident(1, 15 * hour), recoveredIncident(2, 10 * hour),
                               recoveredIncident(3, 5 * hour), recoveredIncident(4, 0)});
    EXPECT_EQ(idsOf(groups), (Ids{{1, 2}, {3, 4}}));
}

TEST(IncidentHistoryGrouper, theOrderOfInputDoesNotMatter) {
    const auto newest = recoveredIncident(1, 5 * hour);
    const auto other = recoveredIncident(2, 4 * hour, IncidentKind::memory);
    const auto oldest = recoveredIncident(3, hour);
    const Ids expected = {{1, 3}, {2}};
    EXPECT_EQ(idsOf(group({newest, other, oldest})), expected);
    EXPECT_EQ(idsOf(group({oldest, other, newest})), expected);
    EXPECT_EQ(idsOf(group({other, oldest, newest})), expected);
}

TEST(IncidentHistoryGrouper, equalStartsKeepTheGivenOrder) {
    EXPECT_EQ(idsOf(group({recoveredIncident(7, 0), recoveredIncident(3, 0), recoveredIncident(5, 0)})),
              (Ids{{7, 3, 5}}));
}

TEST(IncidentHistoryGrouper, aRecoveredAndAnInterruptedOneShareAGroup) {
    EXPECT_EQ(groupsOfTwo(test::setInterrupted), together);
}

TEST(IncidentHistoryGrouper, aRecoveringAndARecoveredOneDoNot) {
    EXPECT_EQ(groupsOfTwo(test::setRecovering), apart);
    EXPECT_EQ(groupsOfTwo(test::setOpen), apart);
    PerformanceIncident open = recoveredIncident(1, 60);
    test::setOpen(open);
    PerformanceIncident recovering = recoveredIncident(2, 0);
    test::setRecovering(recovering);
    EXPECT_EQ(idsOf(group({open, recovering})), apart);
}

TEST(IncidentHistoryGrouper, aCombinedOneNeverGroupsWithOneOfCpu) {
    EXPECT_EQ(groupsOfTwo([](auto& incident) { incident.kind = IncidentKind::combined; }), apart);
}

TEST(IncidentHistoryGrouper, aDismissedOneNeverSharesAGroupWithAVisibleOne) {
    EXPECT_EQ(groupsOfTwo([](auto& incident) { incident.dismissedAt = instantFromSeconds(5); }), apart);
}

TEST(IncidentHistoryGrouper, theContributorCountsInAnyCaseAndWithoutSpaceAroundIt) {
    EXPECT_EQ(groupsOfTwo([](auto& incident) { incident.topCPUProcess = " COMPILER\n"; }), together);
    EXPECT_EQ(groupsOfTwo([](auto& incident) { incident.topCPUProcess = "compiler2"; }), apart);
    EXPECT_EQ(groupsOfTwo([](auto& incident) { incident.topCPUProcess.reset(); }), apart);
    // It may come from the other process.
    EXPECT_EQ(groupsOfTwo([](auto& incident) {
                  incident.topCPUProcess = "  ";
                  incident.topRAMProcess = "Compiler";
              }),
              together);
}

TEST(IncidentHistoryGrouper, onesWithoutAContributorShareAGroup) {
    PerformanceIncident first = recoveredIncident(1, 60);
    PerformanceIncident second = recoveredIncident(2, 0);
    first.topCPUProcess.reset();
    second.topCPUProcess = " ";
    EXPECT_EQ(idsOf(group({first, second})), together);
}

TEST(IncidentHistoryGrouper, severityAndNumbersPlayNoPart) {
    EXPECT_EQ(groupsOfTwo([](auto& incident) {
                  incident.severity = IncidentSeverity::critical;
                  incident.peakCPU = 400;
                  incident.topCPUUsage = 300;
                  incident.topRAMProcess = "browser";
                  incident.topRAMBytes = 1;
                  incident.sampleCount = 12;
              }),
              together);
}

TEST(IncidentHistoryGrouper, groupsStandNewestFirstByTheirRepresentatives) {
    const auto groups =
        group({recoveredIncident(1, 8 * hour), recoveredIncident(2, 7 * hour, IncidentKind::memory),
               recoveredIncident(3, 3 * hour), recoveredIncident(4, hour)});
    EXPECT_EQ(idsOf(groups), (Ids{{1, 3}, {2}, {4}}));
}

// Such starts can't come out of the store, yet nothing may hang or be lost on them.
TEST(IncidentHistoryGrouper, oddStartsAndWindowsLoseNothing) {
    const std::vector<PerformanceIncident> odd = {
        recoveredIncident(1, NAN),       recoveredIncident(2, infinity), recoveredIncident(3, -infinity),
        recoveredIncident(4, 0),         recoveredIncident(5, NAN),      recoveredIncident(6, infinity),
        recoveredIncident(7, -infinity), recoveredIncident(8, 1)};
    EXPECT_EQ(idsOf(group(odd)), (Ids{{2, 6}, {8, 4}, {3, 7}, {1}, {5}}));
    EXPECT_EQ(idsOf(group(odd, infinity)), (Ids{{2, 6, 8, 4, 3, 7}, {1}, {5}}));
    const Ids alone = {{2}, {6}, {8}, {4}, {3}, {7}, {1}, {5}};
    EXPECT_EQ(idsOf(group(odd, NAN)), alone);
    EXPECT_EQ(idsOf(group(odd, -1)), alone);
}

TEST(IncidentHistoryGroup, isToldByItsRepresentative) {
    PerformanceIncident newest = recoveredIncident(8, 60);
    PerformanceIncident hardest = recoveredIncident(9, 0);
    hardest.severity = IncidentSeverity::critical;
    const auto groups = group({newest, hardest});
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups[0].id(), 8);
    EXPECT_EQ(groups[0].repeatCount(), 2U);
    EXPECT_EQ(groups[0].highestSeverity(), IncidentSeverity::critical);
    EXPECT_FALSE(groups[0].isDismissed());
    newest.dismissedAt = instantFromSeconds(100);
    EXPECT_TRUE(group({newest})[0].isDismissed());
}

TEST(IncidentHistoryGroup, withoutMembersHasTheSeverityOfItsRepresentative) {
    IncidentHistoryGroup empty;
    EXPECT_EQ(empty.highestSeverity(), IncidentSeverity::warning);
    empty.representative.severity = IncidentSeverity::critical;
    EXPECT_EQ(empty.highestSeverity(), IncidentSeverity::critical);
    EXPECT_EQ(empty.repeatCount(), 0U);
}

}  // namespace
}  // namespace corvanta
