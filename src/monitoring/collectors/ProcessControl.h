// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/ProcessSignaller.h"

namespace corvanta::ProcessControl {

// Which processes the program may signal, and the one place from where a signal is sent.

/// Named in a list of processes that a session can't do without.
struct ProtectedProcess {
    std::string name;  ///< as it was asked with

    bool operator==(const ProtectedProcess&) const = default;
};
/// An id below 2.
struct ReservedPID {
    bool operator==(const ReservedPID&) const = default;
};
/// This program itself.
struct OwnProcess {
    bool operator==(const OwnProcess&) const = default;
};
/// Why a process may not be signalled.
using Refusal = std::variant<ProtectedProcess, ReservedPID, OwnProcess>;

/// Nothing was sent.
struct Refused {
    Refusal refusal;

    bool operator==(const Refused&) const = default;
};
/// The system would not deliver it.
struct Failed {
    std::int32_t code = 0;  ///< the system's error code

    bool operator==(const Failed&) const = default;
};
/// It was delivered, which says nothing of whether the process has exited.
struct Signalled {
    bool operator==(const Signalled&) const = default;
};
/// What became of a signal.
using Outcome = std::variant<Refused, Failed, Signalled>;

inline constexpr std::int32_t terminateSignal = 15;  ///< SIGTERM
inline constexpr std::int32_t killSignal = 9;        ///< SIGKILL

/// Absent when the process may be signalled. `name` is the one that it is shown by.
std::optional<Refusal> refusal(std::int64_t pid, std::string_view name, std::int64_t ownProcessID);
bool canSignal(std::int64_t pid, std::string_view name, std::int64_t ownProcessID);

/// Asks for the refusal first, and touches the system only when there is none.
Outcome send(std::int32_t signal, std::int64_t pid, std::string_view name, ProcessSignaller& signaller);

/// The same, to a process that is held since the user was asked. `name` is the one that the user was shown: a
/// process that had another name when it was taken hold of is not the one that was meant, which then has
/// ended. Of a name that the system cuts, the part that it keeps has to agree.
Outcome send(std::int32_t signal, HeldProcess& process, std::string_view name, std::int64_t ownProcessID);

std::string menuLabel(const Refusal& refusal);
std::string explanation(const Refusal& refusal);
std::string failureMessage(std::string_view name, std::int32_t code);

}  // namespace corvanta::ProcessControl
