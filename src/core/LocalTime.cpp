// SPDX-License-Identifier: Apache-2.0
#include "core/LocalTime.h"

#include <array>
#include <ctime>
#include <optional>

namespace corvanta {
namespace {

std::optional<std::tm> calendarParts(std::int64_t secondsSince1970) {
    const auto time = static_cast<std::time_t>(secondsSince1970);
    std::tm parts{};
    // The user may have travelled since the program began.
    tzset();
    if (localtime_r(&time, &parts) == nullptr) return std::nullopt;
    return parts;
}

}  // namespace

std::string localTime(std::int64_t secondsSince1970) {
    const auto parts = calendarParts(secondsSince1970);
    std::array<char, 64> text{};
    if (!parts || std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &*parts) == 0) return "?";
    return text.data();
}

int localMinute(std::int64_t secondsSince1970) {
    const auto parts = calendarParts(secondsSince1970);
    return parts ? parts->tm_min : 0;
}

}  // namespace corvanta
