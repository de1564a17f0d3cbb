// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace corvanta {

/// One running process, held fast: however long it is held, a signal reaches this process or none, and never
/// a later one that was given the same id.
///
/// Owned by whoever asked for it; dropping it lets go. One thread at a time.
class HeldProcess {
  public:
    HeldProcess() = default;
    virtual ~HeldProcess() = default;
    HeldProcess(const HeldProcess&) = delete;
    HeldProcess& operator=(const HeldProcess&) = delete;

    virtual std::int64_t id() const = 0;

    /// The name when the hold was taken, as the system's list of processes has it.
    virtual const std::string& name() const = 0;

    /// The beginning of the name, where the system keeps no more of it and `name` depends on what the process
    /// itself tells, which may change while it runs. Empty where the system keeps the whole name.
    virtual const std::string& cutName() const = 0;

    /// Delivers a signal. 0, or the system's error code; a process that has ended gives ESRCH, 3.
    virtual std::int32_t send(std::int32_t signal) = 0;
};

/// Who runs a process, and for how long.
struct ProcessFacts {
    std::string owner;   ///< the user's name, or the number of a user without one
    double elapsed = 0;  ///< seconds since it started, the machine's sleep included

    bool operator==(const ProcessFacts&) const = default;
};

/// What is asked of one single process, or done to it.
///
/// Owned by the platform for the program's life. Any thread.
class ProcessSignaller {
  public:
    virtual ~ProcessSignaller() = default;

    /// The id of this program.
    virtual std::int64_t ownProcessID() const = 0;

    /// Never null. A process that could not be held, as it has ended or never was, answers every signal with
    /// the error code.
    virtual std::unique_ptr<HeldProcess> hold(std::int64_t id) = 0;

    /// Absent when there is no such process, or the system does not tell. Looking up the user may take long
    /// where users are kept on a server.
    virtual std::optional<ProcessFacts> facts(std::int64_t id) = 0;
};

}  // namespace corvanta
