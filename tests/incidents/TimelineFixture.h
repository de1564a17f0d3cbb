// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "incidents/IncidentRecords.h"
#include "incidents/IncidentTimelineViewModel.h"
#include "incidents/StoredIncidents.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta::test {

/// A view model on a real store whose rows the test knows.
class TimelineTest : public testing::Test {
  protected:
    using Texts = std::vector<std::string>;

    TimelineTest() { clock.setNow(instantFromSeconds(storeNow)); }

    void store(const PerformanceIncident& incident) { storeIncident(sql, incident); }

    void open() { model = std::make_unique<IncidentTimelineViewModel>(database, clock); }

    Ids groups() const { return idsOf(model->historyGroups()); }

    Ids found(const std::string& text) {
        model->setSearchText(text);
        return groups();
    }

    /// Ages of the samples, in seconds before now.
    std::vector<double> sampleAges() const {
        std::vector<double> ages;
        for (const auto& sample : model->samples())
            ages.push_back(storeNow - secondsSince1970(sample.timestamp));
        return ages;
    }

    Texts dismissals() { return sql.rows("SELECT id, dismissed_at FROM performance_incidents ORDER BY id;"); }

    TempDirectory folder;
    FakeClock clock;
    DatabaseManager database{folder.file("store.sqlite"), clock};
    Sql sql{folder.file("store.sqlite")};
    std::unique_ptr<IncidentTimelineViewModel> model;
};

}  // namespace corvanta::test
