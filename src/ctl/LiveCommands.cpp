// SPDX-License-Identifier: Apache-2.0
#include "ctl/LiveCommands.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "core/ByteCount.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/ProcessTexts.h"
#include "core/Saturate.h"
#include "core/TextForms.h"
#include "ctl/Json.h"
#include "monitoring/BluetoothMonitor.h"
#include "platform/linux/Terminal.h"
#include "settings/AppSettings.h"

namespace corvanta::ctl {
namespace {

// How long `status` waits for the drives, of which a service or a program must be asked.
constexpr double drivesLimit = 3.0;      // seconds
constexpr double drivesInterval = 0.05;  // seconds

// The screen is cleared once; after that each picture is drawn over the last one, which doesn't flicker.
constexpr std::string_view hideCursorAndClear = "\x1b[?25l\x1b[2J";
constexpr std::string_view home = "\x1b[H";
constexpr std::string_view clearLineEnds = "\x1b[K\n";
constexpr std::string_view clearBelow = "\x1b[J";
constexpr std::string_view showCursor = "\x1b[?25h";

std::string speedText(double bytesPerSecond) {
    return NetworkSpeedFormatter::string(bytesPerSecond, NetworkFormat::auto_);
}

constexpr double secondsOf(std::chrono::seconds time) {
    return static_cast<double>(time.count());
}

std::optional<ProcessDetail> copyOf(const ProcessDetail* process) {
    return process != nullptr ? std::optional(*process) : std::nullopt;
}

/// The process with the most of something; null when there is none.
template <class Value>
const ProcessDetail* topProcess(const std::vector<ProcessDetail>& processes, Value ProcessDetail::*value) {
    const auto top = std::max_element(
        processes.begin(), processes.end(),
        [value](const ProcessDetail& a, const ProcessDetail& b) { return a.*value < b.*value; });
    return top == processes.end() ? nullptr : &*top;
}

std::string batteryText(const BatteryDetails& battery) {
    std::string text = integerText(battery.percentage) + "% (";
    text += chargingStateLabel(battery.isCharging, battery.isPluggedIn);
    text += ")";
    if (!battery.timeRemaining) return text;
    const std::string time = hoursAndMinutesString(*battery.timeRemaining);
    if (battery.isCharging) return text + ", full in " + time;
    return battery.isPluggedIn ? text : text + ", " + time + " remaining";
}

std::optional<std::string> batteryHealthText(const BatteryDetails& battery) {
    if (battery.healthPercent && battery.cycleCount) {
        return integerText(*battery.healthPercent) + "% (" + integerText(*battery.cycleCount) + " Cycles)";
    }
    if (battery.healthPercent) return integerText(*battery.healthPercent) + "%";
    if (battery.cycleCount) return integerText(*battery.cycleCount) + " Cycles";
    return std::nullopt;
}

Json jsonOf(const std::optional<BatteryDetails>& battery) {
    if (!battery) return nullptr;
    return {{"percentage", battery->percentage},          {"is_charging", battery->isCharging},
            {"is_plugged_in", battery->isPluggedIn},      {"time_remaining", orNull(battery->timeRemaining)},
            {"cycle_count", orNull(battery->cycleCount)}, {"health_percent", orNull(battery->healthPercent)}};
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
    : platform_(platform),
      loop_(MonitoringLoop::create(platform, makeCollectorSet(platform), {})),
      peripheralsGate_(secondsOf(BluetoothMonitor::refreshInterval)) {
    readings_ = loop_->collect({});
    platform_.thermal.thermalState();  // which is known some time after it was first asked for
}

LiveSample::~LiveSample() {
    loop_->close();
}

void LiveSample::measure() {
    readings_ = loop_->collect({});
    moment_ = platform_.clock.now();
    readings_.isLowPowerModeEnabled = platform_.lowPower.isLowPowerModeEnabled();
    thermalState_ = platform_.thermal.thermalState();
}

void LiveSample::refreshProcesses() {
    loop_->collectors().processes->getAllProcesses(true, platform_.clock.systemUptime());
}

void LiveSample::refresh() {
    measure();
    if (peripheralsGate_.shouldRefresh(platform_.clock.systemUptime())) {
        peripherals_ = BluetoothMonitor::readOnce(platform_);
    }
}

void LiveSample::awaitDrives() const {
    for (double waited = 0; waited < drivesLimit && loop_->collectors().disk->isAskingDrives();
         waited += drivesInterval) {
        platform_.waiter.wait(drivesInterval, {});
    }
}

void LiveSample::refreshAll() {
    refreshProcesses();
    refresh();
}

void LiveSample::refreshMachine() {
    refreshProcesses();
    measure();
}

StatusFigures LiveSample::statusFigures() const {
    const std::vector<ProcessDetail>& processes = *readings_.processes;
    StatusFigures figures;
    figures.thermalState = thermalWord(thermalState_);
    figures.memoryPressureLevel = loop_->collectors().memoryPressure->currentLevel();
    figures.ramSwap = readings_.ram.swap;
    figures.topCPU = copyOf(topProcess(processes, &ProcessDetail::cpuUsage));
    figures.topRAM = copyOf(topProcess(processes, &ProcessDetail::residentBytes));
    figures.cpuUsage = readings_.cpuUsage;
    if (const auto& battery = readings_.battery) {
        figures.batteryPercentage = battery->percentage;
        figures.isBatteryCharging = battery->isCharging;
        figures.batteryTimeRemaining = battery->timeRemaining;
        figures.batteryHealth = battery->healthPercent;
        figures.batteryCycleCount = battery->cycleCount;
    }
    figures.diskTotal = readings_.disk.total;
    figures.diskFree = readings_.disk.free;
    return figures;
}

WeeklyReportPresent LiveSample::reportPresent() const {
    WeeklyReportPresent present{.diskFree = readings_.disk.free};
    if (const auto& battery = readings_.battery) {
        present.batteryHealth = battery->healthPercent;
        present.batteryCycleCount = battery->cycleCount;
    }
    return present;
}

std::string LiveSample::text(const OutputOptions& options) const {
    const RAMDetails& ram = readings_.ram;
    const DiskCollector& disk = *loop_->collectors().disk;
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
    };
    if (disk.diskModel() != "Unknown" || disk.smartStatus() != SMARTStatus::unknown) {
        rows.push_back({"Drive", plainText(disk.diskModel()) + ", S.M.A.R.T. " +
                                     std::string(rawValue(disk.smartStatus()))});
    }
    rows.push_back({"Network", "up " + speedText(readings_.network.upload) + ", down " +
                                   speedText(readings_.network.download)});
    if (readings_.battery) {
        rows.push_back({"Battery", batteryText(*readings_.battery)});
        if (const auto health = batteryHealthText(*readings_.battery)) {
            rows.push_back({"Battery health", *health});
        }
    }
    rows.push_back({"Low power mode", readings_.isLowPowerModeEnabled ? "On" : "Off"});
    rows.push_back({"Thermal state", std::string(thermalWord(thermalState_))});
    const std::vector<ProcessDetail>& processes = *readings_.processes;
    rows.push_back({"Processes", integerText(processes.size())});
    if (const ProcessDetail* busiest = topProcess(processes, &ProcessDetail::cpuUsage)) {
        rows.push_back(
            {"Busiest process", plainText(busiest->name) + " " + processUsageString(busiest->cpuUsage)});
    }
    if (const ProcessDetail* largest = topProcess(processes, &ProcessDetail::residentBytes)) {
        rows.push_back({"Largest process", plainText(largest->name) + " " +
                                               formatBytes(static_cast<double>(largest->residentBytes))});
    }
    for (const BluetoothDevice& device : peripherals_) {
        const std::string battery =
            device.batteryLevel < 0 ? "" : " " + integerText(device.batteryLevel) + "%";
        rows.push_back({"Peripheral", plainText(device.name) + battery});
    }
    return table(rows);
}

std::string LiveSample::json() const {
    const RAMDetails& ram = readings_.ram;
    const DiskCollector& disk = *loop_->collectors().disk;
    const std::vector<ProcessDetail>& processes = *readings_.processes;
    Json object = {
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
         {{"free", saturatedInt64(readings_.disk.free)},
          {"total", saturatedInt64(readings_.disk.total)},
          {"model", disk.diskModel()},
          {"smart_status", rawValue(disk.smartStatus())}}},
        {"network", {{"upload", readings_.network.upload}, {"download", readings_.network.download}}},
        {"battery", jsonOf(readings_.battery)},
        {"low_power_mode", readings_.isLowPowerModeEnabled},
        {"thermal_state", thermalWord(thermalState_)},
        {"processes", processes.size()},
        {"top_cpu_process", nullptr},
        {"top_memory_process", nullptr},
        {"peripherals", Json::array()},
    };
    if (const ProcessDetail* busiest = topProcess(processes, &ProcessDetail::cpuUsage)) {
        object["top_cpu_process"] = {{"name", busiest->name}, {"cpu_usage", busiest->cpuUsage}};
    }
    if (const ProcessDetail* largest = topProcess(processes, &ProcessDetail::residentBytes)) {
        object["top_memory_process"] = {{"name", largest->name}, {"resident_bytes", largest->residentBytes}};
    }
    for (const BluetoothDevice& device : peripherals_) {
        const Json level = device.batteryLevel < 0 ? Json(nullptr) : Json(device.batteryLevel);
        object["peripherals"].push_back({{"name", device.name}, {"battery_level", level}});
    }
    return dumped(object) + "\n";
}

namespace {

int runStatus(const Surroundings& at) {
    LiveSample sample(at.ports);
    at.ports.waiter.wait(LiveSample::interval, {});
    sample.refreshAll();
    sample.awaitDrives();
    return print(at.output.json ? sample.json() : sample.text(at.output)) ? 0 : 1;
}

int runWatch(const Surroundings& at) {
    const AppSettings settings(at.ports.defaults, at.ports.loginItem, at.ports.clock, at.executor);
    const InterruptWait interruptWait;
    const bool redraws = at.output.color && !at.output.json;
    LiveSample sample(at.ports);
    if (redraws && !print(hideCursorAndClear)) return 1;
    bool isWritten = true;
    bool isFirst = true;
    double wait = LiveSample::interval;  // the first figures come soon, the others at the user's pace
    while (isWritten && interruptWait.wait(wait)) {
        if (std::exchange(isFirst, false)) {
            sample.refreshAll();
        } else {
            sample.refresh();
        }
        const std::string text = at.output.json ? sample.json() : sample.text(at.output);
        isWritten = print(redraws ? drawnOver(text) : at.output.json ? text : text + "\n");
        wait = timeInterval(settings.refreshFrequency());
    }
    if (redraws) print(showCursor);
    return isWritten ? 0 : 1;
}

}  // namespace

void addStatus(CommandList& commands) {
    commands.add("status", "Show this machine now", runStatus);
}

void addWatch(CommandList& commands) {
    commands.add("watch", "Show this machine at each refresh until interrupted", runWatch);
}

}  // namespace corvanta::ctl
