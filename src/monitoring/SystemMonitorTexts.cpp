// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "core/ByteCount.h"
#include "core/TextForms.h"
#include "monitoring/SystemMonitor.h"

namespace corvanta {
namespace {

double fractionOf(double part, double total) {
    return total > 0 ? std::min(1.0, part / total) : 0.0;
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
