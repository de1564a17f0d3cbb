// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvanta {

/// A stored preference with its type. A whole number may be read as a double too.
using DefaultsValue = std::variant<bool, std::int64_t, double, std::string, std::vector<std::string>>;

/// The per-user key and value store. It keeps types, and tells a missing key from a stored zero.
///
/// Owned by the platform for the program's life. Main thread only. A write that fails keeps the value in
/// memory and logs one line.
class DefaultsStore {
  public:
    virtual ~DefaultsStore() = default;

    /// The value under a key; nullopt when the key is missing or holds something that is no DefaultsValue.
    virtual std::optional<DefaultsValue> value(std::string_view key) const = 0;
    /// Stores at once.
    virtual void set(std::string_view key, const DefaultsValue& value) = 0;
    virtual void remove(std::string_view key) = 0;

    // Typed reads: a value of another type counts as none. An integral number reads as an integer however it
    // was written, any number as a double; a boolean is no number.
    std::optional<bool> boolValue(std::string_view key) const;
    std::optional<std::int64_t> integerValue(std::string_view key) const;
    std::optional<double> doubleValue(std::string_view key) const;
    std::optional<std::string> stringValue(std::string_view key) const;
    std::optional<std::vector<std::string>> stringListValue(std::string_view key) const;
};

}  // namespace corvanta
