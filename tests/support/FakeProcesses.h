// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/ProcessLister.h"
#include "platform/ProcessSignaller.h"

namespace corvanta::test {

/// Gives the lists that were queued, then repeats the last one. Counts how often it was asked.
class FakeProcessLister final : public ProcessLister {
  public:
    using Reading = std::optional<std::vector<ListedProcess>>;

    bool listProcesses(std::vector<ListedProcess>& processes) override {
        ++calls;
        processes.clear();
        if (!queue.empty()) {
            last_ = std::move(queue.front());
            queue.pop_front();
        }
        if (!last_) return false;
        processes = *last_;
        return true;
    }
    double ticksPerSecond() const override { return 100; }

    std::deque<Reading> queue;
    int calls = 0;

  private:
    Reading last_;
};

/// A few processes that signals are sent to. A signal is recorded and does nothing.
class FakeProcessSignaller final : public ProcessSignaller {
  public:
    struct Signal {
        std::int64_t id = 0;
        std::int32_t signal = 0;

        bool operator==(const Signal&) const = default;
    };

    /// Starts a process, in place of the one that has the id now.
    void start(std::int64_t id, std::string name, ProcessFacts facts = {"somebody", 60}) {
        end(id);
        processes_[id] = std::make_shared<Process>(Process{std::move(name), {}, std::move(facts)});
    }
    /// From now on the system keeps only that much of the name.
    void cutName(std::int64_t id, std::string cutName) { processes_.at(id)->cutName = std::move(cutName); }
    void end(std::int64_t id) {
        const auto found = processes_.find(id);
        if (found == processes_.end()) return;
        found->second->isRunning = false;
        processes_.erase(found);
    }

    std::int64_t ownProcessID() const override { return ownID; }
    std::unique_ptr<HeldProcess> hold(std::int64_t id) override {
        ++holds;
        const auto found = processes_.find(id);
        auto process =
            found == processes_.end() ? std::make_shared<Process>(Process{{}, {}, {}, false}) : found->second;
        return std::make_unique<Held>(*this, id, std::move(process));
    }
    std::optional<ProcessFacts> facts(std::int64_t id) override {
        const auto found = processes_.find(id);
        return found == processes_.end() ? std::nullopt : std::optional(found->second->facts);
    }

    std::int64_t ownID = 4242;
    std::int32_t error = 0;       ///< what running processes answer
    std::vector<Signal> signals;  ///< those that were delivered
    int holds = 0;

  private:
    struct Process {
        std::string name;
        std::string cutName;
        ProcessFacts facts;
        bool isRunning = true;
    };
    class Held final : public HeldProcess {
      public:
        Held(FakeProcessSignaller& owner, std::int64_t id, std::shared_ptr<Process> process)
            : owner_(owner),
              id_(id),
              name_(process->name),
              cutName_(process->cutName),
              process_(std::move(process)) {}
        std::int64_t id() const override { return id_; }
        const std::string& name() const override { return name_; }
        const std::string& cutName() const override { return cutName_; }
        std::int32_t send(std::int32_t signal) override {
            if (!process_->isRunning) return ESRCH;
            if (owner_.error == 0) owner_.signals.push_back({id_, signal});
            return owner_.error;
        }

      private:
        FakeProcessSignaller& owner_;
        std::int64_t id_;
        std::string name_;
        std::string cutName_;
        std::shared_ptr<Process> process_;
    };

    std::map<std::int64_t, std::shared_ptr<Process>> processes_;
};

}  // namespace corvanta::test
