// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/NumberText.h"
#include "storage/DatabaseManager.h"
#include "storage/StoreTestSupport.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta::test {

/// One stored row of history, as far as anomalies are concerned.
struct HistoryRow {
    std::int64_t age = 0;  ///< seconds before the present moment
    std::optional<double> cpu;
    std::optional<double> pressure;
};

/// A real store whose history a test writes row by row.
class AnomalyHistory {
  public:
    /// The rows are all that the history holds afterwards.
    void replace(const std::vector<HistoryRow>& rows) {
        std::string insert;
        for (const HistoryRow& row : rows) {
            insert += insert.empty()
                          ? "INSERT INTO metrics_history (timestamp, cpu_usage, memory_pressure) VALUES "
                          : ", ";
            insert += "(" + integerText(storedSeconds(clock.now()) - row.age) + ", " + literal(row.cpu) +
                      ", " + literal(row.pressure) + ")";
        }
        sql_.run("DELETE FROM metrics_history; " + insert);
    }

    /// A CPU history: the recent values within the last quarter of an hour, the older ones before it.
    void replace(const std::vector<double>& older, const std::vector<double>& recent) {
        std::vector<HistoryRow> rows;
        std::int64_t age = 1000;
        for (const double value : older) rows.push_back({age += 10, value, std::nullopt});
        age = 0;
        for (const double value : recent) rows.push_back({age += 10, value, std::nullopt});
        replace(rows);
    }

    FakeClock clock;

  private:
    static std::string literal(std::optional<double> value) {
        if (!value) return "NULL";
        if (std::isinf(*value)) return *value > 0 ? "9e999" : "-9e999";
        return fixedText(*value, 10);
    }

    const TempDirectory folder_;

  public:
    DatabaseManager store{folder_.file("history.sqlite"), clock};

  private:
    Sql sql_{folder_.file("history.sqlite")};
};

}  // namespace corvanta::test
