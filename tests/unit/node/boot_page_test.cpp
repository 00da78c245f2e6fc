// SPDX-License-Identifier: MIT
// The commands of the page on boot selection do what the page says.
#include "fixture.h"

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string_view>

namespace {

bool isInstalled(const std::string &program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// The texts between ```sh and ```, in their order.
std::vector<std::string> commandsOf(const std::string &page) {
    const std::string begin = "\n```sh\n";
    std::vector<std::string> blocks;
    for (std::size_t at = page.find(begin); at != std::string::npos; at = page.find(begin, at)) {
        at += begin.size();
        blocks.push_back(page.substr(at, page.find("\n```", at) + 1 - at));
    }
    return blocks;
}

std::size_t countOf(std::string_view part, std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos;
         at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class BootSelectionPage : public InTemporaryDirectory {
  protected:
    // All in one shell; what they print.
    std::string run(const std::vector<std::string> &blocks) {
        std::string script =
            "PATH=" + std::filesystem::path(OTA_IMAGE_TOOL).parent_path().string() + ":$PATH\n";
        for (const std::string &block : blocks) {
            script += block;
        }
        writeText(in("script"), script);
        const std::string command = "cd " + in(".") + " && sh -eu script >output 2>&1";
        const std::string output = (std::system(command.c_str()) == 0 ? "" : "failed: ");
        return output + readText(in("output"));
    }
};

TEST_F(BootSelectionPage, ProvisionsANodeAndPlaysATrialWithItsCommands) {
    std::vector<std::string> blocks = commandsOf(readText(OTA_BOOT_PAGE));
    ASSERT_EQ(blocks.size(), 4U);
    const bool hasTools = isInstalled("fw_printenv") && isInstalled("fw_setenv");
    if (!hasTools) {
        std::erase_if(blocks, [](const std::string &block) {
            return block.find("fw_printenv ") != std::string::npos ||
                   block.find("fw_setenv ") != std::string::npos;
        });
        ASSERT_EQ(blocks.size(), 2U);
    }
    const std::string output = run(blocks);
    ASSERT_EQ(output.find("failed"), std::string::npos) << output;
    const std::string provisioned = "active=a\nnext=a\ntrial=none\na: whole=1 attempts=3 "
                                    "version=4QZ2.0.0 size=";
    EXPECT_EQ(output.find(provisioned), 0U) << output;
    EXPECT_EQ(countOf(provisioned, output), 2U) << "the file and the devices show the same";
    if (!hasTools) {
        GTEST_SKIP() << "fw_setenv is not installed (package libubootenv-tool): no trial by hand";
    }
    EXPECT_NE(output.find("BOOT_ORDER=A B\nBOOT_A_LEFT=3\nota_active=a\n"), std::string::npos)
        << output;
    EXPECT_EQ(countOf("active=b\n", output), 3U) << output;
    EXPECT_LT(output.rfind("active=b\n"), output.rfind("active=a\n")) << output;
    EXPECT_NE(output.find("bank b is on trial and has no attempt left\n"), std::string::npos);
    EXPECT_NE(output.find("active=a\nnext=b\ntrial=b\n"), std::string::npos)
        << "the node settles it, not the boot loader: " << output;
    EXPECT_EQ(readText(in("cmdline")), "ota.bank=a\n");
}

TEST_F(BootSelectionPage, HasThePlacesOfTheBootLoadersConfigurationInItsExample) {
    const std::string page = readText(OTA_BOOT_PAGE);
    const auto numberIn = [&](const std::string &pattern) {
        std::smatch found;
        return std::regex_search(page, found, std::regex(pattern)) ? found[1].str() : "";
    };
    EXPECT_EQ(numberIn("CONFIG_ENV_OFFSET=(0x\\w+)"), numberIn("mmcblk0    (0x\\w+) +0x"));
    EXPECT_EQ(numberIn("CONFIG_ENV_OFFSET_REDUND=(0x\\w+)"),
              numberIn("mmcblk0    0x3F0000[^\n]+\n    /dev/mmcblk0    (0x\\w+) +0x"));
    EXPECT_EQ(numberIn("CONFIG_ENV_SIZE=(0x\\w+)"), numberIn("mmcblk0    0x\\w+ +(0x\\w+)"));
    EXPECT_NE(numberIn("CONFIG_ENV_SIZE=(0x\\w+)"), "");
}

} // namespace
