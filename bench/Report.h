// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Timing.h"

inline volatile std::size_t sink = 0;  // keeps the results alive

/// What our side may cost: so many microseconds, or so many times the bare side.
struct Mark {
    double value;
    bool isRatio;
};
constexpr Mark microseconds(double value) {
    return {value, false};
}
constexpr Mark times(double value) {
    return {value, true};
}

/// The count of rounds that a benchmark was called with, its usual one without an argument. Anything else
/// ends the program.
inline int roundsOf(int argc, char** argv, int usual) {
    int rounds = usual;
    if (argc > 1) {
        const std::string_view text = argv[1];
        rounds = 0;
        std::from_chars(text.data(), text.data() + text.size(), rounds);
    }
    if (rounds >= 1) return rounds;
    std::fprintf(stderr, "usage: %s [ROUNDS]\n", argv[0]);
    std::exit(2);
}

/// Prints one row a comparison, and remembers whether each kept below its mark.
class Report {
  public:
    explicit Report(int rounds) : rounds_(rounds) {
        std::printf("%d rounds; medians of CPU time\n%-40s %12s %12s %8s %12s\n", rounds, "", "bare", "ours",
                    "ratio", "at most");
    }

    template <class Bare, class Ours>
    void compare(const std::string& name, Mark mark, Bare bare, Ours ours) {
        compare(
            name, mark, [] {}, bare, ours);
    }

    /// `prepare` runs before each side, out of the time.
    template <class Prepare, class Bare, class Ours>
    void compare(const std::string& name, Mark mark, Prepare prepare, Bare bare, Ours ours) {
        const auto timed = [&prepare](auto& work) {
            prepare();
            return cpuMicroseconds(work);
        };
        std::vector<double> bareTimes;
        std::vector<double> ourTimes;
        timed(bare);
        timed(ours);
        for (int round = 0; round < rounds_; ++round) {
            // Whichever comes first finds colder caches.
            if (round % 2 == 0) bareTimes.push_back(timed(bare));
            ourTimes.push_back(timed(ours));
            if (round % 2 != 0) bareTimes.push_back(timed(bare));
        }
        const double bareTime = median(bareTimes);
        const double ourTime = median(ourTimes);
        const double ratio = ourTime / bareTime;
        std::printf("%-40s %9.1f us %9.1f us %8.2f %9.1f %s\n", name.c_str(), bareTime, ourTime, ratio,
                    mark.value, mark.isRatio ? "x" : "us");
        if ((mark.isRatio ? ratio : ourTime) > mark.value) isGood_ = false;
    }

    bool isGood() const { return isGood_; }

  private:
    const int rounds_;
    bool isGood_ = true;
};
