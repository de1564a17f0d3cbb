// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

namespace corvanta::test {

/// The machine's processor load by the kernel's own count.
class MachineLoad {
  public:
    MachineLoad() : before_(read()) {}

    /// Percent of all processors since the last call.
    double sinceLast() {
        const Times now = read();
        const double busy = static_cast<double>(now.busy - before_.busy);
        const double idle = static_cast<double>(now.idle - before_.idle);
        before_ = now;
        return busy + idle > 0 ? 100 * busy / (busy + idle) : 0;
    }

  private:
    struct Times {
        std::int64_t busy = 0;
        std::int64_t idle = 0;
    };

    static Times read() {
        std::ifstream stat("/proc/stat");
        std::string name;
        std::int64_t user = 0, nice = 0, system = 0, idle = 0, wait = 0, interrupt = 0, soft = 0, stolen = 0;
        stat >> name >> user >> nice >> system >> idle >> wait >> interrupt >> soft >> stolen;
        return {user + nice + system + interrupt + soft + stolen, idle + wait};
    }

    Times before_;
};

/// A line of /proc/meminfo, in bytes; 0 when there is none.
inline double memInfoBytes(const std::string& name) {
    std::ifstream info("/proc/meminfo");
    std::string key, rest;
    double kibibytes = 0;
    while (info >> key >> kibibytes && std::getline(info, rest)) {
        if (key == name + ":") return kibibytes * 1024;
    }
    return 0;
}

}  // namespace corvanta::test
