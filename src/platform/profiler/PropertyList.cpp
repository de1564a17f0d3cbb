// SPDX-License-Identifier: Apache-2.0
#include "platform/profiler/PropertyList.h"

#include <plist/plist.h>

#include <cstdlib>

#include "core/Utf8Text.h"
#include "platform/profiler/PropertyListText.h"

namespace corvanta {
namespace {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

bool isOfType(void* node, plist_type type) {
    return node != nullptr && plist_get_node_type(node) == type;
}

}  // namespace

bool PropertyNode::isDictionary() const {
    return isOfType(node_, PLIST_DICT);
}

bool PropertyNode::isArray() const {
    return isOfType(node_, PLIST_ARRAY);
}

std::vector<PropertyNode> PropertyNode::elements() const {
    std::vector<PropertyNode> elements;
    if (!isArray()) return elements;
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node_, &iterator);
    const std::unique_ptr<void, FreeDeleter> owner(iterator);
    plist_t element = nullptr;
    for (plist_array_next_item(node_, iterator, &element); element != nullptr;
         plist_array_next_item(node_, iterator, &element)) {
        elements.emplace_back(element);
    }
    return elements;
}

std::vector<std::pair<std::string, PropertyNode>> PropertyNode::members() const {
    std::vector<std::pair<std::string, PropertyNode>> members;
    if (!isDictionary()) return members;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node_, &iterator);
    const std::unique_ptr<void, FreeDeleter> owner(iterator);
    while (true) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node_, iterator, &key, &value);
        const std::unique_ptr<char, FreeDeleter> keyOwner(key);
        if (key == nullptr || value == nullptr) return members;
        members.emplace_back(repairedUtf8(key), PropertyNode(value));
    }
}

PropertyNode PropertyNode::member(const char* key) const {
    return PropertyNode(isDictionary() ? plist_dict_get_item(node_, key) : nullptr);
}

std::optional<std::string> PropertyNode::text() const {
    if (!isOfType(node_, PLIST_STRING)) return std::nullopt;
    std::uint64_t length = 0;
    const char* const text = plist_get_string_ptr(node_, &length);
    if (text == nullptr) return std::nullopt;
    return repairedUtf8({text, static_cast<std::size_t>(length)});
}

std::optional<std::int64_t> PropertyNode::integer() const {
    if (!isOfType(node_, PLIST_UINT)) return std::nullopt;
    std::uint64_t value = 0;
    plist_get_uint_val(node_, &value);
    // A negative number comes as its two's complement; larger ones don't pass the check of the text.
    return static_cast<std::int64_t>(value);
}

std::optional<PropertyList> PropertyList::parse(std::string_view xml) {
    if (!isHarmlessPropertyList(xml)) return std::nullopt;
    plist_t root = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
    if (root == nullptr) return std::nullopt;
    return PropertyList(Owner(root, plist_free));
}

}  // namespace corvanta
