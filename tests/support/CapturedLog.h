// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/Log.h"

namespace corvanta::test {

/// Collects the log lines of a scope instead of printing them.
class CapturedLog {
  public:
    CapturedLog() {
        previous_ = setLogSink([lines = lines_](std::string_view line) {
            const std::lock_guard guard(lines->mutex);
            lines->all.emplace_back(line);
        });
    }
    ~CapturedLog() { setLogSink(previous_); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const {
        const std::lock_guard guard(lines_->mutex);
        return lines_->all;
    }

  private:
    struct Lines {
        std::mutex mutex;
        std::vector<std::string> all;
    };
    std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
    LogSink previous_;
};

}  // namespace corvanta::test
