// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

namespace corvanta {

/// Takes the next line, without its newline, off the front of `text`. A last line that no newline ends may
/// have been cut short, and counts as none.
inline std::optional<std::string_view> takeLine(std::string_view& text) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

/// Takes the next word, which blanks or tabs end, off the front of `text`; empty at its end.
inline std::string_view takeWord(std::string_view& text) {
    constexpr std::string_view blanks = " \t";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        text = {};
        return {};
    }
    text.remove_prefix(begin);
    const std::string_view word = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(word.size());
    return word;
}

/// A word that is a whole number in decimal digits and nothing else.
template <std::integral Number>
std::optional<Number> parseNumber(std::string_view word) {
    Number value{};
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ec != std::errc{} || result.ptr != word.data() + word.size()) return std::nullopt;
    return value;
}

}  // namespace corvanta
