// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>

#include "platform/NotificationService.h"
#include "platform/linux/BusService.h"
#include "platform/linux/NotificationServer.h"

namespace corvanta {

/// The notifications of the desktop, over the session bus.
///
/// Owned by the platform; made and destroyed on the main thread. Any thread, but for subscriptions. Without a
/// server, or one that the bus could start, there is no authorization. An error of the bus or of the server
/// is told in its own words.
class LinuxNotificationService final : public NotificationService {
  public:
    /// Long enough for a server that has to be started first on a machine that is slow.
    static constexpr std::chrono::milliseconds answerLimit{25'000};

    explicit LinuxNotificationService(BusService::Connect connect,
                                      std::chrono::milliseconds limit = answerLimit);

    void requestAuthorization(AuthorizationHandler handler) override;
    void deliver(NotificationRequest request, DeliveryHandler handler) override;
    void removeAllPending() override;
    std::unique_ptr<Subscription> subscribe(ClickHandler onClick) override;

  private:
    NotificationServer server_;
};

}  // namespace corvanta
