// SPDX-License-Identifier: Apache-2.0
#include "shell/linux/TerminationSignals.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QSignalSpy>
#include <QTest>

namespace corvanta {
namespace {

using Handler = void (*)(int);

Handler handlerOf(int number) {
    struct sigaction action {};
    ::sigaction(number, nullptr, &action);
    return action.sa_handler;
}

/// The effect that a signal has for a scope.
class Effect {
  public:
    Effect(int number, Handler handler) : number_(number), former_(::signal(number, handler)) {}
    ~Effect() { ::signal(number_, former_); }
    Effect(const Effect&) = delete;
    Effect& operator=(const Effect&) = delete;

  private:
    int number_;
    Handler former_;
};

class TerminationSignalsTest : public testing::TestWithParam<int> {
  protected:
    Effect ordinary_{GetParam(), SIG_DFL};
};

TEST_P(TerminationSignalsTest, arriveOnTheMainThread) {
    TerminationSignals signals;
    const QSignalSpy requested(&signals, &TerminationSignals::terminationRequested);
    ASSERT_EQ(::kill(::getpid(), GetParam()), 0);
    EXPECT_EQ(requested.count(), 0) << "the handler itself does nothing";
    EXPECT_TRUE(QTest::qWaitFor([&] { return requested.count() == 1; }, 20'000));
    ASSERT_EQ(::raise(GetParam()), 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return requested.count() == 2; }, 20'000));
}

TEST_P(TerminationSignalsTest, getTheirFormerEffectBack) {
    {
        const TerminationSignals signals;
        EXPECT_NE(handlerOf(GetParam()), SIG_DFL);
    }
    EXPECT_EQ(handlerOf(GetParam()), SIG_DFL);
}

INSTANTIATE_TEST_SUITE_P(All, TerminationSignalsTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST(TerminationSignalsRulesTest, aBurstIsToldOnce) {
    TerminationSignals signals;
    const QSignalSpy requested(&signals, &TerminationSignals::terminationRequested);
    ::raise(SIGTERM);
    ::raise(SIGTERM);
    EXPECT_TRUE(QTest::qWaitFor([&] { return requested.count() > 0; }, 20'000));
    QCoreApplication::processEvents();
    EXPECT_EQ(requested.count(), 1);
}

TEST(TerminationSignalsRulesTest, anIgnoredHangUpStaysIgnored) {
    const Effect ignored(SIGHUP, SIG_IGN);
    const TerminationSignals signals;
    EXPECT_EQ(handlerOf(SIGHUP), SIG_IGN);
}

}  // namespace
}  // namespace corvanta
