// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "platform/Subscription.h"

namespace corvanta {

/// The handlers of one sort of event, each as long as its subscription.
///
/// Owned by the source of the events; its copies are the same list, and subscriptions may outlive them all.
/// Main thread only, but for `isEmpty`.
template <class... Arguments>
class HandlerList {
  public:
    using Handler = std::function<void(Arguments...)>;

    std::unique_ptr<Subscription> add(Handler handler) {
        const int key = list_->next++;
        list_->handlers[key] = std::move(handler);
        list_->count = list_->handlers.size();
        return std::make_unique<Entry>(list_, key);
    }

    /// A handler may end its subscription or others'.
    void call(Arguments... arguments) const {
        const auto list = list_;
        for (const auto& [key, handler] : std::map(list->handlers)) {
            if (list->handlers.contains(key)) handler(arguments...);
        }
    }

    bool isEmpty() const { return list_->count == 0; }

  private:
    struct List {
        std::map<int, Handler> handlers;
        int next = 0;
        std::atomic<std::size_t> count = 0;
    };

    class Entry final : public Subscription {
      public:
        Entry(std::shared_ptr<List> list, int key) : list_(std::move(list)), key_(key) {}
        ~Entry() override {
            list_->handlers.erase(key_);
            list_->count = list_->handlers.size();
        }

      private:
        std::shared_ptr<List> list_;
        int key_;
    };

    std::shared_ptr<List> list_ = std::make_shared<List>();
};

}  // namespace corvanta
