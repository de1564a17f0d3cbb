// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PressureWatch.h"

#include <cstddef>

namespace corvanta {
namespace {

constexpr std::size_t mostText = std::size_t{64} * 1024;

}  // namespace

PressureWatch::PressureWatch(const std::string& procRoot)
    : pressure_(procRoot + "/pressure/memory"),
      memInfo_(procRoot + "/meminfo"),
      vmStat_(procRoot + "/vmstat") {}

std::optional<MemoryPressureEvents> PressureWatch::look(double moment) {
    const auto infoText = memInfo_.read(mostText);
    if (!infoText) return std::nullopt;
    const MemInfo info = parseMemInfo(*infoText);
    if (!info.memTotal || !info.memAvailable) return std::nullopt;

    const auto pressureText = pressure_.read(mostText);
    const auto totals = pressureText ? parsePressure(*pressureText) : std::nullopt;
    std::optional<std::uint64_t> swapInPages;
    if (!totals) {
        if (const auto text = vmStat_.read(mostText)) swapInPages = parseSwapInPages(*text);
    }
    return classifier_.feed(moment, window_.feed(moment, info, totals, swapInPages));
}

}  // namespace corvanta
