// SPDX-License-Identifier: Apache-2.0
#include "platform/Platform.h"

#include <cstdlib>

namespace corvanta {
namespace {

const Platform* installed = nullptr;

}  // namespace

const Platform& installedPlatform() {
    if (installed == nullptr) std::abort();
    return *installed;
}

void installPlatform(const Platform& platform) {
    installed = &platform;
}

}  // namespace corvanta
