// SPDX-License-Identifier: Apache-2.0
// What holds of every narrative, whatever a store may hold.
#include <gtest/gtest.h>

#include <rapidcheck.h>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "incidents/IncidentSamples.h"
#include "incidents/rules/IncidentCorrelation.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace corvanta {
namespace {

using IncidentNarrativeBuilder::build;
using test::after;
using test::Samples;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

rc::Gen<double> anyFigure() {
    return rc::gen::element(0.0, -0.0, -1.0, 12.4, 50.0, 84.99, 85.0, 99.9, 106.25, 999'999.0, 1e6, 5e6,
                            1e300, -1e300, infinity, -infinity, notANumber);
}

/// In seconds after the start of the incident, most of them near it.
rc::Gen<double> anyMoment() {
    return rc::gen::weightedElement<double>({{3, -400.0},
                                             {3, -300.0},
                                             {6, -299.0},
                                             {6, -20.0},
                                             {6, -0.5},
                                             {6, 0.0},
                                             {6, 30.0},
                                             {6, 60.0},
                                             {6, 90.0},
                                             {3, 500.0},
                                             {1, infinity},
                                             {1, -infinity},
                                             {1, notANumber},
                                             {1, 1e300}});
}

rc::Gen<std::optional<Instant>> anyInstant() {
    return rc::gen::weightedOneOf<std::optional<Instant>>(
        {{1, rc::gen::just(std::optional<Instant>())}, {1, rc::gen::map(anyMoment(), [](double moment) {
                                                            return std::optional<Instant>(after(moment));
                                                        })}});
}

rc::Gen<std::optional<std::string>> anyName() {
    using Name = std::optional<std::string>;
    return rc::gen::element(Name(), Name(""), Name("  "), Name("compiler"), Name("compiler "),
                            Name("database"), Name("\xff\xfe"), Name("\u202egnp"));
}

rc::Gen<std::string> anyThermalWord() {
    return rc::gen::element<std::string>("Nominal", "Fair", "SERIOUS", "Critical", "Unknown", "", "\xc3");
}

rc::Gen<MemoryPressureLevel> anyLevel() {
    return rc::gen::elementOf(std::vector(allMemoryPressureLevels.begin(), allMemoryPressureLevels.end()));
}

rc::Gen<std::int64_t> anyInteger() {
    return rc::gen::weightedElement<std::int64_t>({{4, 0},
                                                   {4, 2},
                                                   {4, 3},
                                                   {4, 5},
                                                   {4, 6},
                                                   {2, 50},
                                                   {1, -7},
                                                   {1, std::numeric_limits<std::int64_t>::min()},
                                                   {1, std::numeric_limits<std::int64_t>::max()}});
}

PerformanceIncident anyIncident() {
    PerformanceIncident incident = test::bareIncident(
        *rc::gen::elementOf(std::vector(allIncidentKinds.begin(), allIncidentKinds.end())));
    if (*rc::gen::weightedElement<bool>({{9, false}, {1, true}})) incident.startedAt = after(*anyMoment());
    incident.endedAt = *anyInstant();
    incident.recoveryStartedAt = *anyInstant();
    incident.peakCPU = *anyFigure();
    incident.peakMemoryPressure = *anyFigure();
    incident.worstMemoryPressureState = *anyLevel();
    incident.peakNetworkBytesPerSecond = *anyFigure();
    incident.worstThermalState = *anyThermalWord();
    incident.topCPUProcess = *anyName();
    incident.topCPUUsage = *anyFigure();
    incident.topRAMProcess = *anyName();
    incident.topRAMBytes =
        *rc::gen::element<std::uint64_t>(0, 1, 4096, std::numeric_limits<std::uint64_t>::max());
    incident.sampleCount = *anyInteger();
    return incident;
}

IncidentTimelineSample anySample() {
    IncidentTimelineSample sample = test::sampleAfter(*anyMoment(), *anyFigure());
    sample.memoryPressureState = *anyLevel();
    sample.thermalState = *anyThermalWord();
    sample.uploadSpeed = *anyFigure();
    sample.downloadSpeed = *anyFigure();
    if (*rc::gen::arbitrary<bool>()) sample.batteryPercentage = *anyInteger();
    return sample;
}

Samples anySamples() {
    Samples samples;
    const int count = *rc::gen::inRange(0, 12);
    for (int i = 0; i < count; ++i) samples.push_back(anySample());
    return samples;
}

/// Whether the titles are some of those, each once at most and in their order.
bool areSomeOf(const std::vector<IncidentNarrativeItem>& items, const std::vector<std::string>& titles) {
    auto next = titles.begin();
    for (const IncidentNarrativeItem& item : items) {
        next = std::find(next, titles.end(), item.title);
        if (next == titles.end() || item.detail.empty() || item.systemImage.empty()) return false;
        ++next;
    }
    return true;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The sentence that belongs to the confidence alone, or to both the confidence and the state.
std::string confidenceWords(const IncidentNarrative& narrative) {
    if (narrative.confidence == IncidentConfidence::limited) return "too few supporting samples";
    if (narrative.confidence == IncidentConfidence::moderate) return "evidence is incomplete";
    switch (narrative.resolutionState) {
        case IncidentResolutionState::active:
            return "remains active";
        case IncidentResolutionState::recovering:
            return "still confirming";
        case IncidentResolutionState::recovered:
            return "recovery evidence, and a usable";
        case IncidentResolutionState::interrupted:
            return "Monitoring ended before";
    }
    return "";
}

std::string resolutionWords(IncidentResolutionState state) {
    switch (state) {
        case IncidentResolutionState::active:
            return "Pressure remains above";
        case IncidentResolutionState::recovering:
            return "Pressure returned below";
        case IncidentResolutionState::recovered:
            return "Recovered after";
        case IncidentResolutionState::interrupted:
            return "Monitoring stopped after";
    }
    return "";
}

void check(const PerformanceIncident& incident, const IncidentNarrative& narrative) {
    RC_ASSERT(areSomeOf(narrative.overlappingSignals, {"CPU", "Memory", "Thermal", "Network context"}));
    RC_ASSERT(
        areSomeOf(narrative.changes, {"CPU changed", "Memory changed", "Thermal changed", "Network changed",
                                      "Battery context"}) ||
        areSomeOf(narrative.changes, {"CPU peak", "Memory changed", "Thermal changed", "Battery context"}));
    RC_ASSERT(contains(narrative.confidenceDetail, confidenceWords(narrative)));
    RC_ASSERT(contains(narrative.resolutionDetail, resolutionWords(narrative.resolutionState)));
    const auto contributor = IncidentCorrelation::likelyContributor(incident);
    RC_ASSERT(contains(narrative.overview, "The most prominent process observed was ") ==
              contributor.has_value());
    if (narrative.contributorDetail) {
        RC_ASSERT(contributor && contains(*narrative.contributorDetail, *contributor + " reached "));
    }
    const std::string summary = shareableSummary(narrative);
    const auto lines = 1 + static_cast<std::size_t>(std::count(summary.begin(), summary.end(), '\n'));
    RC_ASSERT(lines == 5 + (narrative.contributorDetail ? 1 : 0) +
                           (narrative.changes.empty() ? 0 : 1 + narrative.changes.size()));
}

}  // namespace

TEST(IncidentNarrativeProperty, everyRecordGivesAWholeNarrative) {
    EXPECT_TRUE(rc::check([] {
        for (int i = 0; i < 20; ++i) {
            const PerformanceIncident incident = anyIncident();
            check(incident, build(incident, anySamples(), after(*anyMoment())));
        }
    }));
}

TEST(IncidentNarrativeProperty, samplesOfOtherTimesPlayNoPart) {
    EXPECT_TRUE(rc::check([] {
        const PerformanceIncident incident = anyIncident();
        const Instant now = after(*anyMoment());
        const Samples samples = anySamples();
        Samples near;
        for (const IncidentTimelineSample& sample : samples) {
            // Instants are compared, as an infinite one has no distance from itself.
            if (sample.timestamp >= incident.startedAt - std::chrono::duration<double>(300) &&
                sample.timestamp <= std::max(incident.startedAt, incident.knownEnd(now))) {
                near.push_back(sample);
            }
        }
        RC_ASSERT(build(incident, samples, now) == build(incident, near, now));
    }));
}

TEST(IncidentNarrativeProperty, moreSamplesNeverWeakenTheConfidence) {
    EXPECT_TRUE(rc::check([] {
        PerformanceIncident incident = anyIncident();
        const Instant now = after(*anyMoment());
        const Samples samples = anySamples();
        const IncidentConfidence before = build(incident, samples, now).confidence;
        incident.sampleCount = std::max<std::int64_t>(incident.sampleCount, *rc::gen::inRange(0, 10));
        RC_ASSERT(build(incident, samples, now).confidence >= before);
    }));
}

}  // namespace corvanta
