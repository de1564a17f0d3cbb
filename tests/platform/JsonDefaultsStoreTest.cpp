// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/JsonDefaultsStore.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedLog.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;
using Access = JsonDefaultsStore::Access;

class JsonDefaultsStoreTest : public testing::Test {
  protected:
    std::vector<std::string> filesInFolder() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder.path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static mode_t modeOf(const std::string& path) {
        struct stat info {};
        EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
        return info.st_mode & 07777U;
    }

    test::TempDirectory folder;
    const std::string path = folder.file("settings.json");
    test::CapturedLog log;
};

std::string nested(int levels) {
    std::string text = "{\"a\":";
    text.append(static_cast<std::size_t>(levels), '[');
    text.append(static_cast<std::size_t>(levels), ']');
    return text + "}";
}

// What a file may hold

TEST_F(JsonDefaultsStoreTest, noFileMeansNoValuesAndIsNoFailure) {
    const JsonDefaultsStore store(path);
    EXPECT_EQ(store.value("key"), std::nullopt);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_TRUE(filesInFolder().empty());
}

TEST_F(JsonDefaultsStoreTest, entriesThatAreNoPreferenceReadAsNoneAndStayInTheFile) {
    folder.write("settings.json", R"({
        "list": ["a", 1, true], "nested": {"deep": {"er": [null, 1.5]}}, "none": null, "numbers": [1, 2],
        "lists": [["a"]], "text": "kept", "big": 9007199254740993, "": "the empty key"})");
    JsonDefaultsStore store(path);
    for (const char* key : {"list", "nested", "none", "numbers", "lists"}) {
        EXPECT_EQ(store.value(key), std::nullopt) << key;
    }
    EXPECT_EQ(store.value("text"), DefaultsValue(std::string("kept")));
    EXPECT_EQ(store.value(""), DefaultsValue(std::string("the empty key")));

    store.set("added", true);
    const auto object = parseSettings(QByteArray::fromStdString(test::readFile(path)));
    ASSERT_TRUE(object);
    EXPECT_EQ(*object, *parseSettings(R"({
        "list": ["a", 1, true], "nested": {"deep": {"er": [null, 1.5]}}, "none": null, "numbers": [1, 2],
        "lists": [["a"]], "text": "kept", "big": 9007199254740993, "": "the empty key", "added": true})"));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(JsonDefaultsStoreTest, numbersReadByTheirValueNotTheirSpelling) {
    folder.write("settings.json",
                 R"({"a": 3, "b": 3.0, "c": 3e0, "d": -0, "e": 18446744073709551616, "f": 0.5})");
    const JsonDefaultsStore store(path);
    EXPECT_EQ(store.integerValue("a"), 3);
    EXPECT_EQ(store.integerValue("b"), 3);
    EXPECT_EQ(store.integerValue("c"), 3);
    EXPECT_EQ(store.integerValue("d"), 0);
    EXPECT_EQ(store.integerValue("e"), std::nullopt);
    EXPECT_EQ(store.doubleValue("e"), 18446744073709551616.0);
    EXPECT_EQ(store.integerValue("f"), std::nullopt);
}

TEST_F(JsonDefaultsStoreTest, ofTwoEntriesWithOneKeyTheLastCounts) {
    folder.write("settings.json", R"({"key": 1, "other": true, "key": "two", "key": 3})");
    const JsonDefaultsStore store(path);
    EXPECT_EQ(store.value("key"), DefaultsValue(std::int64_t{3}));
    EXPECT_EQ(store.boolValue("other"), true);
}

// What a file may be in place of settings

struct BadFile {
    const char* name;
    std::string content;
};

