// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxMemorySource.h"

#include <dirent.h>
#include <unistd.h>

#include <memory>
#include <string_view>
#include <utility>

namespace corvanta {
namespace {

constexpr std::size_t mostText = std::size_t{64} * 1024;
constexpr std::string_view devicePrefix = "/dev/";

// Devices and file systems come and go rarely, and looking for them costs more than a whole reading.
constexpr unsigned readingsBetweenSearches = 30;

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

LinuxMemorySource::LinuxMemorySource(const std::string& procRoot, std::string sysRoot)
    : sysRoot_(std::move(sysRoot)),
      memInfo_(procRoot + "/meminfo"),
      swaps_(procRoot + "/swaps"),
      arcStats_(procRoot + "/spl/kstat/zfs/arcstats") {}

MemoryReading LinuxMemorySource::readMemory() {
    MemoryReading reading;
    LinuxMemory memory;
    if (const auto text = memInfo_.read(mostText)) memory.info = parseMemInfo(*text);
    if (readings_++ % readingsBetweenSearches == 0) {
        findZramDevices();
        hasArc_ = arcStats_.read(mostText).has_value();
    }
    addSwapAndZram(memory);
    if (const auto text = hasArc_ ? arcStats_.read(mostText) : std::nullopt)
        memory.arc = parseArcStats(*text);

    if (memory.info.swapTotal && memory.info.swapFree && *memory.info.swapTotal > *memory.info.swapFree) {
        reading.swapUsed = *memory.info.swapTotal - *memory.info.swapFree;
    }
    reading.physicalMemory =
        memory.info.memTotal.value_or(static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                                      static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
    reading.counters = deriveMemoryCounters(memory);
    return reading;
}

void LinuxMemorySource::findZramDevices() {
    const std::string blockDevices = sysRoot_ + "/block";
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(blockDevices.c_str()));
    std::map<std::string, KernelFile> found;
    while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name.rfind("zram", 0) != 0) continue;
        found.emplace(name,
                      KernelFile(std::string(blockDevices).append("/").append(name).append("/mm_stat")));
    }
    zramStats_.swap(found);
}

void LinuxMemorySource::addSwapAndZram(LinuxMemory& memory) {
    std::map<std::string, ZramDevice> devices;
    for (auto& [name, file] : zramStats_) {
        const auto text = file.read(mostText);
        const auto usage = text ? parseZramUsage(*text) : std::nullopt;
        if (usage) devices[name].usage = *usage;
    }
    if (const auto text = swaps_.read(mostText)) {
        for (SwapArea& area : parseSwaps(*text)) {
            const std::string_view name = area.name;
            const bool isDevice = name.substr(0, devicePrefix.size()) == devicePrefix;
            const auto device = devices.find(isDevice ? area.name.substr(devicePrefix.size()) : area.name);
            if (device != devices.end()) {
                device->second.swap = std::move(area);
            } else {
                memory.diskSwaps.push_back(std::move(area));
            }
        }
    }
    for (auto& [name, device] : devices) memory.zram.push_back(std::move(device));
}

}  // namespace corvanta
