// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>

namespace corvanta {

/// How bad a thermal word is, in any case: 3 for "critical", 2 for "serious", 1 for "fair", 0 for all else.
constexpr int thermalRank(std::string_view word) {
    const auto is = [word](std::string_view lowerCase) {
        return std::equal(word.begin(), word.end(), lowerCase.begin(), lowerCase.end(), [](char a, char b) {
            return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
        });
    };
    if (is("critical")) return 3;
    if (is("serious")) return 2;
    return is("fair") ? 1 : 0;
}

/// Serious or critical.
constexpr bool isThermalPressure(std::string_view word) {
    return thermalRank(word) >= 2;
}

}  // namespace corvanta
