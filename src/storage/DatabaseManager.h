// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Clock.h"
#include "core/HistoryRecords.h"
#include "core/Mutex.h"
#include "incidents/model/IncidentObservation.h"
#include "incidents/model/IncidentTimelineSample.h"
#include "incidents/model/IncidentTransition.h"
#include "incidents/model/PerformanceIncident.h"
#include "storage/RecordingSession.h"
#include "storage/TrendResult.h"
#include "storage/WeeklyStats.h"

struct sqlite3;

namespace corvanta {

/// What a store is opened for. The program itself has it for reading and writing. A companion beside it only
/// reads, or changes rows that are there: then neither the database file nor its folder is made or brought up
/// to date, rows that are open stay open, and nothing is printed about the opening. SQLite's shared memory
/// beside the file, its `-shm`, may be made or changed by a reader too.
enum class StoreAccess { readWrite, readOnly, companion };

/// What opening the file found. For the program's own store it is `ready` or `unavailable`; the other two are
/// told only to a companion, who can't put them right.
enum class StoreState {
    ready,
    /// Missing, not readable, for a companion that changes rows not writable, or held by somebody else for
    /// longer than the wait.
    unavailable,
    notADatabase,  ///< the file is something else, or damaged
    olderSchema,   ///< a table or a column is missing: made by an earlier version, or still without content
};

/// The one persistent store: a SQLite file with the metric history, the recording sessions and the incidents.
///
/// The shared instance lives until the process ends; any other closes its file when it is destroyed. Any
/// thread: every operation holds the one recursive lock for its whole length. Nothing here fails: without a
/// usable file each operation gives its empty result (an empty list, an absent value, nothing). Three
/// failures print a line: the file can't be opened, a sample can't be inserted, old rows can't be deleted.
/// When another process holds the file, a statement waits for it for at most 3 seconds, and those that follow
/// it in a start or a pruning are then left out. A start that was not run to its end for that reason, or for
/// a full disk, is run again by the next operation that writes, which fails as long as it can't be.
class DatabaseManager {
  public:
    using WeeklyStats = corvanta::WeeklyStats;
    using TrendResult = corvanta::TrendResult;

    /// Opens the file, brings its schema up to date and closes what a dead program left open. The file is
    /// made for its owner alone, with the folders that it needs. A path always names a file, whatever it
    /// looks like; an empty one names none. The clock outlives the store.
    DatabaseManager(std::string databasePath, const Clock& clock,
                    StoreAccess access = StoreAccess::readWrite);
    ~DatabaseManager();
    DatabaseManager(const DatabaseManager&) = delete;
    DatabaseManager& operator=(const DatabaseManager&) = delete;

    /// The program's own store, at the path of `applicationPaths()`, made on first use.
    static DatabaseManager& shared();

    StoreState state() const { return state_; }

    /// Retention, measured from the present moment: history and ended incidents go at the given age, ended
    /// sessions with their samples at 90 days. What has no end stays.
    void pruneOldRecords(std::int64_t olderThanSeconds = 2592000);

    /// Adds one row of history.
    void insertSnapshot(const SnapshotValues& values);

    // The readers of history count a row if it is at most `lastSeconds` older than the present whole second.

    /// Oldest first.
    std::vector<SystemSnapshot> fetchHistory(std::int64_t lastSeconds = 86400) const;

    /// The values of one column, oldest first, without its NULLs. `column` is one of `cpu_usage`,
    /// `ram_usage`, `disk_free`, `upload_speed`, `download_speed` and `memory_pressure`; any other name gives
    /// an empty list.
    std::vector<double> fetchMetricValues(std::string_view column, std::int64_t lastSeconds) const;

    /// Percent; absent when no row of the period has a value.
    std::optional<double> averageCPU(std::int64_t lastSeconds) const;

    /// Absent when the period has no row.
    std::optional<WeeklyStats> weeklyStats(std::int64_t lastSeconds) const;

    /// CPU, then memory pressure, each only if it is not steady or stands high. Both windows, in seconds, end
    /// now; both are read from one state of the table.
    std::vector<TrendResult> detectTrends(std::int64_t shortWindow = 900,
                                          std::int64_t longWindow = 3600) const;

    // The session that runs. There is at most one, and only this store knows of it: it ends with the process,
    // and the next start gives its row an end.

