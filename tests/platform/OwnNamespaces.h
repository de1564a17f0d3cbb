// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace corvanta::test {

/// Runs `body` in a child process with network and mount namespaces of its own, as root there. Its assertions
/// count for the running test. On a machine that refuses namespaces the test fails and says so.
void inOwnNamespaces(const std::function<void()>& body);

/// Runs a command line in the shell. False, with the command's own words on the output, when it failed.
bool run(const std::string& command);

}  // namespace corvanta::test
