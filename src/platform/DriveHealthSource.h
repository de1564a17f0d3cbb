// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace corvanta {

/// What a drive says of itself, in the system's words.
struct DriveReport {
    std::optional<std::string> deviceName = std::nullopt;
    std::optional<std::string> smartStatus = std::nullopt;  ///< as in "Verified" or "FAILED!"

    bool operator==(const DriveReport&) const = default;
};

/// The self-assessment of the machine's drives.
///
/// Owned by the platform for the program's life. One caller at a time, never a thread of the cycle: a reading
/// may take as long as its limit. This base is a machine whose drives do not tell.
class DriveHealthSource {
  public:
    virtual ~DriveHealthSource() = default;

    /// One report per drive, in the system's order. Nullopt when there was no answer within `limit`, when the
    /// answer was of no use, and soon after `stop` was requested.
    virtual std::optional<std::vector<DriveReport>> readDrives(std::chrono::seconds /*limit*/,
                                                               const std::stop_token& /*stop*/) {
        return std::nullopt;
    }
};

}  // namespace corvanta
