// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

namespace corvanta {

/// Reads a persisted raw value of an enumeration E back; nullopt for a value that no case has.
///
/// Each stored enumeration X brings, in its own header: `allXs` (every case in declared order),
/// `allCases(X)` (the same list, found by argument-dependent lookup), `rawValue(X)` (the stored value) and
/// `xFromRaw(raw)`, which is this function under the enumeration's own name.
template <class E, class Raw>
constexpr std::optional<E> caseFromRaw(const Raw& raw) {
    for (const E e : allCases(E{})) {
        if (rawValue(e) == raw) return e;
    }
    return std::nullopt;
}

}  // namespace corvanta
