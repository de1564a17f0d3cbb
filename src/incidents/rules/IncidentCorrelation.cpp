// SPDX-License-Identifier: Apache-2.0
#include "incidents/rules/IncidentCorrelation.h"

#include <cstdlib>
#include <string_view>

#include "core/AsciiCase.h"
#include "core/NumberText.h"
#include "core/ProcessTexts.h"
#include "core/TextForms.h"
#include "core/Utf8Text.h"
#include "incidents/model/IncidentStateMachine.h"

namespace corvanta::IncidentCorrelation {
namespace {

bool isProcessorFirst(const PerformanceIncident& incident) {
    const double cpuShare = incident.peakCPU / IncidentStateMachine::cpuThreshold;
    switch (incident.kind) {
        case IncidentKind::cpu:
        case IncidentKind::thermal:
            return true;
        case IncidentKind::memory:
            return false;
        case IncidentKind::combined:
            if (incident.worstMemoryPressureState == MemoryPressureLevel::critical) return !(cpuShare < 1.25);
            return cpuShare >= 1.0;
    }
    std::abort();
}

std::string_view nameIn(const std::optional<std::string>& process) {
    return process ? trimmedUtf8(*process) : std::string_view();
}

std::string observed(const PerformanceIncident& incident) {
    const std::string level = asciiLowerCase(label(incident.worstMemoryPressureState));
    const std::string thermal = asciiLowerCase(incident.worstThermalState);
    switch (incident.kind) {
        case IncidentKind::cpu:
            return "CPU remained elevated and peaked at " + percentText(incident.peakCPU) + ".";
        case IncidentKind::memory:
            return "macOS reported " + level +
                   " memory pressure. Corvanta' supporting counter estimate peaked at " +
                   percentText(incident.peakMemoryPressure) + ".";
        case IncidentKind::thermal:
            return "macOS reported " + thermal + " thermal pressure during this period.";
        case IncidentKind::combined:
            return "Multiple pressure signals overlapped. CPU peaked at " + percentText(incident.peakCPU) +
                   ", macOS memory pressure reached " + level + ", and the worst macOS thermal state was " +
                   thermal + ".";
    }
    std::abort();
}

}  // namespace

std::optional<std::string> likelyContributor(const PerformanceIncident& incident) {
    const std::string_view cpuName = nameIn(incident.topCPUProcess);
    const std::string_view ramName = nameIn(incident.topRAMProcess);
    const bool isCPU = ramName.empty() || (isProcessorFirst(incident) && !cpuName.empty());
    const std::string_view name = isCPU ? cpuName : ramName;
    if (name.empty()) return std::nullopt;
    return std::string(name);
}

std::string summary(const PerformanceIncident& incident) {
    const auto contributor = likelyContributor(incident);
    if (!contributor) return observed(incident);
    return observed(incident) + " The most prominent process observed was " + *contributor + ".";
}

std::optional<std::string> evidenceDescription(const PerformanceIncident& incident) {
    const auto contributor = likelyContributor(incident);
    if (!contributor) return std::nullopt;
    if (incident.topRAMProcess == contributor && incident.topRAMBytes != 0) {
        return *contributor + " reached " + memoryString(incident.topRAMBytes, userNumberSymbols()) +
               " resident memory.";
    }
    if (incident.topCPUProcess == contributor) {
        return *contributor + " reached " + processUsageString(incident.topCPUUsage) + " process CPU.";
    }
    return std::nullopt;
}

}  // namespace corvanta::IncidentCorrelation
