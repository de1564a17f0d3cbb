// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// The self-assessment of the drive behind the root volume.
enum class SMARTStatus { verified, failing, unknown };

inline constexpr std::array allSMARTStatuses = {SMARTStatus::verified, SMARTStatus::failing,
                                                SMARTStatus::unknown};
constexpr const auto& allCases(SMARTStatus) {
    return allSMARTStatuses;
}

constexpr std::string_view rawValue(SMARTStatus value) {
    switch (value) {
        case SMARTStatus::verified:
            return "Verified";
        case SMARTStatus::failing:
            return "Failing";
        case SMARTStatus::unknown:
            return "Unknown";
    }
    std::abort();
}

constexpr std::optional<SMARTStatus> smartStatusFromRaw(std::string_view raw) {
    return caseFromRaw<SMARTStatus>(raw);
}

}  // namespace corvanta
