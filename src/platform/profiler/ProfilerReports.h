// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/DriveHealthSource.h"

namespace corvanta {

/// The drives in a profiler's report on storage, a property list in XML: one report for each dictionary
/// "physical_drive" of an item, in order. Nullopt for a text that is no property list, or whose root is no
/// array of dictionaries.
std::optional<std::vector<DriveReport>> parseStorageProfile(std::string_view xml);

/// A connected peripheral as a profiler lists it.
struct ProfiledPeripheral {
    std::string name;                ///< never empty
    std::int64_t batteryLevel = -1;  ///< percent as it was told; -1 is unknown

    bool operator==(const ProfiledPeripheral&) const = default;
};

/// The peripherals in a profiler's report on Bluetooth, a property list in XML, each name once and as it
/// comes first. Entries of the wrong shape are skipped; none for a text of the wrong shape.
std::vector<ProfiledPeripheral> parseBluetoothProfile(std::string_view xml);

}  // namespace corvanta
