// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// An event subscription. Dropping it ends it: when the destructor has returned, the handler runs no more.
class Subscription {
  public:
    Subscription() = default;
    virtual ~Subscription() = default;
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
};

}  // namespace corvanta
