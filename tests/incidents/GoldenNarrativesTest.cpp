// SPDX-License-Identifier: Apache-2.0
// Whole narratives, byte for byte. CORVANTA_WRITE_GOLDEN=1 writes the texts anew instead of comparing them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "incidents/GoldenIncidents.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace corvanta {
namespace {

const std::filesystem::path folder = CORVANTA_GOLDEN "/incidents";

std::filesystem::path fileOf(const test::GoldenIncident& golden) {
    return folder / (golden.name + ".txt");
}

std::string lineOf(const std::string& field, const IncidentNarrativeItem& item) {
    return field + ": " + item.title + "|" + item.detail + "|" + item.systemImage + "\n";
}

std::string textOf(const test::GoldenIncident& golden) {
    const IncidentNarrative narrative =
        IncidentNarrativeBuilder::build(golden.incident, golden.samples, test::after(golden.now));
    std::string text = "headline: " + narrative.headline + "\n";
    text += "overview: " + narrative.overview + "\n";
    text += lineOf("trigger", narrative.trigger);
    for (const auto& signal : narrative.overlappingSignals) text += lineOf("overlapping signal", signal);
    for (const auto& change : narrative.changes) text += lineOf("change", change);
    text += "resolution state: " + std::string(rawValue(narrative.resolutionState)) + "\n";
    text += "resolution: " + narrative.resolutionDetail + "\n";
    text += "confidence: " + std::to_string(rawValue(narrative.confidence)) + "\n";
    text += "confidence detail: " + narrative.confidenceDetail + "\n";
    text += narrative.contributorDetail ? "contributor: " + *narrative.contributorDetail + "\n"
                                        : "no contributor\n";
    return text + "\n" + shareableSummary(narrative) + "\n";
}

bool writesAnew() {
    const char* value = std::getenv("CORVANTA_WRITE_GOLDEN");
    return value && *value != '\0';
}

}  // namespace

TEST(GoldenNarratives, everyIncidentReadsAsItsGoldenText) {
    for (const test::GoldenIncident& golden : test::goldenIncidents()) {
        if (writesAnew()) std::ofstream(fileOf(golden), std::ios::binary) << textOf(golden);
        std::ifstream file(fileOf(golden), std::ios::binary);
        EXPECT_TRUE(file) << "There is no " << fileOf(golden);
        EXPECT_EQ(textOf(golden), std::string(std::istreambuf_iterator<char>(file), {})) << golden.name;
    }
}

TEST(GoldenNarratives, everyGoldenTextHasOneIncident) {
    std::multiset<std::filesystem::path> expected;
    for (const test::GoldenIncident& golden : test::goldenIncidents()) expected.insert(fileOf(golden));
    std::multiset<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.insert(entry.path());
    EXPECT_EQ(files, expected);
}

}  // namespace corvanta
