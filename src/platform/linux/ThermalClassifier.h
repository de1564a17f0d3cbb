// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "platform/linux/Sustained.h"
#include "platform/linux/ThermalReading.h"

namespace corvanta {

/// How much of the time processors stood throttled, by the worst of the counters.
///
/// A value; no clock of its own.
class ThrottleWindow {
  public:
    /// Percent of the last 10 s. Counters of events, which tell no times, count as 20 % while they grow in
    /// three of the last five readings. A counter that starts anew begins a new history.
    double feed(double moment, const std::vector<ThrottleCounter>& counters);

  private:
    struct Sample {
        double moment;
        std::uint64_t total;
    };
    using Samples = std::vector<Sample>;  ///< oldest first

    static double throttledTime(Samples& samples);
    static double throttledEvents(Samples& samples);

    std::map<int, Samples> counters_;
};

/// What the state is decided from. Distances are in thousandths of a degree, those of the worst part; below
/// zero they are exceeded, and absent where there is no such part.
struct ThermalFigures {
    std::optional<std::int64_t> toLimit;  ///< of the processor sensor that is hottest for its limit
    std::optional<std::int64_t> toPassiveTrip;
    std::optional<std::int64_t> toHotTrip;
    std::optional<std::int64_t> toCriticalTrip;
    double throttling = 0;  ///< percent
    bool isPerformanceDegraded = false;

    bool operator==(const ThermalFigures&) const = default;
};

/// Turns readings into a thermal state with hysteresis. It rises by its thresholds, some of which must hold
/// for 10 s, and falls only when weaker ones, by 3 degrees and half the throttling, have failed for 10 s.
///
/// A value; no clock of its own. Moments are seconds on any one clock.
class ThermalClassifier {
  public:
    static constexpr int unknown = -1;
    static constexpr int nominal = 0;
    static constexpr int fair = 1;
    static constexpr int serious = 2;
    static constexpr int critical = 3;

    /// The state after a reading. An empty reading is no proof of a cool machine, and leads to unknown.
    int feed(double moment, const ThermalReading& reading, bool isPerformanceDegraded);

  private:
    ThermalFigures figuresOf(double moment, const ThermalReading& reading, bool isPerformanceDegraded);
    bool isFirmwareFiction(const ThermalZone& zone);
    int reached(double moment, const ThermalFigures& figures);

    ThrottleWindow throttling_;
    std::set<int> measuringZones_;  ///< those that have shown more than what firmware makes up
    Sustained throttledAtLimit_;
    Sustained overPassiveTrip_;
    Sustained atLimit_;
    Sustained nearLimit_;
    std::array<Sustained, critical> calm_;  ///< for fair and above: nothing holds the state any more
    int state_ = unknown;
};

}  // namespace corvanta
