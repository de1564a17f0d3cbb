// SPDX-License-Identifier: Apache-2.0
#include "reports/StatusSummaryEngine.h"

#include <cmath>
#include <vector>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/ProcessTexts.h"
#include "monitoring/SystemMonitor.h"
#include "reports/Gigabyte.h"

namespace corvanta {
namespace {

double swapGigabytes(const StatusFigures& figures) {
    return std::isfinite(figures.ramSwap) ? figures.ramSwap / memoryGigabyte : 0;
}

std::string swapText(const StatusFigures& figures) {
    return fixedText(swapGigabytes(figures), 1);
}

/// Null when there is no process to name with its load.
const ProcessDetail* busiestOf(const StatusFigures& figures) {
    return figures.topCPU && std::isfinite(figures.topCPU->cpuUsage) ? &*figures.topCPU : nullptr;
}

bool isHot(const StatusFigures& figures) {
    return figures.thermalState == "Serious" || figures.thermalState == "Critical";
}

std::string heatText(const StatusFigures& figures) {
    const ProcessDetail* busiest = busiestOf(figures);
    if (busiest == nullptr) return "Your Mac is running warm. Close unused apps to help it cool down.";
    return "Your Mac is running warm — " + busiest->name + " is using " + fixedText(busiest->cpuUsage, 0) +
           "% CPU.";
}

std::string criticalMemoryText(const StatusFigures& figures) {
    if (!figures.topRAM || figures.topRAM->residentBytes == 0) {
        return "Memory pressure critical. " + swapText(figures) + " GB swapped to disk.";
    }
    const double resident = static_cast<double>(figures.topRAM->residentBytes) / memoryGigabyte;
    return "Memory pressure critical — " + figures.topRAM->name + " using " + fixedText(resident, 1) +
           " GB. " + swapText(figures) + " GB swapped.";
}

std::string elevatedMemoryText(const StatusFigures& figures) {
    if (swapGigabytes(figures) > 0.05) {
        return "Memory pressure elevated. " + swapText(figures) + " GB swapped to disk.";
    }
    return "Memory pressure elevated.";
}

bool isBusy(const StatusFigures& figures) {
    return std::isfinite(figures.cpuUsage) && figures.cpuUsage > 85;
}

std::string cpuText(const StatusFigures& figures) {
    const ProcessDetail* busiest = busiestOf(figures);
    if (busiest == nullptr) {
        return "CPU usage is high at " + fixedText(figures.cpuUsage, 0) + "%. Your Mac is working hard.";
    }
    return busiest->name + " is using " + processUsageString(busiest->cpuUsage) +
           " CPU, keeping your Mac busy.";
}

bool isBatteryLow(const StatusFigures& figures) {
    return figures.batteryPercentage && *figures.batteryPercentage <= 19 && !figures.isBatteryCharging;
}

std::string lowBatteryText(const StatusFigures& figures) {
    const std::string percentage = integerText(*figures.batteryPercentage);
    if (figures.batteryTimeRemaining && *figures.batteryTimeRemaining >= 1) {
        return percentage + "% battery — about " + integerText(*figures.batteryTimeRemaining) +
               " minutes remaining.";
    }
    return percentage + "% battery remaining. Plug in soon.";
}

bool isBatteryWorn(const StatusFigures& figures) {
    return figures.batteryHealth && *figures.batteryHealth <= 84;
}

std::string batteryHealthText(const StatusFigures& figures) {
    std::string text = "Battery health at " + integerText(*figures.batteryHealth) + "%";
    if (figures.batteryCycleCount) text += " (" + integerText(*figures.batteryCycleCount) + " cycles)";
    return text + ". Consider service.";
}

bool isDiskFull(const StatusFigures& figures) {
    return std::isfinite(figures.diskFree) && std::isfinite(figures.diskTotal) && figures.diskTotal > 0 &&
           (figures.diskTotal - figures.diskFree) / figures.diskTotal > 0.95;
}

std::string diskText(const StatusFigures& figures) {
    return "Only " + fixedText(figures.diskFree / diskGigabyte, 1) +
           " GB free on disk. Consider cleaning up.";
}

std::optional<ProcessDetail> firstOf(const std::vector<ProcessDetail>& processes) {
    return processes.empty() ? std::nullopt : std::optional(processes.front());
}

StatusFigures figuresOf(const SystemMonitor& monitor) {
    return {.thermalState = monitor.thermalState(),
            .memoryPressureLevel = monitor.memoryPressureLevel(),
            .ramSwap = monitor.ramSwap(),
            .topCPU = firstOf(monitor.topCPU()),
            .topRAM = firstOf(monitor.topRAM()),
            .cpuUsage = monitor.cpuUsage(),
            .batteryPercentage = monitor.batteryPercentage(),
            .isBatteryCharging = monitor.isBatteryCharging(),
            .batteryTimeRemaining = monitor.batteryTimeRemaining(),
            .batteryHealth = monitor.batteryHealth(),
            .batteryCycleCount = monitor.batteryCycleCount(),
            .diskTotal = monitor.diskTotal(),
            .diskFree = monitor.diskFree()};
}

}  // namespace

std::string StatusSummaryEngine::summarize(const StatusFigures& figures, int minute) {
    if (isHot(figures)) return heatText(figures);
    if (figures.memoryPressureLevel == MemoryPressureLevel::critical) return criticalMemoryText(figures);
    if (figures.memoryPressureLevel == MemoryPressureLevel::warning) return elevatedMemoryText(figures);
    if (isBusy(figures)) return cpuText(figures);
    if (isBatteryLow(figures)) return lowBatteryText(figures);
    if (isBatteryWorn(figures)) return batteryHealthText(figures);
    if (isDiskFull(figures)) return diskText(figures);
    // A line that alternates doesn't look frozen.
    return minute % 2 != 0 ? "Running normally" : "All systems running smoothly";
}

std::string StatusSummaryEngine::summarize(const SystemMonitor& monitor, Instant now) {
    return summarize(figuresOf(monitor), localMinute(storedSeconds(now)));
}

}  // namespace corvanta
