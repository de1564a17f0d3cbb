// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentNarrative.h"

namespace corvanta {

std::string shareableSummary(const IncidentNarrative& narrative) {
    std::string text = narrative.headline + "\n" + narrative.overview;
    text += "\nTrigger: " + narrative.trigger.detail;
    text += "\nResolution: " + narrative.resolutionDetail;
    text.append("\nConfidence: ").append(label(narrative.confidence));
    text += " \xe2\x80\x94 " + narrative.confidenceDetail;
    if (narrative.contributorDetail) text += "\nCorrelated process evidence: " + *narrative.contributorDetail;
    if (!narrative.changes.empty()) text += "\nWhat changed:";
    for (const IncidentNarrativeItem& change : narrative.changes) text += "\n\xe2\x80\xa2 " + change.detail;
    return text;
}

}  // namespace corvanta
