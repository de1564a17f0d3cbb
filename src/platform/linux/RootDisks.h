// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta {

/// A block device's number.
struct DeviceNumber {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;

    auto operator<=>(const DeviceNumber&) const = default;
};

/// "8:0", as the kernel writes it.
std::optional<DeviceNumber> parseDeviceNumber(std::string_view text);
std::string deviceNumberText(DeviceNumber number);

/// The number of the block device of that path; nullopt for anything else.
std::optional<DeviceNumber> blockDeviceNumber(const std::string& path);

/// What is mounted at "/" by the text of /proc/self/mountinfo: the path of a device, or a word like
/// "overlay". The last of several mounts counts, as it hides the others.
std::optional<std::string> parseRootSource(std::string_view mountInfo);

/// A whole disk that the root file system stands on.
struct RootDisk {
    std::string name;     ///< the kernel's, as in "sda"
    DeviceNumber number;  ///< of the whole disk
    std::string folder;   ///< where sysfs describes it

    bool operator==(const RootDisk&) const = default;
};

using DeviceNumberOf = std::function<std::optional<DeviceNumber>(const std::string& path)>;

/// The disks behind "/", each once, through partitions and whatever the device mapper and its like put in
/// between, in the order of their names there. None where the root comes from elsewhere, as from a network.
std::vector<RootDisk> findRootDisks(const std::string& procRoot, const std::string& sysRoot,
                                    const DeviceNumberOf& deviceNumberOf = blockDeviceNumber);

}  // namespace corvanta
