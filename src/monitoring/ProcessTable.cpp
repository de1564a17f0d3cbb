// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ProcessTable.h"

#include <QHash>
#include <QLocale>
#include <QString>
#include <algorithm>
#include <cmath>
#include <compare>
#include <cstdlib>
#include <utility>

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

/// A row while it is sorted. Its name is converted once, and not for each comparison.
template <class Row>
struct SortedRow {
    Row row;
    QString name;  // empty unless it is sorted by
};

template <class Row>
int compare(const SortedRow<Row>& a, const SortedRow<Row>& b, ProcessColumn column) {
    switch (column) {
        case ProcessColumn::pid:
            return compareNumbers(idOf(a.row), idOf(b.row));
        case ProcessColumn::name:
            return QString::compare(a.name, b.name, Qt::CaseInsensitive);
        case ProcessColumn::kind:
            return a.row.kind.compare(b.row.kind);
        case ProcessColumn::cpuUsage:
            return compareNumbers(ranked(a.row.cpuUsage), ranked(b.row.cpuUsage));
        case ProcessColumn::cpuTime:
            return compareNumbers(ranked(a.row.cpuTime), ranked(b.row.cpuTime));
        case ProcessColumn::threads:
            return compareNumbers(a.row.threads, b.row.threads);
        case ProcessColumn::residentBytes:
            return compareNumbers(a.row.residentBytes, b.row.residentBytes);
    }
    std::abort();
}

template <class Row>
void sortRows(std::vector<Row>& rows, const ProcessSortOrder& order) {
    const bool needsNames = std::any_of(order.begin(), order.end(), [](const ProcessComparator& comparator) {
        return comparator.column == ProcessColumn::name;
    });
    std::vector<SortedRow<Row>> sorted;
    sorted.reserve(rows.size());
    for (Row& row : rows) {
        QString name = needsNames ? textOf(row.name) : QString();
        sorted.push_back({std::move(row), std::move(name)});
    }
    std::stable_sort(sorted.begin(), sorted.end(), [&](const SortedRow<Row>& a, const SortedRow<Row>& b) {
        for (const ProcessComparator& comparator : order) {
            const int result = compare(a, b, comparator.column);
            if (result != 0)
                return comparator.direction == SortDirection::ascending ? result < 0 : result > 0;
        }
        return false;
    });
    std::transform(sorted.begin(), sorted.end(), rows.begin(),
                   [](SortedRow<Row>& row) { return std::move(row.row); });
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
