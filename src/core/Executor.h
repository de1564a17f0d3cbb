// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace corvanta {

/// The way from any thread to one chosen thread, in the program the main one.
///
/// Owned by the program for its whole life. Any thread may post. Work runs later, in the order posted, and
/// not at all if the program ends first.
class Executor {
  public:
    virtual ~Executor() = default;
    virtual void post(std::function<void()> work) = 0;
};

}  // namespace corvanta
