// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxNotificationService.h"

#include <QMetaObject>
#include <utility>

namespace corvanta {
namespace {

/// On the main thread, later, and not at all once the server is gone.
template <class Work>
void post(NotificationServer& server, Work work) {
    QMetaObject::invokeMethod(&server, std::move(work), Qt::QueuedConnection);
}

}  // namespace

LinuxNotificationService::LinuxNotificationService(BusService::Connect connect,
                                                   std::chrono::milliseconds limit)
    : server_(std::move(connect), limit) {}

void LinuxNotificationService::requestAuthorization(AuthorizationHandler handler) {
    post(server_, [this, handler = std::move(handler)] { server_.requestAuthorization(handler); });
}

void LinuxNotificationService::deliver(NotificationRequest request, DeliveryHandler handler) {
    post(server_, [this, request = std::move(request), handler = std::move(handler)] {
        server_.deliver(request, handler);
    });
}

void LinuxNotificationService::removeAllPending() {
    post(server_, [this] { server_.dropWaiting(); });
}

std::unique_ptr<Subscription> LinuxNotificationService::subscribe(ClickHandler onClick) {
    return server_.subscribe(std::move(onClick));
}

}  // namespace corvanta
