// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stop_token>

namespace corvanta {

/// A timed wait that ends early when it is cancelled.
///
/// Owned by the program for its whole life. Any thread; each call blocks its caller only.
class Waiter {
  public:
    virtual ~Waiter() = default;

    /// Waits the given seconds. True when they have passed, false when `stop` was requested before.
    virtual bool wait(double seconds, std::stop_token stop) = 0;
};

/// The real wait. It sleeps in the kernel and polls nothing.
class SystemWaiter final : public Waiter {
  public:
    bool wait(double seconds, std::stop_token stop) override;
};

}  // namespace corvanta
