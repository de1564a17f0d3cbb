// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "platform/Subscription.h"

namespace corvanta::test {

/// Subscriptions that only tell that they have ended.
class FakeSubscription final : public Subscription {
  public:
    explicit FakeSubscription(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {}
    ~FakeSubscription() override { onEnd_(); }

  private:
    std::function<void()> onEnd_;
};

/// A list of handlers that `fire` calls; ended subscriptions leave it.
template <class... Args>
class FakeSubscribers {
  public:
    std::unique_ptr<Subscription> add(std::function<void(Args...)> handler) {
        const int key = next_++;
        (*handlers_)[key] = std::move(handler);
        return std::make_unique<FakeSubscription>([handlers = handlers_, key] { handlers->erase(key); });
    }
    void fire(Args... args) {
        for (const auto& [key, handler] : std::map(*handlers_)) handler(args...);
    }
    std::size_t size() const { return handlers_->size(); }

  private:
    std::shared_ptr<std::map<int, std::function<void(Args...)>>> handlers_ =
        std::make_shared<std::map<int, std::function<void(Args...)>>>();
    int next_ = 0;
};

}  // namespace corvanta::test
