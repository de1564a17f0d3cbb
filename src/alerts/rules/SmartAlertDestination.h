// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <string_view>

namespace corvanta {

/// Where the detail action of an alert leads.
enum class SmartAlertDestination {
    none,           ///< no detail action
    aiExplanation,  ///< the insight on the alert's SmartAlertAIContext
    incidents,      ///< the section of that name
    history,        ///< the section of that name
};

inline constexpr std::array allSmartAlertDestinations = {
    SmartAlertDestination::none, SmartAlertDestination::aiExplanation, SmartAlertDestination::incidents,
    SmartAlertDestination::history};

/// The label of the detail action.
constexpr std::string_view actionLabel(SmartAlertDestination destination) {
    return destination == SmartAlertDestination::aiExplanation ? "Explain" : "View";
}

/// The help text of the detail action.
constexpr std::string_view actionHelp(SmartAlertDestination destination) {
    switch (destination) {
        case SmartAlertDestination::none:
            return "View details";
        case SmartAlertDestination::aiExplanation:
            return "Explain the recorded incident snapshot with AI";
        case SmartAlertDestination::incidents:
            return "Open incident timeline";
        case SmartAlertDestination::history:
            return "Open system history";
    }
    std::abort();
}

}  // namespace corvanta
