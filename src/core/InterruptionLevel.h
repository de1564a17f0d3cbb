// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// How far a notification may interrupt the user.
enum class InterruptionLevel {
    active,         ///< shown for a while
    timeSensitive,  ///< shown until the user has seen to it, where the system can do that
};

}  // namespace corvanta
