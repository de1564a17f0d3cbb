// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/MemInfo.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr double quickShareOfDiskSwap = 0.5;
constexpr double assumedCompression = 1.0 / 3;
constexpr std::uint64_t enoughToMeasureCompression = std::uint64_t{64} << 20;
constexpr std::uint64_t mostKibibytes = std::uint64_t{1} << 50;  // an exbibyte; more is no figure of memory

std::optional<std::uint64_t> kibibytes(std::string_view word) {
    const auto value = parseNumber<std::uint64_t>(word);
    if (!value || *value > mostKibibytes) return std::nullopt;
    return *value * 1024;
}

constexpr std::array<std::pair<std::string_view, std::optional<std::uint64_t> MemInfo::*>, 10> memInfoLines =
    {{
        {"MemTotal:", &MemInfo::memTotal},
        {"MemFree:", &MemInfo::memFree},
        {"MemAvailable:", &MemInfo::memAvailable},
        {"Active(anon):", &MemInfo::activeAnon},
        {"Inactive(anon):", &MemInfo::inactiveAnon},
        {"KReclaimable:", &MemInfo::kReclaimable},
        {"SReclaimable:", &MemInfo::sReclaimable},
        {"SwapTotal:", &MemInfo::swapTotal},
        {"SwapFree:", &MemInfo::swapFree},
        {"Zswap:", &MemInfo::zswap},
    }};

std::uint64_t belowOrZero(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : 0;
}

// How much anonymous memory the free swap can take up quickly.
double quickSwapRoom(const LinuxMemory& memory) {
    double room = 0;
    for (const SwapArea& swap : memory.diskSwaps) {
        room += static_cast<double>(belowOrZero(swap.size, swap.used)) * quickShareOfDiskSwap;
    }
    for (const ZramDevice& device : memory.zram) {
        if (!device.swap) continue;
        double ratio = assumedCompression;
        if (device.usage.originalData >= enoughToMeasureCompression) {
            ratio = std::clamp(
                static_cast<double>(device.usage.memoryUsed) / static_cast<double>(device.usage.originalData),
                0.1, 1.0);
        }
        room += static_cast<double>(belowOrZero(device.swap->size, device.swap->used)) * (1 - ratio);
    }
    return room;
}

}  // namespace

MemInfo parseMemInfo(std::string_view text) {
    MemInfo info;
    // The kernel writes its lines in one order, so the next match is mostly the next entry.
    std::size_t next = 0;
    while (auto line = takeLine(text)) {
        const std::string_view key = takeWord(*line);
        for (std::size_t i = 0; i < memInfoLines.size(); ++i) {
            const auto& [name, member] = memInfoLines[(next + i) % memInfoLines.size()];
            if (name != key) continue;
            info.*member = kibibytes(takeWord(*line));
            next = (next + i + 1) % memInfoLines.size();
            break;
        }
    }
    return info;
}

std::vector<SwapArea> parseSwaps(std::string_view text) {
    std::vector<SwapArea> areas;
    if (!takeLine(text)) return areas;  // the column titles
    while (auto line = takeLine(text)) {
        SwapArea area;
        area.name = takeWord(*line);
        takeWord(*line);  // the type
        const auto size = kibibytes(takeWord(*line));
        const auto used = kibibytes(takeWord(*line));
        if (area.name.empty() || !size || !used) continue;
        area.size = *size;
        area.used = *used;
        areas.push_back(std::move(area));
    }
    return areas;
}

std::optional<ZramUsage> parseZramUsage(std::string_view text) {
    auto line = takeLine(text);
    if (!line) return std::nullopt;
    const auto original = parseNumber<std::uint64_t>(takeWord(*line));
    const auto compressed = parseNumber<std::uint64_t>(takeWord(*line));
    const auto used = parseNumber<std::uint64_t>(takeWord(*line));
    if (!original || !compressed || !used) return std::nullopt;
    return ZramUsage{*original, *compressed, *used};
}

std::optional<ArcUsage> parseArcStats(std::string_view text) {
    std::optional<std::uint64_t> size;
    std::optional<std::uint64_t> minimum;
    while (auto line = takeLine(text)) {
        const std::string_view name = takeWord(*line);
        if (name != "size" && name != "c_min") continue;
        takeWord(*line);  // the type
        (name == "size" ? size : minimum) = parseNumber<std::uint64_t>(takeWord(*line));
    }
    if (!size || !minimum) return std::nullopt;
    return ArcUsage{*size, *minimum};
}

std::optional<VirtualMemoryCounters> deriveMemoryCounters(const LinuxMemory& memory) {
    const MemInfo& info = memory.info;
    if (!info.memTotal || !info.memFree || !info.memAvailable || !info.activeAnon || !info.inactiveAnon) {
        return std::nullopt;
    }
    const std::uint64_t total = *info.memTotal;
    const std::uint64_t fromArc = memory.arc ? belowOrZero(memory.arc->size, memory.arc->minimum) : 0;
    const std::uint64_t memAvailable = std::min(*info.memAvailable, total);
    const std::uint64_t available = memAvailable + std::min(fromArc, total - memAvailable);
    const std::uint64_t used = total - available;
    const std::uint64_t anonymous = *info.activeAnon + *info.inactiveAnon;

    VirtualMemoryCounters counters;
    counters.free = std::min(*info.memFree, available);
    counters.purgeable =
        std::min(info.kReclaimable.value_or(info.sReclaimable.value_or(0)), available - counters.free);
    counters.external = available - counters.free - counters.purgeable;

    std::uint64_t compressed = info.zswap.value_or(0);
    for (const ZramDevice& device : memory.zram) compressed += device.usage.memoryUsed;
    counters.compressed = std::min(compressed, used);

    const double pinned = std::max(0.0, static_cast<double>(anonymous) - quickSwapRoom(memory));
    const double kernel = std::max(0.0, static_cast<double>(used) - static_cast<double>(anonymous) -
                                            static_cast<double>(counters.compressed));
    const double weight = total > 0 ? static_cast<double>(used) / static_cast<double>(total) : 0.0;
    const std::uint64_t uncompressed = used - counters.compressed;
    counters.wired =
        static_cast<std::uint64_t>(std::min(kernel + pinned * weight, static_cast<double>(uncompressed)));
    counters.wired = std::min(counters.wired, uncompressed);
    counters.active = uncompressed - counters.wired;
    return counters;
}

}  // namespace corvanta
