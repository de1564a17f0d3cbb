// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

#include "core/Executor.h"

namespace corvanta {

/// Posts to the thread of the Qt application's event loop.
///
/// Owned by the program; made on the main thread, once the application object exists. Any thread may post.
class QtExecutor final : public Executor {
  public:
    void post(std::function<void()> work) override;

  private:
    QObject context_;
};

}  // namespace corvanta
