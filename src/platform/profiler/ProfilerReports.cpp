// SPDX-License-Identifier: Apache-2.0
#include "platform/profiler/ProfilerReports.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "platform/profiler/PropertyList.h"

namespace corvanta {
namespace {

constexpr std::int64_t unknownLevel = -1;

/// The sections of a report; nullopt unless the root is an array of dictionaries and nothing else.
std::optional<std::vector<PropertyNode>> sectionsOf(const PropertyList& report) {
    if (!report.root().isArray()) return std::nullopt;
    auto sections = report.root().elements();
    const bool areDictionaries =
        std::all_of(sections.begin(), sections.end(), [](PropertyNode node) { return node.isDictionary(); });
    if (!areDictionaries) return std::nullopt;
    return sections;
}

/// Reads a percentage as people write it: "85", "85%", "85 %", "+85".
std::int64_t levelOf(std::string_view text) {
    constexpr std::string_view margin = " \t%";
    const auto begin = text.find_first_not_of(margin);
    if (begin == std::string_view::npos) return unknownLevel;
    text = text.substr(begin, text.find_last_not_of(margin) + 1 - begin);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    std::int64_t level = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), level);
    const bool isWhole = result.ec == std::errc{} && result.ptr == text.data() + text.size();
    return isWhole ? level : unknownLevel;
}

std::int64_t levelOf(PropertyNode properties) {
    constexpr const char* levelKey = "device_batteryLevel";
    if (const auto level = properties.member("device_battery").member(levelKey).integer()) return *level;
    if (const auto text = properties.member(levelKey).text()) return levelOf(*text);
    return unknownLevel;
}

}  // namespace

std::optional<std::vector<DriveReport>> parseStorageProfile(std::string_view xml) {
    const auto profile = PropertyList::parse(xml);
    const auto sections = profile ? sectionsOf(*profile) : std::nullopt;
    if (!sections) return std::nullopt;
    std::vector<DriveReport> reports;
    for (const PropertyNode section : *sections) {
        for (const PropertyNode item : section.member("_items").elements()) {
            const PropertyNode drive = item.member("physical_drive");
            if (!drive.isDictionary()) continue;
            reports.push_back({drive.member("device_name").text(), drive.member("smart_status").text()});
        }
    }
    return reports;
}

std::vector<ProfiledPeripheral> parseBluetoothProfile(std::string_view xml) {
    std::vector<ProfiledPeripheral> peripherals;
    const auto profile = PropertyList::parse(xml);
    const auto sections = profile ? sectionsOf(*profile) : std::nullopt;
    if (!sections) return peripherals;
    std::set<std::string> names;
    for (const PropertyNode section : *sections) {
        for (const PropertyNode item : section.member("_items").elements()) {
            for (const PropertyNode connected : item.member("device_connected").elements()) {
                for (const auto& [name, properties] : connected.members()) {
                    if (name.empty() || !properties.isDictionary() || !names.insert(name).second) continue;
                    peripherals.push_back({name, levelOf(properties)});
                }
            }
        }
    }
    return peripherals;
}

}  // namespace corvanta
