// SPDX-License-Identifier: Apache-2.0
// The operations of DatabaseManager on the tables sessions and session_samples.
#include <algorithm>

#include "core/NumberText.h"
#include "core/Saturate.h"
#include "storage/DatabaseManager.h"
#include "storage/SnapshotRows.h"
#include "storage/Statement.h"

namespace corvanta {

bool DatabaseManager::isRecording() const {
    return activeSessionId().has_value();
}

std::optional<std::int64_t> DatabaseManager::activeSessionId() const {
    const LockGuard guard(lock_);
    if (!activeSession_) return std::nullopt;
    return activeSession_->id;
}

std::optional<std::string> DatabaseManager::activeSessionName() const {
    const LockGuard guard(lock_);
    if (!activeSession_) return std::nullopt;
    return activeSession_->name;
}

double DatabaseManager::sessionElapsed() const {
    const LockGuard guard(lock_);
    return activeSession_ ? (clock_.now() - activeSession_->startTime).count() : 0;
}

std::string DatabaseManager::sessionElapsedString() const {
    const std::int64_t seconds = std::max(std::int64_t{0}, saturatedInt64(sessionElapsed()));
    return twoDigits(seconds / 60) + ":" + twoDigits(seconds % 60);
}

std::optional<std::int64_t> DatabaseManager::startSession(std::string_view name) {
    const LockGuard guard(lock_);
    if (activeSession_ || !finishStart()) return std::nullopt;
    Statement insert(db_, "INSERT INTO sessions (name, started_at) VALUES (?, ?);");
    if (!insert) return std::nullopt;
    insert.bindAll(name, storedSeconds(clock_.now()));
    if (!insert.run()) return std::nullopt;
    activeSession_ = {sqlite3_last_insert_rowid(db_), std::string(name), clock_.now()};
    return activeSession_->id;
}

void DatabaseManager::stopSession() {
    const LockGuard guard(lock_);
    if (!activeSession_) return;
    Statement update(db_, "UPDATE sessions SET ended_at = ? WHERE id = ?;");
    update.bindAll(storedSeconds(clock_.now()), activeSession_->id);
    update.run();
    activeSession_.reset();
}

void DatabaseManager::insertSessionSample(const SessionSampleValues& values) {
    const LockGuard guard(lock_);
    if (!activeSession_) return;
    Statement insert(db_,
                     "INSERT INTO session_samples (session_id, timestamp, cpu_usage, ram_usage, disk_free, "
                     "upload_speed, download_speed, memory_pressure, memory_pressure_state, thermal_state, "
                     "top_cpu_process, top_cpu_usage) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);");
    insert.bindAll(activeSession_->id, storedSeconds(clock_.now()), ifFinite(values.cpu),
                   ifFinite(values.ram), ifFinite(values.diskFree), ifFinite(values.upload),
                   ifFinite(values.download), ifFinite(values.pressure),
                   std::int64_t{rawValue(values.pressureState)}, values.thermal, values.topCpuName,
                   ifFinite(values.topCpuUsage));
    insert.run();
}

std::vector<SystemSnapshot> DatabaseManager::fetchSessionSamples(std::int64_t sessionId) const {
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT timestamp, cpu_usage, ram_usage, disk_free, upload_speed, download_speed, "
                     "memory_pressure, memory_pressure_state, thermal_state, top_cpu_process, top_cpu_usage "
                     "FROM session_samples WHERE session_id = ? ORDER BY timestamp ASC;");
    select.bindAll(sessionId);
    return readSnapshots(select);
}

std::vector<RecordingSession> DatabaseManager::allSessions() const {
    std::vector<RecordingSession> sessions;
    const LockGuard guard(lock_);
    Statement select(db_,
                     "SELECT s.id, s.name, s.started_at, s.ended_at, (SELECT COUNT(*) FROM session_samples "
                     "WHERE session_id = s.id) AS sample_count FROM sessions s ORDER BY s.started_at DESC;");
    if (!select) return sessions;
    while (select.nextRow()) {
        auto name = select.text(1);
        if (!name) break;
        RecordingSession& session = sessions.emplace_back();
        session.id = select.integer(0);
        session.name = *std::move(name);
        session.startedAt = select.instant(2);
        if (select.integer(3) >= 1) session.endedAt = select.instant(3);
        session.sampleCount = select.integer(4);
    }
    return sessions;
}

std::string DatabaseManager::exportSessionCSV(std::int64_t sessionId) const {
    const LockGuard guard(lock_);
    return sessionCSV(fetchSessionSamples(sessionId));
}

}  // namespace corvanta
