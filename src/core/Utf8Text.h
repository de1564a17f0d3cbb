// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvanta {

/// Bytes as valid UTF-8: each longest piece that can't be part of a character becomes one U+FFFD. Surrogates,
/// overlong forms and what lies beyond U+10FFFF are no characters.
std::string repairedUtf8(std::string_view bytes);

/// The text without white space and line ends at both ends, those beyond ASCII included. UTF-8 in; bytes that
/// are none stay.
std::string_view trimmedUtf8(std::string_view text);

}  // namespace corvanta
