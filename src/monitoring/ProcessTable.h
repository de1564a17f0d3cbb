// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/ColorRole.h"
#include "core/MetricTypes.h"
#include "core/RawEnum.h"

namespace corvanta {

/// All processes of one name, as a row of the combined table. Quantities are sums.
struct ProcessGroup {
    std::string name;  ///< in lower case; with the number of processes where there are several
    std::int64_t count = 0;
    double cpuUsage = 0;
    double ramUsage = 0;
    double cpuTime = 0;  ///< seconds
    std::int64_t threads = 0;
    std::uint64_t residentBytes = 0;
    std::string kind;            ///< "Kernel" if any member is, otherwise the first member's
    std::int64_t samplePID = 0;  ///< of the first member in the list

    bool operator==(const ProcessGroup&) const = default;
};

enum class ProcessViewMode { individual, combined };
inline constexpr std::array allProcessViewModes = {ProcessViewMode::individual, ProcessViewMode::combined};
constexpr std::string_view rawValue(ProcessViewMode mode) {
    return mode == ProcessViewMode::individual ? "Individual" : "Combined";
}

/// What a column of the two tables holds, and so what they can be sorted by.
enum class ProcessColumn { pid, name, kind, cpuUsage, cpuTime, threads, residentBytes };

/// The columns in the order in which they are shown.
inline constexpr std::array individualColumns = {
    ProcessColumn::pid,     ProcessColumn::name,    ProcessColumn::kind,         ProcessColumn::cpuUsage,
    ProcessColumn::cpuTime, ProcessColumn::threads, ProcessColumn::residentBytes};
inline constexpr std::array combinedColumns = {ProcessColumn::name,     ProcessColumn::kind,
                                               ProcessColumn::cpuUsage, ProcessColumn::cpuTime,
                                               ProcessColumn::threads,  ProcessColumn::residentBytes};
std::string_view title(ProcessColumn column);

enum class SortDirection { ascending, descending };

/// One comparison; of a list of them each decides where those before it are equal.
struct ProcessComparator {
    ProcessColumn column = ProcessColumn::cpuUsage;
    SortDirection direction = SortDirection::descending;

    bool operator==(const ProcessComparator&) const = default;
};
using ProcessSortOrder = std::vector<ProcessComparator>;

// Both leave out what does not contain `searchText` in its name, in any case by the rules of the user's
// language; an empty text leaves out nothing. Equal rows keep the order of the list.

std::vector<ProcessDetail> filteredProcesses(const std::vector<ProcessDetail>& processes,
                                             const ProcessSortOrder& order, std::string_view searchText);

/// Names that differ only in case are one group. A group's `pid` column is its sample.
std::vector<ProcessGroup> groupedProcesses(const std::vector<ProcessDetail>& processes,
                                           const ProcessSortOrder& order, std::string_view searchText);

// The colours of the cells.
ColorRole cpuUsageColor(double cpuUsage);
ColorRole kindColor(std::string_view kind);

}  // namespace corvanta
