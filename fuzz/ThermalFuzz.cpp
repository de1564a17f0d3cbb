// SPDX-License-Identifier: Apache-2.0
// Every reader of texts about heat and about the machine, and the classifier behind the former. The first
// byte chooses the reader.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/linux/MachineTexts.h"
#include "platform/linux/TextScan.h"
#include "platform/linux/ThermalClassifier.h"
#include "platform/linux/ThermalReading.h"

using namespace corvanta;

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

// Each line is a reading, two seconds after the last: a sensor's temperature, a trip's kind, its temperature,
// the zone's temperature and a counter's total.
void classify(std::string_view text) {
    ThermalClassifier classifier;
    double moment = 0;
    double risenAt = 0;
    int before = ThermalClassifier::unknown;
    for (; auto line = takeLine(text); moment += 2) {
        const auto temperature = [&] { return parseTemperature(std::string(takeWord(*line)).append("\n")); };
        ThermalReading reading;
        if (const auto sensor = temperature()) reading.sensors.push_back({*sensor, 95'000});
        TripPoints trips;
        const std::string_view kind = takeWord(*line);
        if (const auto trip = temperature()) trips.add(kind, *trip);
        if (const auto zone = temperature()) reading.zones.push_back({0, *zone, trips});
        if (const auto total = parseThrottleTotal(std::string(takeWord(*line)).append("\n")))
            reading.throttling.push_back(
                {0, *total % 2 == 0 ? ThrottleCounter::Unit::milliseconds : ThrottleCounter::Unit::events,
                 *total});
        const int state = classifier.feed(moment, reading, kind == "degraded");
        check(state >= ThermalClassifier::unknown && state <= ThermalClassifier::critical);
        if (state > before) risenAt = moment;
        if (state < before && before > ThermalClassifier::nominal) check(moment - risenAt >= 10);
        if (state == ThermalClassifier::unknown) check(reading.isEmpty());
        before = state;
    }
}

void readNumbers(std::string_view text) {
    if (const auto temperature = parseTemperature(text))
        check(*temperature >= -50'000 && *temperature <= 150'000);
    parseThrottleTotal(text);
    isCpuSensorChip(text);
    isForeignZone(text);
    if (const auto processors = parseProcessorList(text)) {
        check(processors->size() <= 65'536);
        for (const int processor : *processors) check(processor >= 0);
    }
}

void readTexts(std::string_view text) {
    const std::string half(text.substr(0, text.size() / 2));
    const std::string rest(text.substr(text.size() / 2));
    for (const std::string& shown :
         {parseProcessorBrand(text), parsePrettyName(text), firstDeviceTreeString(text),
          marketingName({half, rest, half, rest}), marketingName({"LENOVO", half, rest, half})}) {
        check(shownText(shown) == shown);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
        case 0:
            classify(text);
            break;
        case 1:
            readNumbers(text);
            break;
        default:
            readTexts(text);
    }
    return 0;
}
