// SPDX-License-Identifier: Apache-2.0
#include "incidents/replay/ObservationStream.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "core/PlainText.h"
#include "core/Utf8Text.h"
#include "incidents/replay/StreamJson.h"

namespace corvanta {
namespace {

using Json = nlohmann::json;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr int numberOutOfRange = 406;  // the JSON reader's number for it

/// For a message, which a name of any length would fill.
std::string shownName(const std::string& name) {
    constexpr std::size_t longest = 60;  // bytes
    if (name.size() <= longest) return plainText(name);
    return repairedUtf8(plainText(name).substr(0, longest)) + "...";
}

/// Reads a text to two levels: what lies deeper is checked but not kept, so that no text, however deep, costs
/// more than its own length. A name that stands twice in an object is refused, as readers differ in which of
/// the two values they take.
class ShallowReader final : public nlohmann::json_sax<Json> {
  public:
    Json root;
    std::string problem;

    bool null() override { return take(nullptr); }
    bool boolean(bool value) override { return take(value); }
    bool number_integer(number_integer_t value) override { return take(value); }
    bool number_unsigned(number_unsigned_t value) override { return take(value); }
    bool number_float(number_float_t value, const string_t&) override { return take(value); }
    bool string(string_t& value) override { return take(std::move(value)); }
    bool binary(binary_t&) override { return false; }  // no text holds it
    bool start_object(std::size_t) override { return open(Json::object()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(Json::array()); }
    bool end_array() override { return close(); }

    bool key(string_t& name) override {
        Json* const object = depth_ == 1 ? &root : depth_ == 2 ? member_ : nullptr;
        if (object == nullptr) return true;
        if (object->contains(name)) {
            problem = shownName(name) + " stands twice";
            return false;
        }
        slot_ = &(*object)[std::move(name)];
        return true;
    }
    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        problem =
            (error.id == numberOutOfRange ? "a number is too large at byte " : "this is no JSON from byte ") +
            std::to_string(position) + (error.id == numberOutOfRange ? "" : " on");
        return false;
    }

  private:
    bool take(Json value) {
        if (slot_ != nullptr) *slot_ = std::move(value);
        slot_ = nullptr;
        return true;
    }
    bool open(Json empty) {
        ++depth_;
        if (depth_ == 2) member_ = empty.is_object() ? slot_ : nullptr;
        return take(std::move(empty));
    }
    bool close() {
        --depth_;
        return true;
    }

    Json* slot_ = &root;      ///< where the next value goes; null when it isn't kept
    Json* member_ = nullptr;  ///< the object that is open on the second level
    std::size_t depth_ = 0;
};

// What a field asks for, when the value isn't that; null when it is, and has been read.

const char* convert(const Json& json, double& value) {
    if (!json.is_number()) return "a number";
    value = json.get<double>();
    return nullptr;
}

const char* convert(const Json& json, bool& value) {
    if (!json.is_boolean()) return "true or false";
    value = json.get<bool>();
    return nullptr;
}

const char* convert(const Json& json, std::string& value) {
    if (!json.is_string()) return "a text";
    value = json.get<std::string>();
    return nullptr;
}

/// A program that has only one kind of number writes 57 as 57.0.
Json wholeIfItIs(const Json& json) {
    constexpr double exactIntegers = 9007199254740992.0;  // 2^53
    if (!json.is_number_float()) return json;
    const double value = json.get<double>();
    if (std::trunc(value) != value || std::abs(value) >= exactIntegers) return json;
    if (value < 0) return static_cast<std::int64_t>(value);
    return static_cast<std::uint64_t>(value);
}

const char* convert(const Json& given, std::uint64_t& value) {
    const Json json = wholeIfItIs(given);
    if (!json.is_number_unsigned()) return "a whole number from 0 on";
    value = json.get<std::uint64_t>();
    return nullptr;
}

const char* convert(const Json& given, std::int64_t& value) {
    const Json json = wholeIfItIs(given);
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!json.is_number_integer() || (json.is_number_unsigned() && json.get<std::uint64_t>() > largest))
        return "a whole number";
    value = json.get<std::int64_t>();
    return nullptr;
}

const char* convert(const Json& json, MemoryPressureLevel& value) {
    std::int64_t raw = 0;
    const bool isWhole = convert(json, raw) == nullptr;
    const auto level = isWhole ? memoryPressureLevelFromRaw(raw) : std::nullopt;
    if (!level) return "0, 1, 2 or 4";
    value = *level;
    return nullptr;
}

/// Reads the fields of one object, up to the first that is wrong.
class Fields {
  public:
    explicit Fields(const Json& object, std::string prefix = "")
        : object_(object), prefix_(std::move(prefix)) {}

    /// Leaves the value as it is when the field is missing; null counts as missing.
    template <class Value>
    void read(const char* name, Value& value) {
        const auto found = object_.find(name);
        if (found == object_.end() || found->is_null() || !problem_.empty()) return;
        if (const char* const wanted = convert(*found, value))
            problem_ = prefix_ + name + " must be " + wanted;
    }
    template <class Value>
    void read(const char* name, std::optional<Value>& value) {
        const auto found = object_.find(name);
        if (found != object_.end() && !found->is_null()) read(name, value.emplace());
    }
    double required(const char* name) {
        std::optional<double> value;
        read(name, value);
        if (!value && problem_.empty()) problem_ = prefix_ + name + " is missing";
        return value.value_or(0);
    }

