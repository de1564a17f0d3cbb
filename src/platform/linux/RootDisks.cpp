// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/RootDisks.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "core/NumberText.h"
#include "platform/linux/KernelFile.h"
#include "platform/linux/TextScan.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostMountInfo = std::size_t{4} << 20;
constexpr std::size_t longestNumber = 64;
// More layers or disks than any machine has, and few enough for a tree gone wrong.
constexpr std::size_t mostDevices = 256;

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

/// Blanks and their like come as "\040".
std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '\\' && i + 3 < text.size() && text[i + 1] <= '3' &&
                              isOctal(text[i + 1]) && isOctal(text[i + 2]) && isOctal(text[i + 3]);
        if (!isEscape) {
            plain += text[i];
            continue;
        }
        plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
        i += 3;
    }
    return plain;
}

/// Goes down from a device to the disks below it.
class Descent {
  public:
    std::vector<RootDisk> disks;

    void visit(const fs::path& device) {
        std::error_code error;
        const fs::path folder = fs::canonical(device, error);
        if (error || visited_.size() >= mostDevices || !visited_.insert(folder).second) return;
        const auto slaves = entriesOf(folder / "slaves");
        for (const fs::path& slave : slaves) visit(slave);
        if (!slaves.empty()) return;
        if (fs::exists(folder / "partition", error)) return visit(folder.parent_path());
        // Devices without hardware of their own, as loops and compressed memory, have no such entry.
        if (!fs::exists(folder / "device", error)) return;
        KernelFile file(folder / "dev");
        const auto text = file.read(longestNumber);
        const auto number = text ? parseDeviceNumber(text->substr(0, text->find('\n'))) : std::nullopt;
        if (number) disks.push_back({folder.filename(), *number, folder});
    }

  private:
    static std::vector<fs::path> entriesOf(const fs::path& folder) {
        std::vector<fs::path> entries;
        std::error_code error;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
            entries.push_back(entry->path());
        std::sort(entries.begin(), entries.end());
        return entries;
    }

    std::set<fs::path> visited_;
};

}  // namespace

std::optional<DeviceNumber> parseDeviceNumber(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto major = parseNumber<std::uint32_t>(text.substr(0, colon));
    const auto minor = parseNumber<std::uint32_t>(text.substr(colon + 1));
    if (!major || !minor) return std::nullopt;
    return DeviceNumber{*major, *minor};
}

std::string deviceNumberText(DeviceNumber number) {
    return integerText(number.major) + ':' + integerText(number.minor);
}

std::optional<DeviceNumber> blockDeviceNumber(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) return std::nullopt;
    return DeviceNumber{gnu_dev_major(status.st_rdev), gnu_dev_minor(status.st_rdev)};
}

std::optional<std::string> parseRootSource(std::string_view mountInfo) {
    constexpr int wordsBeforeMountPoint = 4;
    std::optional<std::string> source;
    while (auto line = takeLine(mountInfo)) {
        for (int i = 0; i < wordsBeforeMountPoint; ++i) takeWord(*line);
        if (takeWord(*line) != "/") continue;
        // Fields of any number stand before the dash.
        std::string_view word = takeWord(*line);
        while (!word.empty() && word != "-") word = takeWord(*line);
        takeWord(*line);
        source.reset();
        if (const auto text = takeWord(*line); !text.empty()) source = unescaped(text);
    }
    return source;
}

std::vector<RootDisk> findRootDisks(const std::string& procRoot, const std::string& sysRoot,
                                    const DeviceNumberOf& deviceNumberOf) {
    KernelFile file(procRoot + "/self/mountinfo");
    const auto text = file.read(mostMountInfo);
    const auto source = text ? parseRootSource(*text) : std::nullopt;
    const auto number = source && source->substr(0, 1) == "/" ? deviceNumberOf(*source) : std::nullopt;
    Descent descent;
    if (number) descent.visit(sysRoot + "/dev/block/" + deviceNumberText(*number));
    return std::move(descent.disks);
}

}  // namespace corvanta
