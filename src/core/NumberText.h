// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <string>

namespace corvanta {

/// A number with a fixed count of decimals, "." as the sign and no grouping: what printf's "%.{n}f" gives in
/// the C locale, halves of the exact binary value to even. The system locale never has a say.
std::string fixedText(double value, int decimals);

/// An integer in decimal digits.
template <std::integral Integer>
std::string integerText(Integer value) {
    std::array<char, 24> buffer;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), result.ptr};
}

/// An integer from 0 on, with a leading zero below 10.
template <std::integral Integer>
std::string twoDigits(Integer value) {
    return (value < 10 ? "0" : "") + integerText(value);
}

/// Signs that figures shown to the user are written with.
struct NumberSymbols {
    std::string decimal = ".";
    std::string group = ",";

    bool operator==(const NumberSymbols&) const = default;
};

/// The signs in force: "." and "," unless the program has set the user's own at its start. Set it before
/// other threads run. Texts for people alone are written with them; stored texts never are.
const NumberSymbols& userNumberSymbols();
void setUserNumberSymbols(NumberSymbols symbols);

}  // namespace corvanta
