// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvanta {

/// One JSON object on one line of plain ASCII, its members in the order in which they are added.
///
/// A value on the stack of whoever writes a line. It never fails: a number that isn't finite is null, and a
/// byte that is no UTF-8 reads U+FFFD.
class StreamJson {
  public:
    /// In the shortest form that reads back to the same number; without a point when it has no fraction.
    void add(std::string_view name, double value);
    void add(std::string_view name, std::int64_t value);
    void add(std::string_view name, std::uint64_t value);
    void add(std::string_view name, bool value);
    void add(std::string_view name, std::string_view value);

    /// With its line feed.
    std::string line() const { return text_ + "}\n"; }

  private:
    void addRaw(std::string_view name, std::string_view value);

    std::string text_ = "{";
};

}  // namespace corvanta
