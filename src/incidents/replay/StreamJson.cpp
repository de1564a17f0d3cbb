// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/StreamJson.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "core/NumberText.h"

namespace corvanta {

void StreamJson::add(std::string_view name, double value) {
    if (!std::isfinite(value)) return addRaw(name, "null");
    if (value == 0 && std::signbit(value)) return addRaw(name, "-0.0");  // -0 would be read as an integer
    // In these bounds the digits alone are short; beyond them an exponent is.
    const double size = std::abs(value);
    const bool isPlain = size == 0 || (size >= 1e-6 && size < 1e17);
    std::array<char, 64> digits;
    char* const end = digits.data() + digits.size();
    const auto result = isPlain ? std::to_chars(digits.data(), end, value, std::chars_format::fixed)
                                : std::to_chars(digits.data(), end, value);
    addRaw(name, {digits.data(), static_cast<std::size_t>(result.ptr - digits.data())});
}

void StreamJson::add(std::string_view name, std::int64_t value) {
    addRaw(name, integerText(value));
}

void StreamJson::add(std::string_view name, std::uint64_t value) {
    addRaw(name, integerText(value));
}

void StreamJson::add(std::string_view name, bool value) {
    addRaw(name, value ? "true" : "false");
}

void StreamJson::add(std::string_view name, std::string_view value) {
    using Json = nlohmann::json;
    addRaw(name, Json(value).dump(-1, ' ', true, Json::error_handler_t::replace));
}

void StreamJson::addRaw(std::string_view name, std::string_view value) {
    if (text_.size() > 1) text_ += ',';
    text_.append(1, '"').append(name).append("\":").append(value);
}

}  // namespace corvanta
