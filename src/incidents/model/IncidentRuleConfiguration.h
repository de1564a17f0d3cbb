// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// Which incident rules may open and hold incidents. The combined rule has no switch: it needs CPU and
/// memory.
struct IncidentRuleConfiguration {
    bool cpuEnabled = true;
    bool memoryEnabled = true;
    bool thermalEnabled = true;

    static constexpr IncidentRuleConfiguration allEnabled() { return {}; }

    bool operator==(const IncidentRuleConfiguration&) const = default;
};

}  // namespace corvanta
