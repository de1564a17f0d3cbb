// SPDX-License-Identifier: Apache-2.0
#include "ctl/ProcessCommands.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "core/ByteCount.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/ProcessTexts.h"
#include "ctl/Json.h"
#include "monitoring/ProcessTable.h"
#include "monitoring/collectors/ProcessMonitor.h"
#include "monitoring/collectors/ProcessQuit.h"

namespace corvanta::ctl {
namespace {

struct ProcessListing {
    std::string sort = "cpu";        // what the first rows have most of
    std::optional<std::size_t> top;  // how many rows; all when absent
    bool isGrouped = false;          // one row for all processes of a name
};

struct QuitRequest {
    std::int64_t pid = 0;
    bool force = false;
    bool isConfirmed = false;
};

constexpr double measuringTime = 0.5;  // seconds between the two readings

std::uint64_t physicalMemory(const Platform& platform) {
    return platform.memoryCounters.readMemory().physicalMemory;
}

template <class Row>
std::vector<std::string> commonCells(const Row& row, const OutputOptions& options) {
    return {plainText(row.name),
            colored(row.kind, kindColor(row.kind), options),
            colored(processUsageString(row.cpuUsage), cpuUsageColor(row.cpuUsage), options),
            colored(cpuTimeString(row.cpuTime), ColorRole::secondary, options),
            integerText(row.threads),
            memoryString(row.residentBytes, userNumberSymbols()) + " " +
                colored(processUsageString(row.ramUsage), ColorRole::secondary, options)};
}

template <class Row>
Json commonFields(const Row& row) {
    return {{"name", row.name},         {"kind", row.kind},       {"cpu_usage", row.cpuUsage},
            {"cpu_time", row.cpuTime},  {"threads", row.threads}, {"resident_bytes", row.residentBytes},
            {"ram_usage", row.ramUsage}};
}

std::vector<std::string> cells(const ProcessDetail& process, const OutputOptions& options) {
    std::vector<std::string> row = commonCells(process, options);
    row.insert(row.begin(), integerText(process.id));
    return row;
}
std::vector<std::string> cells(const ProcessGroup& group, const OutputOptions& options) {
    return commonCells(group, options);
}

Json fields(const ProcessDetail& process) {
    Json object = {{"pid", process.id}};
    object.update(commonFields(process));
    return object;
}
Json fields(const ProcessGroup& group) {
    Json object = commonFields(group);
    object["count"] = group.count;
    return object;
}

template <class Columns>
std::vector<std::string> titles(const Columns& columns) {
    std::vector<std::string> row;
    row.reserve(columns.size());
    for (const ProcessColumn column : columns) row.emplace_back(title(column));
    return row;
}

template <class Row>
bool printRows(std::vector<Row> rows, std::vector<std::string> header, const ProcessListing& listing,
               const OutputOptions& options) {
    if (listing.top) rows.resize(std::min(rows.size(), *listing.top));
    if (options.json) {
        Json list = Json::array();
        for (const Row& row : rows) list.push_back(fields(row));
        return print(dumped(list) + "\n");
    }
    std::vector<std::vector<std::string>> lines = {std::move(header)};
    for (const Row& row : rows) lines.push_back(cells(row, options));
    return print(table(lines));
}

bool isAnsweredWithYes(const ProcessConfirmation& question) {
    if (!print(plainText(question.title) + "\n" + plainText(question.message) + "\n" + question.confirmLabel +
               "? [y/N] ")) {
        return false;
    }
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

int failWithoutList() {
    complain("The system gives no list of processes.");
    return 1;
}

int fail(const ProcessNotice& notice) {
    complain(plainText(notice.title) + ": " + plainText(notice.message));
    return 1;
}

int runProcesses(const Surroundings& at, const ProcessListing& listing) {
    const Platform& platform = at.ports;
    ProcessMonitor monitor(platform.processes, platform.clock, physicalMemory(platform));
    monitor.getAllProcesses(true, platform.clock.systemUptime());
    platform.waiter.wait(measuringTime, {});
    const ProcessList processes = monitor.getAllProcesses(true, platform.clock.systemUptime());
    if (processes->empty()) return failWithoutList();
    const ProcessColumn column =
        listing.sort == "memory" ? ProcessColumn::residentBytes : ProcessColumn::cpuUsage;
    const ProcessSortOrder order = {{column, SortDirection::descending}};
    const bool isWritten = listing.isGrouped ? printRows(groupedProcesses(*processes, order, ""),
                                                         titles(combinedColumns), listing, at.output)
                                             : printRows(filteredProcesses(*processes, order, ""),
                                                         titles(individualColumns), listing, at.output);
    return isWritten ? 0 : 1;
}

int runQuit(const Surroundings& at, const QuitRequest& request) {
    const Platform& platform = at.ports;
    const std::int64_t pid = request.pid;
    ProcessSignaller& signaller = platform.processSignaller;
    if (const auto refusal = ProcessControl::refusal(pid, "", signaller.ownProcessID())) {
        return fail(refusalNotice(*refusal));  // which the id alone decides
    }
    ProcessMonitor monitor(platform.processes, platform.clock, physicalMemory(platform));
    const auto held = signaller.hold(pid);
    const ProcessList asked = monitor.getAllProcesses(true, platform.clock.systemUptime());
    if (asked->empty()) return failWithoutList();
    const auto found = std::find_if(asked->begin(), asked->end(),
                                    [pid](const ProcessDetail& process) { return process.id == pid; });
    if (found == asked->end()) {
        complain("There is no process " + integerText(pid) + ".");
        return 1;
    }
    if (const auto refusal = ProcessControl::refusal(pid, found->name, signaller.ownProcessID())) {
        return fail(refusalNotice(*refusal));
    }
    const PendingProcessAction action{pid, found->name, request.force};
    if (!request.isConfirmed && !isAnsweredWithYes(confirmation(action))) {
        complain("Nothing was quit.");
        return 1;
    }
    const ProcessList present = monitor.getAllProcesses(true, platform.clock.systemUptime());
    const auto notice = runAction(action, *held, *present, signaller.ownProcessID());
    return notice ? fail(*notice) : 0;
}

}  // namespace

void addProcesses(CommandList& commands) {
    auto listing = std::make_shared<ProcessListing>();
    CLI::App& command =
        commands.add("processes", "List the running processes",
                     [listing](const Surroundings& at) { return runProcesses(at, *listing); });
    command.add_option("--sort", listing->sort, "What the first rows have most of")
        ->check(CLI::IsMember({"cpu", "memory"}))
        ->capture_default_str();
    command.add_option("--top", listing->top, "Show only so many rows")
        ->check(CLI::Range(std::int64_t{1}, std::numeric_limits<std::int64_t>::max()))
        ->type_name("N");
    command.add_flag("--grouped", listing->isGrouped, "One row for all processes of a name");
}

void addQuit(CommandList& commands) {
    auto request = std::make_shared<QuitRequest>();
    CLI::App& command = commands.add("quit", "Ask a process to quit, after a confirmation",
                                     [request](const Surroundings& at) { return runQuit(at, *request); });
    command.add_option("pid", request->pid, "The process")
        ->required()
        ->check(wholeNumber())
        ->type_name("PID");
    command.add_flag("--force", request->force, "Stop it at once, without a chance to save");
    command.add_flag("--yes", request->isConfirmed, "Do not ask first");
}

}  // namespace corvanta::ctl
