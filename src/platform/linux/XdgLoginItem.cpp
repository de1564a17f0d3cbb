// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/XdgLoginItem.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

#include "platform/linux/PrivateFile.h"

namespace corvanta {
namespace {

constexpr std::string_view entryBelow = "/autostart/com.corvanta.app.desktop";
constexpr qint64 largestEntry = 65'536;

using DesktopEntry = std::map<std::string, std::string, std::less<>>;

QString name(const std::string& path) {
    return QFile::decodeName(QByteArray::fromStdString(path));
}

bool exists(const std::string& path) {
    return QFileInfo::exists(name(path));
}

std::vector<std::string> split(const std::string& list, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(list);
    for (std::string part; std::getline(stream, part, separator);) {
        if (!part.empty()) parts.push_back(part);
    }
    return parts;
}

std::string trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

/// The keys of the group [Desktop Entry]; none for a file that can't be read.
DesktopEntry readEntry(const std::string& path) {
    DesktopEntry entry;
    QFile file(name(path));
    if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly)) return entry;
    std::istringstream lines(file.read(largestEntry).toStdString());
    bool inGroup = false;
    for (std::string raw; std::getline(lines, raw);) {
        const std::string line = trimmed(raw);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inGroup = line == "[Desktop Entry]";
        } else if (const auto equals = line.find('='); inGroup && equals != std::string::npos) {
            entry[trimmed(std::string_view(line).substr(0, equals))] =
                trimmed(std::string_view(line).substr(equals + 1));
        }
    }
    return entry;
}

std::string valueOf(const DesktopEntry& entry, std::string_view key) {
    const auto found = entry.find(key);
    return found == entry.end() ? std::string() : found->second;
}

bool lists(const DesktopEntry& entry, std::string_view key, const std::string& desktop) {
    const auto names = split(valueOf(entry, key), ';');
    return std::find(names.begin(), names.end(), desktop) != names.end();
}

/// The first of the desktop's names that one of the two lists has decides. Where none has it, an entry with
/// OnlyShowIn isn't for this desktop.
bool showsIn(const DesktopEntry& entry, const std::vector<std::string>& desktops) {
    for (const std::string& desktop : desktops) {
        if (lists(entry, "OnlyShowIn", desktop)) return true;
        if (lists(entry, "NotShowIn", desktop)) return false;
    }
    return entry.find("OnlyShowIn") == entry.end();
}

bool canStart(const DesktopEntry& entry) {
    if (valueOf(entry, "Type") != "Application" || valueOf(entry, "Exec").empty()) return false;
    const std::string tryExec = valueOf(entry, "TryExec");
    return tryExec.empty() || !QStandardPaths::findExecutable(name(tryExec)).isEmpty();
}

/// A path as the program of an Exec line: quoted as an argument, and that escaped as a string value. Nothing
/// for a path that the desktop entry standard has no form for.
std::optional<std::string> execValue(const std::string& path) {
    constexpr std::string_view reserved = " \"'\\><~|&;$*?#()`";
    const auto hasNoForm = [](char c) {
        return c == '=' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    };
    if (path.empty() || path.front() != '/' || std::any_of(path.begin(), path.end(), hasNoForm)) {
        return std::nullopt;
    }
    const bool quoted = path.find_first_of(reserved) != std::string::npos;
    std::string value = quoted ? "\"" : "";
    for (const char c : path) {
        if (c == '\\') {
            value += R"(\\\\)";
        } else if (c == '"' || c == '`' || c == '$') {
            value += R"(\\)";
            value += c;
        } else if (c == '%') {
            value += "%%";
        } else {
            value += c;
        }
    }
    return quoted ? value + '"' : value;
}

std::vector<std::string> entriesBelow(const std::vector<std::string>& folders) {
    std::vector<std::string> entries;
    entries.reserve(folders.size());
    for (const std::string& folder : folders) entries.push_back(folder + std::string(entryBelow));
    return entries;
}

}  // namespace

XdgLoginItem::XdgLoginItem(const XdgDirectories& directories, const std::string& currentDesktop,
                           std::string executablePath)
    : userEntry_(directories.configHome ? std::optional(*directories.configHome + std::string(entryBelow))
                                        : std::nullopt),
      systemEntries_(entriesBelow(directories.configDirs)),
      currentDesktops_(split(currentDesktop, ':')),
      executablePath_(std::move(executablePath)) {}

bool XdgLoginItem::isEnabled() const {
    thread_.check();
    std::vector<std::string> paths = systemEntries_;
    if (userEntry_) paths.insert(paths.begin(), *userEntry_);
    const auto effective = std::find_if(paths.begin(), paths.end(), exists);
    if (effective == paths.end()) return false;
    const DesktopEntry entry = readEntry(*effective);
    return valueOf(entry, "Hidden") != "true" && valueOf(entry, "X-GNOME-Autostart-enabled") != "false" &&
           canStart(entry) && showsIn(entry, currentDesktops_);
}

std::optional<std::string> XdgLoginItem::registerItem() {
    thread_.check();
    const auto exec = execValue(executablePath_);
    if (!exec) return "The path " + executablePath_ + " can't stand in an autostart entry";
    return writeUserEntry("Icon=com.corvanta.app\nExec=" + *exec + "\nX-GNOME-Autostart-enabled=true\n");
}

std::optional<std::string> XdgLoginItem::unregisterItem() {
    thread_.check();
    // Not every session manager heeds X-GNOME-Autostart-enabled, so only Hidden switches an entry off.
    if (std::any_of(systemEntries_.begin(), systemEntries_.end(), exists))
        return writeUserEntry("Hidden=true\n");
    if (!userEntry_ || !exists(*userEntry_)) return std::nullopt;
    QFile file(name(*userEntry_));
    if (!file.remove()) return file.errorString().toStdString();
    return std::nullopt;
}

std::optional<std::string> XdgLoginItem::writeUserEntry(const std::string& lines) const {
    if (!userEntry_) return "There is no home folder";
    // Through a link the file that it points to would be replaced, which need not be the program's.
    if (QFileInfo(name(*userEntry_)).isSymLink()) QFile::remove(name(*userEntry_));
    return writePrivateFile(*userEntry_, "[Desktop Entry]\nType=Application\nName=Corvanta\n" + lines);
}

}  // namespace corvanta
