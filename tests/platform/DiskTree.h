// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/RootDisks.h"
#include "support/TempDirectory.h"

namespace corvanta::test {

/// Folders that stand for /proc, /sys and /run of a machine with disks.
class DiskTree {
  public:
    /// Mounts what `source` names at "/".
    void mountRoot(std::string_view source, std::string_view type = "ext4") const {
        folder_.write("proc/self/mountinfo", "22 1 0:39 / / rw,noatime shared:1 - " + std::string(type) +
                                                 " " + std::string(source) + " rw\n");
    }

    void addDisk(const std::string& name, const std::string& number) {
        add("bus/block/" + name, name, number);
        folder_.write("sys/devices/bus/block/" + name + "/device/uevent", "");
    }
    void addPartition(const std::string& disk, const std::string& name, const std::string& number) {
        add("bus/block/" + disk + "/" + name, name, number);
        folder_.write("sys/devices/bus/block/" + disk + "/" + name + "/partition", "1\n");
    }
    /// A device that is made of others, or of nothing.
    void addLayer(const std::string& name, const std::string& number,
                  const std::vector<std::string>& slaves) {
        add("virtual/block/" + name, name, number);
        std::filesystem::create_directories(path("sys/devices/virtual/block/" + name + "/slaves"));
        for (const std::string& slave : slaves) linkSlave(name, slave);
    }
    void linkSlave(const std::string& layer, const std::string& slave) {
        std::filesystem::create_directory_symlink(
            path("sys/devices/" + places_[slave]),
            path("sys/devices/virtual/block/" + layer + "/slaves/" + slave));
    }
    /// As in "model".
    void describe(const std::string& disk, const std::string& attribute, std::string_view text) const {
        folder_.write("sys/devices/bus/block/" + disk + "/device/" + attribute, text);
    }
    /// The device manager's record.
    void record(const std::string& number, std::string_view text) const {
        folder_.write("run/udev/data/b" + number, text);
    }

    /// The device node of the given path.
    void addNode(const std::string& path, DeviceNumber number) { nodes_[path] = number; }
    DeviceNumberOf deviceNumberOf() const {
        return [nodes = nodes_](const std::string& path) -> std::optional<DeviceNumber> {
            const auto found = nodes.find(path);
            if (found == nodes.end()) return std::nullopt;
            return found->second;
        };
    }

    std::string proc() const { return path("proc"); }
    std::string sys() const { return path("sys"); }
    std::string run() const { return path("run"); }
    std::string diskFolder(const std::string& disk) const { return path("sys/devices/bus/block/" + disk); }

    const TempDirectory& folder() const { return folder_; }

  private:
    std::string path(const std::string& below) const {
        return (std::filesystem::canonical(folder_.path()) / below).string();
    }
    void add(const std::string& place, const std::string& name, const std::string& number) {
        places_[name] = place;
        folder_.write("sys/devices/" + place + "/dev", number + "\n");
        std::filesystem::create_directories(path("sys/dev/block"));
        std::filesystem::create_directory_symlink("../../devices/" + place, path("sys/dev/block/" + number));
    }

    TempDirectory folder_;
    std::map<std::string, std::string> places_;
    std::map<std::string, DeviceNumber> nodes_;
};

}  // namespace corvanta::test
