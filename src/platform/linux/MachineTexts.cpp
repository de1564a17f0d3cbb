// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/MachineTexts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

#include "core/AsciiCase.h"
#include "core/PlainText.h"
#include "core/Utf8Text.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

// In lower case.
constexpr std::array<std::string_view, 12> fillers = {"to be filled by o.e.m.",
                                                      "system product name",
                                                      "system version",
                                                      "default string",
                                                      "not specified",
                                                      "not applicable",
                                                      "none",
                                                      "invalid",
                                                      "undefined",
                                                      "oem",
                                                      "o.e.m.",
                                                      "x.x"};

// What the kernels of several architectures call the processor's name.
constexpr std::array<std::string_view, 5> brandKeys = {"model name", "Model Name", "cpu", "cpu model",
                                                       "uarch"};

struct ArmCore {
    std::uint32_t implementer;
    std::uint32_t part;
    std::string_view name;
};

constexpr std::uint32_t qualcomm = 0x51;

// From small to large.
constexpr std::array<ArmCore, 18> armCores = {{
    {0x41, 0xd03, "Cortex-A53"},
    {0x41, 0xd05, "Cortex-A55"},
    {0x41, 0xd07, "Cortex-A57"},
    {0x41, 0xd08, "Cortex-A72"},
    {0x41, 0xd09, "Cortex-A73"},
    {0x41, 0xd0a, "Cortex-A75"},
    {0x41, 0xd0b, "Cortex-A76"},
    {0x41, 0xd0d, "Cortex-A77"},
    {0x41, 0xd41, "Cortex-A78"},
    {0x41, 0xd47, "Cortex-A710"},
    {0x41, 0xd44, "Cortex-X1"},
    {0x41, 0xd0c, "Neoverse-N1"},
    {0x41, 0xd49, "Neoverse-N2"},
    {0x41, 0xd40, "Neoverse-V1"},
    {0x41, 0xd4f, "Neoverse-V2"},
    {0x61, 0x022, "Apple M1"},
    {0x61, 0x023, "Apple M1"},
    {0xc0, 0xac3, "AmpereOne"},
}};

constexpr std::size_t mostProcessors = 65'536;

std::string meaningful(std::string_view raw) {
    std::string text = shownText(raw);
    const bool isFiller = std::find(fillers.begin(), fillers.end(), asciiLowerCase(text)) != fillers.end();
    return isFiller ? std::string() : text;
}

std::string withSingleBlanks(std::string text) {
    const auto areBlanks = [](char a, char b) { return a == ' ' && b == ' '; };
    text.erase(std::unique(text.begin(), text.end(), areBlanks), text.end());
    return text;
}

std::optional<std::uint32_t> parseHexadecimal(std::string_view word) {
    if (word.substr(0, 2) != "0x") return std::nullopt;
    word.remove_prefix(2);
    std::uint32_t value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value, 16);
    if (result.ec != std::errc{} || result.ptr != word.data() + word.size()) return std::nullopt;
    return value;
}

/// Position among the known cores, from 1; 0 for an unknown one.
std::size_t armRank(std::uint32_t implementer, std::uint32_t part) {
    const auto found = std::find_if(armCores.begin(), armCores.end(), [&](const ArmCore& core) {
        return core.implementer == implementer && core.part == part;
    });
    return found == armCores.end() ? 0 : static_cast<std::size_t>(found - armCores.begin()) + 1;
}

/// Splits "key : value" and takes the blanks off both.
struct KeyAndValue {
    explicit KeyAndValue(std::string_view line) {
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) return;
        key = trimmedUtf8(line.substr(0, colon));
        value = trimmedUtf8(line.substr(colon + 1));
    }
    std::string_view key;
    std::string_view value;
};

/// Undoes the shell's quoting.
std::string unquoted(std::string_view value) {
    const char quote = value.empty() ? '\0' : value.front();
    if (quote != '"' && quote != '\'') return std::string(value);
    value.remove_prefix(1);
    std::string text;
    for (std::size_t i = 0; i < value.size() && value[i] != quote; ++i) {
        if (quote == '"' && value[i] == '\\' && i + 1 < value.size()) ++i;
        text.push_back(value[i]);
    }
    return text;
}

}  // namespace

std::string shownText(std::string_view raw) {
    const std::string text = plainText(repairedUtf8(raw));
    return std::string(trimmedUtf8(text));
}

std::string marketingName(const FirmwareTexts& texts) {
    if (asciiLowerCase(shownText(texts.vendor)) == "lenovo") {
        // Its product names are order numbers, and the name stands where others have a version.
        if (std::string name = meaningful(texts.productVersion); !name.empty()) return name;
    }
    if (std::string name = meaningful(texts.productName); !name.empty()) return name;
    return meaningful(texts.boardName);
}

std::string firstDeviceTreeString(std::string_view property) {
    return shownText(property.substr(0, property.find('\0')));
}

std::string parseProcessorBrand(std::string_view cpuInfo) {
    std::optional<std::uint32_t> implementer;
    std::size_t largest = 0;
    bool isQualcomm = false;
    while (const auto line = takeLine(cpuInfo)) {
        const KeyAndValue entry(*line);
        if (std::find(brandKeys.begin(), brandKeys.end(), entry.key) != brandKeys.end()) {
            if (std::string brand = withSingleBlanks(shownText(entry.value)); !brand.empty()) return brand;
        } else if (entry.key == "CPU implementer") {
            implementer = parseHexadecimal(entry.value);
            isQualcomm = isQualcomm || implementer == qualcomm;
        } else if (entry.key == "CPU part" && implementer) {
            if (const auto part = parseHexadecimal(entry.value))
                largest = std::max(largest, armRank(*implementer, *part));
        }
    }
    if (largest > 0) return std::string(armCores[largest - 1].name);
    return isQualcomm ? "Qualcomm" : "";
}

std::optional<std::vector<int>> parseProcessorList(std::string_view text) {
    const auto line = takeLine(text);
    if (!line) return std::nullopt;
    std::vector<int> processors;
    for (std::string_view rest = *line; !rest.empty();) {
        const std::string_view range = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(rest.size(), range.size() + 1));
        const auto dash = range.find('-');
        const auto first = parseNumber<std::uint16_t>(range.substr(0, dash));
        const auto last =
            dash == std::string_view::npos ? first : parseNumber<std::uint16_t>(range.substr(dash + 1));
        if (!first || !last || *last < *first) return std::nullopt;
        for (int processor = *first; processor <= *last; ++processor) processors.push_back(processor);
        if (processors.size() > mostProcessors) return std::nullopt;
    }
    return processors;
}

std::string parsePrettyName(std::string_view osRelease) {
    constexpr std::string_view key = "PRETTY_NAME=";
    std::string name;
    while (!osRelease.empty()) {
        const std::string_view line = osRelease.substr(0, osRelease.find('\n'));
        osRelease.remove_prefix(std::min(osRelease.size(), line.size() + 1));
        // A later assignment replaces an earlier one, as it does in a shell.
        if (line.substr(0, key.size()) == key) name = shownText(unquoted(line.substr(key.size())));
    }
    return name;
}

}  // namespace corvanta
