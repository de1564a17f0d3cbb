// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace corvanta {

/// Keeps its members in the order that they are given in.
using StreamJson = nlohmann::ordered_json;

/// A number in its shortest exact form; one without a fraction is written without a point.
inline StreamJson streamNumber(double value) {
    constexpr double exactIntegers = 9007199254740992.0;  // 2^53
    const bool isWhole = std::abs(value) < exactIntegers && std::trunc(value) == value;
    if (!isWhole || (value == 0 && std::signbit(value))) return value;
    return static_cast<std::int64_t>(value);
}

/// One line of plain ASCII, with its line feed.
inline std::string lineOf(const StreamJson& json) {
    return json.dump(-1, ' ', true, StreamJson::error_handler_t::replace) + "\n";
}

}  // namespace corvanta
