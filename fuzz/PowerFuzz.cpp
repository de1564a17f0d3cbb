// SPDX-License-Identifier: Apache-2.0
// The readers of the kernel's power supplies and of its announcements, and the details that stand on them.
// The first byte chooses the reader.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "monitoring/collectors/BatteryMonitor.h"
#include "platform/linux/PowerSupply.h"
#include "platform/linux/PowerUevent.h"
#include "platform/linux/TextScan.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

/// The lines are the attributes of batteries, one after another.
void readSupplies(std::string_view text) {
    constexpr std::size_t most = 4;
    std::vector<BatteryFigures> batteries;
    const auto figure = [&] { return parseFigure(takeLine(text).value_or("")); };
    while (!text.empty() && batteries.size() < most) {
        BatteryFigures battery;
        if (const auto status = parseAttribute(takeLine(text).value_or(""))) battery.status = *status;
        if (takeLine(text) == "charge") battery.unit = BatteryFigures::Unit::charge;
        for (auto* const value : {&battery.capacity, &battery.now, &battery.full, &battery.fullDesign,
                                  &battery.flow, &battery.voltage, &battery.cycleCount}) {
            *value = figure();
        }
        batteries.push_back(battery);
        if (text.find('\n') == std::string_view::npos) break;
    }
    const PowerReading reading = joinedBatteries(batteries, std::nullopt);
    check(reading.sources.size() == (batteries.empty() ? 0 : 1));
    if (batteries.empty()) return;
    const auto details = BatteryMonitor::detailsOf(reading.sources[0]);
    if (!details) return;
    check(details->percentage >= 0 && details->percentage <= 100);
    check(!details->timeRemaining || (*details->timeRemaining >= 1 && *details->timeRemaining <= 5999));
}

void readUevent(std::string_view text) {
    const auto event = parsePowerUevent(text);
    if (!event) return;
    check(!event->name.empty());
    PowerUeventFilter filter;
    check(filter.isChange(*event));
    check(filter.isChange(*event) == (event->action != "change"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] % 2 == 0) {
        readSupplies(text);
    } else {
        readUevent(text);
    }
    return 0;
}
