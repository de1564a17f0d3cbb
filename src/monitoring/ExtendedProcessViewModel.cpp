// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ExtendedProcessViewModel.h"

#include <algorithm>
#include <utility>

#include "core/ProcessTexts.h"

namespace corvanta {

ExtendedProcessViewModel::ExtendedProcessViewModel(SystemMonitor& monitor, ProcessSignaller& signaller)
    : monitor_(monitor), signaller_(signaller), announcedList_(monitor.processList()) {
    connect(&monitor, &SystemMonitor::changed, this, &ExtendedProcessViewModel::takeList);
}

/// Most of the monitor's samples bring no new list, and the tables are not free to make.
void ExtendedProcessViewModel::takeList() {
    if (announcedList_ == monitor_.processList()) return;
    announcedList_ = monitor_.processList();
    Q_EMIT changed();
}

std::vector<ProcessDetail> ExtendedProcessViewModel::filteredProcesses() const {
    return corvanta::filteredProcesses(monitor_.allProcesses(), sortOrder_, searchText_);
}

std::vector<ProcessGroup> ExtendedProcessViewModel::groupedProcesses() const {
    return corvanta::groupedProcesses(monitor_.allProcesses(), groupSortOrder_, searchText_);
}

void ExtendedProcessViewModel::setSearchText(std::string text) {
    searchText_ = std::move(text);
    Q_EMIT changed();
}

void ExtendedProcessViewModel::setSortOrder(ProcessSortOrder order) {
    sortOrder_ = std::move(order);
    Q_EMIT changed();
}

void ExtendedProcessViewModel::setGroupSortOrder(ProcessSortOrder order) {
    groupSortOrder_ = std::move(order);
    Q_EMIT changed();
}

void ExtendedProcessViewModel::setViewMode(ProcessViewMode mode) {
    viewMode_ = mode;
    Q_EMIT changed();
}

void ExtendedProcessViewModel::setSelectedProcessID(std::optional<std::int64_t> pid) {
    selectedProcessID_ = pid;
    Q_EMIT changed();
}

void ExtendedProcessViewModel::setSelectedGroupName(std::optional<std::string> name) {
    selectedGroupName_ = std::move(name);
    Q_EMIT changed();
}

void ExtendedProcessViewModel::takeRequestedSelection() {
    const auto& requested = monitor_.requestedProcessSelection();
    if (!requested) return;
    const auto& processes = monitor_.allProcesses();
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [&](const ProcessDetail& process) { return process.name == *requested; });
    if (found == processes.end()) return;
    setSelectedProcessID(found->id);
    monitor_.setRequestedProcessSelection(std::nullopt);
}

std::optional<ProcessInsight> ExtendedProcessViewModel::detail() const {
    const ProcessDetail* process = selectedProcessID_ ? find(*selectedProcessID_) : nullptr;
    if (!process) return std::nullopt;
    const bool isBusy = process->ramUsage < process->cpuUsage;
    return ProcessInsight{isBusy ? ProcessInsight::Metric::cpu : ProcessInsight::Metric::ram, process->name,
                          processUsageString(isBusy ? process->cpuUsage : process->ramUsage)};
}

std::optional<ProcessMenu> ExtendedProcessViewModel::contextMenu(
    const std::vector<std::int64_t>& selection) const {
    const ProcessDetail* process = selection.empty() ? nullptr : find(selection.front());
    if (!process) return std::nullopt;
    if (const auto refusal = ProcessControl::refusal(process->id, process->name, signaller_.ownProcessID())) {
        return ProcessMenu{process->id, ProcessMenu::Refused{ProcessControl::menuLabel(*refusal)}};
    }
    return ProcessMenu{process->id,
                       ProcessMenu::Quit{"Quit " + process->name, "Force Quit " + process->name}};
}

void ExtendedProcessViewModel::requestQuit(std::int64_t pid, bool force) {
    const ProcessDetail* process = find(pid);
    if (!process) return;
    heldProcess_ = signaller_.hold(pid);
    pendingAction_ = PendingProcessAction{pid, process->name, force};
    Q_EMIT changed();
}

void ExtendedProcessViewModel::explainRefusal(std::int64_t pid) {
    const ProcessDetail* process = find(pid);
    if (!process) return;
    if (const auto refusal = ProcessControl::refusal(pid, process->name, signaller_.ownProcessID())) {
        setNotice(refusalNotice(*refusal));
    }
}

std::optional<ProcessConfirmation> ExtendedProcessViewModel::pendingConfirmation() const {
    if (!pendingAction_) return std::nullopt;
    return confirmation(*pendingAction_);
}

void ExtendedProcessViewModel::confirmPendingAction() {
    if (!pendingAction_) return;
    const PendingProcessAction action = *std::exchange(pendingAction_, std::nullopt);
    const auto process = std::exchange(heldProcess_, nullptr);
    setNotice(runAction(action, *process, monitor_.allProcesses(), signaller_.ownProcessID()));
}

void ExtendedProcessViewModel::cancelPendingAction() {
    pendingAction_.reset();
    heldProcess_.reset();
    Q_EMIT changed();
}

void ExtendedProcessViewModel::closeNotice() {
    setNotice(std::nullopt);
}

const ProcessDetail* ExtendedProcessViewModel::find(std::int64_t pid) const {
    const auto& processes = monitor_.allProcesses();
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [pid](const ProcessDetail& process) { return process.id == pid; });
    return found == processes.end() ? nullptr : &*found;
}

void ExtendedProcessViewModel::setNotice(std::optional<ProcessNotice> notice) {
    notice_ = std::move(notice);
    Q_EMIT changed();
}

}  // namespace corvanta
