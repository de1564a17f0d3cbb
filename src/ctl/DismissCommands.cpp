// SPDX-License-Identifier: Apache-2.0
#include "ctl/DismissCommands.h"

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "core/NumberText.h"
#include "ctl/Json.h"
#include "ctl/StoreCommands.h"

namespace corvanta::ctl {
namespace {

using IDs = std::set<std::int64_t>;

IDs idsOf(const std::vector<PerformanceIncident>& incidents) {
    IDs ids;
    for (const PerformanceIncident& incident : incidents) ids.insert(incident.id);
    return ids;
}

bool isEachMarked(const IDs& ids, bool dismissed, const std::vector<PerformanceIncident>& incidents) {
    return std::all_of(incidents.begin(), incidents.end(), [&](const PerformanceIncident& incident) {
        return ids.count(incident.id) == 0 || incident.isDismissed() == dismissed;
    });
}

std::string doneText(std::size_t count, bool dismissed) {
    return (dismissed ? "Dismissed " : "Restored ") + integerText(count) +
           (count == 1 ? " incident.\n" : " incidents.\n");
}

int markIncidents(const Surroundings& at, const std::vector<std::int64_t>& given, bool dismissed) {
    DatabaseManager store(at.store.path, at.ports.clock, StoreAccess::companion);
    if (!isWritable(store, at.store)) return 1;
    const IDs ids(given.begin(), given.end());
    const auto incidents = store.fetchIncidents(DatabaseManager::mostIncidents);
    const IDs known = idsOf(incidents);
    for (const std::int64_t id : ids) {
        if (known.count(id) > 0) continue;
        complainOfMissing(id, incidents.size());
        return 1;
    }
    store.setIncidentsDismissed({ids.begin(), ids.end()}, dismissed, at.ports.clock.now());
    if (!isEachMarked(ids, dismissed, store.fetchIncidents(DatabaseManager::mostIncidents))) {
        complain("The store at " + at.store.path +
                 " could not be written: another program holds it, or the disk is full.");
        return 1;
    }
    const std::string text = at.output.json ? dumped({{"ids", ids}, {"dismissed", dismissed}}) + "\n"
                                            : doneText(ids.size(), dismissed);
    return print(text) ? 0 : 1;
}

void add(CommandList& commands, const std::string& name, const std::string& description, bool dismissed) {
    auto ids = std::make_shared<std::vector<std::int64_t>>();
    CLI::App& command = commands.add(name, description, [ids, dismissed](const Surroundings& at) {
        return markIncidents(at, *ids, dismissed);
    });
    command.add_option("id", *ids, "The incidents, as `incidents` lists them")
        ->required()
        ->check(wholeNumber())
        ->type_name("ID");
}

}  // namespace

void addDismiss(CommandList& commands) {
    add(commands, "dismiss", "Take incidents off the lists", true);
}

void addRestore(CommandList& commands) {
    add(commands, "restore", "Put dismissed incidents back", false);
}

}  // namespace corvanta::ctl
