// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentNarrative.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "incidents/IncidentSamples.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace corvanta {
namespace {

using IncidentNarrativeBuilder::build;
using test::after;
using test::bareIncident;
using test::endedIncident;
using test::interruptedIncident;
using test::joined;
using test::recoveringIncident;
using test::sampleAfter;
using test::Samples;
using test::samplesAfter;

const double notANumber = std::nan("");

// The record

TEST(IncidentNarrativeItem, itsIdentityIsItsTitleAndItsSentence) {
    const IncidentNarrativeItem item = {"CPU", "System CPU peaked at 90%.", "cpu"};
    EXPECT_EQ(item.id(), "CPU|System CPU peaked at 90%.");
    EXPECT_EQ((IncidentNarrativeItem{"CPU", "System CPU peaked at 90%.", "network"}.id()), item.id());
}

TEST(IncidentNarrative, theKindGivesTheHeadlineAndTheTrigger) {
    struct Row {
        IncidentKind kind;
        const char* headline;
        const char* detail;
        const char* image;
    };
    const std::vector<Row> rows = {
        {IncidentKind::cpu, "The strongest signal was sustained CPU load",
         "CPU stayed at or above 85% for at least 60 seconds.", "cpu"},
        {IncidentKind::memory, "macOS reported sustained memory pressure",
         "macOS memory pressure stayed elevated for at least 60 seconds.", "memorychip"},
        {IncidentKind::thermal, "Thermal pressure reduced performance headroom",
         "macOS thermal pressure stayed serious or critical for at least 10 seconds.", "thermometer.high"},
        {IncidentKind::combined, "Several pressure signals overlapped",
         "Two or more sustained CPU, memory, or thermal pressure signals overlapped.", "waveform.path.ecg"}};
    for (const Row& row : rows) {
        const IncidentNarrative narrative = build(bareIncident(row.kind), {}, after(100));
        EXPECT_EQ(narrative.headline, row.headline);
        EXPECT_EQ(narrative.trigger, (IncidentNarrativeItem{"Trigger", row.detail, row.image}));
    }
}

// How it stands

TEST(IncidentResolution, tellsHowTheIncidentStands) {
    struct Row {
        PerformanceIncident incident;
        double now;
        IncidentResolutionState state;
        const char* detail;
    };
    const IncidentKind kind = IncidentKind::cpu;
    PerformanceIncident backwards = endedIncident(kind, -50);
    const std::vector<Row> rows = {
        {interruptedIncident(kind, 200), 9999, IncidentResolutionState::interrupted,
         "Monitoring stopped after 3m 20s. Corvanta did not record the 90-second stable window required to "
         "confirm recovery."},
        {endedIncident(kind, 3700), 9999, IncidentResolutionState::recovered,
         "Recovered after 1h 1m. Corvanta confirmed normal conditions remained stable for 90 seconds."},
        {bareIncident(kind), 75, IncidentResolutionState::active,
         "Pressure remains above the incident threshold after 1m 15s."},
        {recoveringIncident(kind, 120), 150, IncidentResolutionState::recovering,
         "Pressure returned below the incident threshold after 2m 0s. Confirming stable recovery for another "
         "1m 0s."},
        // Just before, at and after the ninetieth second
        {recoveringIncident(kind, 120), 209.9, IncidentResolutionState::recovering,
         "Pressure returned below the incident threshold after 2m 0s. Confirming stable recovery for another "
         "0s."},
        {recoveringIncident(kind, 120), 210, IncidentResolutionState::recovering,
         "Pressure returned below the incident threshold after 2m 0s. Finishing recovery confirmation."},
        {recoveringIncident(kind, 120), 500, IncidentResolutionState::recovering,
         "Pressure returned below the incident threshold after 2m 0s. Finishing recovery confirmation."},
        // Clocks that went backwards
        {recoveringIncident(kind, 120), 110, IncidentResolutionState::recovering,
         "Pressure returned below the incident threshold after 2m 0s. Confirming stable recovery for another "
         "1m 40s."},
        {bareIncident(kind), -5, IncidentResolutionState::active,
         "Pressure remains above the incident threshold after 0s."},
        {backwards, 10, IncidentResolutionState::recovered,
         "Recovered after 0s. Corvanta confirmed normal conditions remained stable for 90 seconds."}};
    for (const Row& row : rows) {
        const IncidentNarrative narrative = build(row.incident, {}, after(row.now));
        EXPECT_EQ(narrative.resolutionState, row.state) << row.detail;
        EXPECT_EQ(narrative.resolutionDetail, row.detail);
    }
}

TEST(IncidentResolution, theEndCountsAndNotTheStartOfRecoveryOnceItHasEnded) {
    PerformanceIncident incident = endedIncident(IncidentKind::cpu, 300);
    incident.recoveryStartedAt = after(120);
    EXPECT_EQ(build(incident, {}, after(9999)).resolutionDetail,
              "Recovered after 5m 0s. Corvanta confirmed normal conditions remained stable for 90 seconds.");
}

// Confidence

constexpr const char* limitedDetail =
    "The incident is retained, but too few supporting samples were available for a stronger conclusion.";
constexpr const char* moderateDetail =
    "The sustained system signal is clear, but baseline or process evidence is incomplete.";
const std::string clearSignal =
    "The sustained signal, supporting samples, process evidence, and pre-incident baseline are clear. ";

/// Everything that gives points, to be taken away piece by piece.
struct Evidence {
    IncidentKind kind = IncidentKind::memory;
    double peakCPU = 0;
    std::int64_t sampleCount = 6;
    int activeSamples = 0;
    int baselineSamples = 3;
    bool hasProcess = true;
    bool hasEnded = true;
};

IncidentNarrative narrativeOf(const Evidence& evidence) {
    PerformanceIncident incident =
        evidence.hasEnded ? endedIncident(evidence.kind, 100) : bareIncident(evidence.kind);
    incident.peakCPU = evidence.peakCPU;
    incident.sampleCount = evidence.sampleCount;
    if (evidence.hasProcess) {
        incident.topRAMProcess = "database";
        incident.topRAMBytes = 4096;
    }
    Samples samples;
    for (int i = 0; i < evidence.baselineSamples; ++i) samples.push_back(sampleAfter(-10));
    for (int i = 0; i < evidence.activeSamples; ++i) samples.push_back(sampleAfter(10));
    return build(incident, samples, after(600));
}

IncidentConfidence confidenceOf(const Evidence& evidence) {
    return narrativeOf(evidence).confidence;
}

TEST(IncidentConfidenceScore, theCountOfSamplesGivesNoneOneOrTwoPoints) {
    // With the signal (2), the process (1) and the end (1): 4, 5 or 6 points.
    using enum IncidentConfidence;
    for (const auto& [count, confidence] :
         std::vector<std::pair<int, IncidentConfidence>>{{5, moderate}, {6, strong}, {100, strong}}) {
        EXPECT_EQ(confidenceOf({.sampleCount = count, .baselineSamples = 0}), confidence) << count;
        EXPECT_EQ(confidenceOf({.sampleCount = 0, .activeSamples = count, .baselineSamples = 0}), confidence)
            << count;
        EXPECT_EQ(confidenceOf({.sampleCount = -1, .activeSamples = count, .baselineSamples = 0}), confidence)
            << count;
    }
    // With the signal (2) alone: 2, 3 or 4 points.
    for (const auto& [count, confidence] :
         std::vector<std::pair<int, IncidentConfidence>>{{0, limited}, {2, limited}, {3, moderate}}) {
        EXPECT_EQ(confidenceOf(
                      {.sampleCount = count, .baselineSamples = 0, .hasProcess = false, .hasEnded = false}),
                  confidence)
            << count;
        EXPECT_EQ(confidenceOf({.sampleCount = 0,
                                .activeSamples = count,
                                .baselineSamples = 0,
                                .hasProcess = false,
                                .hasEnded = false}),
                  confidence)
            << count;
    }
}

TEST(IncidentConfidenceScore, theGreaterOfBothCountsOfSamplesDecides) {
    EXPECT_EQ(confidenceOf({.sampleCount = 6, .activeSamples = 1, .baselineSamples = 0}),
              IncidentConfidence::strong);
    EXPECT_EQ(confidenceOf({.sampleCount = 1, .activeSamples = 6, .baselineSamples = 0}),
              IncidentConfidence::strong);
    // They are not added up.
    EXPECT_EQ(confidenceOf({.sampleCount = 3, .activeSamples = 3, .baselineSamples = 0}),
              IncidentConfidence::moderate);
}

TEST(IncidentConfidenceScore, anyKindButCPUIsAClearSignal) {
    for (const IncidentKind kind : {IncidentKind::memory, IncidentKind::thermal, IncidentKind::combined}) {
        EXPECT_EQ(confidenceOf({.kind = kind, .peakCPU = 0, .baselineSamples = 0}),
                  IncidentConfidence::strong)
            << rawValue(kind);
    }
}

TEST(IncidentConfidenceScore, aCPUIncidentBelow85LacksTheClearSignal) {
    const auto withPeak = [](double peakCPU) {
        return confidenceOf({.kind = IncidentKind::cpu, .peakCPU = peakCPU});
    };
    EXPECT_EQ(withPeak(84.99), IncidentConfidence::moderate);  // 5 of 7
    EXPECT_EQ(withPeak(notANumber), IncidentConfidence::moderate);
    EXPECT_EQ(withPeak(85), IncidentConfidence::strong);
}

TEST(IncidentConfidenceScore, aDescribedProcessGivesAPoint) {
    // 6 or 5 points
    EXPECT_EQ(confidenceOf({.baselineSamples = 0, .hasProcess = true}), IncidentConfidence::strong);
    const IncidentNarrative without = narrativeOf({.baselineSamples = 0, .hasProcess = false});
    EXPECT_EQ(without.contributorDetail, std::nullopt);
    EXPECT_EQ(without.confidence, IncidentConfidence::moderate);
}

TEST(IncidentConfidenceScore, aBaselineOfThreeSamplesGivesAPoint) {
    EXPECT_EQ(confidenceOf({.sampleCount = 5, .baselineSamples = 2}), IncidentConfidence::moderate);
    EXPECT_EQ(confidenceOf({.sampleCount = 5, .baselineSamples = 3}), IncidentConfidence::strong);
}

TEST(IncidentConfidenceScore, theEndGivesAPointHoweverItCame) {
    EXPECT_EQ(confidenceOf({.sampleCount = 5, .hasEnded = false}), IncidentConfidence::moderate);
    EXPECT_EQ(confidenceOf({.sampleCount = 5, .hasEnded = true}), IncidentConfidence::strong);
    // Only the end (1) and the count (2) are there: 3 points.
    PerformanceIncident interrupted = interruptedIncident(IncidentKind::cpu, 100);
    interrupted.sampleCount = 6;
    EXPECT_EQ(build(interrupted, {}, after(200)).confidence, IncidentConfidence::moderate);
    interrupted.sampleCount = 5;
    EXPECT_EQ(build(interrupted, {}, after(200)).confidence, IncidentConfidence::limited);
}

TEST(IncidentConfidenceScore, anOpenIncidentIsStrongOnlyWithEverythingElseAtItsBest) {
    EXPECT_EQ(confidenceOf({.hasEnded = false}), IncidentConfidence::strong);
    EXPECT_EQ(confidenceOf({.sampleCount = 5, .hasEnded = false}), IncidentConfidence::moderate);
    EXPECT_EQ(confidenceOf({.baselineSamples = 2, .hasEnded = false}), IncidentConfidence::moderate);
    EXPECT_EQ(confidenceOf({.hasProcess = false, .hasEnded = false}), IncidentConfidence::moderate);
}

TEST(IncidentConfidenceDetail, belowStrongTheStatePlaysNoPart) {
    struct Row {
        std::int64_t sampleCount;
        const char* detail;
    };
    for (const Row& row : {Row{0, limitedDetail}, Row{6, moderateDetail}}) {
        PerformanceIncident open = bareIncident(IncidentKind::memory);
        PerformanceIncident recovering = recoveringIncident(IncidentKind::memory, 50);
        PerformanceIncident ended = endedIncident(IncidentKind::cpu, 50);
        PerformanceIncident interrupted = interruptedIncident(IncidentKind::cpu, 50);
        for (PerformanceIncident* incident : {&open, &recovering, &ended, &interrupted}) {
            incident->sampleCount = row.sampleCount;
            EXPECT_EQ(build(*incident, {}, after(100)).confidenceDetail, row.detail);
        }
    }
}

TEST(IncidentConfidenceDetail, aStrongOneTellsOfTheState) {
    struct Row {
        PerformanceIncident incident;
        std::string detail;
    };
    const IncidentKind kind = IncidentKind::memory;
    const std::vector<Row> rows = {
        {recoveringIncident(kind, 50),
         clearSignal + "Corvanta is still confirming that recovery remains stable."},
        {bareIncident(kind),
         clearSignal + "Recovery evidence is not available while the incident remains active."},
        {interruptedIncident(kind, 50),
         clearSignal + "Monitoring ended before a stable recovery could be confirmed."},
        {endedIncident(kind, 50),
         "Sustained signal, sufficient samples, recovery evidence, and a usable pre-incident baseline were "
         "recorded."}};
    for (Row row : rows) {
        row.incident.sampleCount = 6;
        row.incident.topRAMProcess = "database";
        row.incident.topRAMBytes = 4096;
        const auto narrative = build(row.incident, samplesAfter({-30, -20, -10}), after(100));
        EXPECT_EQ(narrative.confidence, IncidentConfidence::strong);
        EXPECT_EQ(narrative.confidenceDetail, row.detail);
    }
}

// To hand on

TEST(ShareableSummary, ofAnOpenIncidentWithNoChangesHasFiveLines) {
    PerformanceIncident incident = bareIncident(IncidentKind::cpu);
    incident.peakCPU = 91;
    EXPECT_EQ(
        shareableSummary(build(incident, {}, after(75))),
        "The strongest signal was sustained CPU load\n"
        "CPU remained elevated and peaked at 91%.\n"
        "Trigger: CPU stayed at or above 85% for at least 60 seconds.\n"
        "Resolution: Pressure remains above the incident threshold after 1m 15s.\n"
        "Confidence: Limited evidence \u2014 The incident is retained, but too few supporting samples were "
        "available for a stronger conclusion.");
}

TEST(ShareableSummary, addsTheProcessAndTheChanges) {
    PerformanceIncident incident = endedIncident(IncidentKind::memory, 120);
    incident.worstMemoryPressureState = MemoryPressureLevel::critical;
    incident.peakMemoryPressure = 88;
    incident.topRAMProcess = "database";
    incident.topRAMBytes = 8'589'934'592;
    incident.sampleCount = 12;
    EXPECT_EQ(
        shareableSummary(build(incident, joined(samplesAfter({-10}, 20), samplesAfter({0}, 35)), after(500))),
        "macOS reported sustained memory pressure\n"
        "macOS reported critical memory pressure. Corvanta' supporting counter estimate peaked at 88%. The "
        "most prominent process observed was database.\n"
        "Trigger: macOS memory pressure stayed elevated for at least 60 seconds.\n"
        "Resolution: Recovered after 2m 0s. Corvanta confirmed normal conditions remained stable for 90 "
        "seconds.\n"
        "Confidence: Strong confidence \u2014 Sustained signal, sufficient samples, recovery evidence, and a "
        "usable pre-incident baseline were recorded.\n"
        "Correlated process evidence: database reached 8 GB resident memory.\n"
        "What changed:\n"
        "\u2022 Average CPU moved from 20% to 35% (+15 points).\n"
        "\u2022 macOS memory pressure moved from normal to critical.");
}

TEST(ShareableSummary, aMemoryIncidentWithoutNamesNamesNone) {
    PerformanceIncident incident = endedIncident(IncidentKind::memory, 120);
    incident.sampleCount = 12;
    const IncidentNarrative narrative = build(incident, {}, after(500));
    EXPECT_EQ(narrative.contributorDetail, std::nullopt);
    EXPECT_EQ(narrative.confidence, IncidentConfidence::moderate);
    EXPECT_EQ(shareableSummary(narrative).find("process observed"), std::string::npos);
    EXPECT_EQ(shareableSummary(narrative).find("Correlated process evidence"), std::string::npos);
}

}  // namespace
}  // namespace corvanta
