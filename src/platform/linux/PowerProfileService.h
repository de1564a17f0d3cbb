// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDBusMessage>
#include <QString>
#include <QVariantMap>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/Mutex.h"
#include "platform/linux/BusService.h"

namespace corvanta {

/// One service that knows the machine's power profile. It is never started for that.
///
/// Owned by the port of the low-power mode. Any thread (locks mutex). While its signals arrive, it is asked
/// only when something has changed.
class PowerProfileService {
  public:
    struct Kind {
        const char* name;       ///< on the bus
        const char* path;       ///< of its object
        const char* interface;  ///< of the properties
    };
    static constexpr Kind current{"org.freedesktop.UPower.PowerProfiles",
                                  "/org/freedesktop/UPower/PowerProfiles",
                                  "org.freedesktop.UPower.PowerProfiles"};
    static constexpr Kind former{"net.hadess.PowerProfiles", "/net/hadess/PowerProfiles",
                                 "net.hadess.PowerProfiles"};
    /// Speaks for the others to sandboxed programs, and is there without them, too.
    static constexpr Kind portal{"org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                                 "org.freedesktop.portal.PowerProfileMonitor"};

    /// What is not told is absent.
    struct Word {
        std::optional<bool> isSaving = std::nullopt;
        std::optional<bool> isDegraded = std::nullopt;  ///< by heat

        bool operator==(const Word&) const = default;
    };

    PowerProfileService(BusService::Connect connect, const Kind& kind);

    /// Asks, if need be. Background threads, one at a time.
    void refresh() EXCLUDES(mutex_);

    /// Nothing of a service that is not there; the last of one that is silent.
    Word word() const EXCLUDES(mutex_);

    /// Calls `onChange` on the main thread after each of its signals that has changed the word. Main thread.
    std::unique_ptr<Subscription> subscribe(std::function<void()> onChange);

  private:
    bool take(const QDBusMessage& signal) EXCLUDES(mutex_);

    const Kind kind_;
    BusService service_;
    mutable Mutex mutex_;
    Word word_ GUARDED_BY(mutex_);
    // Of the asking thread only.
    bool isHeld_ = false;
    std::uint64_t changes_ = 0;  // when it was asked
};

}  // namespace corvanta
