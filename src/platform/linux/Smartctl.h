// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/DriveHealthSource.h"

namespace corvanta {

/// Reads the JSON of `smartctl -H -i`. `exitStatus` is a set of bits: the first two say that it could not
/// even ask the drive, which gives nothing, and the fourth that the drive is failing, which outweighs any
/// better word.
std::optional<DriveReport> parseSmartctl(std::string_view json, int exitStatus);

/// Asks a drive by its device's path. It takes a privileged user. Nullopt when nothing came of it by the
/// deadline, and soon after `stop` was requested.
std::optional<DriveReport> readSmartctl(const std::string& program, const std::string& device,
                                        std::chrono::steady_clock::time_point deadline,
                                        const std::stop_token& stop);

}  // namespace corvanta
