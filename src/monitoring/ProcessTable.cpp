// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ProcessTable.h"

#include <QHash>
#include <QLocale>
#include <QString>
#include <algorithm>
#include <cmath>
#include <compare>
#include <cstdlib>

#include "core/NumberText.h"

namespace corvanta {
namespace {

constexpr double busyCPUUsage = 20;  // percent

QString textOf(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

template <class Number>
int compareNumbers(Number a, Number b) {
    return a < b ? -1 : b < a ? 1 : 0;
}

/// Not-a-number ranks as 0: it would break the order that the sort relies on.
double ranked(double value) {
    return std::isnan(value) ? 0 : value;
}

std::int64_t idOf(const ProcessDetail& process) {
    return process.id;
}
std::int64_t idOf(const ProcessGroup& group) {
    return group.samplePID;
}

template <class Row>
int compare(const Row& a, const Row& b, ProcessColumn column) {
    switch (column) {
        case ProcessColumn::pid:
            return compareNumbers(idOf(a), idOf(b));
        case ProcessColumn::name:
            return QString::compare(textOf(a.name), textOf(b.name), Qt::CaseInsensitive);
        case ProcessColumn::kind:
            return a.kind.compare(b.kind);
        case ProcessColumn::cpuUsage:
            return compareNumbers(ranked(a.cpuUsage), ranked(b.cpuUsage));
        case ProcessColumn::cpuTime:
            return compareNumbers(ranked(a.cpuTime), ranked(b.cpuTime));
        case ProcessColumn::threads:
            return compareNumbers(a.threads, b.threads);
        case ProcessColumn::residentBytes:
            return compareNumbers(a.residentBytes, b.residentBytes);
    }
    std::abort();
}

template <class Row>
void sortRows(std::vector<Row>& rows, const ProcessSortOrder& order) {
    std::stable_sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) {
        for (const ProcessComparator& comparator : order) {
            const int result = compare(a, b, comparator.column);
            if (result != 0)
                return comparator.direction == SortDirection::ascending ? result < 0 : result > 0;
        }
        return false;
    });
}

template <class Row>
void keepMatching(std::vector<Row>& rows, std::string_view searchText) {
    if (searchText.empty()) return;
    const QLocale locale = QLocale::system();
    const QString wanted = locale.toLower(textOf(searchText));
    std::erase_if(rows, [&](const Row& row) { return !locale.toLower(textOf(row.name)).contains(wanted); });
}

void add(ProcessGroup& group, const ProcessDetail& process) {
    ++group.count;
    group.cpuUsage += process.cpuUsage;
    group.ramUsage += process.ramUsage;
    group.cpuTime += process.cpuTime;
    group.threads += process.threads;
    group.residentBytes += process.residentBytes;
    if (process.kind == "Kernel") group.kind = process.kind;
}

std::string shownName(const QString& key, const ProcessGroup& group) {
    std::string name = group.samplePID == 0 ? "kernel_task" : key.toStdString();
    if (group.count >= 2) name += "  \xc3\x97" + integerText(group.count);
    return name;
}

}  // namespace

std::string_view title(ProcessColumn column) {
    switch (column) {
        case ProcessColumn::pid:
            return "PID";
        case ProcessColumn::name:
            return "Process Name";
        case ProcessColumn::kind:
            return "Kind";
        case ProcessColumn::cpuUsage:
            return "CPU %";
        case ProcessColumn::cpuTime:
            return "CPU Time";
        case ProcessColumn::threads:
            return "Threads";
        case ProcessColumn::residentBytes:
            return "RAM";
    }
    std::abort();
}

std::vector<ProcessDetail> filteredProcesses(const std::vector<ProcessDetail>& processes,
                                             const ProcessSortOrder& order, std::string_view searchText) {
    std::vector<ProcessDetail> rows = processes;
    keepMatching(rows, searchText);
    sortRows(rows, order);
    return rows;
}

std::vector<ProcessGroup> groupedProcesses(const std::vector<ProcessDetail>& processes,
                                           const ProcessSortOrder& order, std::string_view searchText) {
    std::vector<ProcessGroup> groups;
    std::vector<QString> keys;
    QHash<QString, std::size_t> places;
    for (const ProcessDetail& process : processes) {
        const QString key = textOf(process.name).toLower();
        const auto place = places.constFind(key);
        if (place != places.constEnd()) {
            add(groups[*place], process);
            continue;
        }
        places.insert(key, groups.size());
        keys.push_back(key);
        ProcessGroup& group = groups.emplace_back();
        group.kind = process.kind;
        group.samplePID = process.id;
        add(group, process);
    }
    for (std::size_t i = 0; i < groups.size(); ++i) groups[i].name = shownName(keys[i], groups[i]);
    keepMatching(groups, searchText);
    sortRows(groups, order);
    return groups;
}

ColorRole cpuUsageColor(double cpuUsage) {
    return cpuUsage > busyCPUUsage ? ColorRole::orange : ColorRole::primary;
}

ColorRole kindColor(std::string_view kind) {
    return kind == "Kernel" ? ColorRole::orange : ColorRole::secondary;
}

}  // namespace corvanta
