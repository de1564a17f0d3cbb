// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "incidents/model/IncidentTransition.h"

namespace corvanta {

/// The first line of a stream that can't be read.
struct BrokenStream {
    std::size_t line = 0;  ///< counted from 1
    std::string problem;

    bool operator==(const BrokenStream&) const = default;
};

/// What the state machine says to a recorded stream: one line of JSON for each transition but `none`, or
/// nothing but the first broken line. docs/replay.md tells both formats.
std::variant<std::string, BrokenStream> replayedStream(std::string_view stream);

/// The line, with its line feed, of the transition that an observation of that moment gave; empty for `none`.
std::string transitionLine(Instant timestamp, const IncidentTransition& transition);

}  // namespace corvanta
