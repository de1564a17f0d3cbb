// SPDX-License-Identifier: Apache-2.0
// What a pass over all processes costs against the bare calls that read the same files, in CPU time of this
// process.
//   corvanta_process_bench [PROCESSES] [ROUNDS]
// It starts that many sleeping processes itself. The two sides take turns in one run.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "Sleepers.h"
#include "Timing.h"
#include "core/Clock.h"
#include "monitoring/collectors/ProcessMonitor.h"
#include "platform/linux/ProcLister.h"

namespace {

constexpr double mostOfBare = 1.25;

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

int number(const char* text) {
    int value = 0;
    const std::string_view word(text);
    std::from_chars(word.data(), word.data() + word.size(), value);
    return value;
}

/// The least that such a pass can be: every id, and one open, read and close for each, with no look at the
/// text.
class BareLoop {
  public:
    BareLoop() : root_(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (root_ < 0) fail("process_bench: /proc");
    }
    ~BareLoop() { close(root_); }
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;

    int pass() {
        int count = 0;
        lseek(root_, 0, SEEK_SET);
        ssize_t size = 0;
        while ((size = getdents64(root_, entries_.data(), entries_.size())) > 0) {
            for (ssize_t at = 0; at < size;) {
                const char* const entry = entries_.data() + at;
                unsigned short length = 0;
                std::memcpy(&length, entry + offsetof(dirent64, d_reclen), sizeof length);
                at += length;
                const char* const name = entry + offsetof(dirent64, d_name);
                if (*name >= '1' && *name <= '9' && readStat(name)) ++count;
            }
        }
        return count;
    }

  private:
    bool readStat(const char* id) {
        std::array<char, 32> path;
        const std::size_t length = std::strlen(id);
        std::memcpy(path.data(), id, length);
        std::memcpy(path.data() + length, "/stat", 6);
        const int file = openat(root_, path.data(), O_RDONLY | O_CLOEXEC);
        if (file < 0) return false;
        const bool got = read(file, text_.data(), text_.size()) > 0;
        close(file);
        return got;
    }

    int root_;
    std::array<char, 32768> entries_;
    std::array<char, 1024> text_;
};

}  // namespace

int main(int argc, char** argv) {
    const int processes = argc > 1 ? number(argv[1]) : 600;
    const int rounds = argc > 2 ? number(argv[2]) : 200;
    if (processes < 0 || rounds < 1) {
        std::fprintf(stderr, "usage: corvanta_process_bench [PROCESSES] [ROUNDS]\n");
        return 2;
    }
    const Sleepers sleepers(processes);
    BareLoop bare;
    const corvanta::SystemClock clock;
    corvanta::ProcLister lister("/proc");
    corvanta::ProcessMonitor monitor(lister, clock, std::uint64_t{1} << 33);

    int found = bare.pass();
    std::size_t listed = monitor.getAllProcesses(true, 0)->size();
    std::vector<double> bareTimes;
    std::vector<double> ourTimes;
    for (int round = 0; round < rounds; ++round) {
        // Whichever comes first finds colder caches.
        const auto runBare = [&] { bareTimes.push_back(cpuMicroseconds([&] { found = bare.pass(); })); };
        const auto runOurs = [&] {
            ourTimes.push_back(cpuMicroseconds([&] { listed = monitor.getAllProcesses(true, 0)->size(); }));
        };
        if (round % 2 == 0) runBare();
        runOurs();
        if (round % 2 != 0) runBare();
    }
    const double bareTime = median(bareTimes);
    const double ourTime = median(ourTimes);
    std::printf("%d processes, %zu entries, %d rounds, median CPU time of a pass\n", found, listed, rounds);
    std::printf("  bare   %8.1f us  %6.2f us a process\n", bareTime, bareTime / found);
    std::printf("  ours   %8.1f us  %6.2f us a process\n", ourTime, ourTime / found);
    std::printf("  ratio  %8.3f     at most %.2f\n", ourTime / bareTime, mostOfBare);
    return ourTime <= mostOfBare * bareTime ? 0 : 1;
}
