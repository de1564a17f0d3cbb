// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MemoryCounterSource.h"

namespace corvanta {

/// The lines of /proc/meminfo that are used, in bytes; absent where the file has no such line.
struct MemInfo {
    std::optional<std::uint64_t> memTotal;
    std::optional<std::uint64_t> memFree;
    std::optional<std::uint64_t> memAvailable;
    std::optional<std::uint64_t> activeAnon;
    std::optional<std::uint64_t> inactiveAnon;
    std::optional<std::uint64_t> kReclaimable;
    std::optional<std::uint64_t> sReclaimable;
    std::optional<std::uint64_t> swapTotal;
    std::optional<std::uint64_t> swapFree;
    std::optional<std::uint64_t> zswap;  ///< the compressed pool in front of the swap devices

    bool operator==(const MemInfo&) const = default;
};

MemInfo parseMemInfo(std::string_view text);

/// One row of /proc/swaps, in bytes.
struct SwapArea {
    std::string name;  ///< as in "/dev/zram0"
    std::uint64_t size = 0;
    std::uint64_t used = 0;

    bool operator==(const SwapArea&) const = default;
};

std::vector<SwapArea> parseSwaps(std::string_view text);

/// The first three figures of a zram device's mm_stat, in bytes.
struct ZramUsage {
    std::uint64_t originalData = 0;
    std::uint64_t compressedData = 0;
    std::uint64_t memoryUsed = 0;  ///< what the device takes of the memory

    bool operator==(const ZramUsage&) const = default;
};

std::optional<ZramUsage> parseZramUsage(std::string_view text);

/// A zram device, and the swap area on it if it holds one.
struct ZramDevice {
    ZramUsage usage;
    std::optional<SwapArea> swap;

    bool operator==(const ZramDevice&) const = default;
};

/// Figures of the ZFS cache, which the kernel counts as used although it gives memory back.
struct ArcUsage {
    std::uint64_t size = 0;
    std::uint64_t minimum = 0;  ///< it never shrinks below this

    bool operator==(const ArcUsage&) const = default;
};

std::optional<ArcUsage> parseArcStats(std::string_view text);

struct LinuxMemory {
    MemInfo info;
    std::vector<SwapArea> diskSwaps;  ///< those that are not on zram
    std::vector<ZramDevice> zram;
    std::optional<ArcUsage> arc;

    bool operator==(const LinuxMemory&) const = default;
};

/// What the kernel's figures say of free, reclaimable, anonymous and pinned memory.
///
/// free + external + purgeable is MemAvailable (with what the ZFS cache can give back), and active + wired +
/// compressed is all the rest. Wired is the kernel's own share plus the anonymous memory that no quick swap
/// can take, the latter weighted by the share of memory in use: the chance that the next byte asked for must
/// come from it. A free byte of disk swap counts as half a quick one, a free byte of zram as what compression
/// saves. Absent when a figure that all this rests on is missing.
std::optional<VirtualMemoryCounters> deriveMemoryCounters(const LinuxMemory& memory);

}  // namespace corvanta
