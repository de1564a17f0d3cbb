// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <QLocale>
#include <csignal>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "core/Log.h"
#include "core/NumberText.h"
#include "ctl/LiveCommands.h"
#include "ctl/ProcessCommands.h"
#include "ctl/StoreCommands.h"
#include "monitoring/QtExecutor.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/Terminal.h"
#include "platform/linux/XdgDirectories.h"
#include "settings/AppSettings.h"

using namespace corvanta;

namespace {

constexpr int failure = 1;
constexpr int badUsage = 2;

struct Options {
    ctl::OutputOptions output;
    std::string database;
    std::string range = "24h";
    std::string sort = "cpu";
    ctl::ProcessListing listing;
    std::int64_t pid = 0;
    bool force = false;
    bool yes = false;
};

/// What the commands stand on. The settings are only read: what loading would write stays in memory.
struct Companion {
    explicit Companion(const Options& given) : options(given) {
        const XdgDirectories directories = xdgDirectories(processEnvironment, accountHome);
        const auto paths = applicationPathsBelow(directories);
        store = {options.database, false};
        if (options.database.empty()) store = {paths ? paths->databaseFile : std::string(), true};
        options.output.color = standardOutputIsTerminal();
        platform = std::make_unique<LinuxPlatform>(executor, directories,
                                                   paths ? paths->settingsFile : std::string(), std::string(),
                                                   JsonDefaultsStore::Access::readOnly);
    }

    Options options;
    ctl::StoreChoice store;
    QtExecutor executor;
    std::unique_ptr<LinuxPlatform> platform;
};

void declareTimeRange(CLI::App& command, Options& options) {
    std::vector<std::string> labels;
    labels.reserve(allTimeRanges.size());
    for (const TimeRange range : allTimeRanges) labels.emplace_back(label(range));
    command.add_option("--last", options.range, "How far to look back")
        ->check(CLI::IsMember(labels))
        ->capture_default_str();
}

void declareListing(CLI::App& command, Options& options) {
    command.add_option("--sort", options.sort, "What the first rows have most of")
        ->check(CLI::IsMember({"cpu", "memory"}))
        ->capture_default_str();
    command.add_option("--top", options.listing.top, "Show only so many rows")
        ->check(CLI::Range(std::int64_t{1}, std::numeric_limits<std::int64_t>::max()))
        ->type_name("N");
    command.add_flag("--grouped", options.listing.isGrouped, "One row for all processes of a name");
}

void declareQuit(CLI::App& command, Options& options) {
    command.add_option("pid", options.pid, "The process")
        ->required()
        ->check(CLI::NonNegativeNumber)
        ->type_name("PID");
    command.add_flag("--force", options.force, "Stop it at once, without a chance to save");
    command.add_flag("--yes", options.yes, "Do not ask first");
}

TimeRange chosenRange(const Options& options) {
    for (const TimeRange range : allTimeRanges) {
        if (label(range) == options.range) return range;
    }
    return TimeRange::hours24;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is found when writing
    Options options;
    CLI::App app(
        "Corvanta's companion for the terminal: it looks at this machine and at the stored history, and "
        "writes neither the store nor the settings.",
        "corvantactl");
    app.set_version_flag("--version", "corvantactl " CORVANTA_VERSION);
    app.require_subcommand(0, 1);  // so that an unknown word is named rather than a missing command
    app.fallthrough();
    app.add_flag("--json", options.output.json, "Write JSON for programs instead of text");
    app.add_option("--database", options.database, "Read this store instead of the user's own")
        ->type_name("FILE");
    CLI::App* status = app.add_subcommand("status", "Show this machine now");
    CLI::App* watch = app.add_subcommand("watch", "Show this machine at each refresh until interrupted");
    CLI::App* processes = app.add_subcommand("processes", "List the running processes");
    declareListing(*processes, options);
    CLI::App* quit = app.add_subcommand("quit", "Ask a process to quit, after a confirmation");
    declareQuit(*quit, options);
    CLI::App* history = app.add_subcommand("history", "List the stored samples, oldest first");
    declareTimeRange(*history, options);
    CLI::App* trends = app.add_subcommand("trends", "Compare the last 15 minutes with the last hour");
    try {
        app.parse(argc, argv);
        if (options.sort == "memory") options.listing.sortColumn = ProcessColumn::residentBytes;
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : badUsage;
    }

    setLogSink([](std::string_view line) { ctl::complain(line); });
    const QLocale locale = QLocale::system();
    setUserNumberSymbols({locale.decimalPoint().toStdString(), locale.groupSeparator().toStdString()});
    try {
        // Never destroyed: a task that is left behind may still use the platform.
        static auto& companion = *new Companion(options);
        const Platform& ports = companion.platform->ports();
        const Options& chosen = companion.options;
        if (status->parsed()) return ctl::runStatus(ports, chosen.output);
        if (watch->parsed()) {
            const AppSettings settings(ports.defaults, ports.loginItem, ports.clock, companion.executor);
            return ctl::runWatch(ports, settings, chosen.output);
        }
        if (processes->parsed()) return ctl::runProcesses(ports, chosen.listing, chosen.output);
        if (quit->parsed()) return ctl::runQuit(ports, chosen.pid, chosen.force, chosen.yes);
        if (history->parsed())
            return ctl::runHistory(companion.store, ports.clock, chosenRange(chosen), chosen.output);
        if (trends->parsed()) return ctl::runTrends(companion.store, ports.clock, chosen.output);
    } catch (const std::exception& error) {
        ctl::complain(error.what());
    }
    return failure;
}
