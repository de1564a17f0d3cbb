// SPDX-License-Identifier: Apache-2.0
#include "platform/DefaultsStore.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/JsonDefaultsStore.h"
#include "support/FakePlatform.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

using Strings = std::vector<std::string>;

/// A store that is asked again through the object that took the values.
struct InMemory {
    DefaultsStore& first() { return store; }
    DefaultsStore& later() { return store; }

    test::FakeDefaultsStore store;
};

/// A store that is asked again by another run of the program.
struct InAFile {
    DefaultsStore& first() { return store; }
    DefaultsStore& later() {
        reopened = std::make_unique<JsonDefaultsStore>(path);
        return *reopened;
    }

    test::TempDirectory folder;
    std::string path = folder.file("settings.json");
    JsonDefaultsStore store{path};
    std::unique_ptr<JsonDefaultsStore> reopened;
};

/// What every store keeps to.
template <class Machine>
class DefaultsStoreContract : public testing::Test {
  protected:
    /// Runs the check on the store that took the values and on the one that is asked later.
    template <class Check>
    void inBoth(Check check) {
        check(machine.first());
        check(machine.later());
    }

    Machine machine;
};

using Machines = testing::Types<InMemory, InAFile>;
TYPED_TEST_SUITE(DefaultsStoreContract, Machines);

TYPED_TEST(DefaultsStoreContract, aMissingKeyIsNoValue) {
    this->inBoth([](DefaultsStore& store) {
        EXPECT_EQ(store.value("missing"), std::nullopt);
        EXPECT_EQ(store.boolValue("missing"), std::nullopt);
        EXPECT_EQ(store.integerValue("missing"), std::nullopt);
        EXPECT_EQ(store.doubleValue("missing"), std::nullopt);
        EXPECT_EQ(store.stringValue("missing"), std::nullopt);
        EXPECT_EQ(store.stringListValue("missing"), std::nullopt);
    });
}

TYPED_TEST(DefaultsStoreContract, aStoredNothingIsNotAMissingKey) {
    DefaultsStore& first = this->machine.first();
    first.set("flag", false);
    first.set("count", std::int64_t{0});
    first.set("seconds", 0.0);
    first.set("name", std::string());
    first.set("list", Strings());
    this->inBoth([](DefaultsStore& store) {
        EXPECT_EQ(store.boolValue("flag"), false);
        EXPECT_EQ(store.integerValue("count"), 0);
        EXPECT_EQ(store.doubleValue("seconds"), 0.0);
        EXPECT_EQ(store.stringValue("name"), "");
        EXPECT_EQ(store.stringListValue("list"), Strings());
    });
}

TYPED_TEST(DefaultsStoreContract, typesAreKeptApart) {
    DefaultsStore& first = this->machine.first();
    first.set("flag", true);
    first.set("count", std::int64_t{1});
    first.set("seconds", 1.5);
    first.set("name", std::string("1"));
    first.set("list", Strings{"true", "1"});
    this->inBoth([](DefaultsStore& store) {
        EXPECT_EQ(store.value("flag"), DefaultsValue(true));
        EXPECT_EQ(store.value("count"), DefaultsValue(std::int64_t{1}));
        EXPECT_EQ(store.value("seconds"), DefaultsValue(1.5));
        EXPECT_EQ(store.value("name"), DefaultsValue(std::string("1")));
        EXPECT_EQ(store.value("list"), DefaultsValue(Strings{"true", "1"}));
        for (const char* key : {"count", "seconds", "name", "list"}) {
            EXPECT_EQ(store.boolValue(key), std::nullopt) << key;
        }
        for (const char* key : {"flag", "seconds", "name", "list"}) {
            EXPECT_EQ(store.integerValue(key), std::nullopt) << key;
        }
        for (const char* key : {"flag", "name", "list"}) {
            EXPECT_EQ(store.doubleValue(key), std::nullopt) << key;
        }
        for (const char* key : {"flag", "count", "seconds", "list"}) {
            EXPECT_EQ(store.stringValue(key), std::nullopt) << key;
        }
        for (const char* key : {"flag", "count", "seconds", "name"}) {
            EXPECT_EQ(store.stringListValue(key), std::nullopt) << key;
        }
    });
}

