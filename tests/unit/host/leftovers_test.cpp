// SPDX-License-Identifier: MIT
// A cancelled upgrade leaves no file that could be taken for work, and takes nothing else away.
#include "host/leftovers.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

constexpr const char *kGone[] = {"tmp/4QZ-2.0", "tmp/4QZx", "tmp/ota_dwld_prog",
                                 "tmp/ota_agent_data", "logs/ota_act_success"};
constexpr const char *kStay[] = {"tmp/other", "tmp/x4QZ", "tmp/otaMD5.txt", "logs/otaSwAgent.log",
                                 "logs/4QZ"};

class Leftovers : public testing::Test {
  protected:
    Leftovers() {
        std::string name = testing::TempDir() + "leftovers-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        directory_ = name;
        std::filesystem::create_directories(in("tmp/4QZ-folder"));
        std::filesystem::create_directory(in("logs"));
        for (const char *file : kGone) {
            std::ofstream(in(file)) << "x";
        }
        for (const char *file : kStay) {
            std::ofstream(in(file)) << "x";
        }
    }
    ~Leftovers() override { std::filesystem::remove_all(directory_); }

    std::string in(const std::string &name) const { return directory_ + "/" + name; }
    bool isThere(const std::string &name) const { return std::filesystem::exists(in(name)); }
    base::Result<void> drop() const { return host::dropUpgrade(in("tmp"), in("logs")); }

  private:
    std::string directory_;
};

TEST_F(Leftovers, OfAnUpgradeGoAndEverythingElseStays) {
    EXPECT_TRUE(drop());
    for (const char *file : kGone) {
        EXPECT_FALSE(isThere(file)) << file;
    }
    for (const char *file : kStay) {
        EXPECT_TRUE(isThere(file)) << file;
    }
    EXPECT_TRUE(isThere("tmp/4QZ-folder"));
    EXPECT_TRUE(drop()) << "a second time, with the files gone";
}

TEST_F(Leftovers, ThatCannotBeRemovedAreNamedAndTheOthersGo) {
    std::filesystem::remove_all(in("logs"));
    std::ofstream(in("logs")) << "no directory";
    const auto done = drop();
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().text, in("logs/ota_act_success") +
                                     ": cannot be removed: Not a directory; remove it by hand");
    EXPECT_FALSE(isThere("tmp/4QZ-2.0"));
    std::filesystem::remove_all(in("tmp"));
    std::filesystem::remove(in("logs"));
    const auto without = drop();
    ASSERT_FALSE(without);
    EXPECT_EQ(without.error().text,
              in("tmp") + ": cannot be listed: No such file or directory; check the directory");
}

TEST_F(Leftovers, OfImagesAloneLeaveEverythingElse) {
    EXPECT_TRUE(host::dropImages(in("tmp")));
    EXPECT_FALSE(isThere("tmp/4QZ-2.0"));
    EXPECT_FALSE(isThere("tmp/4QZx"));
    for (const char *file : {"tmp/4QZ-folder", "tmp/other", "tmp/x4QZ", "tmp/ota_dwld_prog",
                             "tmp/ota_agent_data", "logs/ota_act_success", "logs/4QZ"}) {
        EXPECT_TRUE(isThere(file)) << file;
    }
    EXPECT_TRUE(host::dropAgentData(in("tmp")));
    EXPECT_FALSE(isThere("tmp/ota_agent_data"));
    EXPECT_TRUE(host::dropAgentData(in("tmp"))) << "with none there";
}

} // namespace
