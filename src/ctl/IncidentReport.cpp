// SPDX-License-Identifier: Apache-2.0
#include "ctl/IncidentReport.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "core/ProcessTexts.h"
#include "core/TextForms.h"
#include "ctl/IncidentJson.h"
#include "ctl/Json.h"
#include "ctl/ReplayCommands.h"
#include "ctl/StoreCommands.h"
#include "incidents/rules/IncidentNarrativeBuilder.h"

namespace corvanta::ctl {
namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr const char* dash = " \xe2\x80\x94 ";

struct Request {
    std::int64_t id = 0;
    bool isSummaryOnly = false;
    bool isStream = false;
};

/// All that is known of one incident.
struct Report {
    PerformanceIncident incident;
    std::vector<IncidentTimelineSample> timeline;
    IncidentNarrative narrative;
};

Report reportOf(const PerformanceIncident& incident, const DatabaseManager& store, Instant now) {
    auto timeline = store.fetchIncidentTimeline(incident);
    auto narrative = IncidentNarrativeBuilder::build(incident, timeline, now);
    return {incident, std::move(timeline), std::move(narrative)};
}

// For programs

Json fields(const IncidentTimelineSample& sample) {
    return {{"id", sample.id},
            {"timestamp", storedSeconds(sample.timestamp)},
            {"cpu_usage", sample.cpuUsage},
            {"memory_pressure", sample.memoryPressure},
            {"memory_pressure_state", label(sample.memoryPressureState)},
            {"upload_speed", sample.uploadSpeed},
            {"download_speed", sample.downloadSpeed},
            {"battery_percentage", orNull(sample.batteryPercentage)},
            {"is_charging", orNull(sample.isCharging)},
            {"thermal_state", sample.thermalState},
            {"top_cpu_process", orNull(sample.topCPUProcess)},
            {"top_cpu_usage", sample.topCPUUsage},
            {"top_ram_process", orNull(sample.topRAMProcess)},
            {"top_ram_bytes", sample.topRAMBytes}};
}

Json fields(const IncidentNarrativeItem& item) {
    return {{"title", item.title}, {"detail", item.detail}, {"system_image", item.systemImage}};
}

template <class Item>
Json listOf(const std::vector<Item>& items) {
    Json list = Json::array();
    for (const Item& item : items) list.push_back(fields(item));
    return list;
}

Json fields(const IncidentNarrative& narrative) {
    return {{"headline", narrative.headline},
            {"overview", narrative.overview},
            {"trigger", fields(narrative.trigger)},
            {"overlapping_signals", listOf(narrative.overlappingSignals)},
            {"changes", listOf(narrative.changes)},
            {"resolution_state", rawValue(narrative.resolutionState)},
            {"resolution_detail", narrative.resolutionDetail},
            {"confidence", rawValue(narrative.confidence)},
            {"confidence_detail", narrative.confidenceDetail},
            {"contributor_detail", orNull(narrative.contributorDetail)}};
}

bool printJson(const Report& report, const Request& request) {
    Json object = Json::object();
    if (!request.isSummaryOnly) {
        object["incident"] = incidentJson(report.incident);
        object["narrative"] = fields(report.narrative);
        object["timeline"] = listOf(report.timeline);
    }
    object["shareable_summary"] = shareableSummary(report.narrative);
    return print(dumped(object) + "\n");
}

// For people

/// These texts may hold a name or a thermal word out of the store.
IncidentNarrative plain(IncidentNarrative narrative) {
    narrative.overview = plainText(narrative.overview);
    for (IncidentNarrativeItem& signal : narrative.overlappingSignals)
        signal.detail = plainText(signal.detail);
    for (IncidentNarrativeItem& change : narrative.changes) change.detail = plainText(change.detail);
    if (narrative.contributorDetail) narrative.contributorDetail = plainText(*narrative.contributorDetail);
    return narrative;
}

/// A line for each item, the title before the first of them.
void addItems(Rows& rows, const std::string& title, const std::vector<IncidentNarrativeItem>& items) {
    for (const IncidentNarrativeItem& item : items) {
        rows.push_back({&item == &items.front() ? title : "", item.detail});
    }
}

std::string textOf(const IncidentNarrative& narrative) {
    Rows rows = {{"Trigger", narrative.trigger.detail}};
    addItems(rows, "Overlapping signals", narrative.overlappingSignals);
    addItems(rows, "What changed", narrative.changes);
    rows.push_back(
        {"Resolution", std::string(label(narrative.resolutionState)) + dash + narrative.resolutionDetail});
    rows.push_back(
        {"Confidence", std::string(label(narrative.confidence)) + dash + narrative.confidenceDetail});
    if (narrative.contributorDetail) rows.push_back({"Process evidence", *narrative.contributorDetail});
    return narrative.headline + "\n" + narrative.overview + "\n\n" + table(rows);
}

std::string timeCell(const std::optional<Instant>& instant) {
    return instant ? localTime(storedSeconds(*instant)) : "-";
}

std::string processCell(const std::optional<std::string>& name, const std::string& figure) {
    return name ? plainText(*name) + " " + figure : "-";
}

std::string textOf(const PerformanceIncident& incident) {
    const auto battery = incident.minimumBatteryPercentage;
    return table({{"Started", timeCell(incident.startedAt)},
                  {"Detected", timeCell(incident.detectedAt)},
                  {"Recovery began", timeCell(incident.recoveryStartedAt)},
                  {"Ended", timeCell(incident.endedAt)},
                  {"Kind", std::string(label(incident.kind))},
                  {"Severity", std::string(label(incident.severity))},
                  {"Peak CPU", percentCell(incident.peakCPU)},
                  {"Peak pressure", percentCell(incident.peakMemoryPressure)},
                  {"Worst level", std::string(label(incident.worstMemoryPressureState))},
                  {"Worst thermal", plainText(incident.worstThermalState)},
                  {"Peak network", speedString(incident.peakNetworkBytesPerSecond)},
                  {"Lowest battery", battery ? integerText(*battery) + "%" : "-"},
                  {"Busiest process", processCell(incident.topCPUProcess, percentCell(incident.topCPUUsage))},
                  {"Largest process", processCell(incident.topRAMProcess,
                                                  memoryString(incident.topRAMBytes, userNumberSymbols()))},
                  {"Samples", integerText(incident.sampleCount)},
                  {"Dismissed", timeCell(incident.dismissedAt)}});
}

std::string textOf(const std::vector<IncidentTimelineSample>& timeline) {
    if (timeline.empty()) return "No samples around this incident.\n";
    Rows rows = {{"Time", "CPU", "Pressure", "Level", "Thermal", "Network", "Busiest process"}};
    for (const IncidentTimelineSample& sample : timeline) {
        rows.push_back({timeCell(sample.timestamp), percentCell(sample.cpuUsage),
                        percentCell(sample.memoryPressure), std::string(label(sample.memoryPressureState)),
                        plainText(sample.thermalState), speedString(sample.networkBytesPerSecond()),
                        processCell(sample.topCPUProcess, percentCell(sample.topCPUUsage))});
    }
    return table(rows);
}

bool printText(const Report& report, const Request& request) {
    const IncidentNarrative narrative = plain(report.narrative);
    if (request.isSummaryOnly) return print(shareableSummary(narrative) + "\n");
    return print(textOf(narrative) + "\n" + textOf(report.incident) + "\n" + textOf(report.timeline));
}

int runIncident(const Surroundings& at, const Request& request) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const auto incidents = store.fetchIncidents(DatabaseManager::mostIncidents);
    const auto incident =
        std::find_if(incidents.begin(), incidents.end(),
                     [&](const PerformanceIncident& each) { return each.id == request.id; });
    if (incident == incidents.end()) {
        complainOfMissing(request.id, incidents.size());
        return 1;
    }
    if (request.isStream) return printObservations(store, *incident);
    const Report report = reportOf(*incident, store, at.ports.clock.now());
    return (at.output.json ? printJson(report, request) : printText(report, request)) ? 0 : 1;
}

}  // namespace

void addIncident(CommandList& commands) {
    auto request = std::make_shared<Request>();
    CLI::App& command =
        commands.add("incident", "Tell one stored incident, with its figures and the samples around it",
                     [request](const Surroundings& at) { return runIncident(at, *request); });
    command.add_option("id", request->id, "The number of the incident")
        ->required()
        ->check(wholeNumber())
        ->type_name("ID");
    CLI::Option* const summary =
        command.add_flag("--summary", request->isSummaryOnly, "Write only the summary to hand on");
    command.add_flag("--observations", request->isStream, "Write only the samples around it, for replay")
        ->excludes(summary);
}

}  // namespace corvanta::ctl
