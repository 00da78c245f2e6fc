// SPDX-License-Identifier: MIT
// otactl support-bundle: what is in the archive, what is not, and that no secret is.
#include "otactl_test.h"

#include "base/json.h"
#include "tests/support/content_of.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

constexpr const char *kSecret = "correct-horse";

class SupportBundle : public OtactlTest {
  protected:
    SupportBundle() {
        service_.node = someNode();
        service_.historyLines = {"{\"event\":\"boot\"}",
                                 std::string("{\"reason\":\"https://u:") + kSecret + "@host/\"}"};
        service_.sentences = {{"node", "Nothing was offered yet."}};
        EXPECT_TRUE(service_.start());
        std::filesystem::create_directories(bus_.in("state"));
        write("state/history.jsonl",
              std::string("{\"url\":\"https://h/i?sig=") + kSecret + "\"}\n");
        write("state/history.jsonl.1", "older\n");
        write("state/requests.json", std::string("{\"token\":\"") + kSecret + "\"}");
        write("node.conf", std::string("[node]\nmodel = GW-1000\nserial = 1\nwork_mode = Router\n"
                                       "work_role = Gateway\nonboarding = 0\n"
                                       "preferred_activation_time = 02:30\n[paths]\ntmp = /tmp\n"
                                       "configs = /t/configs\nlogs = /t/logs\n"
                                       "ca_certificate = /t/ca\n[banks]\na = /t/a\nb = /t/b\n"
                                       "boot_state = /t/boot\n[images]\nsignature = optional\n"
                                       "[trial]\nhealth = curl -u me:") +
                               kSecret +
                               " http://localhost\n[service]\nstate = " + bus_.in("state") + "\n");
    }

    void write(const std::string &name, const std::string &text) {
        std::ofstream(bus_.in(name)) << text;
    }
    std::string packed(const std::string &name) const { return contentOf(bus_.in("open/" + name)); }
    Ended pack() {
        return otactl(
            {"support-bundle", "--output", bus_.in("bundle"), "--config", bus_.in("node.conf")});
    }
    // Into the folder "open", without the name of the archive's own.
    void unpack() {
        std::filesystem::create_directory(bus_.in("open"));
        const std::string unpack =
            "tar -xzf " + bus_.in("bundle") + " --strip-components=1 -C " + bus_.in("open");
        ASSERT_EQ(WEXITSTATUS(std::system(unpack.c_str())), 0);
    }
    // Names of what the index calls missing.
    std::string missing() const {
        const base::Json index = base::parsed(packed("index.json"));
        std::string names;
        for (const cJSON *const part : base::membersOf(base::itemOf(index.get(), "parts"))) {
            if (base::itemOf(part, "missing") != nullptr) {
                names += base::textOf(part, "name") + " ";
            }
        }
        return names;
    }
};

TEST_F(SupportBundle, HasWhatTheServiceAndTheFilesOfTheNodeSay) {
    const Ended ended = pack();
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_NE(ended.output.find(bus_.in("bundle") + ": "), std::string::npos) << ended.output;
    unpack();
    EXPECT_NE(packed("node.json").find("\"running_version\""), std::string::npos);
    EXPECT_EQ(packed("explain.txt"), "node: Nothing was offered yet.\n");
    EXPECT_EQ(packed("metrics.prom").find("# HELP otaswagent_up "), 0U);
    EXPECT_EQ(packed("history-newest.jsonl").find("{\"event\":\"boot\"}\n"), 0U);
    EXPECT_EQ(packed("history.jsonl"), "{\"url\":\"https://h/i?***\"}\n");
    EXPECT_EQ(packed("history.jsonl.1"), "older\n");
    EXPECT_NE(packed("node.conf").find("model = GW-1000\n"), std::string::npos);
    EXPECT_NE(packed("files.txt").find("requests.json"), std::string::npos);
    EXPECT_NE(packed("mounts.txt").find(" / "), std::string::npos);
}

TEST_F(SupportBundle, HoldsNoSecretAndIsForItsUserAlone) {
    ASSERT_EQ(pack().code, 0);
    struct stat status {};
    ASSERT_EQ(stat(bus_.in("bundle").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    unpack();
    std::size_t hidden = 0;
    for (const auto &file : std::filesystem::directory_iterator(bus_.in("open"))) {
        const std::string text = packed(file.path().filename().string());
        EXPECT_EQ(text.find(kSecret), std::string::npos) << file.path();
        hidden += text.find("***") != std::string::npos ? 1 : 0;
    }
    EXPECT_GE(hidden, 4U) << "each secret was in a file, and is seen to be left out";
}

TEST_F(SupportBundle, TellsWhatIsMissingAndWhy) {
    std::filesystem::remove(bus_.in("state/requests.json"));
    std::filesystem::create_symlink("/etc/passwd", bus_.in("state/settings.ini"));
    const Ended ended = pack();
    EXPECT_EQ(ended.code, 0);
    EXPECT_NE(ended.output.find("not in it: requests.json (" + bus_.in("state") +
                                "/requests.json: No such file or directory)\n"),
              std::string::npos)
        << ended.output;
    unpack();
    EXPECT_NE(missing().find("requests.json "), std::string::npos) << missing();
    EXPECT_NE(missing().find("settings.ini "), std::string::npos) << "no link is followed";
    EXPECT_FALSE(std::filesystem::exists(bus_.in("open/settings.ini")));
}

TEST_F(SupportBundle, IsMadeWithoutTheServiceAndWithoutAConfiguration) {
    service_.stop();
    write("node.conf", "[node]\n");
    ASSERT_EQ(pack().code, 0);
    unpack();
    for (const char *name : {"node.json ", "metrics.prom ", "state "}) {
        EXPECT_NE(missing().find(name), std::string::npos) << name << missing();
    }
    EXPECT_EQ(packed("node.conf"), "[node]\n");
}

TEST_F(SupportBundle, ThatCannotBeWrittenLeavesNothing) {
    const Ended ended = otactl(
        {"support-bundle", "--output", bus_.in("none/bundle"), "--config", bus_.in("node.conf")});
    EXPECT_EQ(ended.code, 1);
    EXPECT_NE(ended.errors.find(bus_.in("none/bundle")), std::string::npos) << ended.errors;
    EXPECT_FALSE(std::filesystem::exists(bus_.in("none")));
}

} // namespace
