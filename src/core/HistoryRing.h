// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace corvanta {

/// Appends to a list that keeps its newest `limit` entries, oldest first: at the limit the first entry goes
/// before the new one comes, so the list never exceeds it.
template <class T>
void appendToRing(std::vector<T>& ring, T value, std::size_t limit) {
    if (ring.size() >= limit && !ring.empty()) ring.erase(ring.begin());
    ring.push_back(std::move(value));
}

}  // namespace corvanta
