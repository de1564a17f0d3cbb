// SPDX-License-Identifier: Apache-2.0
#include <QThread>
#include <algorithm>
#include <string_view>

#include "core/ByteCount.h"
#include "core/NumberText.h"
#include "core/TextForms.h"
#include "monitoring/SystemMonitor.h"

namespace corvanta {
namespace {

double fractionOf(double part, double total) {
    return total > 0 ? std::min(1.0, part / total) : 0.0;
}

constexpr std::string_view lineStart = "\n• ";
constexpr std::string_view blockStart = "\n\n";

std::string line(std::string_view title, std::string_view value) {
    return std::string(lineStart).append(title).append(value);
}

}  // namespace

std::string SystemMonitor::formattedCPU() const {
    return percentText(cpuUsage_);
}

double SystemMonitor::ramUsedBytes() const {
    return std::max(0.0, ram_.active + ram_.wired + ram_.compressed);
}

double SystemMonitor::ramAvailableBytes() const {
    return std::max(0.0, ram_.available);
}

double SystemMonitor::ramUsedFraction() const {
    return fractionOf(ramUsedBytes(), ram_.total);
}

double SystemMonitor::ramAvailableFraction() const {
    return fractionOf(ramAvailableBytes(), ram_.total);
}

std::string SystemMonitor::formattedRAM() const {
    const bool showsAvailable = settings_.gaugeValueMode() == GaugeValueMode::remaining;
    if (settings_.valueFormat() == ValueFormat::percentage) {
        return percentText((showsAvailable ? ramAvailableFraction() : ramUsedFraction()) * 100);
    }
    return formatBytes(showsAvailable ? ramAvailableBytes() : ramUsedBytes());
}

std::string SystemMonitor::formattedDisk() const {
    if (settings_.valueFormat() == ValueFormat::percentage) {
        return percentText(disk_.total > 0 ? disk_.free / disk_.total * 100 : 0);
    }
    return formatDiskBytes(disk_.free);
}

std::string SystemMonitor::formattedBattery() const {
    return batteryPercentage_ ? integerText(*batteryPercentage_) + "%" : "N/A";
}

MemoryPressureLevel SystemMonitor::displayedMemoryPressureLevel() const {
    return memoryPressureLevel_ == MemoryPressureLevel::unavailable ? estimatedMemoryPressureLevel_
                                                                    : memoryPressureLevel_;
}

std::string SystemMonitor::formattedMemoryPressure() const {
    if (memoryPressureLevel_ == MemoryPressureLevel::unavailable) {
        return std::string("Est. ").append(label(estimatedMemoryPressureLevel_));
    }
    return std::string(label(memoryPressureLevel_));
}

std::string SystemMonitor::formattedUpload() const {
    return formatNetworkSpeed(network_.upload);
}

std::string SystemMonitor::formattedDownload() const {
    return formatNetworkSpeed(network_.download);
}

std::string SystemMonitor::tooltipText() const {
    Q_ASSERT(thread() == QThread::currentThread());
    std::string text = cpuTooltip();
    text.append(blockStart).append(memoryTooltip());
    text.append(blockStart).append(diskTooltip());
    text.append(blockStart).append(networkTooltip());
    if (batteryPercentage_) text.append(blockStart).append(batteryTooltip());
    return text;
}

std::string SystemMonitor::cpuTooltip() const {
    return "CPU Load: " + formattedCPU() + line("Model: ", systemInfo_.cpuModel) +
           line("Cores: ", integerText(systemInfo_.physicalCores)) + " Physical, " +
           integerText(systemInfo_.logicalCores) + " Logical";
}

std::string SystemMonitor::memoryTooltip() const {
    return "Memory Available: " + formatBytes(ram_.available) + " of " + formatBytes(ram_.total) +
           line("macOS Pressure: ", label(memoryPressureLevel_)) +
           line("Estimated Pressure: ", label(estimatedMemoryPressureLevel_)) + " (" +
           percentText(memoryPressurePercentage_) + ")" + line("Active: ", formatBytes(ram_.active)) +
           line("Wired: ", formatBytes(ram_.wired)) + line("Compressed: ", formatBytes(ram_.compressed)) +
           line("Swap Used: ", formatBytes(ram_.swap));
}

std::string SystemMonitor::diskTooltip() const {
    std::string text = "Disk Free: " + formatDiskBytes(disk_.free) + " of " + formatDiskBytes(disk_.total);
    if (diskSmartStatus_ != SMARTStatus::unknown) {
        text += line("Model: ", diskModel_) + line("S.M.A.R.T.: ", rawValue(diskSmartStatus_));
    }
    return text;
}

std::string SystemMonitor::networkTooltip() const {
    return "Network Speed" + line("Up: ", formattedUpload()) + " | Down: " + formattedDownload();
}

std::string SystemMonitor::batteryTooltip() const {
    std::string text = "Battery: " + formattedBattery() + " (";
    text.append(chargingStateLabel(isBatteryCharging_, isBatteryPluggedIn_)).append(")");
    if (batteryTimeRemaining_ && (isBatteryCharging_ || !isBatteryPluggedIn_)) {
        text += line(isBatteryCharging_ ? "Time to Full: " : "Time Remaining: ",
                     hoursAndMinutesString(*batteryTimeRemaining_));
    }
    text += line("Low Power Mode: ", isLowPowerModeEnabled_ ? "On" : "Off");
    if (batteryHealth_ && batteryCycleCount_) {
        text += line("Health: ", integerText(*batteryHealth_)) + "% (" + integerText(*batteryCycleCount_) +
                " Cycles)";
    }
    return text;
}

std::string SystemMonitor::formatBytes(double value) {
    return corvanta::formatBytes(value);
}

std::string SystemMonitor::formatDiskBytes(double value) {
    return corvanta::formatDiskBytes(value);
}

std::string SystemMonitor::formatNetworkSpeed(double bytesPerSecond) const {
    return NetworkSpeedFormatter::string(bytesPerSecond, settings_.networkFormat());
}

}  // namespace corvanta
