// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ProcStat.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t bytesPerLine = 128;
constexpr std::size_t longestHead = std::size_t{4} << 20;  // more processors than any kernel supports

std::optional<CpuTicks> parseLine(std::string_view number, std::string_view fields) {
    CpuTicks ticks;
    const auto cpu = parseNumber<std::uint32_t>(number);
    if (!cpu) return std::nullopt;
    ticks.cpu = *cpu;

    // user, nice, system, idle, iowait, irq, softirq, steal; the guest fields after them are counted already.
    std::array<std::uint64_t, 8> counters{};
    std::size_t count = 0;
    for (auto word = takeWord(fields); !word.empty() && count < counters.size(); word = takeWord(fields)) {
        const auto value = parseNumber<std::uint64_t>(word);
        if (!value) return std::nullopt;
        counters[count++] = *value;
    }
    if (count < 4) return std::nullopt;
    ticks.user = counters[0];
    ticks.nice = counters[1];
    ticks.system = counters[2] + counters[5] + counters[6] + counters[7];
    ticks.idle = counters[3] + counters[4];
    return ticks;
}

}  // namespace

bool parseProcStat(std::string_view text, std::vector<CpuTicks>& ticks) {
    ticks.clear();
    constexpr std::string_view prefix = "cpu";
    while (const auto line = takeLine(text)) {
        std::string_view rest = *line;
        std::string_view name = takeWord(rest);
        if (name.substr(0, prefix.size()) != prefix) return true;
        name.remove_prefix(prefix.size());
        if (name.empty()) continue;  // the sum over all processors
        const auto parsed = parseLine(name, rest);
        if (parsed && (ticks.empty() || ticks.back().cpu < parsed->cpu)) ticks.push_back(*parsed);
    }
    return false;
}

ProcStatTickSource::ProcStatTickSource(const std::string& procRoot) : file_(procRoot + "/stat") {
    const auto processors = static_cast<std::size_t>(std::max(1L, sysconf(_SC_NPROCESSORS_CONF)));
    headLength_ = bytesPerLine * (processors + 2);
}

bool ProcStatTickSource::readTicks(std::vector<CpuTicks>& ticks) {
    while (const auto text = file_.read(headLength_)) {
        if (parseProcStat(*text, ticks)) return !ticks.empty();
        const bool wasCutByTheLimit = text->size() == headLength_;
        if (!wasCutByTheLimit || headLength_ >= longestHead) break;
        headLength_ *= 2;
    }
    ticks.clear();
    return false;
}

}  // namespace corvanta
