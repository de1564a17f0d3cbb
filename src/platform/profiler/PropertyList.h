// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvanta {

/// A value inside a property list, or none. Every question about a value of another type is answered as if
/// there were none.
///
/// Borrowed: lasts as long as its PropertyList. Immutable.
class PropertyNode {
  public:
    explicit PropertyNode(void* node) : node_(node) {}

    bool isDictionary() const;
    bool isArray() const;
    /// The elements of an array, in order.
    std::vector<PropertyNode> elements() const;
    /// The keys and values of a dictionary, in order.
    std::vector<std::pair<std::string, PropertyNode>> members() const;
    PropertyNode member(const char* key) const;
    /// A text as valid UTF-8.
    std::optional<std::string> text() const;
    std::optional<std::int64_t> integer() const;

  private:
    void* node_;
};

/// A property list in memory.
///
/// Owned by one reader. One thread at a time.
class PropertyList {
  public:
    /// Reads the XML form. Nullopt for what is none, which the binary form is too, and for what
    /// isHarmlessPropertyList refuses.
    static std::optional<PropertyList> parse(std::string_view xml);

    PropertyNode root() const { return PropertyNode(root_.get()); }

  private:
    using Owner = std::unique_ptr<void, void (*)(void*)>;

    explicit PropertyList(Owner root) : root_(std::move(root)) {}

    Owner root_;
};

}  // namespace corvanta
