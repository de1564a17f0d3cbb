// SPDX-License-Identifier: Apache-2.0
#include "core/ProcessTexts.h"

#include <algorithm>
#include <limits>

#include "core/ByteCount.h"
#include "core/Saturate.h"

namespace corvanta {
namespace {

constexpr std::int64_t minute = 60;
constexpr std::int64_t hour = 60 * minute;
constexpr std::int64_t day = 24 * hour;

std::int64_t wholeSeconds(double seconds) {
    return std::max(std::int64_t{0}, saturatedInt64(seconds));
}

}  // namespace

std::string processUsageString(double percentage) {
    return fixedText(percentage, 1) + "%";
}

std::string cpuTimeString(double seconds) {
    const std::int64_t whole = wholeSeconds(seconds);
    if (whole < minute) return integerText(whole) + "s";
    const std::string tail = ":" + twoDigits(whole % minute);
    if (whole < hour) return integerText(whole / minute) + tail;
    return integerText(whole / hour) + ":" + twoDigits(whole % hour / minute) + tail;
}

std::string memoryString(std::uint64_t residentBytes, const NumberSymbols& symbols) {
    if (residentBytes == 0) return "\xe2\x80\x94";
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return formatByteCount(static_cast<std::int64_t>(std::min(residentBytes, most)), ByteCountStyle::memory,
                           {ByteUnit::bytes, ByteUnit::kilobytes, ByteUnit::megabytes, ByteUnit::gigabytes,
                            ByteUnit::terabytes, ByteUnit::petabytes},
                           symbols);
}

std::string processElapsedString(double seconds) {
    const std::int64_t whole = wholeSeconds(seconds);
    std::string text = twoDigits(whole % hour / minute) + ":" + twoDigits(whole % minute);
    if (whole >= hour) text = twoDigits(whole % day / hour) + ":" + text;
    if (whole >= day) text = integerText(whole / day) + "-" + text;
    return text;
}

}  // namespace corvanta
