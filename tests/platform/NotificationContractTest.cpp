// SPDX-License-Identifier: Apache-2.0
// What every centre for notifications keeps to.
#include <gtest/gtest.h>

#include <QDBusError>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/NotificationPeer.h"
#include "platform/linux/LinuxNotificationService.h"
#include "support/Eventually.h"
#include "support/FakePlatform.h"
#include "support/PrivateBus.h"

namespace corvanta {
namespace {

struct FakeMachine {
    NotificationService& service() { return notifications; }
    std::size_t shown() const { return notifications.shown().size(); }
    void refuse() {
        notifications.failure = "no";
        notifications.authorization = {.error = "no"};
    }
    void remove() { notifications.authorization = {.isGranted = false}; }
    void click(const std::string& identifier) { notifications.click(identifier); }
    void serve() { executor.runQueued(); }

    test::ManualExecutor executor;
    test::FakeNotificationService notifications{executor};
};

struct LinuxMachine {
    NotificationService& service() { return notifications; }
    std::size_t shown() const { return server->nextNumber - 1; }
    void refuse() const {
        const auto no = [](const QDBusMessage& call) {
            return call.createErrorReply(QDBusError::Failed, QStringLiteral("no"));
        };
        server->setAnswer(QStringLiteral("Notify"), no);
        server->setAnswer(QStringLiteral("GetServerInformation"), no);
    }
    void remove() { server.reset(); }
    /// In the order in which they were first delivered, they are "a", "b" and so on.
    void click(const std::string& identifier) const {
        server->invoke(static_cast<unsigned>(identifier.front() - 'a') + 1);
    }
    void serve() const {}

    test::PrivateBus bus;
    std::unique_ptr<test::NotificationPeer> server = std::make_unique<test::NotificationPeer>(bus.address());
    LinuxNotificationService notifications{
        [address = bus.address()] { return test::connectionTo(address, QStringLiteral("notifications")); }};
};

template <class Machine>
class NotificationContract : public testing::Test {
  protected:
    using Errors = std::vector<std::optional<std::string>>;

    bool eventually(const std::function<bool()>& condition) {
        return test::eventually([&] {
            machine.serve();
            return condition();
        });
    }
    void deliver(const std::string& identifier) {
        machine.service().deliver({.identifier = identifier}, [this](const auto& error) {
            isOnMainThread = isOnMainThread && std::this_thread::get_id() == mainThread;
            errors.push_back(error);
        });
    }
    std::optional<NotificationAuthorization> authorization() {
        std::optional<NotificationAuthorization> answer;
        machine.service().requestAuthorization([&](const auto& given) { answer = given; });
        EXPECT_EQ(answer, std::nullopt);  // not from within the call
        eventually([&] { return answer.has_value(); });
        return answer;
    }

    Machine machine;
    Errors errors;
    const std::thread::id mainThread = std::this_thread::get_id();
    bool isOnMainThread = true;
};

using Machines = testing::Types<FakeMachine, LinuxMachine>;
TYPED_TEST_SUITE(NotificationContract, Machines);

TYPED_TEST(NotificationContract, aDeliveryIsAnsweredOnceAndLater) {
    this->deliver("a");
    EXPECT_TRUE(this->errors.empty());
    EXPECT_TRUE(this->eventually([&] { return !this->errors.empty(); }));
    this->deliver("b");
    EXPECT_TRUE(this->eventually([&] { return this->errors.size() == 2; }));
    EXPECT_EQ(this->errors, (std::vector<std::optional<std::string>>(2)));
    EXPECT_EQ(this->machine.shown(), 2U);
}

TYPED_TEST(NotificationContract, theSameIdentifierReplaces) {
    for (int i = 0; i < 3; ++i) this->deliver("a");
    EXPECT_TRUE(this->eventually([&] { return this->errors.size() == 3; }));
    EXPECT_EQ(this->machine.shown(), 1U);
}

TYPED_TEST(NotificationContract, aFailureIsAText) {
    this->machine.refuse();
    this->deliver("a");
    EXPECT_TRUE(this->eventually([&] { return !this->errors.empty(); }));
    EXPECT_EQ(this->errors.at(0), "no");
    EXPECT_EQ(this->machine.shown(), 0U);
}

TYPED_TEST(NotificationContract, authorizationIsGrantedDeniedOrAnError) {
    EXPECT_EQ(this->authorization(), NotificationAuthorization{.isGranted = true});
    this->machine.refuse();
    EXPECT_EQ(this->authorization(), NotificationAuthorization{.error = "no"});
    this->machine.remove();
    EXPECT_EQ(this->authorization(), NotificationAuthorization{});
}

TYPED_TEST(NotificationContract, anyThreadMayDeliverAndTheMainOneHears) {
    std::thread([this] { this->deliver("a"); }).join();
    EXPECT_TRUE(this->eventually([&] { return !this->errors.empty(); }));
    EXPECT_TRUE(this->isOnMainThread);
}

TYPED_TEST(NotificationContract, aClickTellsTheIdentifierUntilTheSubscriptionEnds) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    auto ended =
        this->machine.service().subscribe([&](const auto& identifier) { first.push_back(identifier); });
    const auto kept =
        this->machine.service().subscribe([&](const auto& identifier) { second.push_back(identifier); });
    this->deliver("a");
    this->deliver("b");
    ASSERT_TRUE(this->eventually([&] { return this->errors.size() == 2; }));
    this->machine.click("b");
    ASSERT_TRUE(this->eventually([&] { return !second.empty(); }));
    ended.reset();
    this->machine.click("a");
    EXPECT_TRUE(this->eventually([&] { return second.size() == 2; }));
    EXPECT_EQ(first, std::vector<std::string>{"b"});
    EXPECT_EQ(second, (std::vector<std::string>{"b", "a"}));
}

TYPED_TEST(NotificationContract, removingWhatIsPendingLeavesWhatIsShown) {
    this->deliver("a");
    ASSERT_TRUE(this->eventually([&] { return !this->errors.empty(); }));
    this->machine.service().removeAllPending();
    this->deliver("b");
    EXPECT_TRUE(this->eventually([&] { return this->errors.size() == 2; }));
    EXPECT_EQ(this->machine.shown(), 2U);
}

}  // namespace
}  // namespace corvanta
