// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "core/Executor.h"
#include "ctl/Output.h"
#include "platform/Platform.h"

namespace corvanta::ctl {

/// Which store a command works on.
struct StoreChoice {
    std::string path;   ///< empty when the user has no home folder
    bool isOwn = true;  ///< the one that the user's corvanta writes

    bool operator==(const StoreChoice&) const = default;
};

/// What every command can work on.
struct Surroundings {
    const Platform& ports;
    Executor& executor;
    StoreChoice store;
    OutputOptions output;
};

/// The commands of the program.
///
/// Owned by main(). Main thread only.
class CommandList {
  public:
    /// Returns the program's exit code: 1, with one line on standard error, for a failure.
    using Action = std::function<int(const Surroundings&)>;

    explicit CommandList(CLI::App& program) : program_(program) {}

    /// The options are to be declared on the result; what they are read into has to live in the action.
    CLI::App& add(const std::string& name, const std::string& description, Action action) {
        CLI::App* const syntax = program_.add_subcommand(name, description);
        commands_.emplace_back(syntax, std::move(action));
        return *syntax;
    }

    /// Runs the command that was parsed.
    int run(const Surroundings& surroundings) const {
        for (const auto& [syntax, action] : commands_) {
            if (syntax->parsed()) return action(surroundings);
        }
        return 1;
    }

  private:
    CLI::App& program_;
    std::vector<std::pair<CLI::App*, Action>> commands_;
};

/// What an option that takes the number of something accepts.
inline CLI::Validator wholeNumber() {
    return CLI::Validator(
        [](const std::string& text) {
            std::int64_t number = -1;
            const char* const end = text.data() + text.size();
            const auto result = std::from_chars(text.data(), end, number);
            const bool isGood = result.ec == std::errc() && result.ptr == end && number >= 0;
            return isGood ? std::string() : "\"" + text + "\" is no whole number from 0 on";
        },
        "");
}

/// The raw values of an enumeration, as the words that an option takes.
template <class Cases>
CLI::IsMember rawValuesOf(const Cases& cases) {
    std::vector<std::string> words;
    words.reserve(cases.size());
    for (const auto e : cases) words.emplace_back(rawValue(e));
    return CLI::IsMember(words);
}

}  // namespace corvanta::ctl
