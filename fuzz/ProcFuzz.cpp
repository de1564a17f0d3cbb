// SPDX-License-Identifier: Apache-2.0
// Every reader of /proc text, and the sums that stand on what it reads. The first byte chooses the reader.
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/linux/MemInfo.h"
#include "platform/linux/PressureClassifier.h"
#include "platform/linux/ProcStat.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

void readStat(std::string_view text) {
    std::vector<CpuTicks> ticks;
    parseProcStat(text, ticks);
    for (std::size_t i = 1; i < ticks.size(); ++i) check(ticks[i - 1].cpu < ticks[i].cpu);
}

void readMemory(std::string_view text) {
    LinuxMemory memory;
    memory.info = parseMemInfo(text);
    memory.diskSwaps = parseSwaps(text);
    if (const auto usage = parseZramUsage(text))
        memory.zram.push_back({*usage, SwapArea{"/dev/zram0", 1 << 30, 1}});
    memory.arc = parseArcStats(text);
    const auto counters = deriveMemoryCounters(memory);
    if (!counters) return;
    const std::uint64_t total = *memory.info.memTotal;
    check(counters->free + counters->external + counters->purgeable + counters->active + counters->wired +
              counters->compressed ==
          total);
}

void readPressure(std::string_view text) {
    PressureWindow window;
    PressureClassifier classifier;
    const MemInfo info = parseMemInfo(text);
    for (double moment = 0; moment < 30; moment += 5) {
        const PressureFigures figures =
            window.feed(moment, info, parsePressure(text), parseSwapInPages(text));
        check(figures.some >= 0 && figures.some <= 100 && figures.full >= 0 && figures.full <= 100);
        classifier.feed(moment, figures);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
        case 0:
            readStat(text);
            break;
        case 1:
            readMemory(text);
            break;
        default:
            readPressure(text);
    }
    return 0;
}
