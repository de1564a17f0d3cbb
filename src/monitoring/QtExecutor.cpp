// SPDX-License-Identifier: Apache-2.0
#include "monitoring/QtExecutor.h"

#include <utility>

namespace corvanta {

void QtExecutor::post(std::function<void()> work) {
    QMetaObject::invokeMethod(&context_, std::move(work), Qt::QueuedConnection);
}

}  // namespace corvanta
