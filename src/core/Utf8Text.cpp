// SPDX-License-Identifier: Apache-2.0
#include "core/Utf8Text.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace corvanta {
namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";

/// White space and line ends as the Unicode tables have them.
constexpr std::array<std::string_view, 26> spaces = {" ",
                                                     "\t",
                                                     "\n",
                                                     "\v",
                                                     "\f",
                                                     "\r",
                                                     "\xc2\x85",
                                                     "\xc2\xa0",
                                                     "\xe1\x9a\x80",
                                                     "\xe2\x80\x80",
                                                     "\xe2\x80\x81",
                                                     "\xe2\x80\x82",
                                                     "\xe2\x80\x83",
                                                     "\xe2\x80\x84",
                                                     "\xe2\x80\x85",
                                                     "\xe2\x80\x86",
                                                     "\xe2\x80\x87",
                                                     "\xe2\x80\x88",
                                                     "\xe2\x80\x89",
                                                     "\xe2\x80\x8a",
                                                     "\xe2\x80\x8b",
                                                     "\xe2\x80\xa8",
                                                     "\xe2\x80\xa9",
                                                     "\xe2\x80\xaf",
                                                     "\xe2\x81\x9f",
                                                     "\xe3\x80\x80"};

unsigned byteAt(std::string_view bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

bool isBetween(unsigned byte, unsigned low, unsigned high) {
    return byte >= low && byte <= high;
}

struct Piece {
    std::size_t length;
    bool isCharacter;
};

/// The character that the bytes begin with, or else the longest beginning of one; at least a byte.
Piece firstPiece(std::string_view bytes) {
    const unsigned lead = byteAt(bytes, 0);
    if (lead < 0x80) return {1, true};
    if (!isBetween(lead, 0xc2, 0xf4)) return {1, false};
    const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    // The byte after these four leads is what rules out overlong forms, surrogates and too large numbers.
    const unsigned low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    if (!isBetween(byteAt(bytes, 1), low, high)) return {1, false};
    for (std::size_t i = 2; i < length; ++i) {
        if (!isBetween(byteAt(bytes, i), 0x80, 0xbf)) return {i, false};
    }
    return {length, true};
}

/// False for the printing characters of ASCII, with which nearly every text begins and ends.
bool mayBeOfSpace(char byte) {
    return !isBetween(static_cast<unsigned char>(byte), 0x21, 0x7f);
}

}  // namespace

std::string repairedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Piece piece = firstPiece(bytes);
        text += piece.isCharacter ? bytes.substr(0, piece.length) : replacement;
        bytes.remove_prefix(piece.length);
    }
    return text;
}

std::string_view trimmedUtf8(std::string_view text) {
    const auto begins = [&](std::string_view space) { return text.substr(0, space.size()) == space; };
    const auto ends = [&](std::string_view space) {
        return text.size() >= space.size() && text.substr(text.size() - space.size()) == space;
    };
    while (!text.empty() && mayBeOfSpace(text.front())) {
        const auto space = std::find_if(spaces.begin(), spaces.end(), begins);
        if (space == spaces.end()) break;
        text.remove_prefix(space->size());
    }
    while (!text.empty() && mayBeOfSpace(text.back())) {
        const auto space = std::find_if(spaces.begin(), spaces.end(), ends);
        if (space == spaces.end()) break;
        text.remove_suffix(space->size());
    }
    return text;
}

}  // namespace corvanta
