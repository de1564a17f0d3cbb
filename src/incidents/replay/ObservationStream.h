// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "incidents/model/IncidentObservation.h"
#include "incidents/model/IncidentRuleConfiguration.h"
#include "incidents/model/IncidentTimelineSample.h"

namespace corvanta {

// The recorded stream of observations: one JSON object a line, in the format that docs/replay.md tells. Pure
// functions; a stream may come from anyone and hold any bytes.

/// A line without anything to read.
struct BlankLine {
    bool operator==(const BlankLine&) const = default;
};

/// A line that can't be read, and what is wrong with it, such as "timestamp is missing".
struct BrokenLine {
    std::string problem;

    bool operator==(const BrokenLine&) const = default;
};

using StreamLine = std::variant<BlankLine, IncidentObservation, IncidentRuleConfiguration, BrokenLine>;

/// Reads one line, without its line feed. A rule that a line of rules doesn't name stays as it is in
/// `presentRules`.
StreamLine parseStreamLine(std::string_view line, const IncidentRuleConfiguration& presentRules);

/// One line, with its line feed, that `parseStreamLine` reads back to the same observation, if its numbers
/// are finite and its texts UTF-8: any other number reads back as missing, any other byte as U+FFFD.
std::string streamLine(const IncidentObservation& observation);

/// The stream of stored rows, oldest first. The store keeps no uptime, so the whole seconds of its wall clock
/// stand for both clocks; of rows that are in one second only the first is written, for two observations at
/// one moment would count as a gap.
std::string streamOf(const std::vector<IncidentTimelineSample>& rows);

}  // namespace corvanta
