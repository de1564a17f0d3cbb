// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "alerts/rules/SmartAlertDestination.h"

namespace corvanta {

/// What a performance alert hands to the AI explanation.
struct SmartAlertAIContext {
    std::string processName;     ///< as sampled, without a count
    std::string reason;          ///< "CPU" or "RAM"
    std::string usageContext;    ///< the sentence that is sent
    std::string displaySummary;  ///< the line that the user sees above the explanation

    bool operator==(const SmartAlertAIContext&) const = default;
};

/// The finished words of a performance alert. Names of processes stand in them as they were sampled, so they
/// may hold line ends and controls.
struct ProactiveAlertPresentation {
    std::string title;
    std::string message;      ///< of the banner and of the notification
    std::string systemImage;  ///< a name of the icon table
    SmartAlertDestination destination = SmartAlertDestination::none;
    std::optional<SmartAlertAIContext> aiContext = std::nullopt;

    /// The reason is "CPU"; any other is worded as memory. The count is that of the processes of the name, of
    /// which the usage, in percent, is that of the top one. A system CPU that is no number counts as 100.
    static ProactiveAlertPresentation performance(const std::string& processName, std::int64_t processCount,
                                                  const std::string& reason, double systemCPU,
                                                  double topProcessUsage);

    bool operator==(const ProactiveAlertPresentation&) const = default;
};

/// How the notification of a performance alert names the process: with the count, if it is above 1.
std::string processLabel(const std::string& name, std::int64_t count);

}  // namespace corvanta
