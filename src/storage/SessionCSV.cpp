// SPDX-License-Identifier: Apache-2.0
// The text that a recorded session is exported as.
#include <array>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "storage/DatabaseManager.h"

namespace corvanta {
namespace {

constexpr std::string_view heading =
    "Timestamp,CPU %,macOS Memory Pressure,Estimated Memory Pressure %,Disk Free Bytes,Upload Bytes/s,"
    "Download Bytes/s,Thermal State,Top CPU Process,Top CPU %\n";

void appendField(std::string& text, std::string_view field) {
    if (field.find_first_of(",\"\n") == std::string_view::npos) {
        text += field;
        return;
    }
    text += '"';
    for (const char c : field) {
        if (c == '"') text += '"';
        text += c;
    }
    text += '"';
}

void appendLine(std::string& text, const SystemSnapshot& sample) {
    const std::array<std::string, 10> fields = {localTime(sample.timestamp),
                                                fixedText(sample.cpuUsage, 1),
                                                std::string(label(sample.memoryPressureState)),
                                                fixedText(sample.memoryPressure, 1),
                                                fixedText(sample.diskFree, 0),
                                                fixedText(sample.uploadSpeed, 0),
                                                fixedText(sample.downloadSpeed, 0),
                                                sample.thermalState.value_or(""),
                                                sample.topCPUProcess.value_or(""),
                                                fixedText(sample.topCPUUsage, 1)};
    for (const std::string& field : fields) {
        appendField(text, field);
        text += ',';
    }
    text.back() = '\n';
}

}  // namespace

std::string DatabaseManager::sessionCSV(const std::vector<SystemSnapshot>& samples) {
    if (samples.empty()) return "No data";
    std::string text(heading);
    for (const SystemSnapshot& sample : samples) appendLine(text, sample);
    return text;
}

}  // namespace corvanta
