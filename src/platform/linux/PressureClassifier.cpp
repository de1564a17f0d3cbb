// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PressureClassifier.h"

#include <algorithm>

#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr double windowLength = 10;   // seconds
constexpr double shortestWindow = 2;  // seconds; less says nothing about sustained stalls
constexpr double calmBeforeFalling = 10;
constexpr double heavySwapIn = 1000;  // pages a second

int rank(MemoryPressureEvents level) {
    return static_cast<int>(level);
}

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

MemoryPressureEvents targetLevel(MemoryPressureEvents level, const PressureFigures& figures) {
    const bool wasCritical = level == MemoryPressureEvents::critical;
    const bool wasElevated = wasCritical || level == MemoryPressureEvents::warning;
    if (reachesCritical(figures) || (wasCritical && holdsCritical(figures)))
        return MemoryPressureEvents::critical;
    if (reachesWarning(figures) || (wasElevated && holdsWarning(figures)))
        return MemoryPressureEvents::warning;
    return MemoryPressureEvents::normal;
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
    const MemoryPressureEvents target = targetLevel(level_, figures);
    if (rank(target) >= rank(level_)) {
        calmerSince_.reset();
        if (target == level_) return std::nullopt;
        level_ = target;
        return level_;
    }
    if (!calmerSince_) calmerSince_ = moment;
    if (moment - *calmerSince_ < calmBeforeFalling) return std::nullopt;
    calmerSince_.reset();
    level_ = target;
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
        // The oldest sample that stays is the youngest one that lies a whole window back.
        while (samples_.size() >= 2 && moment - samples_[1].moment >= windowLength) samples_.pop_front();
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
