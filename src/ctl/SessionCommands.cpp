// SPDX-License-Identifier: Apache-2.0
#include "ctl/SessionCommands.h"

#include <algorithm>
#include <memory>
#include <string>

#include "core/LocalTime.h"
#include "core/NumberText.h"
#include "core/PlainText.h"
#include "ctl/Json.h"
#include "ctl/StoreCommands.h"
#include "platform/linux/FileReplacement.h"
#include "storage/DatabaseManager.h"

namespace corvanta::ctl {
namespace {

struct ExportRequest {
    std::int64_t id = 0;
    std::string output;  // standard output when empty
};

Json jsonOf(const RecordingSession& session, Instant now) {
    return {{"id", session.id},
            {"name", session.name},
            {"started_at", storedSeconds(session.startedAt)},
            {"ended_at", secondsOrNull(session.endedAt)},
            {"duration", session.duration(now)},
            {"sample_count", session.sampleCount}};
}

std::vector<std::string> textOf(const RecordingSession& session, Instant now) {
    return {integerText(session.id), plainText(session.name), localTime(storedSeconds(session.startedAt)),
            session.endedAt ? session.durationString(now) : "open", integerText(session.sampleCount)};
}

int runSessions(const Surroundings& at) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const auto sessions = store.allSessions();
    const Instant now = at.ports.clock.now();
    if (at.output.json) {
        Json list = Json::array();
        for (const RecordingSession& session : sessions) list.push_back(jsonOf(session, now));
        return print(dumped(list) + "\n") ? 0 : 1;
    }
    if (sessions.empty()) return print("No sessions.\n") ? 0 : 1;
    std::vector<std::vector<std::string>> lines = {{"ID", "Name", "Start", "Duration", "Samples"}};
    for (const RecordingSession& session : sessions) lines.push_back(textOf(session, now));
    return print(table(lines)) ? 0 : 1;
}

int runExport(const Surroundings& at, const ExportRequest& request) {
    const DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::readOnly);
    if (!isReadable(store, at.store)) return 1;
    const auto sessions = store.allSessions();
    const auto session = std::find_if(sessions.begin(), sessions.end(),
                                      [&](const RecordingSession& each) { return each.id == request.id; });
    if (session == sessions.end()) {
        complain("There is no session " + integerText(request.id) + ".");
        return 1;
    }
    const auto samples = store.fetchSessionSamples(request.id);
    const auto count = static_cast<std::int64_t>(samples.size());
    if (count < session->sampleCount) {  // one that runs may have grown
        complain("Only " + integerText(count) + " of " + integerText(session->sampleCount) +
                 " samples can be read; the store is damaged or in use.");
        return 1;
    }
    const std::string csv = DatabaseManager::sessionCSV(samples);
    if (request.output.empty()) return print(csv) ? 0 : 1;
    if (const auto failure = saveFile(request.output, csv)) {
        complain(*failure);
        return 1;
    }
    const std::string text = at.output.json ? dumped({{"path", request.output}, {"sample_count", count}})
                                            : "Wrote " + request.output;
    return print(text + "\n") ? 0 : 1;
}

}  // namespace

void addSessions(CommandList& commands) {
    commands.add("sessions", "List the recording sessions, newest first", runSessions);
}

void addExport(CommandList& commands) {
    auto request = std::make_shared<ExportRequest>();
    CLI::App& command = commands.add("export", "Write the samples of a recording session, always as CSV",
                                     [request](const Surroundings& at) { return runExport(at, *request); });
    command.add_option("id", request->id, "The session")->required()->check(wholeNumber())->type_name("ID");
    command.add_option("--output", request->output, "Write this file instead of standard output")
        ->type_name("FILE");
}

}  // namespace corvanta::ctl
