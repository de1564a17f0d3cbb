// SPDX-License-Identifier: Apache-2.0
#include "settings/Setting.h"

#include <QThread>

namespace corvanta {

void SettingBase::assertThread() const {
    Q_ASSERT(QThread::currentThread() == thread());
}

void SettingBase::announce() {
    Q_EMIT announced();
    Q_EMIT group_.changed();
}

}  // namespace corvanta