std::vector<BadFile> badFiles() {
    using namespace std::string_literals;
    return {{"empty", ""},
            {"garbage", "\x89PNG\r\n\x1a\n\x01\x02\x03"},
            {"anArray", R"(["showCPU", true])"},
            {"aString", R"("showCPU")"},
            {"truncated", R"({"showCPU": true, "menuBarOrder": ["CPU", "RA)"},
            {"followedByMore", R"({"showCPU": true} {"showRAM": false})"},
            {"deeplyNestedArrays", nested(100'000)},
            {"tenMegabytesOfJunk", std::string(10'000'000, 'x')},
            {"tenMegabytesOfJson", "{\"a\": \"" + std::string(10'000'000, 'x') + "\"}"},
            {"utf16",
             "\xff\xfe{\0\"\0a\0\"\0:\0"
             "1\0}\0"s},
            {"onlyNulBytes", std::string(4096, '\0')},
            {"nulBytesAfterTheObject", "{\"a\": 1}" + std::string(512, '\0')},
            {"badUtf8", "{\"a\": \"\xff\xfe\"}"},
            {"singleQuotes", "{'a': 1}"},
            {"twoRoots", "{}{}"}};
}

TEST_F(JsonDefaultsStoreTest, aFileWithoutSettingsIsSetAsideOnceAndDefaultsHold) {
    int number = 0;
    for (const BadFile& bad : badFiles()) {
        SCOPED_TRACE(bad.name);
        const test::CapturedLog lines;
        folder.write("settings.json", bad.content);
        JsonDefaultsStore store(path);
        EXPECT_EQ(store.value("showCPU"), std::nullopt);
        EXPECT_EQ(store.value("a"), std::nullopt);
        const std::string aside = path + ".damaged-" + std::to_string(++number);
        EXPECT_TRUE(test::readFile(aside) == bad.content);
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(lines.lines(), std::vector<std::string>{
                                     "The settings file held no settings and was set aside as " + aside});

        store.set("showCPU", false);
        EXPECT_EQ(JsonDefaultsStore(path).boolValue("showCPU"), false);
        EXPECT_EQ(lines.lines().size(), 1U);
    }
}

TEST_F(JsonDefaultsStoreTest, settingAsideNeverReplacesAFile) {
    folder.write("settings.json.damaged-1", "first");
    fs::create_symlink("nowhere", folder.file("settings.json.damaged-2"));
    fs::create_directory(folder.file("settings.json.damaged-3"));
    folder.write("settings.json", "not json");
    const JsonDefaultsStore store(path);
    EXPECT_EQ(test::readFile(folder.file("settings.json.damaged-1")), "first");
    EXPECT_TRUE(fs::is_symlink(folder.file("settings.json.damaged-2")));
    EXPECT_EQ(test::readFile(folder.file("settings.json.damaged-4")), "not json");
}

TEST_F(JsonDefaultsStoreTest, nestingThatTheParserTakesIsKept) {
    folder.write("settings.json", nested(500));
    JsonDefaultsStore store(path);
    EXPECT_EQ(store.value("a"), std::nullopt);
    store.set("b", true);
    EXPECT_EQ(JsonDefaultsStore(path).boolValue("b"), true);
    EXPECT_TRUE(test::readFile(path).find("[") != std::string::npos);
    EXPECT_TRUE(log.lines().empty());
}

// Files that can't be read

TEST_F(JsonDefaultsStoreTest, aFolderInTheWayIsLeftAloneAndValuesStayInMemory) {
    folder.write("settings.json/inside", "precious");
    JsonDefaultsStore store(path);
    store.set("key", std::int64_t{1});
    store.set("other", true);
    store.remove("other");
    EXPECT_EQ(store.integerValue("key"), 1);
    EXPECT_EQ(store.value("other"), std::nullopt);
    EXPECT_EQ(test::readFile(path + "/inside"), "precious");
    EXPECT_EQ(filesInFolder(), std::vector<std::string>{"settings.json"});
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Could not read the settings file " + path +
                                                    ": it is not a regular file"});
}

TEST_F(JsonDefaultsStoreTest, aPipeInTheWayIsNeitherReadNorReplaced) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    JsonDefaultsStore store(path);
    store.set("key", true);
    EXPECT_EQ(store.boolValue("key"), true);
    EXPECT_TRUE(fs::is_fifo(path));
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(JsonDefaultsStoreTest, aLinkToAnotherFileIsFollowed) {
    const std::string target = folder.write("elsewhere/mine.json", R"({"key": 1})");
    fs::create_symlink(target, path);
    JsonDefaultsStore store(path);
    EXPECT_EQ(store.integerValue("key"), 1);
    store.set("key", std::int64_t{2});
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(JsonDefaultsStore(target).integerValue("key"), 2);
}

// Writing

TEST_F(JsonDefaultsStoreTest, theFileIsTheUsersAloneWhateverTheUmask) {
    const std::string below = folder.file("new/com.corvanta.app/settings.json");
    const mode_t before = ::umask(0);
    JsonDefaultsStore store(below);
    store.set("key", true);
    ::umask(before);
    EXPECT_EQ(modeOf(below), 0600U);
    EXPECT_EQ(modeOf(folder.file("new/com.corvanta.app")), 0700U);
    EXPECT_EQ(modeOf(folder.file("new")), 0700U);
}

