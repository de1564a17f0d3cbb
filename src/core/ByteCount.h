// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "core/NumberText.h"

namespace corvanta {

/// Units of a byte count, from small to large.
enum class ByteUnit { bytes, kilobytes, megabytes, gigabytes, terabytes, petabytes };

/// Whether a kilobyte has 1024 bytes, as memory is counted, or 1000, as disks are.
enum class ByteCountStyle { memory, file };

/// A count of bytes as text, as in "1,023.9 MB".
///
/// The unit is the largest allowed one whose size the raw count reaches, else the smallest allowed one;
/// rounding never moves it up. Bytes and KB take no decimals, MB one at most, GB and above two at most;
/// trailing zeros are dropped, exact halves go to even, thousands are grouped. 0 reads "Zero KB" whatever is
/// allowed. A negative count takes a leading "-". `allowed` must not be empty.
std::string formatByteCount(std::int64_t bytes, ByteCountStyle style, std::initializer_list<ByteUnit> allowed,
                            const NumberSymbols& symbols);

/// Memory and disk sizes for the user, in MB, GB or TB. Fractions of a byte are cut off; a value that is no
/// number or out of range is held inside the range of a 64-bit integer.
std::string formatBytes(double value);
std::string formatDiskBytes(double value);

}  // namespace corvanta
