// SPDX-License-Identifier: Apache-2.0
#include "monitoring/QtExecutor.h"

#include <gtest/gtest.h>

#include <QTest>
#include <thread>
#include <vector>

#include "support/FakePlatform.h"

namespace corvanta {
namespace {

// One contract for every executor: work runs later, in the order posted, on the executor's own thread.
class ExecutorContract : public testing::TestWithParam<bool> {
  protected:
    bool isReal() const { return GetParam(); }
    Executor& executor() { return isReal() ? static_cast<Executor&>(real_) : fake_; }
    bool runUntil(const std::function<bool()>& condition) {
        return QTest::qWaitFor(
            [&] {
                if (!isReal()) fake_.runQueued();
                return condition();
            },
            20'000);
    }

  private:
    QtExecutor real_;
    test::ManualExecutor fake_;
};

TEST_P(ExecutorContract, workRunsLaterInOrderOnTheExecutorsThread) {
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    std::thread poster([&] {
        for (int i = 0; i < 100; ++i) {
            executor().post([&, i] {
                order.push_back(i);
                threads.push_back(std::this_thread::get_id());
            });
        }
    });
    poster.join();
    EXPECT_TRUE(order.empty());
    ASSERT_TRUE(runUntil([&] { return order.size() == 100; }));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
        EXPECT_EQ(threads[static_cast<std::size_t>(i)], std::this_thread::get_id());
    }
}

INSTANTIATE_TEST_SUITE_P(All, ExecutorContract, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Qt" : "Fake"; });

}  // namespace
}  // namespace corvanta
