// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/BluetoothSources.h"

namespace corvanta {

/// The batteries of peripherals among the kernel's power supplies, in the order of their names, without those
/// named in `told`. Any thread; a driver may have to ask its device over the air, which takes up to seconds.
///
/// A device that is switched off has none. A folder or file that can't be read is as if it were not there.
std::vector<PeripheralBattery> readPeripheralSupplies(const std::string& sysRoot,
                                                      const std::set<std::string, std::less<>>& told);

}  // namespace corvanta
