// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvanta {

/// The text with A to Z as a to z. Every other byte stays, whatever the locale, so UTF-8 stays whole.
inline std::string asciiLowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

}  // namespace corvanta
