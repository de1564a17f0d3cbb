// SPDX-License-Identifier: Apache-2.0
#include "core/NumberText.h"

#include <array>
#include <charconv>
#include <utility>

namespace corvanta {
namespace {

NumberSymbols& symbolsInForce() {
    static NumberSymbols& symbols = *new NumberSymbols;
    return symbols;
}

}  // namespace

std::string fixedText(double value, int decimals) {
    // The largest double has 309 digits before the sign.
    std::array<char, 400> buffer;
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed,
                      decimals < 0    ? 0
                      : decimals > 64 ? 64
                                      : decimals);
    return {buffer.data(), result.ptr};
}

const NumberSymbols& userNumberSymbols() {
    return symbolsInForce();
}
void setUserNumberSymbols(NumberSymbols symbols) {
    symbolsInForce() = std::move(symbols);
}

}  // namespace corvanta
