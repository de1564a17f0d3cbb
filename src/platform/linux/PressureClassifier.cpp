// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PressureClassifier.h"

#include <algorithm>
#include <cmath>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr double windowLength = 10;   // seconds
constexpr double shortestWindow = 2;  // seconds; less says nothing about sustained stalls
constexpr double heavySwapIn = 1000;  // pages a second

bool reachesCritical(const PressureFigures& f) {
    return ((f.full >= 20 || f.some >= 40) && f.available <= 25) || (f.available <= 5 && f.swapFree <= 10);
}
bool reachesWarning(const PressureFigures& f) {
    return ((f.full >= 5 || f.some >= 10) && f.available <= 50) || (f.available <= 10 && f.swapFree <= 10) ||
           f.swapsInHeavily;
}
bool holdsCritical(const PressureFigures& f) {
    return ((f.full >= 10 || f.some >= 20) && f.available <= 30) || (f.available <= 7 && f.swapFree <= 15);
}
bool holdsWarning(const PressureFigures& f) {
    return ((f.full >= 2 || f.some >= 5) && f.available <= 55) || (f.available <= 13 && f.swapFree <= 15) ||
           f.swapsInHeavily;
}

double percentOf(std::uint64_t part, std::uint64_t whole) {
    return 100 * static_cast<double>(part) / static_cast<double>(whole);
}

std::optional<std::uint64_t> totalOf(std::string_view line) {
    constexpr std::string_view key = "total=";
    for (auto word = takeWord(line); !word.empty(); word = takeWord(line)) {
        if (word.substr(0, key.size()) == key) return parseNumber<std::uint64_t>(word.substr(key.size()));
    }
    return std::nullopt;
}

}  // namespace

std::optional<PressureTotals> parsePressure(std::string_view text) {
    std::optional<std::uint64_t> some;
    std::optional<std::uint64_t> full;
    while (auto line = takeLine(text)) {
        const std::string_view kind = takeWord(*line);
        if (kind == "some") some = totalOf(*line);
        if (kind == "full") full = totalOf(*line);
    }
    if (!some) return std::nullopt;
    return PressureTotals{*some, full.value_or(0)};
}

std::optional<std::uint64_t> parseSwapInPages(std::string_view text) {
    std::optional<std::uint64_t> pages;
    while (auto line = takeLine(text)) {
        const std::string_view name = takeWord(*line);
        if (name != "workingset_refault_anon" && name != "pswpin") continue;
        if (const auto value = parseNumber<std::uint64_t>(takeWord(*line)))
            pages = pages.value_or(0) + *value;
    }
    return pages;
}

std::optional<MemoryPressureEvents> PressureClassifier::feed(double moment, const PressureFigures& figures) {
    const bool criticalIsOver = criticalCalm_.feed(moment, !holdsCritical(figures));
    const bool warningIsOver = warningCalm_.feed(moment, !holdsWarning(figures));
    const MemoryPressureEvents before = level_;
    if (reachesCritical(figures)) {
        level_ = MemoryPressureEvents::critical;
    } else if (before == MemoryPressureEvents::critical) {
        if (criticalIsOver)
            level_ = warningIsOver ? MemoryPressureEvents::normal : MemoryPressureEvents::warning;
    } else if (reachesWarning(figures)) {
        level_ = MemoryPressureEvents::warning;
    } else if (warningIsOver) {
        level_ = MemoryPressureEvents::normal;
    }
    if (level_ == before) return std::nullopt;
    return level_;
}

PressureFigures PressureWindow::feed(double moment, const MemInfo& info, std::optional<PressureTotals> totals,
                                     std::optional<std::uint64_t> swapInPages) {
    PressureFigures figures;
    if (info.memTotal && info.memAvailable && *info.memTotal > 0) {
        figures.available = percentOf(*info.memAvailable, *info.memTotal);
    }
    if (info.swapTotal && info.swapFree && *info.swapTotal > 0) {
        figures.swapFree = percentOf(*info.swapFree, *info.swapTotal);
    }

    if (totals) {
        // The shares are measured from the sample that lies nearest to a whole window back.
        const auto offWindow = [&](const Sample& sample) {
            return std::abs(moment - sample.moment - windowLength);
        };
        while (samples_.size() >= 2 && offWindow(samples_[1]) <= offWindow(samples_[0])) samples_.pop_front();
        if (!samples_.empty() && moment - samples_.front().moment >= shortestWindow) {
            const Sample& first = samples_.front();
            const double microseconds = (moment - first.moment) * 1e6;
            const auto share = [&](std::uint64_t now, std::uint64_t before) {
                return now > before ? std::min(100.0, 100 * static_cast<double>(now - before) / microseconds)
                                    : 0.0;
            };
            figures.some = share(totals->some, first.totals.some);
            figures.full = share(totals->full, first.totals.full);
        }
        samples_.push_back({moment, *totals});
    } else if (swapInPages) {
        const bool isHeavy = lastSwapInMoment_ && moment > *lastSwapInMoment_ &&
                             *swapInPages > lastSwapInPages_ &&
                             static_cast<double>(*swapInPages - lastSwapInPages_) >
                                 heavySwapIn * (moment - *lastSwapInMoment_);
        if (!isHeavy) {
            swapsInSince_.reset();
        } else if (!swapsInSince_) {
            swapsInSince_ = lastSwapInMoment_;
        }
        figures.swapsInHeavily = swapsInSince_ && moment - *swapsInSince_ >= windowLength;
        lastSwapInMoment_ = moment;
        lastSwapInPages_ = *swapInPages;
    }
    return figures;
}

}  // namespace corvanta
