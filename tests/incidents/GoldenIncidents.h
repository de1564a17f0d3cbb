// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "incidents/IncidentSamples.h"

namespace corvanta::test {

/// An incident, what was sampled around it, and when it is told.
struct GoldenIncident {
    std::string name;  ///< of the file that holds its text
    PerformanceIncident incident;
    Samples samples;
    double now = 1000;  ///< seconds after its start

    GoldenIncident& peaks(double cpu, double memoryPressure = 0, double network = 0);
    GoldenIncident& worst(MemoryPressureLevel level, std::string thermalState);
    GoldenIncident& busiest(std::string process, double usage);
    GoldenIncident& largest(std::string process, std::uint64_t bytes);
    GoldenIncident& counted(std::int64_t samples);
    GoldenIncident& toldAt(double seconds);
    /// So many samples ten seconds apart, the last of them ten seconds before the start.
    GoldenIncident& before(int count, double cpuUsage, double download = 0,
                           MemoryPressureLevel level = MemoryPressureLevel::normal,
                           const std::string& thermalState = "Nominal");
    /// So many samples ten seconds apart from the start on.
    GoldenIncident& during(int count, double cpuUsage,
                           MemoryPressureLevel level = MemoryPressureLevel::normal,
                           const std::string& thermalState = "Nominal");
    /// The charge of the first and of the last sample so far that is not before the start.
    GoldenIncident& battery(std::int64_t first, std::int64_t last);
};

std::vector<GoldenIncident> goldenIncidents();

}  // namespace corvanta::test
