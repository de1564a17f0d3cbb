// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "incidents/model/IncidentConfidence.h"
#include "incidents/model/IncidentResolutionState.h"

namespace corvanta {

/// One line of evidence.
struct IncidentNarrativeItem {
    std::string title;
    std::string detail;       ///< a sentence
    std::string systemImage;  ///< a name of the icon table

    /// Two equal items of a list have one identity.
    std::string id() const { return title + "|" + detail; }

    bool operator==(const IncidentNarrativeItem&) const = default;
};

/// What a person reads of an incident. Names of processes stand in the texts as they were recorded, so they
/// may hold line ends and controls.
struct IncidentNarrative {
    std::string headline;
    std::string overview;
    IncidentNarrativeItem trigger;
    std::vector<IncidentNarrativeItem> overlappingSignals;
    std::vector<IncidentNarrativeItem> changes;  ///< against the minutes before the incident
    IncidentResolutionState resolutionState = IncidentResolutionState::active;
    std::string resolutionDetail;
    IncidentConfidence confidence = IncidentConfidence::limited;
    std::string confidenceDetail;
    std::optional<std::string> contributorDetail;  ///< absent unless a figure belongs to the named process

    bool operator==(const IncidentNarrative&) const = default;
};

/// The narrative as text to hand on, without a line end after the last line.
std::string shareableSummary(const IncidentNarrative& narrative);

}  // namespace corvanta
