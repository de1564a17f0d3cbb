// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/ColorRole.h"

namespace corvanta::ctl {

/// How a command writes: text for people, or JSON for programs; colours only where a person looks at them.
struct OutputOptions {
    bool json = false;
    bool color = false;
};

/// The text in the colour of its role; unchanged without colours.
std::string colored(std::string_view text, ColorRole role, const OutputOptions& options);

/// Columns padded with blanks to the widest cell, two blanks apart, without blanks at the line's end. Widths
/// are counted in characters, those of `colored` not among them.
std::string table(const std::vector<std::vector<std::string>>& rows);

/// A percentage as a cell; a dash for what a row may hold but no machine gives, which would only widen the
/// table.
std::string percentCell(double percentage);

/// Writes to standard output at once. False when the reader has gone, or, with a line on standard error, when
/// something else went wrong.
bool print(std::string_view text);

/// One line on standard error, after the program's name.
void complain(std::string_view text);

}  // namespace corvanta::ctl
