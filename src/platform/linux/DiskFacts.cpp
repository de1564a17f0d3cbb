// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/DiskFacts.h"

#include <charconv>
#include <cstdint>

#include "core/PlainText.h"
#include "core/Utf8Text.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

constexpr std::size_t mostRecord = std::size_t{64} * 1024;
constexpr std::size_t mostAttribute = 4096;

// The kernel's names for the state of the reserve: normal, 80 % used, 90 % used.
constexpr std::string_view reserveNormal = "0x01";
constexpr std::string_view reserveWarning = "0x02";
constexpr std::string_view reserveUrgent = "0x03";

std::optional<std::uint8_t> hexByte(std::string_view digits) {
    std::uint8_t byte = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (digits.size() != 2 || result.ec != std::errc{} || result.ptr != digits.data() + digits.size())
        return std::nullopt;
    return byte;
}

/// The record writes bytes other than plain letters as "\x20".
std::string unescaped(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const auto byte = text.substr(0, 2) == "\\x" ? hexByte(text.substr(2, 2)) : std::nullopt;
        plain += byte ? static_cast<char>(*byte) : text.front();
        text.remove_prefix(byte ? 4 : 1);
    }
    return plain;
}

std::optional<std::string> attribute(const RootDisk& disk, const char* name) {
    KernelFile file(disk.folder + "/device/" + name);
    const auto text = file.read(mostAttribute);
    return text ? driveName(*text) : std::nullopt;
}

}  // namespace

std::optional<std::string> driveName(std::string_view bytes) {
    const std::string text = plainText(repairedUtf8(bytes));
    const std::string_view name = trimmedUtf8(text);
    if (name.empty()) return std::nullopt;
    return std::string(name);
}

std::optional<std::string> parseRecordedModel(std::string_view record) {
    constexpr std::string_view encodedKey = "E:ID_MODEL_ENC=";
    constexpr std::string_view plainKey = "E:ID_MODEL=";
    std::optional<std::string> encoded;
    std::optional<std::string> plain;
    while (const auto line = takeLine(record)) {
        if (line->substr(0, encodedKey.size()) == encodedKey) {
            encoded = driveName(unescaped(line->substr(encodedKey.size())));
        } else if (line->substr(0, plainKey.size()) == plainKey) {
            plain = driveName(line->substr(plainKey.size()));
        }
    }
    return encoded ? encoded : plain;
}

std::optional<std::string> diskModel(const RootDisk& disk, const std::string& runRoot) {
    KernelFile record(runRoot + "/udev/data/b" + deviceNumberText(disk.number));
    if (const auto text = record.read(mostRecord)) {
        if (auto model = parseRecordedModel(*text)) return model;
    }
    auto model = attribute(disk, "model");
    return model ? model : attribute(disk, "name");
}

std::optional<std::string> flashReserveStatus(const RootDisk& disk) {
    const auto state = attribute(disk, "pre_eol_info");
    if (state == reserveNormal) return "Verified";
    if (state == reserveWarning || state == reserveUrgent) return "Failing";
    return std::nullopt;
}

}  // namespace corvanta
