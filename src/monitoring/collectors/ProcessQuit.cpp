// SPDX-License-Identifier: Apache-2.0
#include "monitoring/collectors/ProcessQuit.h"

#include <algorithm>

#include "core/NumberText.h"

namespace corvanta {

ProcessConfirmation confirmation(const PendingProcessAction& action) {
    if (action.force) {
        return {.title = "Force quit " + action.name + "?",
                .message = action.name +
                           " will be stopped immediately and will not get a chance to save. Any unsaved "
                           "work in it will be lost.",
                .confirmLabel = "Force Quit"};
    }
    return {.title = "Quit " + action.name + "?",
            .message =
                action.name + " will be asked to quit. Save your work in it first if you have not already.",
            .confirmLabel = "Quit"};
}

ProcessNotice refusalNotice(const ProcessControl::Refusal& refusal) {
    return {ProcessControl::menuLabel(refusal), ProcessControl::explanation(refusal)};
}

std::optional<ProcessNotice> runAction(const PendingProcessAction& action, HeldProcess& process,
                                       const std::vector<ProcessDetail>& processes,
                                       std::int64_t ownProcessID) {
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [&](const ProcessDetail& listed) { return listed.id == action.pid; });
    if (found == processes.end() || found->name != action.name) {
        return ProcessNotice{"Nothing was quit", action.name + " is no longer running as process " +
                                                     integerText(action.pid) + "."};
    }
    const std::int32_t signal = action.force ? ProcessControl::killSignal : ProcessControl::terminateSignal;
    const auto outcome = ProcessControl::send(signal, process, found->name, ownProcessID);
    if (const auto* refused = std::get_if<ProcessControl::Refused>(&outcome)) {
        return refusalNotice(refused->refusal);
    }
    if (const auto* failed = std::get_if<ProcessControl::Failed>(&outcome)) {
        return ProcessNotice{"Could not quit " + action.name,
                             ProcessControl::failureMessage(action.name, failed->code)};
    }
    return std::nullopt;
}

}  // namespace corvanta
