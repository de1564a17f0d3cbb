// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>
#include <QLocale>
#include <csignal>
#include <memory>
#include <string>

#include "core/Log.h"
#include "core/NumberText.h"
#include "ctl/AnomalyCommands.h"
#include "ctl/Command.h"
#include "ctl/DismissCommands.h"
#include "ctl/IncidentList.h"
#include "ctl/IncidentReport.h"
#include "ctl/LiveCommands.h"
#include "ctl/ProcessCommands.h"
#include "ctl/ReplayCommands.h"
#include "ctl/ReportCommands.h"
#include "ctl/SessionCommands.h"
#include "ctl/StoreCommands.h"
#include "monitoring/QtExecutor.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/Terminal.h"
#include "platform/linux/XdgDirectories.h"

using namespace corvanta;

namespace {

constexpr int failure = 1;
constexpr int badUsage = 2;

struct Options {
    ctl::OutputOptions output;
    std::string database;
};

/// What the commands stand on. The settings are only read: what loading would write stays in memory.
struct Companion {
    explicit Companion(const Options& options) {
        const XdgDirectories directories = xdgDirectories(processEnvironment, accountHome);
        const auto paths = applicationPathsBelow(directories);
        store = {options.database, false};
        if (options.database.empty()) store = {paths ? paths->databaseFile : std::string(), true};
        platform = std::make_unique<LinuxPlatform>(executor, directories,
                                                   paths ? paths->settingsFile : std::string(), std::string(),
                                                   JsonDefaultsStore::Access::readOnly);
    }

    ctl::StoreChoice store;
    QtExecutor executor;
    std::unique_ptr<LinuxPlatform> platform;
};

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is found when writing
    Options options;
    CLI::App app(
        "Corvanta's companion for the terminal: it looks at this machine and at the stored history. It never "
        "writes the settings; in the store it changes only what dismiss and restore say.",
        "corvantactl");
    app.set_version_flag("--version", "corvantactl " CORVANTA_VERSION);
    app.require_subcommand(0, 1);  // so that an unknown word is named rather than a missing command
    app.fallthrough();
    app.add_flag("--json", options.output.json, "Write JSON for programs instead of text");
    app.add_option("--database", options.database, "Use this store instead of the user's own")
        ->type_name("FILE");
    ctl::CommandList commands(app);
    ctl::addStatus(commands);
    ctl::addWatch(commands);
    ctl::addSummary(commands);
    ctl::addProcesses(commands);
    ctl::addQuit(commands);
    ctl::addHistory(commands);
    ctl::addTrends(commands);
    ctl::addReport(commands);
    ctl::addAnomalies(commands);
    ctl::addIncidents(commands);
    ctl::addIncident(commands);
    ctl::addReplay(commands);
    ctl::addSessions(commands);
    ctl::addExport(commands);
    ctl::addDismiss(commands);
    ctl::addRestore(commands);
    try {
        app.parse(argc, argv);
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
        options.output.color = standardOutputIsTerminal();
        return commands.run(
            {companion.platform->ports(), companion.executor, companion.store, options.output});
    } catch (const std::exception& error) {
        ctl::complain(error.what());
    }
    return failure;
}
