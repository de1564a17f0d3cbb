// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace corvanta {

/// Whether the program starts with the user's session.
///
/// Owned by the platform for the program's life. Main thread only.
class LoginItem {
  public:
    virtual ~LoginItem() = default;

    virtual bool isEnabled() const = 0;

    /// Both return nothing on success, and otherwise the reason in the system's words.
    virtual std::optional<std::string> registerItem() = 0;
    virtual std::optional<std::string> unregisterItem() = 0;
};

}  // namespace corvanta
