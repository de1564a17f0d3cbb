// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/InterruptionLevel.h"
#include "platform/Subscription.h"

namespace corvanta {

/// One notification. Its texts are plain: whatever stands in them is shown as it is.
struct NotificationRequest {
    std::string identifier = {};  ///< takes the place of the one that is shown under the same identifier
    std::string title = {};
    std::string body = {};
    InterruptionLevel interruptionLevel = InterruptionLevel::active;
    bool playsDefaultSound = true;  ///< where the system has sounds for notifications

    bool operator==(const NotificationRequest&) const = default;
};

/// Whether notifications will be shown.
struct NotificationAuthorization {
    bool isGranted = false;
    std::optional<std::string> error = std::nullopt;  ///< why that could not be learnt, in the system's words

    bool operator==(const NotificationAuthorization&) const = default;
};

/// The system's centre for notifications.
///
/// Owned by the platform for the program's life. Any thread, but for subscriptions, which belong to the main
/// one. Nothing blocks: each handler is called once, later and on the main thread, or never if the program
/// ends first.
class NotificationService {
  public:
    using AuthorizationHandler = std::function<void(const NotificationAuthorization& answer)>;
    /// Without an error the system has taken the notification.
    using DeliveryHandler = std::function<void(const std::optional<std::string>& error)>;
    using ClickHandler = std::function<void(const std::string& identifier)>;

    virtual ~NotificationService() = default;

    /// Asks to show notifications and play sounds.
    virtual void requestAuthorization(AuthorizationHandler handler) = 0;

    /// At once, in the order of the calls, and without a second attempt.
    virtual void deliver(NotificationRequest request, DeliveryHandler handler) = 0;

    /// Forgets what the system has not been given yet, with its handlers. What is shown stays.
    virtual void removeAllPending() = 0;

    /// Calls `onClick` on the main thread after the user has clicked on a notification. By then the system
    /// lets the program bring a window to the front.
    virtual std::unique_ptr<Subscription> subscribe(ClickHandler onClick) = 0;
};

}  // namespace corvanta
