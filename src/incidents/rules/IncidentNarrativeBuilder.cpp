// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentNarrativeBuilder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include "core/AsciiCase.h"
#include "core/NumberText.h"
#include "core/TextForms.h"
#include "incidents/model/IncidentStateMachine.h"
#include "incidents/model/ThermalRank.h"
#include "incidents/rules/IncidentCorrelation.h"

namespace corvanta::IncidentNarrativeBuilder {
namespace {

constexpr std::chrono::duration<double> baselineDuration(300.0);
constexpr double busyNetwork = 1'000'000.0;        // bytes per second
constexpr std::uint64_t notableBatteryChange = 2;  // percentage points
constexpr std::size_t usableBaseline = 3;          // samples

/// What the samples of a stretch of time come to.
struct Stretch {
    std::size_t count = 0;
    double cpuTotal = 0;
    double networkTotal = 0;
    bool hasFullCPU = false;
    MemoryPressureLevel worstMemoryState = MemoryPressureLevel::unavailable;
    std::string_view worstThermalState = "Unavailable";
    std::optional<std::int64_t> firstBattery;
    std::optional<std::int64_t> lastBattery;

    void add(const IncidentTimelineSample& sample) {
        if (count == 0 || thermalRank(sample.thermalState) > thermalRank(worstThermalState)) {
            worstThermalState = sample.thermalState;
        }
        if (rawValue(sample.memoryPressureState) > rawValue(worstMemoryState)) {
            worstMemoryState = sample.memoryPressureState;
        }
        ++count;
        cpuTotal += sample.cpuUsage;
        networkTotal += sample.networkBytesPerSecond();
        hasFullCPU = hasFullCPU || sample.cpuUsage >= IncidentStateMachine::cpuThreshold;
        if (!sample.batteryPercentage) return;
        if (!firstBattery) firstBattery = sample.batteryPercentage;
        lastBattery = sample.batteryPercentage;
    }
    double meanCPU() const { return cpuTotal / static_cast<double>(count); }
    double meanNetwork() const { return networkTotal / static_cast<double>(count); }
};

struct Stretches {
    Stretch baseline;
    Stretch active;
};

Stretches stretchesOf(const std::vector<IncidentTimelineSample>& samples, Instant start, Instant end) {
    Stretches stretches;
    for (const IncidentTimelineSample& sample : samples) {
        const Instant time = sample.timestamp;
        if (time >= start && time <= end) stretches.active.add(sample);
        if (time >= start - baselineDuration && time < start) stretches.baseline.add(sample);
    }
    return stretches;
}

/// As printf's "%+.0f": a zero has a sign too.
std::string signedText(double value) {
    return (std::signbit(value) ? "" : "+") + fixedText(value, 0);
}

std::string_view headline(IncidentKind kind) {
    switch (kind) {
        case IncidentKind::cpu:
            return "The strongest signal was sustained CPU load";
        case IncidentKind::memory:
            return "macOS reported sustained memory pressure";
        case IncidentKind::thermal:
            return "Thermal pressure reduced performance headroom";
        case IncidentKind::combined:
            return "Several pressure signals overlapped";
    }
    std::abort();
}

std::string_view triggerDetail(IncidentKind kind) {
    switch (kind) {
        case IncidentKind::cpu:
            return "CPU stayed at or above 85% for at least 60 seconds.";
        case IncidentKind::memory:
            return "macOS memory pressure stayed elevated for at least 60 seconds.";
        case IncidentKind::thermal:
            return "macOS thermal pressure stayed serious or critical for at least 10 seconds.";
        case IncidentKind::combined:
            return "Two or more sustained CPU, memory, or thermal pressure signals overlapped.";
    }
    std::abort();
}

IncidentNarrativeItem trigger(IncidentKind kind) {
    return {"Trigger", std::string(triggerDetail(kind)), std::string(systemImage(kind))};
}

/// Whether a signal was there is asked of the record and the samples; how far it went, of the record alone.
std::vector<IncidentNarrativeItem> overlappingSignalItems(const PerformanceIncident& incident,
                                                          const Stretch& active) {
    std::vector<IncidentNarrativeItem> items;
    if (incident.peakCPU >= IncidentStateMachine::cpuThreshold || active.hasFullCPU) {
        items.push_back({"CPU", "System CPU peaked at " + percentText(incident.peakCPU) + ".", "cpu"});
    }
    if (isElevated(incident.worstMemoryPressureState) || isElevated(active.worstMemoryState)) {
        items.push_back({"Memory",
                         "macOS memory pressure reached " +
                             asciiLowerCase(label(incident.worstMemoryPressureState)) + ".",
                         "memorychip"});
    }
    if (isThermalPressure(incident.worstThermalState) || isThermalPressure(active.worstThermalState)) {
        items.push_back({"Thermal",
                         "macOS thermal state reached " + asciiLowerCase(incident.worstThermalState) + ".",
                         "thermometer.high"});
    }
    if (incident.peakNetworkBytesPerSecond >= busyNetwork) {
        items.push_back(
            {"Network context",
             "Network activity peaked at " + speedString(incident.peakNetworkBytesPerSecond) + ".",
             "network"});
    }
    return items;
}

IncidentNarrativeItem cpuChange(double peakCPU, const Stretch& baseline, const Stretch& active) {
    if (baseline.count == 0) {
        return {"CPU peak",
                "CPU peaked at " + percentText(peakCPU) + "; no usable pre-incident baseline was available.",
                "chart.line.uptrend.xyaxis"};
    }
    const double delta = active.meanCPU() - baseline.meanCPU();
    return {"CPU changed",
            "Average CPU moved from " + percentText(baseline.meanCPU()) + " to " +
                percentText(active.meanCPU()) + " (" + signedText(delta) + " points).",
            delta >= 0 ? "arrow.up.right" : "arrow.down.right"};
}

std::optional<IncidentNarrativeItem> batteryChange(const Stretch& active) {
    if (!active.firstBattery) return std::nullopt;
    const std::int64_t first = *active.firstBattery;
    const std::int64_t last = *active.lastBattery;
    const bool isRise = last > first;
    // A row may hold any two integers; their distance fits an unsigned one.
    const std::uint64_t amount = isRise
                                     ? static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first)
                                     : static_cast<std::uint64_t>(first) - static_cast<std::uint64_t>(last);
    if (amount < notableBatteryChange) return std::nullopt;
    return IncidentNarrativeItem{"Battery context",
                                 std::string(isRise ? "Battery rose " : "Battery fell ") +
                                     integerText(amount) + " percentage points during the incident.",
                                 "battery.50"};
}

std::vector<IncidentNarrativeItem> changeItems(const PerformanceIncident& incident, const Stretch& baseline,
                                               const Stretch& active) {
    std::vector<IncidentNarrativeItem> items;
    if (active.count != 0) items.push_back(cpuChange(incident.peakCPU, baseline, active));
    const MemoryPressureLevel level = incident.worstMemoryPressureState;
    if (isElevated(level) && level != baseline.worstMemoryState) {
        items.push_back({"Memory changed",
                         "macOS memory pressure moved from " +
                             asciiLowerCase(label(baseline.worstMemoryState)) + " to " +
                             asciiLowerCase(label(level)) + ".",
                         "memorychip"});
    }
    if (thermalRank(incident.worstThermalState) > thermalRank(baseline.worstThermalState)) {
        items.push_back({"Thermal changed",
                         "Thermal state moved from " + asciiLowerCase(baseline.worstThermalState) + " to " +
                             asciiLowerCase(incident.worstThermalState) + ".",
                         "thermometer.medium"});
    }
    const double peakNetwork = incident.peakNetworkBytesPerSecond;
    if (baseline.count != 0 && peakNetwork >= std::max(busyNetwork, 2 * baseline.meanNetwork())) {
        items.push_back({"Network changed",
                         "Network throughput rose from an average of " + speedString(baseline.meanNetwork()) +
                             " to a peak of " + speedString(peakNetwork) + ".",
                         "arrow.up.arrow.down"});
    }
    if (auto battery = batteryChange(active)) items.push_back(*std::move(battery));
    return items;
}

std::string resolutionDetail(const PerformanceIncident& incident, IncidentResolutionState state,
                             Instant now) {
    const Instant end = incident.knownEnd(now);
    const std::string lasted = durationString((end - incident.startedAt).count());
    switch (state) {
        case IncidentResolutionState::interrupted:
            return "Monitoring stopped after " + lasted +
                   ". Corvanta did not record the 90-second stable window required to confirm recovery.";
        case IncidentResolutionState::recovered:
            return "Recovered after " + lasted +
                   ". Corvanta confirmed normal conditions remained stable for 90 seconds.";
        case IncidentResolutionState::active:
            return "Pressure remains above the incident threshold after " + lasted + ".";
        case IncidentResolutionState::recovering:
            break;
    }
    const double remaining = IncidentStateMachine::recoveryDuration - (now - end).count();
    return "Pressure returned below the incident threshold after " + lasted + ". " +
           (remaining > 0 ? "Confirming stable recovery for another " + durationString(remaining) + "."
                          : "Finishing recovery confirmation.");
}

int confidenceScore(const PerformanceIncident& incident, const Stretches& stretches,
                    bool hasProcessEvidence) {
    const std::int64_t evidence =
        std::max(incident.sampleCount, static_cast<std::int64_t>(stretches.active.count));
    const bool isClear =
        incident.kind != IncidentKind::cpu || incident.peakCPU >= IncidentStateMachine::cpuThreshold;
    int score = evidence >= 6 ? 2 : evidence >= 3 ? 1 : 0;
    if (isClear) score += 2;
    if (hasProcessEvidence) ++score;
    if (stretches.baseline.count >= usableBaseline) ++score;
    if (!incident.isActive()) ++score;
    return score;
}

IncidentConfidence confidenceOf(int score) {
    if (score < 3) return IncidentConfidence::limited;
    return score < 6 ? IncidentConfidence::moderate : IncidentConfidence::strong;
}

std::string strongDetail(IncidentResolutionState state) {
    const std::string clear =
        "The sustained signal, supporting samples, process evidence, and pre-incident baseline are clear. ";
    switch (state) {
        case IncidentResolutionState::recovering:
            return clear + "Corvanta is still confirming that recovery remains stable.";
        case IncidentResolutionState::active:
            return clear + "Recovery evidence is not available while the incident remains active.";
        case IncidentResolutionState::interrupted:
            return clear + "Monitoring ended before a stable recovery could be confirmed.";
        case IncidentResolutionState::recovered:
            return "Sustained signal, sufficient samples, recovery evidence, and a usable pre-incident "
                   "baseline were recorded.";
    }
    std::abort();
}

std::string confidenceDetail(IncidentConfidence confidence, IncidentResolutionState state) {
    switch (confidence) {
        case IncidentConfidence::limited:
            return "The incident is retained, but too few supporting samples were available for a stronger "
                   "conclusion.";
        case IncidentConfidence::moderate:
            return "The sustained system signal is clear, but baseline or process evidence is incomplete.";
        case IncidentConfidence::strong:
            return strongDetail(state);
    }
    std::abort();
}

}  // namespace

IncidentNarrative build(const PerformanceIncident& incident,
                        const std::vector<IncidentTimelineSample>& samples, Instant now) {
    const Stretches stretches = stretchesOf(samples, incident.startedAt, incident.knownEnd(now));
    IncidentNarrative narrative;
    narrative.headline = headline(incident.kind);
    narrative.overview = IncidentCorrelation::summary(incident);
    narrative.trigger = trigger(incident.kind);
    narrative.overlappingSignals = overlappingSignalItems(incident, stretches.active);
    narrative.changes = changeItems(incident, stretches.baseline, stretches.active);
    narrative.resolutionState = incident.resolutionState();
    narrative.resolutionDetail = resolutionDetail(incident, narrative.resolutionState, now);
    narrative.contributorDetail = IncidentCorrelation::evidenceDescription(incident);
    narrative.confidence =
        confidenceOf(confidenceScore(incident, stretches, narrative.contributorDetail.has_value()));
    narrative.confidenceDetail = confidenceDetail(narrative.confidence, narrative.resolutionState);
    return narrative;
}

}  // namespace corvanta::IncidentNarrativeBuilder