    const std::string& problem() const { return problem_; }

  private:
    const Json& object_;
    std::string prefix_;
    std::string problem_;
};

StreamLine observationOf(const Json& object) {
    Fields fields(object);
    IncidentObservation observation;
    observation.thermalState = "Nominal";
    observation.timestamp = instantFromSeconds(fields.required("timestamp"));
    observation.systemUptime = fields.required("systemUptime");
    fields.read("cpuUsage", observation.cpuUsage);
    fields.read("memoryPressureState", observation.memoryPressureState);
    fields.read("estimatedMemoryPressure", observation.estimatedMemoryPressure);
    fields.read("thermalState", observation.thermalState);
    fields.read("uploadSpeed", observation.uploadSpeed);
    fields.read("downloadSpeed", observation.downloadSpeed);
    fields.read("batteryPercentage", observation.batteryPercentage);
    fields.read("isCharging", observation.isCharging);
    fields.read("topCPUProcess", observation.topCPUProcess);
    fields.read("topCPUUsage", observation.topCPUUsage);
    fields.read("topRAMProcess", observation.topRAMProcess);
    fields.read("topRAMBytes", observation.topRAMBytes);
    if (!fields.problem().empty()) return BrokenLine{fields.problem()};
    return observation;
}

StreamLine rulesOf(const Json& object, IncidentRuleConfiguration rules) {
    if (object.contains("timestamp")) return BrokenLine{"rules and timestamp stand in one object"};
    const Json& switches = object.at("rules");
    if (!switches.is_object()) return BrokenLine{"rules must be an object"};
    // An unknown switch is a rule that would be left out, or a slip of the pen.
    for (const auto& [name, value] : switches.items()) {
        if (name != "cpuEnabled" && name != "memoryEnabled" && name != "thermalEnabled")
            return BrokenLine{"rules." + shownName(name) + " is no rule"};
    }
    Fields fields(switches, "rules.");
    fields.read("cpuEnabled", rules.cpuEnabled);
    fields.read("memoryEnabled", rules.memoryEnabled);
    fields.read("thermalEnabled", rules.thermalEnabled);
    if (!fields.problem().empty()) return BrokenLine{fields.problem()};
    return rules;
}

IncidentObservation observationOf(const IncidentTimelineSample& row) {
    IncidentObservation observation;
    observation.timestamp = row.timestamp;
    observation.systemUptime = secondsSince1970(row.timestamp);
    observation.cpuUsage = row.cpuUsage;
    observation.memoryPressureState = row.memoryPressureState;
    observation.estimatedMemoryPressure = row.memoryPressure;
    observation.thermalState = row.thermalState;
    observation.uploadSpeed = row.uploadSpeed;
    observation.downloadSpeed = row.downloadSpeed;
    observation.batteryPercentage = row.batteryPercentage;
    observation.isCharging = row.isCharging;
    observation.topCPUProcess = row.topCPUProcess;
    observation.topCPUUsage = row.topCPUUsage;
    observation.topRAMProcess = row.topRAMProcess;
    observation.topRAMBytes = row.topRAMBytes;
    return observation;
}

}  // namespace

StreamLine parseStreamLine(std::string_view line, const IncidentRuleConfiguration& presentRules) {
    if (line.starts_with(byteOrderMark)) line.remove_prefix(byteOrderMark.size());
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return BlankLine{};
    // The JSON reader would take it for the end, and whatever follows for nothing.
    if (line.find('\0') != std::string_view::npos) return BrokenLine{"there is a NUL byte in it"};
    ShallowReader reader;
    if (!Json::sax_parse(line, &reader)) return BrokenLine{reader.problem};
    if (!reader.root.is_object()) return BrokenLine{"this is no JSON object"};
    if (reader.root.contains("rules")) return rulesOf(reader.root, presentRules);
    return observationOf(reader.root);
}

std::string streamLine(const IncidentObservation& observation) {
    StreamJson json;
    const auto addIfThere = [&json](std::string_view name, const auto& value) {
        if (value) json.add(name, *value);
    };
    json.add("timestamp", secondsSince1970(observation.timestamp));
    json.add("systemUptime", observation.systemUptime);
    json.add("cpuUsage", observation.cpuUsage);
    json.add("memoryPressureState", std::int64_t{rawValue(observation.memoryPressureState)});
    json.add("estimatedMemoryPressure", observation.estimatedMemoryPressure);
    json.add("thermalState", std::string_view(observation.thermalState));
    json.add("uploadSpeed", observation.uploadSpeed);
    json.add("downloadSpeed", observation.downloadSpeed);
    addIfThere("batteryPercentage", observation.batteryPercentage);
    addIfThere("isCharging", observation.isCharging);
    addIfThere("topCPUProcess", observation.topCPUProcess);
    json.add("topCPUUsage", observation.topCPUUsage);
    addIfThere("topRAMProcess", observation.topRAMProcess);
    json.add("topRAMBytes", observation.topRAMBytes);
    return json.line();
}

std::string streamOf(const std::vector<IncidentTimelineSample>& rows) {
    std::string text;
    std::optional<Instant> last;
    for (const IncidentTimelineSample& row : rows) {
        if (row.timestamp == last) continue;
        text += streamLine(observationOf(row));
        last = row.timestamp;
    }
    return text;
}

}  // namespace corvanta
