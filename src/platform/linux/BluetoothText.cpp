// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BluetoothText.h"

#include <array>
#include <cstddef>
#include <utility>

#include "core/Utf8Text.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t addressLength = 17;  // six bytes of two digits, and what parts them

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The address that a text of its length spells, or an empty one.
std::string addressOf(std::string_view text) {
    std::string address;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i % 3 == 2) {
            if (c != text[2] || (c != ':' && c != '_' && c != '-')) return {};
            address += ':';
        } else {
            if (!isHexDigit(c)) return {};
            address += c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c;
        }
    }
    return address;
}

/// The text behind `prefix` at the front of `line`.
std::optional<std::string_view> after(std::string_view prefix, std::string_view line) {
    if (line.substr(0, prefix.size()) != prefix) return std::nullopt;
    return line.substr(prefix.size());
}

}  // namespace

std::string bluetoothAddressIn(std::string_view text) {
    const auto isWordAt = [&](std::size_t i) {
        return i < text.size() && (isDigit(text[i]) || isLetter(text[i]));
    };
    for (std::size_t begin = 0; begin + addressLength <= text.size(); ++begin) {
        if ((begin > 0 && isWordAt(begin - 1)) || isWordAt(begin + addressLength)) continue;
        if (std::string address = addressOf(text.substr(begin, addressLength)); !address.empty())
            return address;
    }
    return {};
}

std::vector<ListedBluetoothDevice> parseConnectedDevices(std::string_view output) {
    std::vector<ListedBluetoothDevice> devices;
    while (const auto line = takeLine(output)) {
        const auto rest = after("Device ", *line);
        if (!rest || rest->size() <= addressLength || (*rest)[addressLength] != ' ') continue;
        std::string address = addressOf(rest->substr(0, addressLength));
        std::string name = repairedUtf8(rest->substr(addressLength + 1));
        if (address.empty() || name.empty()) continue;
        devices.push_back({.name = std::move(name), .address = std::move(address)});
    }
    return devices;
}

HidFacts parseHidEvent(std::string_view uevent) {
    HidFacts facts;
    while (const auto line = takeLine(uevent)) {
        if (const auto name = after("HID_NAME=", *line)) facts.name = repairedUtf8(*name);
        if (const auto unique = after("HID_UNIQ=", *line))
            facts.address = unique->size() == addressLength ? addressOf(*unique) : std::string();
    }
    return facts;
}

std::optional<std::int64_t> percentOfCapacityLevel(std::string_view word) {
    // As UPower has them.
    constexpr std::array<std::pair<std::string_view, std::int64_t>, 5> levels = {
        {{"Critical", 5}, {"Low", 10}, {"Normal", 55}, {"High", 70}, {"Full", 100}}};
    for (const auto& [level, percent] : levels) {
        if (word == level) return percent;
    }
    return std::nullopt;
}

}  // namespace corvanta
