// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ProcessTable.h"

#include <gtest/gtest.h>

#include <rapidcheck/gtest.h>
#include <limits>

namespace corvanta {
namespace {

constexpr const char* times = "\xc3\x97";

ProcessDetail process(std::int64_t id, std::string name, double cpu = 0) {
    return {.id = id, .name = std::move(name), .cpuUsage = cpu, .kind = id == 0 ? "Kernel" : "User"};
}

std::vector<std::int64_t> ids(const std::vector<ProcessDetail>& rows) {
    std::vector<std::int64_t> list;
    for (const auto& row : rows) list.push_back(row.id);
    return list;
}
std::vector<std::string> names(const std::vector<ProcessGroup>& rows) {
    std::vector<std::string> list;
    for (const auto& row : rows) list.push_back(row.name);
    return list;
}

using Ids = std::vector<std::int64_t>;
using Names = std::vector<std::string>;
constexpr auto up = SortDirection::ascending;
constexpr auto down = SortDirection::descending;

}  // namespace

TEST(ProcessTable, titlesOfTheColumns) {
    Names individual;
    for (const ProcessColumn column : individualColumns) individual.emplace_back(title(column));
    EXPECT_EQ(individual, (Names{"PID", "Process Name", "Kind", "CPU %", "CPU Time", "Threads", "RAM"}));
    Names combined;
    for (const ProcessColumn column : combinedColumns) combined.emplace_back(title(column));
    EXPECT_EQ(combined, (Names{"Process Name", "Kind", "CPU %", "CPU Time", "Threads", "RAM"}));
}

TEST(ProcessTable, viewModesInTheirOrder) {
    ASSERT_EQ(allProcessViewModes.size(), 2U);
    EXPECT_EQ(rawValue(allProcessViewModes[0]), "Individual");
    EXPECT_EQ(rawValue(allProcessViewModes[1]), "Combined");
}

TEST(ProcessTable, sortsByEachColumnInBothDirections) {
    const ProcessDetail a{5, "beta", 10, 2, 30, 7, 100, "User"};
    const ProcessDetail b{0, "Alpha", 30, 1, 20, 9, 300, "Kernel"};
    const ProcessDetail c{9, "gamma", 20, 3, 40, 8, 200, "User"};
    const std::vector<ProcessDetail> list = {a, b, c};
    const auto sorted = [&](ProcessColumn column, SortDirection direction) {
        return ids(filteredProcesses(list, {{column, direction}}, ""));
    };
    EXPECT_EQ(sorted(ProcessColumn::pid, up), (Ids{0, 5, 9}));
    EXPECT_EQ(sorted(ProcessColumn::pid, down), (Ids{9, 5, 0}));
    EXPECT_EQ(sorted(ProcessColumn::name, up), (Ids{0, 5, 9}));
    EXPECT_EQ(sorted(ProcessColumn::name, down), (Ids{9, 5, 0}));
    EXPECT_EQ(sorted(ProcessColumn::kind, up), (Ids{0, 5, 9}));
    EXPECT_EQ(sorted(ProcessColumn::kind, down), (Ids{5, 9, 0}));
    EXPECT_EQ(sorted(ProcessColumn::cpuUsage, up), (Ids{5, 9, 0}));
    EXPECT_EQ(sorted(ProcessColumn::cpuUsage, down), (Ids{0, 9, 5}));
    EXPECT_EQ(sorted(ProcessColumn::cpuTime, up), (Ids{0, 5, 9}));
    EXPECT_EQ(sorted(ProcessColumn::threads, down), (Ids{0, 9, 5}));
    EXPECT_EQ(sorted(ProcessColumn::residentBytes, up), (Ids{5, 9, 0}));
}

TEST(ProcessTable, laterComparatorsDecideBetweenEquals) {
    const std::vector<ProcessDetail> list = {process(1, "b", 5), process(2, "a", 5), process(3, "c", 9)};
    EXPECT_EQ(ids(filteredProcesses(list, {{ProcessColumn::cpuUsage, down}, {ProcessColumn::name, up}}, "")),
              (Ids{3, 2, 1}));
}

TEST(ProcessTable, equalRowsKeepTheOrderOfTheList) {
    const std::vector<ProcessDetail> list = {process(7, "b", 5), process(2, "a", 5), process(3, "c", 5)};
    EXPECT_EQ(ids(filteredProcesses(list, {{ProcessColumn::cpuUsage, down}}, "")), (Ids{7, 2, 3}));
    EXPECT_EQ(ids(filteredProcesses(list, {}, "")), (Ids{7, 2, 3}));
}

TEST(ProcessTable, aUsageThatIsNoNumberRanksAsNone) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    const std::vector<ProcessDetail> list = {process(1, "a", none), process(2, "b", 5), process(3, "c", 0)};
    EXPECT_EQ(ids(filteredProcesses(list, {{ProcessColumn::cpuUsage, down}}, "")), (Ids{2, 1, 3}));
}

