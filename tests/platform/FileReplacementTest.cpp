// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/FileReplacement.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "platform/OwnNamespaces.h"
#include "support/TempDirectory.h"

namespace corvanta {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

mode_t modeOf(const std::string& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777U;
}

Names namesIn(const std::string& folder) {
    Names names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
    return names;
}

/// Another umask for a scope.
class Umask {
  public:
    explicit Umask(mode_t mask) : before_(::umask(mask)) {}
    ~Umask() { ::umask(before_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

  private:
    mode_t before_;
};

/// Root, whom no mode stops, is nobody for a scope. Others stay who they are.
class NotRoot {
  public:
    NotRoot() {
        if (!wasRoot_) return;
        EXPECT_EQ(::seteuid(nobody), 0);
    }
    ~NotRoot() {
        if (!wasRoot_) return;
        EXPECT_EQ(::seteuid(0), 0);
    }
    NotRoot(const NotRoot&) = delete;
    NotRoot& operator=(const NotRoot&) = delete;

    static void give(const std::string& path) {
        if (::geteuid() != 0) return;
        EXPECT_EQ(::chown(path.c_str(), nobody, nobody), 0);
    }

  private:
    static constexpr uid_t nobody = 65534;
    const bool wasRoot_ = ::geteuid() == 0;
};

class FileReplacement : public testing::Test {
  protected:
    /// Saves over what is there, which has to fail and to change nothing.
    void expectRefusal(const std::string& target, const std::string& why) const {
        const Names before = namesIn(folder.path());
        EXPECT_EQ(saveFile(target, "new"), "Could not write " + target + ": " + why + ".");
        EXPECT_EQ(namesIn(folder.path()), before);
    }

    test::TempDirectory folder;
    const std::string path = folder.file("session.csv");
};

TEST_F(FileReplacement, aNewFileHasTheContentAndIsForWhomTheUmaskLets) {
    const Umask umask(027);
    EXPECT_EQ(saveFile(path, "content\n"), std::nullopt);
    EXPECT_EQ(test::readFile(path), "content\n");
    EXPECT_EQ(modeOf(path), 0640U);
    EXPECT_EQ(namesIn(folder.path()), Names{"session.csv"});
}

TEST_F(FileReplacement, aFileForItsOwnerIsForNobodyElse) {
    const Umask umask(0);
    EXPECT_EQ(replaceFile(path, "", FileAudience::owner), std::nullopt);
    EXPECT_EQ(modeOf(path), 0600U);
    fs::permissions(path, fs::perms(0666));
    EXPECT_EQ(replaceFile(path, "", FileAudience::owner), std::nullopt);
    EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(FileReplacement, anOldFileIsReplacedAndKeepsItsPermissions) {
    const Umask umask(077);
    for (const mode_t mode : {0640U, 0664U, 0755U}) {
        folder.write("session.csv", "old and longer than the new one");
        fs::permissions(path, fs::perms(mode));
        EXPECT_EQ(saveFile(path, "new"), std::nullopt);
        EXPECT_EQ(test::readFile(path), "new");
        EXPECT_EQ(modeOf(path), mode);
        EXPECT_EQ(namesIn(folder.path()), Names{"session.csv"});
    }
}

TEST_F(FileReplacement, whoHasTheOldFileOpenKeepsIt) {
    folder.write("session.csv", "old");
    fs::create_hard_link(path, folder.file("still open"));
    EXPECT_EQ(saveFile(path, "new"), std::nullopt);
    EXPECT_EQ(test::readFile(folder.file("still open")), "old");
    EXPECT_EQ(test::readFile(path), "new");
}

TEST_F(FileReplacement, contentOfAnySizeIsWrittenWhole) {
    std::string content(5'000'001, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    for (const std::string& written : {content, std::string()}) {
        EXPECT_EQ(saveFile(path, written), std::nullopt);
        EXPECT_TRUE(test::readFile(path) == written);
    }
}

TEST_F(FileReplacement, anyNameWillDo) {
    for (const std::string& name : {std::string(255, 'n'), std::string("bad \xff utf-8"), std::string(" ")}) {
        EXPECT_EQ(saveFile(folder.file(name), "content"), std::nullopt);
        EXPECT_EQ(test::readFile(folder.file(name)), "content");
    }
    EXPECT_EQ(namesIn(folder.path()).size(), 3U);
}

// Links

TEST_F(FileReplacement, aLinkStaysAndWhatItLeadsToIsReplaced) {
    folder.write("below/target.csv", "old");
    fs::permissions(folder.file("below/target.csv"), fs::perms(0640));
    fs::create_symlink("below/second", path);
    fs::create_symlink("target.csv", folder.file("below/second"));
    EXPECT_EQ(saveFile(path, "new"), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_TRUE(fs::is_symlink(folder.file("below/second")));
    EXPECT_FALSE(fs::is_symlink(folder.file("below/target.csv")));
    EXPECT_EQ(test::readFile(folder.file("below/target.csv")), "new");
    EXPECT_EQ(modeOf(folder.file("below/target.csv")), 0640U);
}

TEST_F(FileReplacement, aLinkToNothingYetMakesItsTarget) {
    fs::create_symlink(folder.file("target.csv"), path);
    EXPECT_EQ(saveFile(path, "new"), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(test::readFile(folder.file("target.csv")), "new");
}

TEST_F(FileReplacement, linksThatGoRoundAreRefused) {
    fs::create_symlink("other", path);
    fs::create_symlink("session.csv", folder.file("other"));
    expectRefusal(path, "Too many levels of symbolic links");
}

// What can't be written

TEST_F(FileReplacement, aFolderIsRefused) {
    folder.write("session.csv/inside", "precious");
    expectRefusal(path, "Is a directory");
    expectRefusal(path + "/", "Is a directory");
    EXPECT_EQ(test::readFile(path + "/inside"), "precious");
}

TEST_F(FileReplacement, aMissingFolderIsNotMade) {
    expectRefusal(folder.file("missing/session.csv"), "No such file or directory");
    expectRefusal(folder.file("missing/"), "No such file or directory");
    expectRefusal("", "No such file or directory");
}

TEST_F(FileReplacement, aFileInPlaceOfTheFolderIsRefused) {
    folder.write("file", "old");
    expectRefusal(folder.file("file/session.csv"), "Not a directory");
}

TEST_F(FileReplacement, whatIsNoRegularFileIsNotReplaced) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    expectRefusal(path, "it is not a regular file");
    EXPECT_TRUE(fs::is_fifo(path));
}

TEST_F(FileReplacement, aFileThatMayNotBeWrittenIsNotReplacedThoughItsFolderMay) {
    folder.write("session.csv", "old");
    fs::permissions(path, fs::perms(0444));
    NotRoot::give(folder.path());
    NotRoot::give(path);
    const NotRoot notRoot;
    expectRefusal(path, "Permission denied");
    EXPECT_EQ(test::readFile(path), "old");
    EXPECT_EQ(modeOf(path), 0444U);
}

TEST_F(FileReplacement, aFileThatBecomesSomebodyElsesLosesItsOwnersRights) {
    folder.write("session.csv", "old");
    fs::permissions(path, fs::perms(04666));
    const bool isRoot = ::geteuid() == 0;
    NotRoot::give(folder.path());
    const NotRoot notRoot;
    EXPECT_EQ(saveFile(path, "new"), std::nullopt);
    EXPECT_EQ(test::readFile(path), "new");
    EXPECT_EQ(modeOf(path), isRoot ? 0666U : 04666U);
}

TEST_F(FileReplacement, aFolderThatMayNotBeWrittenIsRefused) {
    folder.write("closed/session.csv", "old");
    NotRoot::give(folder.file("closed/session.csv"));
    NotRoot::give(folder.file("closed"));
    fs::permissions(folder.file("closed"), fs::perms(0555));
    const NotRoot notRoot;
    expectRefusal(folder.file("closed/session.csv"), "Permission denied");
    EXPECT_EQ(test::readFile(folder.file("closed/session.csv")), "old");
}

TEST_F(FileReplacement, aFullDiskLeavesTheOldFileAndNothingElse) {
    test::inOwnNamespaces([this] {
        ASSERT_EQ(::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=64k"), 0);
        const std::string old(40'000, 'o');
        folder.write("session.csv", old);
        fs::permissions(path, fs::perms(0640));
        EXPECT_EQ(saveFile(path, std::string(40'000, 'n')),
                  "Could not write " + path + ": No space left on device.");
        EXPECT_TRUE(test::readFile(path) == old);
        EXPECT_EQ(modeOf(path), 0640U);
        EXPECT_EQ(namesIn(folder.path()), Names{"session.csv"});
        EXPECT_EQ(saveFile(path, std::string(20'000, 'n')), std::nullopt);
        EXPECT_TRUE(test::readFile(path) == std::string(20'000, 'n'));
        ::umount(folder.path().c_str());
    });
}

TEST_F(FileReplacement, aReadOnlyMediumIsRefused) {
    test::inOwnNamespaces([this] {
        ASSERT_EQ(::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=64k"), 0);
        folder.write("session.csv", "old");
        ASSERT_EQ(::mount("", folder.path().c_str(), "", MS_REMOUNT | MS_RDONLY, ""), 0);
        expectRefusal(path, "Read-only file system");
        expectRefusal(folder.file("new.csv"), "Read-only file system");
        EXPECT_EQ(test::readFile(path), "old");
        ::umount(folder.path().c_str());
    });
}

}  // namespace
}  // namespace corvanta
