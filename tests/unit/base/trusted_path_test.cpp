// SPDX-License-Identifier: MIT
// Nobody but root and the service's user decides what lies at a path; each part of it is judged.
#include "base/trusted_path.h"
#include "fixture.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using base::flawOf;
using base::PathFacts;
using base::PathOwners;
using base::PathPlace;
using testing::HasSubstr;
using testing::IsNull;
using testing::NotNull;
using testing::StartsWith;

constexpr uid_t kService = 1000;
constexpr uid_t kNobody = 65534;
constexpr gid_t kStaff = 50;
constexpr gid_t kDisk = 6;

struct Row {
    const char *title;
    PathFacts facts;
    bool asItself; // may be what the path names
    bool above;    // may be a directory that it leads through
    bool asSocket;
};

// Of a service that runs as a user of its own.
constexpr Row kRows[] = {
    {"root's directory", {0, 0, S_IFDIR | 0755}, true, true, true},
    {"its own directory", {kService, kService, S_IFDIR | 0700}, true, true, true},
    {"somebody else's directory", {kNobody, kNobody, S_IFDIR | 0700}, false, false, false},
    {"a group may write", {0, kStaff, S_IFDIR | 0775}, false, false, true},
    {"others may write", {0, 0, S_IFDIR | 0757}, false, false, true},
    {"everybody's, sticky, root's", {0, 0, S_IFDIR | 01777}, false, true, true},
    {"everybody's, sticky, its own", {kService, 0, S_IFDIR | 01777}, false, false, true},
    {"sticky, somebody else's", {kNobody, 0, S_IFDIR | 01777}, false, false, false},
    {"its own group may write", {kService, kService, S_IFDIR | 0775}, false, true, true},
    {"its own group and others", {kService, kService, S_IFDIR | 0777}, false, false, true},
    {"its own group, root's directory", {0, kService, S_IFDIR | 0775}, false, false, true},
    {"root's file", {0, 0, S_IFREG | 0644}, true, true, true},
    {"a file that a group may write", {0, kStaff, S_IFREG | 0664}, false, false, true},
    {"a file that others may write", {kService, 0, S_IFREG | 0602}, false, false, true},
    {"a link, whose mode says nothing", {0, 0, S_IFLNK | 0777}, true, true, true},
    {"somebody else's link", {kNobody, 0, S_IFLNK | 0777}, false, false, false},
    {"a disk as Debian makes it", {0, kDisk, S_IFBLK | 0660}, true, false, true},
    {"a flash device of that group", {0, kDisk, S_IFCHR | 0660}, true, false, true},
    {"a disk of another group", {0, kStaff, S_IFBLK | 0660}, false, false, true},
    {"a disk that others may write", {0, kDisk, S_IFBLK | 0662}, false, false, true},
    {"a disk of somebody", {kService, kDisk, S_IFBLK | 0660}, false, false, true},
    {"a file of the disks' group", {0, kDisk, S_IFREG | 0660}, false, false, true},
    {"a socket that all may connect to", {0, 0, S_IFSOCK | 0777}, false, false, true},
    {"somebody else's socket", {kNobody, 0, S_IFSOCK | 0700}, false, false, false},
};

TEST(TrustedPath, BelongsToRootOrTheServiceAndNobodyElseMayWriteIt) {
    const PathOwners owners{kService, kService, kDisk};
    for (const Row &row : kRows) {
        EXPECT_EQ(flawOf(row.facts, PathPlace::itself, owners) == nullptr, row.asItself)
            << row.title;
        EXPECT_EQ(flawOf(row.facts, PathPlace::above, owners) == nullptr, row.above) << row.title;
        EXPECT_EQ(flawOf(row.facts, PathPlace::socket, owners) == nullptr, row.asSocket)
            << row.title;
    }
}

TEST(TrustedPath, OfAServiceOfRootsIsRootsAlone) {
    const PathOwners root{0, std::nullopt, std::nullopt};
    EXPECT_THAT(flawOf({0, 0, S_IFDIR | 0755}, PathPlace::above, root), IsNull());
    EXPECT_THAT(flawOf({kService, kService, S_IFDIR | 0700}, PathPlace::above, root), NotNull());
    EXPECT_THAT(flawOf({0, 0, S_IFDIR | 0775}, PathPlace::above, root), NotNull())
        << "others may be in root's group";
    EXPECT_THAT(flawOf({0, 0, S_IFBLK | 0660}, PathPlace::itself, root), NotNull());
}

