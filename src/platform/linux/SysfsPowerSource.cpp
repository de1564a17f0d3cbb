// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/SysfsPowerSource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/linux/KernelFile.h"

namespace corvanta {
namespace {

// Longer than any attribute that is read here.
constexpr std::size_t longestAttribute = 128;

std::optional<std::string> textIn(const std::string& folder, const char* name) {
    KernelFile file(folder + "/" + name);
    const auto text = file.read(longestAttribute);
    const auto value = text ? parseAttribute(*text) : std::nullopt;
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

std::optional<std::int64_t> figureIn(const std::string& folder, const char* name) {
    const auto text = textIn(folder, name);
    return text ? parseFigure(*text) : std::nullopt;
}

BatteryFigures figuresIn(const std::string& folder) {
    BatteryFigures figures;
    figures.status = textIn(folder, "status");
    figures.capacity = figureIn(folder, "capacity");
    figures.cycleCount = figureIn(folder, "cycle_count");
    figures.voltage = figureIn(folder, "voltage_now");
    figures.now = figureIn(folder, "energy_now");
    figures.full = figureIn(folder, "energy_full");
    if (figures.now || figures.full) {
        figures.fullDesign = figureIn(folder, "energy_full_design");
        figures.flow = figureIn(folder, "power_now");
        return figures;
    }
    figures.unit = BatteryFigures::Unit::charge;
    figures.now = figureIn(folder, "charge_now");
    figures.full = figureIn(folder, "charge_full");
    figures.fullDesign = figureIn(folder, "charge_full_design");
    figures.flow = figureIn(folder, "current_now");
    return figures;
}

std::optional<bool> isAnyOnline(const std::vector<std::string>& externals) {
    std::optional<bool> isOnline;
    for (const std::string& folder : externals) {
        if (const auto online = figureIn(folder, "online"))
            isOnline = isOnline.value_or(false) || *online == 1;
    }
    return isOnline;
}

}  // namespace

SysfsPowerSource::SysfsPowerSource(const std::string& sysRoot, const Clock& clock)
    : folder_(sysRoot + "/class/power_supply"), clock_(clock) {}

PowerReading SysfsPowerSource::read() {
    const double uptime = clock_.systemUptime();
    if (isListDue_.exchange(false) || uptime < listedAt_ || uptime - listedAt_ >= listInterval) {
        list();
        listedAt_ = uptime;
    }
    std::vector<BatteryFigures> figures;
    for (const std::string& battery : batteries_) {
        if (textIn(battery, "present") != "0") figures.push_back(figuresIn(battery));
    }
    // One that does not even tell its charge is on its way out.
    figures.erase(std::remove_if(figures.begin(), figures.end(),
                                 [](const BatteryFigures& battery) {
                                     return !battery.capacity && !battery.now && !battery.full;
                                 }),
                  figures.end());
    if (figures.empty()) return {};
    return joinedBatteries(figures, isAnyOnline(externals_));
}

void SysfsPowerSource::list() {
    batteries_.clear();
    externals_.clear();
    hasSupplies_ = false;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string supply = entry->path().string();
        const std::string type = textIn(supply, "type").value_or("");
        // That of a mouse or a headset, which says nothing of this machine.
        if (textIn(supply, "scope") == "Device") continue;
        if (type == "Battery") batteries_.push_back(supply);
        if (isExternalSupply(type)) externals_.push_back(supply);
        // A port that could feed others, as desktops have, does not count.
        if (type == "Battery" || type == "Mains") hasSupplies_ = true;
    }
    std::sort(batteries_.begin(), batteries_.end());
}

}  // namespace corvanta
