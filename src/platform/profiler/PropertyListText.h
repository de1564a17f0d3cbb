// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace corvanta {

/// Longer texts are refused: reports have some 100 KiB, and the library's time rises with the square of the
/// members of a dictionary.
inline constexpr std::size_t longestPropertyList = std::size_t{4} << 20;

/// Deeper texts are refused: the library frees a tree by recursion.
inline constexpr std::size_t deepestPropertyList = 64;

/// Whether a text may be handed to the property list library: well-formed XML with one root, not too long and
/// not too deep, without a document type of its own making and so without entities, and with integers that 64
/// bits with a sign hold. Binary property lists and texts that are not in UTF-8's family have no such form.
bool isHarmlessPropertyList(std::string_view text);

}  // namespace corvanta
