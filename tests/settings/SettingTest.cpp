// SPDX-License-Identifier: Apache-2.0
#include "settings/Setting.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/RefreshFrequency.h"
#include "support/FakePlatform.h"

namespace corvanta {
namespace {

using Strings = std::vector<std::string>;

class Group final : public SettingGroup {
  public:
    explicit Group(DefaultsStore& store) : SettingGroup(store) {}

    Setting<bool> flag{this, "flag", true};
    Setting<std::int64_t> count{this, "count", 7};
    Setting<double> seconds{this, "seconds", 2.5};
    Setting<std::string> name{this, "name", "none"};
    Setting<Strings> list{this, "list", {"a", "b"}};
    Setting<RefreshFrequency> frequency{this, "frequency", RefreshFrequency::normal};
    Setting<std::optional<Instant>> until{this, "until", std::nullopt};
};

class SettingTest : public testing::Test {
  protected:
    test::FakeDefaultsStore store;
};

TEST_F(SettingTest, aMissingKeyGivesTheDefault) {
    const Group group(store);
    EXPECT_TRUE(group.flag());
    EXPECT_EQ(group.count(), 7);
    EXPECT_EQ(group.seconds(), 2.5);
    EXPECT_EQ(group.name(), "none");
    EXPECT_EQ(group.list(), (Strings{"a", "b"}));
    EXPECT_EQ(group.frequency(), RefreshFrequency::normal);
    EXPECT_EQ(group.until(), std::nullopt);
    EXPECT_TRUE(store.writes.empty());
    EXPECT_TRUE(store.removals.empty());
}

TEST_F(SettingTest, aStoredNothingIsAValue) {
    store.values = {{"flag", false},         {"count", std::int64_t{0}}, {"seconds", 0.0},
                    {"name", std::string()}, {"list", Strings()},        {"until", 0.0}};
    const Group group(store);
    EXPECT_FALSE(group.flag());
    EXPECT_EQ(group.count(), 0);
    EXPECT_EQ(group.seconds(), 0.0);
    EXPECT_EQ(group.name(), "");
    EXPECT_EQ(group.list(), Strings());
    EXPECT_EQ(group.until(), instantFromSeconds(0));
}

TEST_F(SettingTest, aValueOfAnotherTypeCountsAsNone) {
    const std::vector<DefaultsValue> values = {true, std::int64_t{3}, 3.5, std::string("true"), Strings{"3"}};
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (const char* key : {"flag", "count", "seconds", "name", "list", "frequency", "until"}) {
            store.values.insert_or_assign(key, values[i]);
        }
        const Group group(store);
        EXPECT_TRUE(group.flag()) << i;
        EXPECT_EQ(group.count(), i == 1 ? 3 : 7) << i;
        EXPECT_EQ(group.seconds(), i == 1 ? 3.0 : i == 2 ? 3.5 : 2.5) << i;
        EXPECT_EQ(group.name(), i == 3 ? "true" : "none") << i;
        EXPECT_EQ(group.list(), i == 4 ? (Strings{"3"}) : (Strings{"a", "b"})) << i;
        EXPECT_EQ(group.frequency(), RefreshFrequency::normal) << i;
        EXPECT_EQ(group.until().has_value(), i == 1 || i == 2) << i;
        EXPECT_EQ(store.values.at("flag"), values[i]) << "reading must not repair";
    }
    EXPECT_TRUE(store.writes.empty());
    EXPECT_TRUE(store.removals.empty());
}

TEST_F(SettingTest, aSetIsWrittenUnderTheKeyAtOnce) {
    Group group(store);
    group.flag.set(false);
    group.count.set(-200);
    group.seconds.set(3.0);
    group.name.set("");
    group.list.set({});
    group.frequency.set(RefreshFrequency::high);
    group.until.set(instantFromSeconds(1'800'000'000.25));
    EXPECT_EQ(store.writes, (Strings{"flag", "count", "seconds", "name", "list", "frequency", "until"}));
    EXPECT_EQ(store.values.at("flag"), DefaultsValue(false));
    EXPECT_EQ(store.values.at("count"), DefaultsValue(std::int64_t{-200}));
    EXPECT_EQ(store.values.at("seconds"), DefaultsValue(3.0));
    EXPECT_EQ(store.values.at("name"), DefaultsValue(std::string()));
    EXPECT_EQ(store.values.at("list"), DefaultsValue(Strings()));
    EXPECT_EQ(store.values.at("frequency"), DefaultsValue(std::string("High (Every 1s)")));
    EXPECT_EQ(store.values.at("until"), DefaultsValue(1'800'000'000.25));
}

TEST_F(SettingTest, anAbsentInstantRemovesTheKey) {
    store.values = {{"until", 5.0}};
    Group group(store);
    group.until.set(std::nullopt);
    EXPECT_EQ(group.until(), std::nullopt);
    EXPECT_EQ(store.removals, Strings{"until"});
    EXPECT_TRUE(store.writes.empty());
}

TEST_F(SettingTest, theValueAndTheStoreAreNewWhenAnObserverHears) {
    Group group(store);
    Strings heard;
    group.count.onChange(&group, [&](const std::int64_t& value) {
        EXPECT_EQ(value, 9);
        EXPECT_EQ(group.count(), 9);
        EXPECT_EQ(store.integerValue("count"), 9);
        heard.emplace_back("count");
    });
    QObject::connect(&group, &SettingGroup::changed, &group, [&] {
        EXPECT_EQ(group.count(), 9);
        EXPECT_EQ(store.integerValue("count"), 9);
        heard.emplace_back("any");
    });
    group.count.set(9);
    EXPECT_EQ(heard, (Strings{"count", "any"}));
}

TEST_F(SettingTest, theValueIsStoredBeforeTheKeyIsWritten) {
    struct WatchedStore final : DefaultsStore {
        std::optional<DefaultsValue> value(std::string_view) const override { return std::nullopt; }
        void set(std::string_view, const DefaultsValue&) override { duringWrite = group->count(); }
        void remove(std::string_view) override {}
        Group* group = nullptr;
        std::int64_t duringWrite = 0;
    } watched;
    Group group(watched);
    watched.group = &group;
    group.count.set(9);
    EXPECT_EQ(watched.duringWrite, 9);
}

TEST_F(SettingTest, settingTheSameValueWritesAndAnnouncesAgain) {
    Group group(store);
    int heard = 0;
    int any = 0;
    group.flag.onChange(&group, [&](bool) { ++heard; });
    QObject::connect(&group, &SettingGroup::changed, &group, [&] { ++any; });
    group.flag.set(true);
    group.flag.set(true);
    EXPECT_EQ(heard, 2);
    EXPECT_EQ(any, 2);
    EXPECT_EQ(store.writes, (Strings{"flag", "flag"}));
}

TEST_F(SettingTest, anObserverHearsOfItsOwnSettingOnlyAndEndsWithItsContext) {
    Group group(store);
    auto context = std::make_unique<QObject>();
    std::vector<std::int64_t> heard;
    group.count.onChange(context.get(), [&](const std::int64_t& value) { heard.push_back(value); });
    group.flag.set(false);
    group.count.set(1);
    context.reset();
    group.count.set(2);
    EXPECT_EQ(heard, std::vector<std::int64_t>{1});
}

TEST_F(SettingTest, anObserverMaySetTheSettingAgain) {
    Group group(store);
    std::vector<std::int64_t> heard;
    group.count.onChange(&group, [&](const std::int64_t& value) {
        heard.push_back(value);
        if (value > 100) group.count.set(100);
    });
    group.count.set(150);
    EXPECT_EQ(group.count(), 100);
    EXPECT_EQ(store.integerValue("count"), 100);
    EXPECT_EQ(heard, (std::vector<std::int64_t>{150, 100}));
}

TEST_F(SettingTest, anAdoptedValueIsNeitherWrittenNorAnnounced) {
    Group group(store);
    QObject::connect(&group, &SettingGroup::changed, &group, [] { FAIL(); });
    group.flag.adopt(false);
    EXPECT_FALSE(group.flag());
    EXPECT_TRUE(store.writes.empty());
}

}  // namespace
}  // namespace corvanta
