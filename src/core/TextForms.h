// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/NetworkFormat.h"

namespace corvanta {

namespace NetworkSpeedFormatter {

/// A speed in bytes per second in the user's format, as in "5.00 MB/s". A value that is negative, infinite or
/// no number counts as 0.
std::string string(double bytesPerSecond, NetworkFormat format);

}  // namespace NetworkSpeedFormatter

/// A speed in the one fixed style of incident evidence, whatever format the user chose: "1.5 MB/s", "12
/// KB/s". A negative value or not-a-number counts as 0.
std::string speedString(double bytesPerSecond);

/// A duration as "42s", "3m 20s" or "25h 0m". Seconds are rounded to the nearest, halves away from zero; a
/// negative result counts as 0.
std::string durationString(double seconds);

/// A percentage without decimals, as in "42%".
std::string percentText(double percentage);

/// Minutes as "2h 1m".
std::string hoursAndMinutesString(std::int64_t minutes);

/// How a battery is fed: "Charging", "Plugged In, Not Charging" or "On Battery".
std::string_view chargingStateLabel(bool isCharging, bool isPluggedIn);

/// The word for a platform thermal state: 0 "Nominal", 1 "Fair", 2 "Serious", 3 "Critical", else "Unknown".
std::string_view thermalWord(int state);

}  // namespace corvanta
