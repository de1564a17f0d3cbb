// SPDX-License-Identifier: Apache-2.0
#include "core/PlainText.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace corvanta {
namespace {

/// The marks that turn the order of the letters after them: U+061C, U+200E and U+200F, U+202A to U+202E,
/// U+2066 to U+2069. Their length in UTF-8; 0 where none stands.
std::size_t directionMark(std::string_view text) {
    constexpr std::array<std::string_view, 12> marks = {"\u061c", "\u200e", "\u200f", "\u202a",
                                                        "\u202b", "\u202c", "\u202d", "\u202e",
                                                        "\u2066", "\u2067", "\u2068", "\u2069"};
    const auto found = std::find_if(marks.begin(), marks.end(),
                                    [text](std::string_view mark) { return text.starts_with(mark); });
    return found == marks.end() ? 0 : found->size();
}

}  // namespace

std::string plainText(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const unsigned next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte < 0x20 || byte == 0x7f) {
            plain += ' ';
        } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {  // U+0080 to U+009F
            plain += ' ';
            ++i;
        } else if (const std::size_t size = directionMark(text.substr(i)); size > 0) {
            plain += ' ';
            i += size - 1;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

}  // namespace corvanta
