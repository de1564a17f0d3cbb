// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/LinuxThreadSetup.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string_view>

namespace corvanta {
namespace {

constexpr int utilityNice = 10;
constexpr std::size_t longestThreadName = 15;
constexpr std::string_view labelPrefix = "com.corvanta.";

}  // namespace

void LinuxThreadSetup::enterUtilityThread(const std::string& label) {
    std::string_view name = label;
    if (name.substr(0, labelPrefix.size()) == labelPrefix) name.remove_prefix(labelPrefix.size());
    pthread_setname_np(pthread_self(), std::string(name.substr(0, longestThreadName)).c_str());
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), utilityNice);
}

}  // namespace corvanta
