// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/ProactiveAlertPresentation.h"

#include <algorithm>
#include <cmath>

#include "core/NumberText.h"
#include "core/TextForms.h"

namespace corvanta {
namespace {

/// Not-a-number is not below 100 either.
double clampedPercent(double value) {
    return value < 100 ? std::max(0.0, value) : 100.0;
}

std::string formatPercent(double value) {
    return percentText(std::round(clampedPercent(value)));  // halves away from zero
}

/// What the texts of both reasons are made of.
struct Contributor {
    const std::string& name;
    std::int64_t count;  // at least 1
    double topUsage;     // at least 0

    bool isOne() const { return count < 2; }
    std::string subject() const { return isOne() ? name : integerText(count) + " " + name + " processes"; }
    std::string matching() const {
        return integerText(count) + " matching " + (isOne() ? "process" : "processes");
    }
    std::string usageContext(const std::string& incident, const std::string& topUsageKey) const {
        return "Historical " + incident + "; sustained_seconds=60; process_name=" + name +
               "; matching_process_count=" + integerText(count) + "; " + topUsageKey + "=" +
               fixedText(topUsage, 1) +
               ". Process count is a count, not a percentage. Explain the detected interval in past tense "
               "and "
               "do not claim these values are current.";
    }
};

ProactiveAlertPresentation highCPU(const Contributor& contributor, double systemCPU) {
    const std::string incident =
        "sustained-CPU incident snapshot. system_cpu_percent=" + fixedText(clampedPercent(systemCPU), 1);
    return {.title = "High CPU detected",
            .message = "System CPU reached " + formatPercent(systemCPU) + ". " + contributor.subject() +
                       " led the sustained load.",
            .systemImage = "cpu",
            .destination = SmartAlertDestination::aiExplanation,
            .aiContext = SmartAlertAIContext{
                .processName = contributor.name,
                .reason = "CPU",
                .usageContext = contributor.usageContext(incident, "top_instance_cpu_percent"),
                .displaySummary = "System CPU " + formatPercent(systemCPU) + " · " + contributor.matching()}};
}

ProactiveAlertPresentation criticalMemory(const Contributor& contributor, const std::string& reason) {
    const std::string incident = "memory-pressure incident snapshot. macos_memory_pressure=critical";
    return {.title = "Critical memory pressure detected",
            .message =
                "macOS reported critical memory pressure for one minute. " + contributor.subject() +
                (contributor.isOne() ? " was the largest contributor." : " were the largest contributors."),
            .systemImage = "memorychip",
            .destination = SmartAlertDestination::aiExplanation,
            .aiContext = SmartAlertAIContext{
                .processName = contributor.name,
                .reason = reason,
                .usageContext = contributor.usageContext(incident, "top_instance_memory_percent"),
                .displaySummary = "macOS pressure Critical · " + contributor.matching()}};
}

}  // namespace

ProactiveAlertPresentation ProactiveAlertPresentation::performance(const std::string& processName,
                                                                   std::int64_t processCount,
                                                                   const std::string& reason,
                                                                   double systemCPU, double topProcessUsage) {
    const Contributor contributor{.name = processName,
                                  .count = std::max<std::int64_t>(1, processCount),
                                  .topUsage = std::max(0.0, topProcessUsage)};
    return reason == "CPU" ? highCPU(contributor, systemCPU) : criticalMemory(contributor, reason);
}

std::string processLabel(const std::string& name, std::int64_t count) {
    return count > 1 ? name + " (×" + integerText(count) + ")" : name;
}

}  // namespace corvanta
