// SPDX-License-Identifier: Apache-2.0
#include "platform/profiler/PropertyListText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>
#include <vector>

namespace corvanta {
namespace {

constexpr std::string_view blanks = " \t\r\n";

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool skipPast(std::string_view& text, std::string_view end) {
    const auto at = text.find(end);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end.size());
    return true;
}

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

bool isInteger(std::string_view text) {
    if (takePrefix(text, "+") && text.substr(0, 1) == "-") return false;
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

/// Follows the elements of a text. Whatever two readers of XML may see differently counts as wrong, so that
/// the library can't find a deeper tree than this does.
class ElementScan {
  public:
    explicit ElementScan(std::string_view text) : rest_(text) {}

    bool isHarmless() {
        while (!rest_.empty()) {
            const std::string_view content = rest_.substr(0, rest_.find('<'));
            if (!isContentAllowed(content)) return false;
            rest_.remove_prefix(content.size());
            if (!rest_.empty() && !takeMarkup()) return false;
        }
        return open_.empty() && hasRoot_;
    }

  private:
    bool isInInteger() const { return !open_.empty() && open_.back() == "integer"; }

    bool isContentAllowed(std::string_view content) const {
        if (isInInteger()) return isInteger(trimmed(content));
        return !open_.empty() || trimmed(content).empty();
    }

    bool takeMarkup() {
        if (isInInteger() && rest_.substr(0, 2) != "</") return false;
        if (takePrefix(rest_, "<?")) return skipPast(rest_, "?>");
        if (takePrefix(rest_, "<!DOCTYPE")) return takeDocumentType();
        if (takePrefix(rest_, "<!--")) return skipPast(rest_, "-->");
        if (takePrefix(rest_, "<![CDATA[")) return !open_.empty() && skipPast(rest_, "]]>");
        return takeTag();
    }

    bool takeDocumentType() {
        const std::string_view type = rest_.substr(0, rest_.find('>'));
        return !hasDocument_ && type.find_first_of("[<") == std::string_view::npos && skipPast(rest_, ">");
    }

    bool takeTag() {
        rest_.remove_prefix(1);
        const auto end = rest_.find('>');
        if (end == std::string_view::npos) return false;
        std::string_view tag = rest_.substr(0, end);
        rest_.remove_prefix(end + 1);
        // A quote that is open here holds the ">" that was taken for the tag's end.
        if (tag.find('<') != std::string_view::npos || std::count(tag.begin(), tag.end(), '"') % 2 != 0 ||
            tag.find('\'') != std::string_view::npos) {
            return false;
        }
        if (takePrefix(tag, "/")) return close(trimmed(tag));
        const bool isEmpty = !tag.empty() && tag.back() == '/';
        if (isEmpty) tag.remove_suffix(1);
        if (!open(tag.substr(0, tag.find_first_of(blanks)))) return false;
        return !isEmpty || (!isInInteger() && close(open_.back()));
    }

    bool open(std::string_view name) {
        if (name.empty() || name.find_first_of("!?/\"") != std::string_view::npos) return false;
        bool& isTaken = open_.empty() ? hasDocument_ : hasRoot_;
        if (open_.size() < 2 && std::exchange(isTaken, true)) return false;
        if ((name == "plist") != open_.empty()) return false;
        open_.push_back(name);
        return open_.size() <= deepestPropertyList;
    }

    bool close(std::string_view name) {
        if (open_.empty() || open_.back() != name) return false;
        open_.pop_back();
        return true;
    }

    std::string_view rest_;
    std::vector<std::string_view> open_;
    bool hasDocument_ = false;
    bool hasRoot_ = false;
};

}  // namespace

bool isHarmlessPropertyList(std::string_view text) {
    return text.size() <= longestPropertyList && text.find('\0') == std::string_view::npos &&
           ElementScan(text).isHarmless();
}

}  // namespace corvanta
