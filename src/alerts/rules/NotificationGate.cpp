// SPDX-License-Identifier: Apache-2.0
#include "alerts/rules/NotificationGate.h"

#include <chrono>
#include <ratio>

namespace corvanta {

bool NotificationGate::reserve(const std::string& key, std::int64_t cooldownMinutes, Instant now) {
    const std::chrono::duration<double, std::ratio<60>> cooldown(static_cast<double>(cooldownMinutes));
    const LockGuard guard(cooldownLock_);
    const auto [last, isFirst] = lastNotificationTime_.try_emplace(key, now);
    if (isFirst) return true;
    if (cooldownMinutes > 0 && cooldown > now - last->second) return false;
    last->second = now;
    return true;
}

}  // namespace corvanta
