// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>

#include "platform/MemoryPressureEventSource.h"
#include "platform/linux/MemInfo.h"
#include "platform/linux/Sustained.h"

namespace corvanta {

/// The totals of a pressure file: microseconds in which some, or all, runnable tasks stood waiting for
/// memory.
struct PressureTotals {
    std::uint64_t some = 0;
    std::uint64_t full = 0;

    bool operator==(const PressureTotals&) const = default;
};

/// Reads /proc/pressure/memory. A missing "full" line reads as 0; without a "some" line there is nothing.
std::optional<PressureTotals> parsePressure(std::string_view text);

/// Reads workingset_refault_anon plus pswpin, in pages, from /proc/vmstat.
std::optional<std::uint64_t> parseSwapInPages(std::string_view text);

/// What the pressure level is decided from; all in percent.
struct PressureFigures {
    double some = 0;              ///< share of the last 10 s in which some tasks waited
    double full = 0;              ///< the same for all tasks
    double available = 100;       ///< MemAvailable of MemTotal
    double swapFree = 0;          ///< free share of the swap; 0 without swap
    bool swapsInHeavily = false;  ///< only where the kernel has no pressure file: pages return fast for 10 s

    bool operator==(const PressureFigures&) const = default;
};

/// Turns figures into a level with hysteresis: it rises at once, and falls only when the conditions that hold
/// a level have failed for 10 s without a break. Stalls count only while memory is short too: a container
/// that thrashes within its own limit stalls on a machine with plenty of memory.
///
/// A value; no clock of its own. Moments are seconds on any one clock.
class PressureClassifier {
  public:
    /// The event for a level that has just changed; nothing while it stays. It starts in silence at normal.
    std::optional<MemoryPressureEvents> feed(double moment, const PressureFigures& figures);

    MemoryPressureEvents level() const { return level_; }

  private:
    MemoryPressureEvents level_ = MemoryPressureEvents::normal;
    Sustained criticalCalm_;  ///< nothing holds the level any more
    Sustained warningCalm_;
};

/// Turns running totals into the figures above: shares over about the last 10 s, none before 2 s have passed.
///
/// A value; no clock of its own.
class PressureWindow {
  public:
    /// `totals` and `swapInPages` are absent where the kernel does not give them.
    PressureFigures feed(double moment, const MemInfo& info, std::optional<PressureTotals> totals,
                         std::optional<std::uint64_t> swapInPages);

  private:
    struct Sample {
        double moment;
        PressureTotals totals;
    };
    std::deque<Sample> samples_;
    std::optional<double> lastSwapInMoment_;
    std::uint64_t lastSwapInPages_ = 0;
    std::optional<double> swapsInSince_;
};

}  // namespace corvanta
