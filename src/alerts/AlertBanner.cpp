// SPDX-License-Identifier: Apache-2.0
#include "alerts/AlertBanner.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <variant>

#include "core/NumberText.h"
#include "core/UsageRank.h"
#include "monitoring/collectors/ProcessControl.h"

namespace corvanta {
namespace {

constexpr std::int32_t noSignal = 0;  // only asks whether one could be sent

// Each costs a few calls into the system, and another user may run thousands of one name.
constexpr std::size_t mostAttempts = 16;

}  // namespace

AlertStopTarget::AlertStopTarget(std::unique_ptr<HeldProcess> held, std::string shownName)
    : process(std::move(held)),
      name(std::move(shownName)),
      help("Ask " + name + " (PID " + integerText(process->id()) + ") to quit") {}

std::optional<AlertStopTarget> killableAlertProcess(const std::optional<std::string>& alertProcess,
                                                    const std::vector<ProcessDetail>& allProcesses,
                                                    ProcessSignaller& signaller) {
    if (!alertProcess) return std::nullopt;
    const std::int64_t own = signaller.ownProcessID();
    std::vector<const ProcessDetail*> candidates;
    for (const ProcessDetail& process : allProcesses) {
        if (process.name != *alertProcess || process.id > std::numeric_limits<std::int32_t>::max()) continue;
        if (ProcessControl::canSignal(process.id, process.name, own)) candidates.push_back(&process);
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const ProcessDetail* a, const ProcessDetail* b) {
                         return usageRank(a->cpuUsage) > usageRank(b->cpuUsage);
                     });
    if (candidates.size() > mostAttempts) candidates.resize(mostAttempts);
    for (const ProcessDetail* candidate : candidates) {
        auto process = signaller.hold(candidate->id);
        const auto outcome = ProcessControl::send(noSignal, *process, candidate->name, own);
        if (std::holds_alternative<ProcessControl::Signalled>(outcome))
            return AlertStopTarget(std::move(process), candidate->name);
    }
    return std::nullopt;
}

std::optional<AlertBanner> alertBanner(const SmartAlertMonitor& alerts,
                                       const std::vector<ProcessDetail>& allProcesses,
                                       ProcessSignaller& signaller) {
    if (!alerts.activeAlertMessage()) return std::nullopt;
    const SmartAlertDestination destination = alerts.activeAlertDestination();
    AlertBanner banner{.title = alerts.activeAlertTitle().value_or("Corvanta"),
                       .message = *alerts.activeAlertMessage(),
                       .systemImage = alerts.activeAlertIcon(),
                       .color = alerts.activeAlertColor(),
                       .stop = killableAlertProcess(alerts.activeAlertProcess(), allProcesses, signaller),
                       .detailTitle = std::nullopt,
                       .detailHelp = std::string(actionHelp(destination))};
    if (destination != SmartAlertDestination::none) banner.detailTitle = actionLabel(destination);
    return banner;
}

void stopAlertProcess(AlertStopTarget& target, SmartAlertMonitor& alerts, const ProcessSignaller& signaller) {
    ProcessControl::send(ProcessControl::terminateSignal, *target.process, target.name,
                         signaller.ownProcessID());
    alerts.dismissAlert();
}

}  // namespace corvanta
