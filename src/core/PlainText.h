// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvanta {

/// The text with each control character as one blank, so that a name can neither break a line, nor write to a
/// terminal, nor turn the order of what stands beside it. UTF-8 in, UTF-8 out; the C0 and C1 controls, DEL
/// and the marks of writing direction count, and bytes that are no UTF-8 stay.
std::string plainText(std::string_view text);

}  // namespace corvanta
