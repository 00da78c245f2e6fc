// SPDX-License-Identifier: MIT
// ota-image as a person calls it, and ota-boot-state, which takes its images.
#include "fixture.h"
#include "node/digest.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class StorageTools : public InTemporaryDirectory {
  protected:
    // Runs the tool with these arguments; its exit code.
    int run(const char *tool, const std::string &arguments) {
        const std::string command =
            std::string(tool) + " " + arguments + " >" + in("out") + " 2>" + in("errors");
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    int make(const std::string &version = "4QZ-2") {
        return run(OTA_IMAGE_TOOL, "make --payload " + in("payload") + " --version " + version +
                                       " --model 'GW 1' --output " + in("image"));
    }
};

TEST_F(StorageTools, MakeAnImageAndShowIt) {
    const std::string payload = payloadOf(600001);
    writeText(in("payload"), payload);
    ASSERT_EQ(make(), 0) << readText(in("errors"));
    EXPECT_EQ(readText(in("image")), imageOf(payload, "4QZ-2", "GW 1"));
    ASSERT_EQ(run(OTA_IMAGE_TOOL, "show " + in("image")), 0);
    EXPECT_EQ(readText(in("out")),
              "version=4QZ-2\nmodel=GW 1\nsize=600001\nsha256=" + node::sha256Of(payload) + "\n");
}

