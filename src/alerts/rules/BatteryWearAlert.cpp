// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/BatteryWearAlert.h"

#include "core/NumberText.h"

namespace corvanta {

std::optional<BatteryWearAlert> batteryWearAlert(std::optional<std::int64_t> cycles,
                                                 std::optional<std::int64_t> health) {
    if (cycles && *cycles >= 800) {
        return BatteryWearAlert{.signature = "cycles:" + integerText(*cycles / 50),
                                .message = "Cycle count is high at " + integerText(*cycles) +
                                           ". Consider having the battery inspected."};
    }
    if (health && *health < 80) {
        return BatteryWearAlert{.signature = "health:" + integerText(*health / 5),
                                .message = "Maximum capacity has declined to " + integerText(*health) +
                                           "%. Consider having the battery inspected."};
    }
    return std::nullopt;
}

}  // namespace corvanta
