// SPDX-License-Identifier: Apache-2.0
#include "core/Log.h"

#include <cstdio>
#include <string>
#include <utility>

#include "core/Mutex.h"
#include "core/PlainText.h"

namespace corvanta {
namespace {

struct Log {
    Mutex mutex;
    LogSink sink GUARDED_BY(mutex);
};

// Never destroyed: a thread that outlives main() may still log.
Log& log() {
    static Log& instance = *new Log;
    return instance;
}

}  // namespace

void logLine(std::string_view text) {
    std::string line = plainText(text);
    LogSink sink;
    {
        LockGuard guard(log().mutex);
        sink = log().sink;
    }
    if (sink) {
        sink(line);
        return;
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

LogSink setLogSink(LogSink sink) {
    LockGuard guard(log().mutex);
    return std::exchange(log().sink, std::move(sink));
}

}  // namespace corvanta
