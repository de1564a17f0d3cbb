// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxMachineFacts.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <set>
#include <utility>

#include "platform/linux/KernelFile.h"
#include "platform/linux/MachineTexts.h"

namespace corvanta {
namespace {

constexpr std::size_t mostProperty = 256;
constexpr std::size_t mostCpuInfo = std::size_t{16} * 1024;  // the first few dozen processors
constexpr std::size_t mostOsRelease = std::size_t{16} * 1024;

std::string readText(const std::string& path, std::size_t limit) {
    KernelFile file(path);
    return std::string(file.read(limit).value_or(std::string_view()));
}

}  // namespace

LinuxMachineFacts::LinuxMachineFacts(std::string procRoot, std::string sysRoot, std::string root)
    : procRoot_(std::move(procRoot)), sysRoot_(std::move(sysRoot)), root_(std::move(root)) {}

MachineDescription LinuxMachineFacts::describe() const {
    MachineDescription machine;
    machine.name = name();
    machine.hardwareModel = hardwareModel();
    machine.processorBrand = processorBrand();
    machine.systemVersion = systemVersion();
    countProcessors(machine);
    return machine;
}

std::string LinuxMachineFacts::name() const {
    const std::string sold = marketingName({.vendor = firmwareText("sys_vendor"),
                                            .productName = firmwareText("product_name"),
                                            .productVersion = firmwareText("product_version"),
                                            .boardName = firmwareText("board_name")});
    if (!sold.empty()) return sold;
    return firstDeviceTreeString(readText(procRoot_ + "/device-tree/model", mostProperty));
}

std::string LinuxMachineFacts::hardwareModel() const {
    const std::string product = shownText(firmwareText("product_name"));
    if (!product.empty()) return product;
    return firstDeviceTreeString(readText(procRoot_ + "/device-tree/compatible", mostProperty));
}

std::string LinuxMachineFacts::processorBrand() const {
    const std::string brand = parseProcessorBrand(readText(procRoot_ + "/cpuinfo", mostCpuInfo));
    utsname system{};
    return brand.empty() && uname(&system) == 0 ? std::string(system.machine) : brand;
}

std::string LinuxMachineFacts::systemVersion() const {
    std::string version = parsePrettyName(readText(root_ + "/etc/os-release", mostOsRelease));
    if (version.empty()) version = parsePrettyName(readText(root_ + "/usr/lib/os-release", mostOsRelease));
    if (version.empty()) version = "Linux";  // what os-release(5) has a missing name read as
    const std::string kernel = readFirstLine(procRoot_ + "/sys/kernel/osrelease").value_or("");
    return kernel.empty() ? version : version.append(" (linux ").append(shownText(kernel)).append(")");
}

void LinuxMachineFacts::countProcessors(MachineDescription& machine) const {
    const std::string folder = sysRoot_ + "/devices/system/cpu/";
    const auto online = parseProcessorList(readText(folder + "online", mostProperty));
    if (!online) {
        machine.logicalCores = sysconf(_SC_NPROCESSORS_ONLN);
        return;
    }
    std::set<std::string> cores;
    for (const int processor : *online) {
        const std::string number = std::to_string(processor);
        const std::string topology = folder + "cpu" + number + "/topology/";
        auto siblings = readFirstLine(topology + "core_cpus_list");
        if (!siblings) siblings = readFirstLine(topology + "thread_siblings_list");
        // A kernel for a single processor has no topology.
        cores.insert(siblings.value_or(number));
    }
    machine.logicalCores = static_cast<std::int64_t>(online->size());
    machine.physicalCores = static_cast<std::int64_t>(cores.size());
}

std::string LinuxMachineFacts::firmwareText(const char* name) const {
    return readFirstLine(sysRoot_ + "/class/dmi/id/" + name).value_or("");
}

}  // namespace corvanta
