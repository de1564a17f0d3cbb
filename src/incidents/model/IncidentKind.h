// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/RawEnum.h"

namespace corvanta {

/// What class of pressure an incident is. The raw value is stored.
enum class IncidentKind { cpu, memory, thermal, combined };

inline constexpr std::array allIncidentKinds = {IncidentKind::cpu, IncidentKind::memory,
                                                IncidentKind::thermal, IncidentKind::combined};
constexpr const auto& allCases(IncidentKind) {
    return allIncidentKinds;
}

constexpr std::string_view rawValue(IncidentKind kind) {
    switch (kind) {
        case IncidentKind::cpu:
            return "cpu";
        case IncidentKind::memory:
            return "memory";
        case IncidentKind::thermal:
            return "thermal";
        case IncidentKind::combined:
            return "combined";
    }
    std::abort();
}

constexpr std::optional<IncidentKind> incidentKindFromRaw(std::string_view raw) {
    return caseFromRaw<IncidentKind>(raw);
}

constexpr std::string_view label(IncidentKind kind) {
    switch (kind) {
        case IncidentKind::cpu:
            return "CPU load";
        case IncidentKind::memory:
            return "Memory pressure";
        case IncidentKind::thermal:
            return "Thermal pressure";
        case IncidentKind::combined:
            return "Combined pressure";
    }
    std::abort();
}

constexpr std::string_view systemImage(IncidentKind kind) {
    switch (kind) {
        case IncidentKind::cpu:
            return "cpu";
        case IncidentKind::memory:
            return "memorychip";
        case IncidentKind::thermal:
            return "thermometer.high";
        case IncidentKind::combined:
            return "waveform.path.ecg";
    }
    std::abort();
}

}  // namespace corvanta
