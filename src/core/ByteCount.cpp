// SPDX-License-Identifier: Apache-2.0
#include "core/ByteCount.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "core/Saturate.h"

namespace corvanta {
namespace {

std::uint64_t sizeOf(ByteUnit unit, ByteCountStyle style) {
    const std::uint64_t base = style == ByteCountStyle::memory ? 1024 : 1000;
    std::uint64_t size = 1;
    for (int power = static_cast<int>(unit); power > 0; --power) size *= base;
    return size;
}

int mostDecimals(ByteUnit unit) {
    switch (unit) {
        case ByteUnit::bytes:
        case ByteUnit::kilobytes:
            return 0;
        case ByteUnit::megabytes:
            return 1;
        case ByteUnit::gigabytes:
        case ByteUnit::terabytes:
        case ByteUnit::petabytes:
            return 2;
    }
    std::abort();
}

std::string_view unitName(ByteUnit unit, bool single) {
    switch (unit) {
        case ByteUnit::bytes:
            return single ? "byte" : "bytes";
        case ByteUnit::kilobytes:
            return "KB";
        case ByteUnit::megabytes:
            return "MB";
        case ByteUnit::gigabytes:
            return "GB";
        case ByteUnit::terabytes:
            return "TB";
        case ByteUnit::petabytes:
            return "PB";
    }
    std::abort();
}

std::string grouped(std::uint64_t value, std::string_view separator) {
    std::string digits = integerText(value);
    for (std::size_t left = digits.size(); left > 3; left -= 3) digits.insert(left - 3, separator);
    return digits;
}

std::string inUnit(std::int64_t bytes, ByteCountStyle style, ByteUnit unit, const NumberSymbols& symbols) {
    const bool negative = bytes < 0;
    const std::uint64_t count =
        negative ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    const std::uint64_t size = sizeOf(unit, style);

    // Exact decimal rounding: the remainder is below 2^50, so its hundredfold fits.
    std::uint64_t scale = 1;
    for (int i = 0; i < mostDecimals(unit); ++i) scale *= 10;
    std::uint64_t whole = count / size;
    const std::uint64_t scaledRest = count % size * scale;
    std::uint64_t fraction = scaledRest / size;
    const std::uint64_t twiceLeft = scaledRest % size * 2;
    const bool odd = ((whole * scale + fraction) & 1) != 0;
    if (twiceLeft > size || (twiceLeft == size && odd)) ++fraction;
    if (fraction == scale) {
        fraction = 0;
        ++whole;
    }

    std::string text = negative && (whole != 0 || fraction != 0) ? "-" : "";
    text += grouped(whole, symbols.group);
    if (fraction != 0) {
        std::string decimals = integerText(fraction);
        decimals.insert(0, integerText(scale).size() - 1 - decimals.size(), '0');
        decimals.erase(decimals.find_last_not_of('0') + 1);
        text += symbols.decimal + decimals;
    }
    text += ' ';
    text += unitName(unit, count == 1);
    return text;
}

}  // namespace

std::string formatByteCount(std::int64_t bytes, ByteCountStyle style, std::initializer_list<ByteUnit> allowed,
                            const NumberSymbols& symbols) {
    if (bytes == 0) return "Zero KB";
    const std::uint64_t magnitude =
        bytes < 0 ? 0 - static_cast<std::uint64_t>(bytes) : static_cast<std::uint64_t>(bytes);
    ByteUnit chosen = std::min(allowed);
    for (const ByteUnit unit : allowed) {
        if (unit > chosen && magnitude >= sizeOf(unit, style)) chosen = unit;
    }
    return inUnit(bytes, style, chosen, symbols);
}

std::string formatBytes(double value) {
    return formatByteCount(saturatedInt64(value), ByteCountStyle::memory,
                           {ByteUnit::megabytes, ByteUnit::gigabytes, ByteUnit::terabytes},
                           userNumberSymbols());
}

std::string formatDiskBytes(double value) {
    return formatByteCount(saturatedInt64(value), ByteCountStyle::file,
                           {ByteUnit::megabytes, ByteUnit::gigabytes, ByteUnit::terabytes},
                           userNumberSymbols());
}

}  // namespace corvanta
