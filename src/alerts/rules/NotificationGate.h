// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "core/Instant.h"
#include "core/Mutex.h"

namespace corvanta {

/// Lets a notification pass once in a while: each key has a cooldown of its own.
///
/// Owned by whoever delivers; it keeps one entry for each key that ever passed, and starts empty. Any thread
/// (locks the entries); of calls that race for one key one passes. Never fails.
class NotificationGate {
  public:
    /// True when the key passes, which begins its cooldown at `now`. It is refused while less than
    /// `cooldownMinutes` have gone by since it last passed, and a refusal changes nothing; with 0 minutes, or
    /// fewer, it always passes. A wall clock that was set back lengthens the cooldown by as much.
    bool reserve(const std::string& key, std::int64_t cooldownMinutes, Instant now);

  private:
    Mutex cooldownLock_;
    std::unordered_map<std::string, Instant> lastNotificationTime_ GUARDED_BY(cooldownLock_);
};

}  // namespace corvanta