TYPED_TEST(DefaultsStoreContract, aWholeNumberReadsAsIntegerAndAsDoubleHoweverItWasSet) {
    DefaultsStore& first = this->machine.first();
    first.set("integer", std::int64_t{3});
    first.set("double", 3.0);
    this->inBoth([](DefaultsStore& store) {
        for (const char* key : {"integer", "double"}) {
            EXPECT_EQ(store.integerValue(key), 3) << key;
            EXPECT_EQ(store.doubleValue(key), 3.0) << key;
        }
    });
}

TYPED_TEST(DefaultsStoreContract, numbersKeepAllTheirDigits) {
    const std::vector<std::int64_t> integers = {9'007'199'254'740'993, -9'007'199'254'740'993,
                                                std::numeric_limits<std::int64_t>::max(),
                                                std::numeric_limits<std::int64_t>::min()};
    const std::vector<double> doubles = {0.1,   1731234567.25,         -1e-300, 5e-324,
                                         1e300, 9223372036854775808.0, 1e18,    1.7976931348623157e308};
    DefaultsStore& first = this->machine.first();
    for (std::size_t i = 0; i < integers.size(); ++i) first.set("i" + std::to_string(i), integers[i]);
    for (std::size_t i = 0; i < doubles.size(); ++i) first.set("d" + std::to_string(i), doubles[i]);
    this->inBoth([&](DefaultsStore& store) {
        for (std::size_t i = 0; i < integers.size(); ++i) {
            EXPECT_EQ(store.integerValue("i" + std::to_string(i)), integers[i]);
        }
        for (std::size_t i = 0; i < doubles.size(); ++i) {
            EXPECT_EQ(store.doubleValue("d" + std::to_string(i)), doubles[i]);
        }
    });
}

TYPED_TEST(DefaultsStoreContract, textsComeBackByteForByte) {
    const Strings texts = {
        "", " ", "Größe 🦅", "\"quoted\" \\ / {}[]:,", "line\nbreak\ttab", std::string("a\0b", 3)};
    DefaultsStore& first = this->machine.first();
    for (std::size_t i = 0; i < texts.size(); ++i) first.set(std::to_string(i), texts[i]);
    first.set("all", texts);
    first.set("Schlüssel / \"key\"", std::string("found"));
    this->inBoth([&](DefaultsStore& store) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            EXPECT_EQ(store.stringValue(std::to_string(i)), texts[i]);
        }
        EXPECT_EQ(store.stringListValue("all"), texts);
        EXPECT_EQ(store.stringValue("Schlüssel / \"key\""), "found");
    });
}

TYPED_TEST(DefaultsStoreContract, aSetReplacesTheValueAndItsType) {
    DefaultsStore& first = this->machine.first();
    first.set("key", std::int64_t{1});
    first.set("other", true);
    first.set("key", std::string("one"));
    this->inBoth([](DefaultsStore& store) {
        EXPECT_EQ(store.value("key"), DefaultsValue(std::string("one")));
        EXPECT_EQ(store.value("other"), DefaultsValue(true));
    });
}

TYPED_TEST(DefaultsStoreContract, aRemovedKeyIsMissing) {
    DefaultsStore& first = this->machine.first();
    first.set("key", true);
    first.set("other", true);
    first.remove("key");
    first.remove("key");
    first.remove("never there");
    this->inBoth([](DefaultsStore& store) {
        EXPECT_EQ(store.value("key"), std::nullopt);
        EXPECT_EQ(store.value("other"), DefaultsValue(true));
    });
}

TYPED_TEST(DefaultsStoreContract, keysAreCaseSensitive) {
    this->machine.first().set("key", true);
    this->inBoth([](DefaultsStore& store) { EXPECT_EQ(store.value("Key"), std::nullopt); });
}

}  // namespace
}  // namespace corvanta
