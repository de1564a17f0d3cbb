// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvanta {

/// How hot the machine says it is.
///
/// Owned by the platform for the program's life. Any thread; never blocks. This base is a machine that
/// reports state 0.
class ThermalSource {
  public:
    virtual ~ThermalSource() = default;

    /// 0 to 3 in rising heat; any other value means that the system does not tell.
    virtual int thermalState() const { return 0; }
};

}  // namespace corvanta
