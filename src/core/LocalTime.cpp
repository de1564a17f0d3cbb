// SPDX-License-Identifier: Apache-2.0
#include "core/LocalTime.h"

#include <array>
#include <ctime>

namespace corvanta {

std::string localTime(std::int64_t secondsSince1970) {
    const auto time = static_cast<std::time_t>(secondsSince1970);
    std::tm parts{};
    std::array<char, 64> text{};
    // The user may have travelled since the program began.
    tzset();
    if (localtime_r(&time, &parts) == nullptr ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts) == 0) {
        return "?";
    }
    return text.data();
}

}  // namespace corvanta
