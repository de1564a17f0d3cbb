// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta {

/// What a PC's firmware says about itself, line by line as the kernel shows it; empty for what it doesn't.
struct FirmwareTexts {
    std::string vendor;
    std::string productName;
    std::string productVersion;
    std::string boardName;

    bool operator==(const FirmwareTexts&) const = default;
};

/// The text for the user: valid UTF-8 on one line, without blanks at its ends.
std::string shownText(std::string_view raw);

/// The name that the machine is sold by; empty where all the texts are fillers of some manufacturer.
std::string marketingName(const FirmwareTexts& texts);

/// The first of the NUL-terminated strings of a device tree's property.
std::string firstDeviceTreeString(std::string_view property);

/// The processor's name in /proc/cpuinfo. ARM kernels give part numbers only, which become the name of the
/// largest kind of core there is; empty where that is not known.
std::string parseProcessorBrand(std::string_view cpuInfo);

/// The kernel's notation for a set of processors, as in "0-3,8", in its order.
std::optional<std::vector<int>> parseProcessorList(std::string_view text);

/// PRETTY_NAME of an os-release file, without the shell's quotes and escapes; empty without one.
std::string parsePrettyName(std::string_view osRelease);

}  // namespace corvanta