// On real directories: as root, who can give things away, and as a user below root's /tmp.
class PathOnDisk : public InTemporaryDirectory {
  protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root, to give things to other users";
        }
        ASSERT_EQ(base::whyNotTrusted(in("")), "") << "tests need a directory that can be trusted";
        ASSERT_EQ(chmod(in("").c_str(), 0755), 0);
        std::filesystem::create_directories(in("a/b"));
        writeText(in("a/b/file"), "text");
    }
    void give(const std::string &name, uid_t user) {
        ASSERT_EQ(lchown(in(name).c_str(), user, user), 0);
    }
    void allow(const std::string &name, mode_t mode) {
        ASSERT_EQ(chmod(in(name).c_str(), mode), 0);
    }
    void expectTrusted(const std::string &name) { EXPECT_EQ(base::whyNotTrusted(in(name)), ""); }
    // The line begins with what is wrong, its owner and its mode.
    void expectFlaw(const std::string &name, const std::string &wrong, const std::string &said) {
        const std::string flaw = base::whyNotTrusted(in(name));
        EXPECT_THAT(flaw, StartsWith(in(wrong) + " (" + said + ") ")) << name;
        EXPECT_EQ(flaw.find('\n'), std::string::npos);
    }
};

TEST_F(PathOnDisk, IsJudgedInEachOfItsParts) {
    expectTrusted("a/b/file");
    allow("a/b/file", 0664);
    expectFlaw("a/b/file", "a/b/file", "owner 0, mode 0664");
    allow("a/b/file", 0600);
    allow("a", 0777);
    expectFlaw("a/b/file", "a", "owner 0, mode 0777");
    allow("a", 01777);
    expectTrusted("a/b/file");
    expectFlaw("a", "a", "owner 0, mode 1777");
    give("a/b", kNobody);
    expectFlaw("a/b/file", "a/b", "owner 65534, mode 0755");
    allow("a", 0755);
    expectFlaw("a/b/file", "a/b", "owner 65534, mode 0755");
}

TEST_F(PathOnDisk, WithALinkIsJudgedWhereTheLinkLeads) {
    std::filesystem::create_symlink("a/b", in("relative"));
    std::filesystem::create_symlink(in("relative"), in("absolute"));
    std::filesystem::create_symlink("../../a/b/../b/file", in("a/b/winding"));
    expectTrusted("absolute/file");
    expectTrusted("a/b/winding");
    allow("a", 0775);
    expectFlaw("absolute/file", "a", "owner 0, mode 0775");
    expectFlaw("a/b/winding", "a", "owner 0, mode 0775");
    allow("a", 0755);
    give("relative", kNobody);
    expectFlaw("absolute/file", "relative", "owner 65534, mode 0777");
}

TEST_F(PathOnDisk, ThatLeadsInACircleIsRefused) {
    std::filesystem::create_symlink("two", in("one"));
    std::filesystem::create_symlink("one", in("two"));
    EXPECT_THAT(base::whyNotTrusted(in("one")), HasSubstr("is a link that leads nowhere"));
}

TEST_F(PathOnDisk, IsJudgedByItsRealNameWhereItIsRelative) {
    const std::filesystem::path cameFrom = std::filesystem::current_path();
    std::filesystem::create_symlink(in("a/b"), in("here"));
    std::filesystem::current_path(in("here"));
    for (const char *const name : {".", "./file", "file", "../b", "../b/./file/"}) {
        EXPECT_EQ(base::whyNotTrusted(name), "") << name;
    }
    allow("a/b", 0775);
    for (const char *const name : {".", "./", "../b", "file"}) {
        EXPECT_THAT(base::whyNotTrusted(name), StartsWith(in("a/b") + " (owner 0, mode 0775) "))
            << name;
    }
    allow("a", 0757);
    EXPECT_THAT(base::whyNotTrusted(".."), StartsWith(in("a") + " (owner 0, mode 0757) "));
    std::filesystem::current_path(cameFrom);
}

