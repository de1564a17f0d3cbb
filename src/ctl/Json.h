// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "core/Instant.h"

namespace corvanta::ctl {

using Json = nlohmann::ordered_json;

template <class Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

/// Whole seconds since 1970.
inline Json secondsOrNull(const std::optional<Instant>& instant) {
    return instant ? Json(storedSeconds(*instant)) : Json(nullptr);
}

/// The value on one line. A name may hold any bytes: everything that is not plain ASCII is escaped, so that
/// none of it reaches a terminal as a control.
inline std::string dumped(const Json& json) {
    return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace corvanta::ctl