TEST_F(JsonDefaultsStoreTest, aFileThatOthersMayReadIsClosedToThemByTheNextSet) {
    folder.write("settings.json", "{}");
    fs::permissions(path, fs::perms(0644));
    JsonDefaultsStore store(path);
    store.set("key", true);
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(JsonDefaultsStoreTest, everySetWritesAndARemovalOnlyIfThereIsSomethingToRemove) {
    JsonDefaultsStore store(path);
    store.set("key", true);
    fs::remove(path);
    store.set("key", true);
    EXPECT_TRUE(fs::exists(path));
    fs::remove(path);
    store.remove("missing");
    EXPECT_FALSE(fs::exists(path));
    store.remove("key");
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(filesInFolder(), std::vector<std::string>{"settings.json"});
}

TEST_F(JsonDefaultsStoreTest, theOldFileIsReplacedAndNotWrittenOver) {
    JsonDefaultsStore store(path);
    store.set("key", std::int64_t{1});
    const std::string old = test::readFile(path);
    fs::create_hard_link(path, folder.file("old"));
    store.set("key", std::int64_t{2});
    EXPECT_EQ(test::readFile(folder.file("old")), old);
    EXPECT_NE(test::readFile(path), old);
}

TEST_F(JsonDefaultsStoreTest, aReaderNeverSeesHalfAFile) {
    JsonDefaultsStore store(path);
    store.set("long", std::string(100'000, 'a'));
    std::atomic<bool> done = false;
    std::atomic<int> reads = 0;
    std::atomic<int> halves = 0;
    std::thread reader([&] {
        do {
            if (!parseSettings(QByteArray::fromStdString(test::readFile(path)))) ++halves;
            ++reads;
        } while (!done);
    });
    for (int i = 0; i < 100; ++i) store.set("long", std::string(static_cast<std::size_t>(1000 * i), 'b'));
    done = true;
    reader.join();
    EXPECT_GT(reads, 0);
    EXPECT_EQ(halves, 0);
}

TEST_F(JsonDefaultsStoreTest, aWriterThatIsKilledLeavesAWholeFile) {
    for (int round = 0; round < 10; ++round) {
        const pid_t writer = ::fork();
        ASSERT_GE(writer, 0);
        if (writer == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            JsonDefaultsStore store(path);
            for (std::size_t i = 0;; ++i) {
                store.set("text", std::string(i % 50 * 1000, 'x'));
                store.set("round", std::int64_t{round});
            }
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (JsonDefaultsStore(path, Access::readOnly).integerValue("round") != round &&
               std::chrono::steady_clock::now() < deadline) {
        }
        ASSERT_EQ(::kill(writer, SIGKILL), 0);
        ASSERT_EQ(::waitpid(writer, nullptr, 0), writer);
        EXPECT_EQ(JsonDefaultsStore(path).integerValue("round"), round);
    }
    EXPECT_TRUE(log.lines().empty());
}

/// While it lives, this process can't make any file longer than the given size.
class NoRoomBeyond {
  public:
    explicit NoRoomBeyond(rlim_t bytes) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~NoRoomBeyond() {
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0);
        std::signal(SIGXFSZ, handler_);
    }
    NoRoomBeyond(const NoRoomBeyond&) = delete;
    NoRoomBeyond& operator=(const NoRoomBeyond&) = delete;

  private:
    rlimit before_{};
    void (*handler_)(int) = SIG_DFL;
};

TEST_F(JsonDefaultsStoreTest, withoutRoomTheOldFileStaysValuesStayInMemoryAndOneLineIsLogged) {
    JsonDefaultsStore store(path);
    store.set("key", std::int64_t{1});
    const std::string old = test::readFile(path);
    {
        const NoRoomBeyond limit(4096);
        store.set("long", std::string(100'000, 'x'));
        store.set("key", std::int64_t{2});
        store.remove("missing");
        store.set("key", std::int64_t{3});
        EXPECT_EQ(test::readFile(path), old);
        EXPECT_EQ(filesInFolder(), std::vector<std::string>{"settings.json"});
        EXPECT_EQ(store.integerValue("key"), 3);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(log.lines()[0].find("Could not write the settings file " + path + ": "), 0U);
    }
    store.set("other", true);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(JsonDefaultsStore(path).integerValue("key"), 3);
    EXPECT_EQ(JsonDefaultsStore(path).stringValue("long")->size(), 100'000U);
    {
        const NoRoomBeyond limit(4096);
        store.set("key", std::int64_t{4});
    }
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(JsonDefaultsStoreTest, aFolderThatCannotBeMadeIsOneLogLine) {
    folder.write("file", "in the way");
    JsonDefaultsStore store(folder.file("file/below/settings.json"));
    store.set("key", true);
    store.set("key", false);
    EXPECT_EQ(store.boolValue("key"), false);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(test::readFile(folder.file("file")), "in the way");
}

// A reader beside the program

TEST_F(JsonDefaultsStoreTest, aReaderNeverWrites) {
    JsonDefaultsStore(path).set("key", std::int64_t{1});
    const std::string old = test::readFile(path);
    JsonDefaultsStore reader(path, Access::readOnly);
    EXPECT_EQ(reader.integerValue("key"), 1);
    reader.set("key", std::int64_t{2});
    reader.set("added", true);
    EXPECT_EQ(reader.integerValue("key"), 2);
    EXPECT_EQ(reader.boolValue("added"), true);
    reader.remove("key");
    EXPECT_EQ(reader.value("key"), std::nullopt);
    EXPECT_EQ(test::readFile(path), old);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(JsonDefaultsStoreTest, aReaderMakesNoFolder) {
    JsonDefaultsStore reader(folder.file("below/settings.json"), Access::readOnly);
    reader.set("key", true);
    EXPECT_TRUE(filesInFolder().empty());
}

TEST_F(JsonDefaultsStoreTest, aReaderDoesNotSetAside) {
    folder.write("settings.json", "not json");
    JsonDefaultsStore reader(path, Access::readOnly);
    reader.set("key", true);
    EXPECT_EQ(filesInFolder(), std::vector<std::string>{"settings.json"});
    EXPECT_EQ(test::readFile(path), "not json");
    EXPECT_EQ(log.lines(), std::vector<std::string>{"Could not read the settings file " + path +
                                                    ": it holds no settings"});
}

}  // namespace
}  // namespace corvanta
