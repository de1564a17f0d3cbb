// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/ThermalClassifier.h"

#include <algorithm>
#include <cstddef>

namespace corvanta {
namespace {

constexpr double windowLength = 10;  // seconds
constexpr std::ptrdiff_t readingsOfEvents = 5;
constexpr std::ptrdiff_t growingReadings = 3;
constexpr double throttlingByEvents = 20;  // percent

constexpr std::int64_t degree = 1000;
constexpr std::int64_t holdSlack = 3 * degree;

// What firmware without a sensor answers: 0 degrees, or 301 kelvin.
constexpr std::array<std::int64_t, 2> firmwareFictions = {0, 27'800};

bool isWithin(const std::optional<std::int64_t>& distance, std::int64_t degrees) {
    return distance && *distance <= degrees;
}

void approach(std::optional<std::int64_t>& distance, const std::optional<std::int64_t>& trip,
              std::int64_t temperature) {
    if (trip) distance = std::min(distance.value_or(*trip - temperature), *trip - temperature);
}

std::optional<std::int64_t> worstDistance(const std::vector<CpuSensor>& sensors) {
    const auto heat = [](const CpuSensor& sensor) {
        return static_cast<double>(sensor.temperature) / static_cast<double>(sensor.limit);
    };
    const auto worst =
        std::max_element(sensors.begin(), sensors.end(),
                         [&](const CpuSensor& a, const CpuSensor& b) { return heat(a) < heat(b); });
    if (worst == sensors.end()) return std::nullopt;
    return worst->limit - worst->temperature;
}

bool holdsCritical(const ThermalFigures& f) {
    return isWithin(f.toHotTrip, holdSlack) || isWithin(f.toCriticalTrip, 3 * degree + holdSlack) ||
           (f.throttling >= 25 && isWithin(f.toLimit, 3 * degree + holdSlack));
}
bool holdsSerious(const ThermalFigures& f) {
    return f.throttling >= 5 || f.isPerformanceDegraded || isWithin(f.toPassiveTrip, holdSlack) ||
           isWithin(f.toLimit, 3 * degree + holdSlack);
}
bool holdsFair(const ThermalFigures& f) {
    return f.throttling > 0 || isWithin(f.toLimit, 15 * degree + holdSlack) ||
           isWithin(f.toPassiveTrip, 5 * degree + holdSlack);
}

}  // namespace

double ThrottleWindow::feed(double moment, const std::vector<ThrottleCounter>& counters) {
    double most = 0;
    for (const ThrottleCounter& counter : counters) {
        Samples& samples = counters_[counter.number];
        if (!samples.empty() && counter.total < samples.back().total) samples.clear();
        samples.push_back({moment, counter.total});
        most = std::max(most, counter.unit == ThrottleCounter::Unit::milliseconds ? throttledTime(samples)
                                                                                  : throttledEvents(samples));
    }
    return most;
}

double ThrottleWindow::throttledTime(Samples& samples) {
    // Measured from the last sample that a whole window has passed since, or the first there is.
    const Sample now = samples.back();
    auto first = samples.begin();
    while (samples.end() - first >= 2 && now.moment - first[1].moment >= windowLength) ++first;
    samples.erase(samples.begin(), first);
    const double milliseconds = 1000 * std::max(windowLength, now.moment - samples.front().moment);
    return std::min(100.0, 100 * static_cast<double>(now.total - samples.front().total) / milliseconds);
}

double ThrottleWindow::throttledEvents(Samples& samples) {
    const auto size = static_cast<std::ptrdiff_t>(samples.size());
    samples.erase(samples.begin(), samples.end() - std::min(size, readingsOfEvents + 1));
    std::ptrdiff_t growing = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (samples[i].total > samples[i - 1].total) ++growing;
    }
    return growing >= growingReadings ? throttlingByEvents : 0;
}

int ThermalClassifier::feed(double moment, const ThermalReading& reading, bool isPerformanceDegraded) {
    const ThermalFigures figures = figuresOf(moment, reading, isPerformanceDegraded);
    const int risen = reached(moment, figures);
    const std::array<bool, critical> holds = {holdsFair(figures), holdsSerious(figures),
                                              holdsCritical(figures)};
    std::array<bool, critical> isOver{};
    for (std::size_t i = 0; i < holds.size(); ++i) isOver[i] = calm_[i].feed(moment, !holds[i]);

    state_ = std::max(state_, risen);
    while (state_ > std::max(risen, nominal) && isOver[static_cast<std::size_t>(state_ - fair)]) --state_;
    if (state_ <= nominal) state_ = reading.isEmpty() ? unknown : nominal;
    return state_;
}

// Every part is fed at every reading, whatever the others say, or its ten seconds would have gaps.
int ThermalClassifier::reached(double moment, const ThermalFigures& f) {
    const bool wasThrottledAtLimit =
        throttledAtLimit_.feed(moment, f.throttling >= 50 && isWithin(f.toLimit, 3 * degree));
    const bool wasOverPassiveTrip = overPassiveTrip_.feed(moment, isWithin(f.toPassiveTrip, 0));
    const bool wasAtLimit = atLimit_.feed(moment, isWithin(f.toLimit, 3 * degree));
    const bool wasNearLimit = nearLimit_.feed(moment, isWithin(f.toLimit, 15 * degree));
    if (isWithin(f.toHotTrip, 0) || isWithin(f.toCriticalTrip, 3 * degree) || wasThrottledAtLimit)
        return critical;
    if (f.throttling >= 10 || f.isPerformanceDegraded || wasOverPassiveTrip || wasAtLimit) return serious;
    if (f.throttling > 0 || wasNearLimit || isWithin(f.toPassiveTrip, 5 * degree)) return fair;
    return nominal;
}

ThermalFigures ThermalClassifier::figuresOf(double moment, const ThermalReading& reading,
                                            bool isPerformanceDegraded) {
    ThermalFigures figures;
    figures.toLimit = worstDistance(reading.sensors);
    for (const ThermalZone& zone : reading.zones) {
        if (isFirmwareFiction(zone)) continue;
        approach(figures.toPassiveTrip, zone.trips.passive, zone.temperature);
        approach(figures.toHotTrip, zone.trips.hot, zone.temperature);
        approach(figures.toCriticalTrip, zone.trips.critical, zone.temperature);
    }
    figures.throttling = throttling_.feed(moment, reading.throttling);
    figures.isPerformanceDegraded = isPerformanceDegraded;
    return figures;
}

bool ThermalClassifier::isFirmwareFiction(const ThermalZone& zone) {
    const bool looksMadeUp = std::find(firmwareFictions.begin(), firmwareFictions.end(), zone.temperature) !=
                             firmwareFictions.end();
    if (!looksMadeUp) measuringZones_.insert(zone.number);
    return measuringZones_.count(zone.number) == 0;
}

}  // namespace corvanta
