// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <ostream>
#include <vector>

#include "incidents/model/IncidentTimelineSample.h"
#include "incidents/model/PerformanceIncident.h"
#include "incidents/rules/IncidentNarrative.h"

namespace corvanta {

/// How an item reads in a failed test.
inline void PrintTo(const IncidentNarrativeItem& item, std::ostream* out) {
    *out << "{" << item.title << "|" << item.detail << "|" << item.systemImage << "}";
}

namespace test {

using Samples = std::vector<IncidentTimelineSample>;

/// Where the incidents of these tests begin, in seconds since 1970.
inline constexpr double incidentStart = 1'700'000'000;

/// A moment that many seconds after the start of the incident.
inline Instant after(double seconds) {
    return instantFromSeconds(incidentStart + seconds);
}

/// An open incident of which nothing but its kind is known.
inline PerformanceIncident bareIncident(IncidentKind kind) {
    PerformanceIncident incident;
    incident.id = 1;
    incident.startedAt = after(0);
    incident.detectedAt = after(60);
    incident.kind = kind;
    return incident;
}

/// A calm sample that many seconds after the start of the incident.
inline IncidentTimelineSample sampleAfter(double seconds, double cpuUsage = 10) {
    IncidentTimelineSample sample;
    sample.timestamp = after(seconds);
    sample.cpuUsage = cpuUsage;
    sample.memoryPressureState = MemoryPressureLevel::normal;
    sample.thermalState = "Nominal";
    return sample;
}

inline PerformanceIncident endedIncident(IncidentKind kind, double seconds) {
    PerformanceIncident incident = bareIncident(kind);
    incident.endedAt = after(seconds);
    incident.recoveryStartedAt = incident.endedAt;
    return incident;
}

inline PerformanceIncident interruptedIncident(IncidentKind kind, double seconds) {
    PerformanceIncident incident = bareIncident(kind);
    incident.endedAt = after(seconds);
    return incident;
}

inline PerformanceIncident recoveringIncident(IncidentKind kind, double seconds) {
    PerformanceIncident incident = bareIncident(kind);
    incident.recoveryStartedAt = after(seconds);
    return incident;
}

inline Samples samplesAfter(std::initializer_list<double> moments, double cpuUsage = 10) {
    Samples samples;
    for (const double moment : moments) samples.push_back(sampleAfter(moment, cpuUsage));
    return samples;
}

inline Samples joined(Samples first, const Samples& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace test
}  // namespace corvanta
