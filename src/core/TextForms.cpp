// SPDX-License-Identifier: Apache-2.0
#include "core/TextForms.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "core/NumberText.h"
#include "core/Saturate.h"

namespace corvanta {
namespace {

std::string fixedSpeed(double value, std::string_view unit) {
    const int decimals = value >= 100.0 ? 0 : value >= 10.0 ? 1 : 2;
    return fixedText(value, decimals).append(" ").append(unit);
}

NetworkFormat autoFormat(double value) {
    if (value >= 1e9) return NetworkFormat::GBps;
    if (value >= 1e6) return NetworkFormat::MBps;
    if (value >= 1000) return NetworkFormat::KBps;
    return NetworkFormat::auto_;
}

}  // namespace

std::string NetworkSpeedFormatter::string(double bytesPerSecond, NetworkFormat format) {
    const double value = std::isfinite(bytesPerSecond) && bytesPerSecond > 0 ? bytesPerSecond : 0.0;
    if (format == NetworkFormat::auto_) format = autoFormat(value);
    switch (format) {
        case NetworkFormat::auto_:
            return integerText(saturatedInt64(std::round(value))) + " B/s";
        case NetworkFormat::GBps:
            return fixedSpeed(value / 1e9, "GB/s");
        case NetworkFormat::MBps:
            return fixedSpeed(value / 1e6, "MB/s");
        case NetworkFormat::KBps:
            return fixedSpeed(value / 1000, "KB/s");
        case NetworkFormat::gbps:
            return fixedSpeed(value * 8 / 1e9, "Gbps");
        case NetworkFormat::mbps:
            return fixedSpeed(value * 8 / 1e6, "Mbps");
        case NetworkFormat::kbps:
            return fixedSpeed(value * 8 / 1000, "kbps");
    }
    std::abort();
}

std::string speedString(double bytesPerSecond) {
    const double value = bytesPerSecond > 0 ? bytesPerSecond : 0.0;
    if (value >= 1e9) return fixedText(value / 1e9, 1) + " GB/s";
    if (value >= 1e6) return fixedText(value / 1e6, 1) + " MB/s";
    if (value >= 1000) return fixedText(value / 1000, 0) + " KB/s";
    return fixedText(value, 0) + " B/s";
}

std::string durationString(double seconds) {
    const std::int64_t n = std::max<std::int64_t>(0, saturatedInt64(std::round(seconds)));
    if (n < 60) return integerText(n) + "s";
    if (n < 3600) return integerText(n / 60) + "m " + integerText(n % 60) + "s";
    return integerText(n / 3600) + "h " + integerText(n % 3600 / 60) + "m";
}

std::string percentText(double percentage) {
    return fixedText(percentage, 0) + "%";
}

std::string hoursAndMinutesString(std::int64_t minutes) {
    return integerText(minutes / 60) + "h " + integerText(minutes % 60) + "m";
}

std::string_view chargingStateLabel(bool isCharging, bool isPluggedIn) {
    if (isCharging) return "Charging";
    return isPluggedIn ? "Plugged In, Not Charging" : "On Battery";
}

std::string_view thermalWord(int state) {
    switch (state) {
        case 0:
            return "Nominal";
        case 1:
            return "Fair";
        case 2:
            return "Serious";
        case 3:
            return "Critical";
        default:
            return "Unknown";
    }
}

}  // namespace corvanta