    bool isRecording() const;
    std::optional<std::int64_t> activeSessionId() const;
    std::optional<std::string> activeSessionName() const;

    /// Seconds since the session began, negative when the clock was set back since; 0 without one.
    double sessionElapsed() const;

    /// The same as "05:07", minutes never becoming hours; "00:00" when it is negative.
    std::string sessionElapsedString() const;

    /// The session's identifier; absent when nothing was started, as while another one runs.
    std::optional<std::int64_t> startSession(std::string_view name);

    /// Afterwards none runs, whether its end could be written or not.
    void stopSession();

    /// Adds a sample of the present moment to the session that runs; without one it does nothing.
    void insertSessionSample(const SessionSampleValues& values);

    /// Oldest first.
    std::vector<SystemSnapshot> fetchSessionSamples(std::int64_t sessionId) const;

    /// Newest first.
    std::vector<RecordingSession> allSessions() const;

    /// `sessionCSV` of the session's samples.
    std::string exportSessionCSV(std::int64_t sessionId) const;

    /// A heading and one line for each sample; "No data" for none.
    static std::string sessionCSV(const std::vector<SystemSnapshot>& samples);

    // Incidents. Their instants are stored in whole seconds. While one is open its evidence grows with each
    // stored sample; at its creation and at its end it is computed from the history of its true span, under
    // one hold of the lock, so that no other thread reads an end with evidence from after it. A row that has
    // ended changes only by dismissal.

    /// The new row's identifier; absent on failure.
    std::optional<std::int64_t> createIncident(const ActiveIncidentState& state, Instant detectedAt);

    /// The stored severity never falls.
    void updateIncidentClassification(std::int64_t id, IncidentKind kind, IncidentSeverity severity);

    /// Absent clears it.
    void setIncidentRecoveryStarted(std::int64_t id, std::optional<Instant> at);

    void updateIncidentEvidence(std::int64_t id, const IncidentObservation& observation);

    /// At its start at the earliest. It counts as recovered, from its end on if no recovery had begun.
    void endIncident(std::int64_t id, Instant endedAt);

    /// More incidents are never read at once.
    static constexpr std::int64_t mostIncidents = 500;

    /// Newest start first, the dismissed ones too. The limit is held between 1 and `mostIncidents`. No row is
    /// left out: a kind that can't be read is `combined`, a severity `warning`, a level `unavailable`.
    std::vector<PerformanceIncident> fetchIncidents(std::int64_t limit = 100) const;

    /// Dismisses, or restores, all of them or none.
    void setIncidentsDismissed(std::vector<std::int64_t> ids, bool dismissed, Instant at);

    /// Oldest first, from `preRoll` seconds before the start to `postRoll` seconds after the end, or to the
    /// present moment while it is open.
    std::vector<IncidentTimelineSample> fetchIncidentTimeline(const PerformanceIncident& incident,
                                                              double preRoll = 300.0,
                                                              double postRoll = 120.0) const;

  private:
    struct ActiveSession {
        std::int64_t id;
        std::string name;
        Instant startTime;  ///< with the fraction that the row of the session lacks
    };

    void openForWriting() REQUIRES(lock_);
    bool finishStart() REQUIRES(lock_);
    StoreState openForReading() REQUIRES(lock_);
    StoreState openBesideTheProgram() REQUIRES(lock_);
    int connectToFile(const std::string& name, int flags) REQUIRES(lock_);
    StoreState stateAfter(int result) const REQUIRES(lock_);
    void disconnect() REQUIRES(lock_);
    template <class... Values>
    void writeIncident(std::string_view sql, const Values&... values);
    void refreshIncidentEvidence(std::int64_t id, std::int64_t from, std::int64_t through) REQUIRES(lock_);
    std::int64_t secondsAgo(std::int64_t seconds) const;

    const std::string dbPath_;
    const Clock& clock_;
    StoreState state_ = StoreState::unavailable;

    mutable RecursiveMutex lock_;
    sqlite3* db_ GUARDED_BY(lock_) = nullptr;  ///< null when the file could not be opened
    bool isStartUnfinished_ GUARDED_BY(lock_) = false;
    std::optional<ActiveSession> activeSession_ GUARDED_BY(lock_);
};

}  // namespace corvanta
