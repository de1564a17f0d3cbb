// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/MetricTypes.h"
#include "monitoring/collectors/ProcessControl.h"
#include "platform/ProcessSignaller.h"

namespace corvanta {

/// A quit that waits for the user's confirmation.
struct PendingProcessAction {
    std::int64_t pid = 0;
    std::string name;
    bool force = false;

    bool operator==(const PendingProcessAction&) const = default;
};

/// A message to the user.
struct ProcessNotice {
    std::string title;
    std::string message;

    bool operator==(const ProcessNotice&) const = default;
};

/// The question that a pending action raises.
struct ProcessConfirmation {
    std::string title;
    std::string message;
    std::string confirmLabel;  ///< of the destructive button
    std::string cancelLabel = "Cancel";

    bool operator==(const ProcessConfirmation&) const = default;
};

ProcessConfirmation confirmation(const PendingProcessAction& action);

/// Why a process can't be quit.
ProcessNotice refusalNotice(const ProcessControl::Refusal& refusal);

/// Runs what the user has confirmed, and tells what there is to say about it; absent when the signal was
/// delivered. `process` was held when the user was asked. A process that is no longer in `processes` under
/// its name gets no signal.
std::optional<ProcessNotice> runAction(const PendingProcessAction& action, HeldProcess& process,
                                       const std::vector<ProcessDetail>& processes,
                                       std::int64_t ownProcessID);

}  // namespace corvanta
