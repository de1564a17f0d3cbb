// SPDX-License-Identifier: Apache-2.0
#include "incidents/GoldenIncidents.h"

#include <limits>
#include <utility>

namespace corvanta::test {

GoldenIncident& GoldenIncident::peaks(double cpu, double memoryPressure, double network) {
    incident.peakCPU = cpu;
    incident.peakMemoryPressure = memoryPressure;
    incident.peakNetworkBytesPerSecond = network;
    return *this;
}

GoldenIncident& GoldenIncident::worst(MemoryPressureLevel level, std::string thermalState) {
    incident.worstMemoryPressureState = level;
    incident.worstThermalState = std::move(thermalState);
    return *this;
}

GoldenIncident& GoldenIncident::busiest(std::string process, double usage) {
    incident.topCPUProcess = std::move(process);
    incident.topCPUUsage = usage;
    return *this;
}

GoldenIncident& GoldenIncident::largest(std::string process, std::uint64_t bytes) {
    incident.topRAMProcess = std::move(process);
    incident.topRAMBytes = bytes;
    return *this;
}

GoldenIncident& GoldenIncident::counted(std::int64_t count) {
    incident.sampleCount = count;
    return *this;
}

GoldenIncident& GoldenIncident::toldAt(double seconds) {
    now = seconds;
    return *this;
}

GoldenIncident& GoldenIncident::before(int count, double cpuUsage, double download, MemoryPressureLevel level,
                                       const std::string& thermalState) {
    for (int i = count; i > 0; --i) {
        IncidentTimelineSample sample = sampleAfter(-10.0 * i, cpuUsage);
        sample.downloadSpeed = download;
        sample.memoryPressureState = level;
        sample.thermalState = thermalState;
        samples.push_back(sample);
    }
    return *this;
}

GoldenIncident& GoldenIncident::during(int count, double cpuUsage, MemoryPressureLevel level,
                                       const std::string& thermalState) {
    for (int i = 0; i < count; ++i) {
        IncidentTimelineSample sample = sampleAfter(10.0 * i, cpuUsage);
        sample.memoryPressureState = level;
        sample.thermalState = thermalState;
        samples.push_back(sample);
    }
    return *this;
}

GoldenIncident& GoldenIncident::battery(std::int64_t first, std::int64_t last) {
    for (IncidentTimelineSample& sample : samples) {
        if (sample.timestamp == after(0)) sample.batteryPercentage = first;
    }
    samples.back().batteryPercentage = last;
    return *this;
}

namespace {

using enum MemoryPressureLevel;
using enum IncidentKind;
using Goldens = std::vector<GoldenIncident>;

constexpr std::uint64_t gigabyte = 1'073'741'824;

GoldenIncident golden(std::string name, PerformanceIncident incident) {
    return {std::move(name), std::move(incident), {}};
}

Goldens cpuIncidents() {
    return {
        golden("cpu-active-without-samples", bareIncident(cpu)).peaks(91).worst(normal, "Nominal").toldAt(75),
        golden("cpu-active-without-baseline", bareIncident(cpu))
            .peaks(97.6)
            .busiest("compiler", 388.25)
            .during(8, 95)
            .toldAt(80),
        golden("cpu-active-strong", bareIncident(cpu))
            .peaks(97.4)
            .busiest("compiler", 388.2)
            .largest("browser", 2 * gigabyte)
            .before(3, 22)
            .during(6, 94)
            .toldAt(125),
        golden("cpu-recovering-strong", recoveringIncident(cpu, 240))
            .peaks(99.5)
            .busiest("indexer", 99.9)
            .counted(31)
            .before(30, 18.4)
            .during(24, 93.3)
            .toldAt(275),
        golden("cpu-recovering-past-the-window", recoveringIncident(cpu, 240))
            .peaks(88)
            .busiest("indexer", 99.9)
            .counted(31)
            .before(3, 18.4)
            .during(24, 93.3)
            .toldAt(331),
        golden("cpu-recovered-strong", endedIncident(cpu, 200))
            .peaks(100)
            .busiest("compiler", 795)
            .counted(20)
            .before(30, 12)
            .during(20, 99),
        golden("cpu-recovered-although-the-mean-fell", endedIncident(cpu, 200))
            .peaks(86)
            .busiest("compiler", 120)
            .counted(20)
            .before(10, 84)
            .during(20, 71.6),
        golden("cpu-interrupted-strong", interruptedIncident(cpu, 3725))
            .peaks(92)
            .busiest("backup", 64.04)
            .counted(370)
            .before(5, 30)
            .during(200, 90),
        golden("cpu-below-the-threshold", bareIncident(cpu)).peaks(84.9).counted(2).toldAt(62),
        golden("cpu-below-the-threshold-but-for-a-sample", endedIncident(cpu, 60))
            .peaks(84.4)
            .counted(5)
            .before(2, 40)
            .during(5, 85),
        golden("cpu-recovered-without-names", endedIncident(cpu, 90))
            .peaks(85)
            .counted(3)
            .before(2, 50)
            .during(3, 50),
        golden("cpu-with-a-name-of-blanks", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("   ", 140)
            .largest("database", gigabyte + gigabyte / 2)
            .counted(10)
            .before(3, 10)
            .during(10, 88),
    };
}

Goldens memoryIncidents() {
    return {
        golden("memory-active-without-samples-or-names", bareIncident(memory))
            .peaks(20, 66.5)
            .worst(warning, "Nominal")
            .toldAt(60),
        golden("memory-active-from-normal", bareIncident(memory))
            .peaks(44, 71)
            .worst(warning, "Nominal")
            .largest("browser", 6 * gigabyte)
            .before(2, 30)
            .during(7, 35, warning)
            .toldAt(70),
        golden("memory-recovering", recoveringIncident(memory, 95))
            .peaks(44, 83)
            .worst(critical, "Fair")
            .largest("virtual machine", 17 * gigabyte + 300'000'000)
            .counted(10)
            .before(4, 30)
            .during(9, 40, critical, "Fair")
            .toldAt(140.4),
        golden("memory-recovering-past-the-window", recoveringIncident(memory, 95))
            .peaks(44, 83)
            .worst(critical, "Nominal")
            .largest("virtual machine", 17 * gigabyte)
            .counted(4)
            .during(4, 40, critical)
            .toldAt(185),
        golden("memory-recovered-strong", endedIncident(memory, 600))
            .peaks(60, 92)
            .worst(critical, "Nominal")
            .busiest("compiler", 88)
            .largest("browser", 12 * gigabyte)
            .counted(60)
            .before(30, 25)
            .during(60, 48, critical),
        golden("memory-recovered-with-a-warning-before", endedIncident(memory, 600))
            .peaks(60, 92)
            .worst(critical, "Nominal")
            .largest("browser", 900'000'000)
            .counted(60)
            .before(30, 25, 0, warning)
            .during(60, 25.4, critical),
        golden("memory-recovered-without-names", endedIncident(memory, 600))
            .peaks(60, 79.5)
            .worst(warning, "Nominal")
            .counted(60)
            .before(30, 25)
            .during(60, 20, warning),
        golden("memory-interrupted", interruptedIncident(memory, 7210))
            .peaks(33, 75)
            .worst(warning, "Nominal")
            .largest("mail", 500'000)
            .counted(2)
            .during(2, 20, warning),
        golden("memory-with-a-cpu-process-alone", endedIncident(memory, 130))
            .peaks(70, 81)
            .worst(critical, "Nominal")
            .busiest("compiler", 66.66)
            .counted(13)
            .before(3, 60)
            .during(13, 65, critical),
        golden("memory-at-the-same-level-before", endedIncident(memory, 130))
            .peaks(70, 81)
            .worst(warning, "Nominal")
            .largest("browser", 3 * gigabyte)
            .counted(13)
            .before(3, 60, 0, warning)
            .during(13, 65, warning),
        golden("memory-normal-by-the-record", endedIncident(memory, 130))
            .peaks(70, 40)
            .worst(normal, "Nominal")
            .largest("browser", 0)
            .counted(13)
            .before(3, 60)
            .during(13, 60, warning),
    };
}

Goldens thermalIncidents() {
    return {
        golden("thermal-active", bareIncident(thermal))
            .peaks(64)
            .worst(normal, "Serious")
            .busiest("renderer", 250)
            .during(2, 60, normal, "Serious")
            .toldAt(12),
        golden("thermal-active-in-capitals", bareIncident(thermal))
            .peaks(84.99)
            .worst(normal, "CRITICAL")
            .busiest("renderer", 250)
            .counted(6)
            .before(3, 20, 0, normal, "fAIR")
            .during(6, 60, normal, "critical")
            .toldAt(61),
        golden("thermal-recovering", recoveringIncident(thermal, 20))
            .peaks(64)
            .worst(normal, "Serious")
            .counted(3)
            .before(1, 33)
            .during(2, 60, normal, "Serious")
            .toldAt(20),
        golden("thermal-recovering-past-the-window", recoveringIncident(thermal, 20))
            .peaks(64)
            .worst(normal, "Serious")
            .counted(3)
            .during(2, 60, normal, "Serious")
            .toldAt(110),
        golden("thermal-recovered-from-fair", endedIncident(thermal, 3600))
            .peaks(91)
            .worst(normal, "Critical")
            .busiest("renderer", 800)
            .counted(360)
            .before(6, 70, 0, normal, "Fair")
            .during(100, 90, normal, "Critical"),
        golden("thermal-fair-by-the-record", endedIncident(thermal, 50))
            .peaks(50)
            .worst(normal, "Fair")
            .counted(5)
            .before(3, 50)
            .during(5, 50, normal, "SERIOUS"),
        golden("thermal-interrupted", interruptedIncident(thermal, 59.5))
            .peaks(50)
            .worst(normal, "Serious")
            .largest("browser", 4 * gigabyte)
            .counted(7)
            .before(3, 50, 0, normal, "Serious")
            .during(7, 50, normal, "Serious"),
        golden("thermal-with-an-unknown-word", endedIncident(thermal, 11))
            .peaks(50)
            .worst(unavailable, "Unknown")
            .counted(1)
            .during(1, 50, unavailable, "Unknown"),
    };
}

Goldens combinedIncidents() {
    return {
        golden("combined-active-with-everything", bareIncident(combined))
            .peaks(98, 88, 12'345'678)
            .worst(critical, "Serious")
            .busiest("compiler", 380)
            .largest("browser", 9 * gigabyte)
            .before(12, 15, 2048)
            .during(12, 91, critical, "Serious")
            .battery(83, 77)
            .toldAt(119),
        golden("combined-critical-at-100-names-memory", endedIncident(combined, 300))
            .peaks(100, 88)
            .worst(critical, "Nominal")
            .busiest("compiler", 380)
            .largest("browser", 9 * gigabyte)
            .counted(30),
        golden("combined-critical-far-above-names-cpu", endedIncident(combined, 300))
            .peaks(106.25, 88)
            .worst(critical, "Nominal")
            .busiest("compiler", 380)
            .largest("browser", 9 * gigabyte)
            .counted(30),
        golden("combined-warning-at-85-names-cpu", endedIncident(combined, 300))
            .peaks(85, 70)
            .worst(warning, "Nominal")
            .busiest("compiler", 380)
            .largest("browser", 9 * gigabyte)
            .counted(30)
            .during(3, 80, warning),
        golden("combined-warning-below-85-names-memory", endedIncident(combined, 300))
            .peaks(84.99, 70)
            .worst(warning, "Nominal")
            .busiest("compiler", 380)
            .largest("browser", 9 * gigabyte)
            .counted(30)
            .during(3, 80, warning),
        golden("combined-recovering", recoveringIncident(combined, 61))
            .peaks(90, 70)
            .worst(warning, "Fair")
            .busiest("compiler", 380)
            .before(3, 10)
            .during(6, 88, warning, "Fair")
            .toldAt(61.6),
        golden("combined-recovering-past-the-window", recoveringIncident(combined, 61))
            .peaks(90, 70)
            .worst(warning, "Fair")
            .busiest("compiler", 380)
            .before(3, 10)
            .during(6, 88, warning, "Fair")
            .toldAt(151),
        golden("combined-recovered-while-charging", endedIncident(combined, 3599.4))
            .peaks(90, 70)
            .worst(warning, "Nominal")
            .busiest("compiler", 380)
            .counted(350)
            .before(3, 10)
            .during(300, 88, warning)
            .battery(20, 95),
        golden("combined-interrupted", interruptedIncident(combined, 0))
            .peaks(90, 70)
            .worst(warning, "Nominal")
            .busiest("compiler", 380)
            .counted(1)
            .before(30, 10)
            .during(1, 88, warning),
    };
}

Goldens networkAndBatteryIncidents() {
    return {
        golden("network-without-a-baseline", endedIncident(cpu, 100)).peaks(90, 0, 1e6).during(5, 90),
        golden("network-at-twice-the-mean", endedIncident(cpu, 100))
            .peaks(90, 0, 4e9)
            .before(3, 20, 2e9)
            .during(5, 90),
        golden("network-below-twice-the-mean", endedIncident(cpu, 100))
            .peaks(90, 0, 3'999'999)
            .before(3, 20, 2e6)
            .during(5, 90),
        golden("network-below-a-million", endedIncident(cpu, 100))
            .peaks(90, 0, 999'999)
            .before(3, 20, 10)
            .during(5, 90),
        golden("battery-fell-by-one", endedIncident(cpu, 100)).peaks(90).during(5, 90).battery(50, 49),
        golden("battery-fell-by-two", endedIncident(cpu, 100)).peaks(90).during(5, 90).battery(50, 48),
    };
}

Goldens incidentsWithOddNames() {
    return {
        golden("name-with-quotes-and-commas", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("Say \"hello, world\" | 'now'; 100%", 120)
            .counted(6)
            .during(6, 90),
        golden("name-with-a-line-end", endedIncident(memory, 100))
            .peaks(20, 90)
            .worst(critical, "Nominal")
            .largest("first line\nsecond line", gigabyte)
            .counted(6),
        golden("name-from-right-to-left", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("\u202egnp.\u202c \u05e9\u05dc\u05d5\u05dd", 120)
            .counted(6),
        golden("name-beyond-ascii", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("\u00dcbersetzer \U0001f680", 120)
            .counted(6),
        golden("name-with-a-trailing-blank", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("compiler ", 120)
            .largest("compiler  ", gigabyte)
            .counted(6)
            .before(3, 20)
            .during(6, 90),
        golden("name-of-both-processes", endedIncident(cpu, 100))
            .peaks(90)
            .busiest("browser", 120)
            .largest("browser", gigabyte)
            .counted(6),
    };
}

Goldens incidentsWithOddFigures() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {
        golden("figures-beyond-a-signed-number", endedIncident(memory, 100))
            .peaks(100, 100, 9.9e15)
            .worst(critical, "Nominal")
            .largest("database", std::numeric_limits<std::uint64_t>::max())
            .counted(std::numeric_limits<std::int64_t>::max()),
        golden("figures-below-zero", endedIncident(combined, 100))
            .peaks(-5, -0.4, -1e6)
            .worst(unavailable, "")
            .busiest("compiler", -12.34)
            .counted(-3)
            .before(3, -10, -5)
            .during(3, -20)
            .battery(-1, -9),
        golden("figures-without-end", endedIncident(cpu, 100))
            .peaks(infinity, 0, infinity)
            .busiest("compiler", infinity)
            .before(1, 50)
            .during(1, infinity),
        golden("time-ends-before-it-starts", endedIncident(cpu, -100))
            .peaks(90)
            .counted(6)
            .before(12, 50)
            .during(6, 90),
        golden("time-told-before-it-starts", bareIncident(cpu))
            .peaks(90)
            .counted(6)
            .before(3, 50)
            .during(6, 90)
            .toldAt(-3600),
        golden("time-of-more-than-a-day", bareIncident(cpu)).peaks(90).counted(6).toldAt(97'260),
    };
}

}  // namespace

std::vector<GoldenIncident> goldenIncidents() {
    Goldens all;
    for (const Goldens& some :
         {cpuIncidents(), memoryIncidents(), thermalIncidents(), combinedIncidents(),
          networkAndBatteryIncidents(), incidentsWithOddNames(), incidentsWithOddFigures()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

}  // namespace corvanta::test
