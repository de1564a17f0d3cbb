// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvanta {

/// A number with a fixed count of decimals, "." as the sign and no grouping: what printf's "%.{n}f" gives in
/// the C locale, halves of the exact binary value to even. The system locale never has a say.
std::string fixedText(double value, int decimals);

/// An integer in decimal digits.
std::string integerText(std::int64_t value);

/// The shortest text that reads back as the same double, as in "0.1" or "1e+300".
std::string shortestText(double value);

/// Signs that figures shown to the user are written with.
struct NumberSymbols {
    std::string decimal = ".";
    std::string group = ",";

    bool operator==(const NumberSymbols&) const = default;
};

/// The signs in force: "." and "," unless the program has set the user's own at its start. Set it before
/// other threads run. Only `formatBytes` and `formatDiskBytes` read it; stored texts never do.
const NumberSymbols& userNumberSymbols();
void setUserNumberSymbols(NumberSymbols symbols);

}  // namespace corvanta
