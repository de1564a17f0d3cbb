// SPDX-License-Identifier: Apache-2.0
#include "support/Eventually.h"

#include <QTest>

namespace corvanta::test {

bool eventually(const std::function<bool()>& condition, int milliseconds) {
    return QTest::qWaitFor(condition, milliseconds);
}

}  // namespace corvanta::test
