// SPDX-License-Identifier: Apache-2.0
#include "ctl/ReplayCommands.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/NumberText.h"
#include "core/PlainText.h"
#include "ctl/Output.h"
#include "incidents/replay/IncidentReplay.h"
#include "incidents/replay/ObservationStream.h"

namespace corvanta::ctl {
namespace {

constexpr const char* standardInput = "-";
constexpr double margin = 300;  // seconds before an incident and after it

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) std::fclose(file);
    }
};

/// Nothing, with `errno` set, when it can't be read to its end.
std::optional<std::string> wholeText(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> file(path == standardInput ? stdin
                                                                           : std::fopen(path.c_str(), "rb"));
    if (!file) return std::nullopt;
    std::string text;
    std::array<char, 65536> piece;
    while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), file.get()))
        text.append(piece.data(), size);
    if (std::ferror(file.get()) != 0) return std::nullopt;
    return text;
}

int runReplay(const std::string& path) {
    const auto stream = wholeText(path);
    if (!stream) {
        const char* const reason = std::strerror(errno);
        complain("Could not read " + (path == standardInput ? "standard input" : plainText(path)) + ": " +
                 reason);
        return 1;
    }
    const auto replayed = replayedStream(*stream);
    if (const auto* const broken = std::get_if<BrokenStream>(&replayed)) {
        complain("line " + integerText(broken->line) + ": " + broken->problem);
        return 1;
    }
    return print(std::get<std::string>(replayed)) ? 0 : 1;
}

}  // namespace

void addReplay(CommandList& commands) {
    auto path = std::make_shared<std::string>();
    CLI::App& command = commands.add("replay", "Tell what the incident engine decides on a recorded stream",
                                     [path](const Surroundings&) { return runReplay(*path); });
    command.add_option("file", *path, "The recorded stream, or - for standard input")
        ->required()
        ->type_name("FILE");
}

int printObservations(const DatabaseManager& store, const PerformanceIncident& incident) {
    return print(streamOf(store.fetchIncidentTimeline(incident, margin, margin))) ? 0 : 1;
}

}  // namespace corvanta::ctl
