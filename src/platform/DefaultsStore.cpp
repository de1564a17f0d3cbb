// SPDX-License-Identifier: Apache-2.0
#include "platform/DefaultsStore.h"

#include <cmath>

namespace corvanta {
namespace {

template <class T>
std::optional<T> exactly(const std::optional<DefaultsValue>& value) {
    if (value && std::holds_alternative<T>(*value)) return std::get<T>(*value);
    return std::nullopt;
}

}  // namespace

std::optional<bool> DefaultsStore::boolValue(std::string_view key) const {
    return exactly<bool>(value(key));
}

std::optional<std::int64_t> DefaultsStore::integerValue(std::string_view key) const {
    const auto stored = value(key);
    if (const auto real = exactly<double>(stored)) {
        constexpr double limit = 9223372036854775808.0;
        if (std::trunc(*real) == *real && *real >= -limit && *real < limit) {
            return static_cast<std::int64_t>(*real);
        }
        return std::nullopt;
    }
    return exactly<std::int64_t>(stored);
}

std::optional<double> DefaultsStore::doubleValue(std::string_view key) const {
    const auto stored = value(key);
    if (const auto whole = exactly<std::int64_t>(stored)) return static_cast<double>(*whole);
    return exactly<double>(stored);
}

std::optional<std::string> DefaultsStore::stringValue(std::string_view key) const {
    return exactly<std::string>(value(key));
}

std::optional<std::vector<std::string>> DefaultsStore::stringListValue(std::string_view key) const {
    return exactly<std::vector<std::string>>(value(key));
}

}  // namespace corvanta