TEST_F(PathOnDisk, ThatIsStillToComeIsDecidedByWhoMayMakeIt) {
    expectTrusted("a/b/none");
    expectTrusted("a/none/below");
    allow("a", 01777);
    expectFlaw("a/none/below", "a", "owner 0, mode 1777");
    std::filesystem::create_symlink("a/nothing", in("dangling"));
    expectFlaw("dangling", "a", "owner 0, mode 1777");
    EXPECT_THAT(base::whyNotTrusted("/tmp/of-nobody-yet/file"),
                StartsWith("/tmp (owner 0, mode 1777) is everybody's: name a directory that"));
}

TEST_F(PathOnDisk, OfAnotherUserIsThatUsersOwn) {
    give("a/b", kNobody);
    give("a/b/file", kNobody);
    allow("a", 01777);
    ASSERT_EQ(seteuid(kNobody), 0);
    EXPECT_EQ(base::whyNotTrusted(in("a/b/file")), "");
    ASSERT_EQ(seteuid(0), 0);
    give("a/b/file", kService);
    ASSERT_EQ(seteuid(kNobody), 0);
    EXPECT_THAT(base::whyNotTrusted(in("a/b/file")),
                StartsWith(in("a/b/file") + " (owner 1000, mode 0644) belongs to neither root"));
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(PathOnDisk, OfAFileThatIsReplacedHasADirectoryThatIsNobodyElses) {
    std::filesystem::create_directory(in("shared"));
    writeText(in("shared/file"), "");
    std::filesystem::create_symlink(in("shared/file"), in("link"));
    for (const char *name : {"shared/file", "link", "shared/new"}) {
        ASSERT_EQ(chmod(in("shared").c_str(), 0755), 0);
        EXPECT_EQ(base::whyNoTrustedFile(in(name)), "") << name;
        ASSERT_EQ(chmod(in("shared").c_str(), 01777), 0);
        EXPECT_THAT(base::whyNoTrustedFile(in(name)), StartsWith(in("shared") + " (owner "))
            << name;
    }
    EXPECT_THAT(base::whyNoTrustedFile("/tmp/state"),
                HasSubstr("is everybody's: name a directory"));
}

TEST_F(PathOnDisk, OfAPrivateKeyIsReadByNobodyElse) {
    writeText(in("key"), "");
    for (const mode_t mode : {0640U, 0604U, 0644U}) {
        ASSERT_EQ(chmod(in("key").c_str(), mode), 0);
        std::array<char, 8> octal{};
        std::snprintf(octal.data(), octal.size(), "%04o", mode);
        EXPECT_EQ(base::whyNoPrivateKey(in("key")),
                  in("key") + " (mode " + octal.data() +
                      ") is a private key that its group or others may read: chmod go-rwx " +
                      in("key") + ", and use another key if somebody may have read it");
    }
    ASSERT_EQ(chmod(in("key").c_str(), 0600), 0);
    EXPECT_EQ(base::whyNoPrivateKey(in("key")), "");
    ASSERT_EQ(chmod(in("key").c_str(), 0660), 0);
    EXPECT_THAT(base::whyNoPrivateKey(in("key")), HasSubstr("may be written by"));
}

TEST_F(PathOnDisk, ThatCannotBeReachedIsRefused) {
    allow("a", 0700);
    ASSERT_EQ(seteuid(kNobody), 0);
    EXPECT_THAT(base::whyNotTrusted(in("a/b/file")),
                StartsWith(in("a/b") + ": cannot be looked at: Permission denied; do this as "));
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(PathOnDisk, OfTheManagersSocketMustLeadToASocketOfItsOwn) {
    const std::string path = in("a/b/socket");
    EXPECT_EQ(base::whyNoTrustedSocket(path), path + ": No such file or directory");
    writeText(path, "");
    EXPECT_EQ(base::whyNoTrustedSocket(path), path + ": is no socket");
    std::filesystem::remove(path);
    ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | 0777, 0), 0);
    allow("a/b/socket", 0777);
    EXPECT_EQ(base::whyNoTrustedSocket(path), "") << "everybody may connect";
    std::filesystem::create_symlink(path, in("a/link"));
    EXPECT_EQ(base::whyNoTrustedSocket(in("a/link")), "");
    give("a/b/socket", kNobody);
    EXPECT_THAT(base::whyNoTrustedSocket(in("a/link")),
                StartsWith(path + " (owner 65534, mode 0777) belongs to neither root"));
    allow("a", 0777);
    EXPECT_THAT(base::whyNoTrustedSocket(path), StartsWith(in("a") + " (owner 0, mode 0777) "));
}

} // namespace
