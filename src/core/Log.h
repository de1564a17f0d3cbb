// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string_view>

namespace corvanta {

/// Writes one line of plain English to standard output, or to where `setLogSink` sends it. Any thread; lines
/// of two threads never mix. Line breaks and other control characters inside the text become blanks.
void logLine(std::string_view text);

using LogSink = std::function<void(std::string_view line)>;

/// Sends the log elsewhere; an empty sink means standard output again. Returns the sink it replaces.
LogSink setLogSink(LogSink sink);

}  // namespace corvanta
