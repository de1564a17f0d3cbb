// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alerts/SmartAlertMonitor.h"
#include "core/ColorRole.h"
#include "core/MetricTypes.h"
#include "platform/ProcessSignaller.h"

namespace corvanta {

/// A process that an alert can stop, held from when it is offered to the user.
struct AlertStopTarget {
    std::unique_ptr<HeldProcess> process;  ///< never null
    std::string name;                      ///< as it is shown
    std::string help;

    AlertStopTarget(std::unique_ptr<HeldProcess> held, std::string shownName);
};

/// The active alert as a banner shows it, with its up to three actions. Made anew whenever it is drawn: a
/// process that has gone can't be stopped any more.
struct AlertBanner {
    std::string title;
    std::string message;
    std::string systemImage;  ///< a name of the icon table
    ColorRole color = ColorRole::purple;
    std::optional<AlertStopTarget> stop;     ///< absent when there is nothing to stop
    std::optional<std::string> detailTitle;  ///< absent when the alert leads nowhere
    std::string detailHelp;
    std::string dismissHelp = "Dismiss alert";
};

/// Of the processes of the alert's name the busiest that may be signalled and still runs under that name;
/// equally busy ones keep their order. Of very many only the first are tried.
std::optional<AlertStopTarget> killableAlertProcess(const std::optional<std::string>& alertProcess,
                                                    const std::vector<ProcessDetail>& allProcesses,
                                                    ProcessSignaller& signaller);

/// Absent while no alert is active.
std::optional<AlertBanner> alertBanner(const SmartAlertMonitor& alerts,
                                       const std::vector<ProcessDetail>& allProcesses,
                                       ProcessSignaller& signaller);

/// Asks the process to quit and dismisses the alert, whatever becomes of that.
void stopAlertProcess(AlertStopTarget& target, SmartAlertMonitor& alerts, const ProcessSignaller& signaller);

}  // namespace corvanta