TEST_F(StorageTools, MakeNoImageWithoutItsPayload) {
    EXPECT_EQ(make(), 1);
    EXPECT_NE(readText(in("errors")).find("ota-image: " + in("payload") + ": the payload is not"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(in("image")));
    EXPECT_FALSE(std::filesystem::exists(in("image") + ".new"));
}

TEST_F(StorageTools, RefuseToShowADamagedImage) {
    std::string image = imageOf(payloadOf(1000), "1");
    image[10] = static_cast<char>(image[10] ^ 1);
    writeText(in("image"), image);
    EXPECT_EQ(run(OTA_IMAGE_TOOL, "show " + in("image")), 1);
    EXPECT_NE(readText(in("errors")).find("the image is damaged"), std::string::npos);
}

TEST_F(StorageTools, SayHowTheyAreCalled) {
    struct Row {
        const char *tool, *arguments, *errors;
    };
    for (
        const Row &row :
        {Row{OTA_IMAGE_TOOL, "", "ota-image: a verb is missing; see ota-image --help\n"},
         Row{OTA_IMAGE_TOOL, "make --colour red",
             "ota-image: --colour: there is no such option; see ota-image make --help\n"},
         Row{OTA_IMAGE_TOOL, "make --payload",
             "ota-image: --payload needs a value, FILE; see ota-image make --help\n"},
         Row{OTA_IMAGE_TOOL, "show", "ota-image: image is missing; see ota-image show --help\n"},
         Row{OTA_BOOT_STATE_TOOL, "init --active a --output x",
             "ota-boot-state: --image is missing; see ota-boot-state init --help\n"},
         Row{OTA_BOOT_STATE_TOOL, "init --active c --image x --output x",
             "ota-boot-state: --active is \"c\": expected a|b; see ota-boot-state init --help\n"}}) {
        EXPECT_EQ(run(row.tool, row.arguments), 2);
        EXPECT_EQ(readText(in("errors")), row.errors);
    }
}

TEST_F(StorageTools, PrintTheirHelpWhereItIsAskedFor) {
    EXPECT_EQ(run(OTA_IMAGE_TOOL, "--help"), 0);
    EXPECT_NE(readText(in("out")).find("\n  make "), std::string::npos);
    EXPECT_EQ(run(OTA_IMAGE_TOOL, "make --help"), 0);
    EXPECT_NE(readText(in("out")).find("\n  --payload FILE REQUIRED "), std::string::npos);
    EXPECT_EQ(readText(in("errors")), "");
    EXPECT_EQ(run(OTA_BOOT_STATE_TOOL, "boot --help"), 0);
    EXPECT_NE(readText(in("out")).find("\n  --command-line FILE "), std::string::npos);
}

TEST_F(StorageTools, MakeNoImageOfAVersionThatCannotBeReadBackAfterTheReboot) {
    writeText(in("payload"), "payload");
    const std::string longest(30, '1');
    EXPECT_EQ(make(longest), 0) << readText(in("errors"));
    std::filesystem::remove(in("image"));
    for (const std::string &version : {longest + "1", std::string("'1;x'"), std::string("'1 0'")}) {
        EXPECT_EQ(make(version), 1) << version;
        const std::string line = readText(in("errors"));
        EXPECT_NE(line.find("no usable version (1 to 30 of A-Z a-z 0-9 . _ + -)"),
                  std::string::npos)
            << line;
        EXPECT_EQ(line.find('\n'), line.size() - 1);
        EXPECT_FALSE(std::filesystem::exists(in("image")));
    }
}

TEST_F(StorageTools, ReplaceNothingButFiles) {
    writeText(in("payload"), "payload");
    ASSERT_EQ(make(), 0) << readText(in("errors"));
    const std::string init = "init --active a --image " + in("image") + " --output ";
    const std::string again =
        "make --payload " + in("payload") + " --version 2 --model GW --output ";
    std::filesystem::create_directory(in("folder"));
    ASSERT_EQ(mkfifo(in("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink(in("pipe"), in("link"));
    for (const char *name : {"folder", "pipe", "link"}) {
        EXPECT_EQ(run(OTA_IMAGE_TOOL, again + in(name)), 1) << name;
        EXPECT_EQ(readText(in("errors")),
                  "ota-image: " + in(name) +
                      ": is no regular file and is not replaced by one; name another\n");
        EXPECT_EQ(run(OTA_BOOT_STATE_TOOL, init + in(name)), 1) << name;
        EXPECT_EQ(readText(in("errors")),
                  "ota-boot-state: " + in(name) +
                      ": is no regular file and is not replaced by one; name another, or for "
                      "devices fw_env.config:FILE, a FILE that names them\n");
    }
    EXPECT_TRUE(std::filesystem::is_fifo(in("pipe")));
    EXPECT_TRUE(std::filesystem::is_symlink(in("link")));
}

TEST_F(StorageTools, FollowALinkOfTheirOwnUserAndOfNobodyElse) {
    writeText(in("payload"), "payload");
    std::filesystem::create_directory(in("folder"));
    const std::string words = "make --payload " + in("payload") + " --version 2 --model GW";
    for (const auto &[link, target, output] :
         {std::array{"link", "precious", "link"}, std::array{"away", "folder", "away/new"}}) {
        writeText(in("precious"), "kept");
        std::filesystem::create_symlink(target, in(link));
        if (geteuid() == 0) {
            ASSERT_EQ(lchown(in(link).c_str(), 65534, 65534), 0);
            EXPECT_EQ(run(OTA_IMAGE_TOOL, words + " --output " + in(output)), 1);
            EXPECT_EQ(readText(in("errors")),
                      "ota-image: " + in(output) + ": leads through a link of another user (" +
                          link + ", owner 65534); name the file that you mean\n");
            EXPECT_EQ(readText(in("precious")), "kept");
            EXPECT_TRUE(std::filesystem::is_empty(in("folder")));
            ASSERT_EQ(lchown(in(link).c_str(), 0, 0), 0);
        }
        EXPECT_EQ(run(OTA_IMAGE_TOOL, words + " --output " + in(output)), 0)
            << readText(in("errors"));
        EXPECT_TRUE(std::filesystem::is_symlink(in(link)));
        EXPECT_EQ(readText(in(output)).find("payload"), 0U);
    }
    EXPECT_EQ(readText(in("folder/new")).find("payload"), 0U);
}

TEST_F(StorageTools, KeepNoBootStateInADirectoryOfEverybodys) {
    writeText(in("payload"), "payload");
    ASSERT_EQ(make(), 0) << readText(in("errors"));
    std::filesystem::create_directory(in("shared"));
    const std::string words = "init --active a --image " + in("image") + " --output ";
    ASSERT_EQ(chmod(in("shared").c_str(), 01777), 0);
    writeText(in("shared/state"), "");
    std::filesystem::create_symlink(in("shared/state"), in("link"));
    for (const char *name : {"shared/state", "shared/new", "link"}) {
        EXPECT_EQ(run(OTA_BOOT_STATE_TOOL, words + in(name)), 9) << name;
        EXPECT_NE(readText(in("errors")).find(in("shared") + " (owner "), std::string::npos)
            << readText(in("errors"));
    }
    EXPECT_EQ(readText(in("shared/state")), "");
    EXPECT_FALSE(std::filesystem::exists(in("shared/new")));
}

TEST_F(StorageTools, FollowNothingBesideABootState) {
    writeText(in("payload"), "payload");
    writeText(in("precious"), "kept");
    ASSERT_EQ(make(), 0) << readText(in("errors"));
    std::filesystem::create_symlink(in("precious"), in("state.new"));
    EXPECT_EQ(run(OTA_BOOT_STATE_TOOL,
                  "init --active a --image " + in("image") + " --output " + in("state")),
              0)
        << readText(in("errors"));
    EXPECT_EQ(readText(in("precious")), "kept");
}

TEST_F(StorageTools, WaitForNoPipe) {
    writeText(in("payload"), "payload");
    ASSERT_EQ(make(), 0) << readText(in("errors"));
    ASSERT_EQ(mkfifo(in("pipe").c_str(), 0600), 0);
    const std::string said = in("pipe") + ": is no image file; give one\n";
    EXPECT_EQ(run("timeout 20 " OTA_IMAGE_TOOL, "show " + in("pipe")), 1);
    EXPECT_EQ(readText(in("errors")), "ota-image: " + said);
    EXPECT_EQ(run("timeout 20 " OTA_BOOT_STATE_TOOL,
                  "init --active a --image " + in("pipe") + " --output " + in("state")),
              1);
    EXPECT_EQ(readText(in("errors")), "ota-boot-state: " + said);
    std::filesystem::remove(in("payload"));
    ASSERT_EQ(mkfifo(in("payload").c_str(), 0600), 0);
    EXPECT_EQ(
        run("timeout 20 " OTA_IMAGE_TOOL,
            "make --payload " + in("payload") + " --version 2 --model GW --output " + in("image")),
        1);
}

TEST_F(StorageTools, ShowNothingThatATerminalObeys) {
    EXPECT_EQ(run(OTA_IMAGE_TOOL, "show \"$(printf '/no\\033[31m\\302\\233')\""), 1);
    EXPECT_EQ(readText(in("errors")),
              "ota-image: /no\\x1b[31m\\xc2\\x9b: the image cannot be opened: "
              "No such file or directory; give an image file\n");
    EXPECT_EQ(run(OTA_BOOT_STATE_TOOL, "init \"$(printf -- '--\\033')\" x"), 2);
    EXPECT_EQ(readText(in("errors")),
              "ota-boot-state: --\\x1B: there is no such option; see ota-boot-state init --help\n");
}

TEST_F(StorageTools, MakeTheFirstBootStateAndShowIt) {
    const std::string image = imageOf(payloadOf(1000), "1.2.3");
    writeText(in("image"), image);
    ASSERT_EQ(run(OTA_BOOT_STATE_TOOL,
                  "init --active b --image " + in("image") + " --output " + in("state")),
              0)
        << readText(in("errors"));
    ASSERT_EQ(run(OTA_BOOT_STATE_TOOL, "show " + in("state")), 0);
    EXPECT_EQ(readText(in("out")), "active=b\nnext=b\ntrial=none\n"
                                   "a: whole=0 attempts=3 version= size=0 sha256=\n"
                                   "b: whole=1 attempts=3 version=1.2.3 size=" +
                                       std::to_string(image.size()) +
                                       " sha256=" + node::sha256Of(image) + "\n");
}

} // namespace