TEST(ProcessTable, theSearchIsForAPartOfTheNameInAnyCase) {
    const std::vector<ProcessDetail> list = {process(1, "Web Content"), process(2, "webkit"),
                                             process(3, "editor"), process(4, "ÜBERSICHT")};
    EXPECT_EQ(ids(filteredProcesses(list, {}, "WEB")), (Ids{1, 2}));
    EXPECT_EQ(ids(filteredProcesses(list, {}, "übers")), (Ids{4}));
    EXPECT_EQ(ids(filteredProcesses(list, {}, "none")), Ids{});
    EXPECT_EQ(ids(filteredProcesses(list, {}, "")), (Ids{1, 2, 3, 4}));
}

TEST(ProcessGroups, namesThatDifferOnlyInCaseAreOneGroupInLowerCase) {
    const auto groups =
        groupedProcesses({process(5, "Worker"), process(6, "worker"), process(7, "Alone")}, {}, "");
    EXPECT_EQ(names(groups), (Names{std::string("worker  ") + times + "2", "alone"}));
    EXPECT_EQ(groups[0].count, 2);
    EXPECT_EQ(groups[1].count, 1);
}

TEST(ProcessGroups, aGroupOfThreeTellsItsCount) {
    const auto groups = groupedProcesses({process(5, "a"), process(6, "A"), process(7, "a")}, {}, "");
    EXPECT_EQ(names(groups), (Names{std::string("a  ") + times + "3"}));
}

TEST(ProcessGroups, quantitiesAreSumsAndTheSampleIsTheFirst) {
    const auto groups =
        groupedProcesses({{8, "a", 1, 2, 3, 4, 5, "User"}, {6, "A", 10, 20, 30, 40, 50, "User"}}, {}, "");
    EXPECT_EQ(
        groups,
        (std::vector<ProcessGroup>{{std::string("a  ") + times + "2", 2, 11, 22, 33, 44, 55, "User", 8}}));
}

TEST(ProcessGroups, aGroupWithAKernelMemberIsTheKernels) {
    ProcessDetail user = process(5, "twin");
    ProcessDetail kernel = process(6, "Twin");
    kernel.kind = "Kernel";
    EXPECT_EQ(groupedProcesses({user, kernel}, {}, "").at(0).kind, "Kernel");
    EXPECT_EQ(groupedProcesses({kernel, user}, {}, "").at(0).kind, "Kernel");
    EXPECT_EQ(groupedProcesses({user, user}, {}, "").at(0).kind, "User");
}

TEST(ProcessGroups, theKernelIsNamedByItsId) {
    EXPECT_EQ(names(groupedProcesses({process(0, "Something")}, {}, "")), (Names{"kernel_task"}));
    EXPECT_EQ(names(groupedProcesses({process(0, "kernel_task"), process(9, "kernel_task")}, {}, "")),
              (Names{std::string("kernel_task  ") + times + "2"}));
}

TEST(ProcessGroups, areSortedByTheirSumsAndFilteredByTheirNames) {
    const std::vector<ProcessDetail> list = {process(1, "One", 30), process(2, "Two", 20),
                                             process(3, "two", 20)};
    EXPECT_EQ(names(groupedProcesses(list, {{ProcessColumn::cpuUsage, down}}, "")),
              (Names{std::string("two  ") + times + "2", "one"}));
    EXPECT_EQ(names(groupedProcesses(list, {{ProcessColumn::name, up}}, "")),
              (Names{"one", std::string("two  ") + times + "2"}));
    EXPECT_EQ(names(groupedProcesses(list, {}, "ONE")), (Names{"one"}));
    EXPECT_EQ(names(groupedProcesses(list, {}, times)), (Names{std::string("two  ") + times + "2"}));
}

RC_GTEST_PROP(ProcessGroups, countEachProcessOnce, (const std::vector<std::uint8_t>& letters)) {
    std::vector<ProcessDetail> list;
    for (const std::uint8_t letter : letters) {
        const auto id = static_cast<std::int64_t>(list.size()) + 1;
        const char sign = static_cast<char>((letter % 2 == 0 ? 'a' : 'A') + letter % 5);
        list.push_back(process(id, std::string(1, sign), 1));
    }
    std::int64_t count = 0;
    double cpu = 0;
    for (const ProcessGroup& group : groupedProcesses(list, {}, "")) {
        count += group.count;
        cpu += group.cpuUsage;
    }
    RC_ASSERT(count == static_cast<std::int64_t>(list.size()));
    RC_ASSERT(cpu == static_cast<double>(list.size()));
}

TEST(ProcessColors, aBusyProcessStandsOutAboveTwentyPercent) {
    EXPECT_EQ(cpuUsageColor(20), ColorRole::primary);
    EXPECT_EQ(cpuUsageColor(20.001), ColorRole::orange);
    EXPECT_EQ(kindColor("Kernel"), ColorRole::orange);
    EXPECT_EQ(kindColor("User"), ColorRole::secondary);
}

}  // namespace corvanta
