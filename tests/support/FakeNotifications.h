// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/Executor.h"
#include "platform/NotificationService.h"
#include "support/FakeSubscribers.h"

namespace corvanta::test {

/// A centre that takes everything, or nothing. Its answers come over the executor of the main thread.
class FakeNotificationService final : public NotificationService {
  public:
    explicit FakeNotificationService(Executor& mainExecutor) : mainExecutor_(mainExecutor) {}

    void requestAuthorization(AuthorizationHandler handler) override {
        {
            const std::lock_guard guard(mutex_);
            ++authorizationRequests_;
        }
        mainExecutor_.post([handler = std::move(handler), answer = authorization] { handler(answer); });
    }
    void deliver(NotificationRequest request, DeliveryHandler handler) override {
        {
            const std::lock_guard guard(mutex_);
            if (!failure) shown_.insert_or_assign(request.identifier, request);
            requests_.push_back(std::move(request));
        }
        if (duringDelivery) duringDelivery();
        mainExecutor_.post([handler = std::move(handler), failure = failure] { handler(failure); });
    }
    void removeAllPending() override {
        const std::lock_guard guard(mutex_);
        ++removals_;
    }
    std::unique_ptr<Subscription> subscribe(ClickHandler onClick) override {
        return subscribers.add(std::move(onClick));
    }

    /// The user clicks on what is shown under the identifier.
    void click(const std::string& identifier) { subscribers.fire(identifier); }

    /// All requests so far, in order.
    std::vector<NotificationRequest> requests() const {
        const std::lock_guard guard(mutex_);
        return requests_;
    }
    std::map<std::string, NotificationRequest> shown() const {
        const std::lock_guard guard(mutex_);
        return shown_;
    }
    int authorizationRequests() const {
        const std::lock_guard guard(mutex_);
        return authorizationRequests_;
    }
    int removals() const {
        const std::lock_guard guard(mutex_);
        return removals_;
    }

    // Set before they are used.
    NotificationAuthorization authorization{.isGranted = true};
    std::optional<std::string> failure;  ///< what every delivery answers
    std::function<void()> duringDelivery;
    FakeSubscribers<const std::string&> subscribers;

  private:
    Executor& mainExecutor_;
    mutable std::mutex mutex_;
    std::vector<NotificationRequest> requests_;
    std::map<std::string, NotificationRequest> shown_;
    int authorizationRequests_ = 0;
    int removals_ = 0;
};

}  // namespace corvanta::test
