// SPDX-License-Identifier: Apache-2.0
#include "ctl/LiveCommands.h"

#include <algorithm>
#include <vector>

#include "core/ByteCount.h"
#include "core/PlainText.h"
#include "core/Saturate.h"
#include "core/TextForms.h"
#include "ctl/Json.h"
#include "platform/linux/Terminal.h"

namespace corvanta::ctl {
namespace {

constexpr double statusInterval = 0.5;  // seconds between the two readings

// The screen is cleared once; after that each picture is drawn over the last one, which doesn't flicker.
constexpr std::string_view hideCursorAndClear = "\x1b[?25l\x1b[2J";
constexpr std::string_view home = "\x1b[H";
constexpr std::string_view clearLineEnds = "\x1b[K\n";
constexpr std::string_view clearBelow = "\x1b[J";
constexpr std::string_view showCursor = "\x1b[?25h";

std::string speedText(double bytesPerSecond) {
    return NetworkSpeedFormatter::string(bytesPerSecond, NetworkFormat::auto_);
}

const ProcessDetail* largestProcess(const std::vector<ProcessDetail>& processes) {
    const auto largest = std::max_element(
        processes.begin(), processes.end(),
        [](const ProcessDetail& a, const ProcessDetail& b) { return a.residentBytes < b.residentBytes; });
    return largest == processes.end() ? nullptr : &*largest;
}

std::string drawnOver(std::string_view text) {
    std::string drawn(home);
    for (const char c : text) {
        if (c == '\n') {
            drawn += clearLineEnds;
        } else {
            drawn += c;
        }
    }
    return drawn.append(clearBelow);
}

}  // namespace

LiveSample::LiveSample(const Platform& platform)
    : platform_(platform), loop_(MonitoringLoop::create(platform, makeCollectorSet(platform), {})) {
    refresh();
}

LiveSample::~LiveSample() {
    loop_->close();
}

void LiveSample::refresh() {
    readings_ = loop_->collect({});
    platform_.lowPower.refresh();
    readings_.isLowPowerModeEnabled = platform_.lowPower.isLowPowerModeEnabled();
    moment_ = platform_.clock.now();
}

std::string LiveSample::text(const OutputOptions& options) const {
    const RAMDetails& ram = readings_.ram;
    const MemoryPressureLevel level = loop_->collectors().memoryPressure->currentLevel();
    const bool isKnown = level != MemoryPressureLevel::unavailable;
    const MemoryPressureLevel shown = isKnown ? level : ram.estimatedPressureLevel;
    const std::string pressure = std::string(isKnown ? "" : "Est. ").append(label(shown));
    std::vector<std::vector<std::string>> rows = {
        {"CPU", percentText(readings_.cpuUsage)},
        {"Memory available", formatBytes(ram.available) + " of " + formatBytes(ram.total)},
        {"Memory pressure", colored(pressure, color(shown), options) + " (" +
                                percentText(ram.estimatedPressurePercentage) + " estimated)"},
        {"Active", formatBytes(ram.active)},
        {"Wired", formatBytes(ram.wired)},
        {"Compressed", formatBytes(ram.compressed)},
        {"Swap used", formatBytes(ram.swap)},
        {"Disk free", formatDiskBytes(readings_.disk.free) + " of " + formatDiskBytes(readings_.disk.total)},
        {"Network",
         "up " + speedText(readings_.network.upload) + ", down " + speedText(readings_.network.download)},
        {"Processes", integerText(readings_.processes->size())},
    };
    if (const ProcessDetail* largest = largestProcess(*readings_.processes)) {
        rows.push_back({"Largest process", plainText(largest->name) + " " +
                                               formatBytes(static_cast<double>(largest->residentBytes))});
    }
    return table(rows);
}

std::string LiveSample::json() const {
    const RAMDetails& ram = readings_.ram;
    const Json object = {
        {"timestamp", secondsSince1970(moment_)},
        {"cpu_usage", readings_.cpuUsage},
        {"memory",
         {{"total", saturatedInt64(ram.total)},
          {"available", saturatedInt64(ram.available)},
          {"active", saturatedInt64(ram.active)},
          {"wired", saturatedInt64(ram.wired)},
          {"compressed", saturatedInt64(ram.compressed)},
          {"swap_used", saturatedInt64(ram.swap)},
          {"estimated_pressure", ram.estimatedPressurePercentage},
          {"estimated_pressure_level", label(ram.estimatedPressureLevel)},
          {"pressure_level", label(loop_->collectors().memoryPressure->currentLevel())}}},
        {"disk",
         {{"free", saturatedInt64(readings_.disk.free)}, {"total", saturatedInt64(readings_.disk.total)}}},
        {"network", {{"upload", readings_.network.upload}, {"download", readings_.network.download}}},
        {"processes", readings_.processes->size()},
    };
    return dumped(object) + "\n";
}

int runStatus(const Platform& platform, const OutputOptions& options) {
    LiveSample sample(platform);
    platform.waiter.wait(statusInterval, {});
    sample.refresh();
    return print(options.json ? sample.json() : sample.text(options)) ? 0 : 1;
}

int runWatch(const Platform& platform, const AppSettings& settings, const OutputOptions& options) {
    const InterruptWait interruptWait;
    const bool redraws = options.color && !options.json;
    LiveSample sample(platform);
    if (redraws && !print(hideCursorAndClear)) return 1;
    bool isWritten = true;
    double wait = statusInterval;  // the first figures come soon, the others at the user's pace
    while (isWritten && interruptWait.wait(wait)) {
        sample.refresh();
        const std::string text = options.json ? sample.json() : sample.text(options);
        isWritten = print(redraws ? drawnOver(text) : options.json ? text : text + "\n");
        wait = timeInterval(settings.refreshFrequency());
    }
    if (redraws) print(showCursor);
    return isWritten ? 0 : 1;
}

}  // namespace corvanta::ctl
