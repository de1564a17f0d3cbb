// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// The bytes of a gigabyte, by which sizes in sentences are told: memory is counted otherwise than disks.
inline constexpr double memoryGigabyte = 1024.0 * 1024 * 1024;
inline constexpr double diskGigabyte = 1e9;

}  // namespace corvanta
