// SPDX-License-Identifier: MIT
// The real library in the real host: every stage is told before its work, and a new process goes
// on.
#include "host_process.h"

#include "node/boot.h"
#include "node/digest.h"
#include "node/image_manifest.h"
#include "tests/support/results.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <openssl/evp.h>

namespace {

constexpr const char *kMac = "02:00:00:AB:CD:EF";
constexpr const char *kRunning = "4QZ-1.0";
constexpr const char *kOffered = "4QZ-2.0";
constexpr std::size_t kBankSize = 64 * 1024;

std::string md5Of(const std::string &bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest(bytes.data(), bytes.size(), sum.data(), &size, EVP_md5(), nullptr), 1);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", sum.at(i));
        text += digits;
    }
    return text;
}

// The stand-ins of the desk give the node its bridge, and let neither time pass nor it reboot.
class UpdateNotes : public HostProcess {
  protected:
    UpdateNotes() {
        program_ = OTA_DESK_HOST;
        environment_ = {
            {"OTA_DESK_MAC", kMac}, {"OTA_DESK_FAST", "1"}, {"OTA_DESK_REBOOT_FILE", in("reboot")}};
        writeBanks();
        writeImage();
    }

    void startAgent(const std::string &option = "") {
        start(REAL_AGENT, option);
        expect({R"({"note":"node","mac":"02:00:00:AB:CD:EF"})",
                R"({"done":"start-up","deferred":0})"});
    }

    std::string offer(int policy, const std::string &checksum) const {
        const std::string descriptor = R"({\"model\":\"M\",\"nxtMSVersion\":\")" +
                                       std::string(kOffered) + R"(\",\"fileServerURL\":\"file://)" +
                                       in("served") + R"(\",\"checksum\":\")" + checksum +
                                       R"(\",\"mac\":\")" + kMac + R"(\",\"policy\":)" +
                                       std::to_string(policy) + "}";
        return R"({"event":"new-image","descriptor":")" + descriptor +
               R"(","config":{"OffloadDownloadActivate":0,"initial_obardingStatus":1,)"
               R"("firsttime_polling":0}})";
    }

    // The messages until the event is done, each call answered with 0: the stage or name of a note,
    // the status word of a signal, the name of a timer.
    std::vector<std::string> story() {
        std::vector<std::string> words;
        for (;;) {
            const std::string text = next();
            const base::Json message = base::parsed(text);
            const cJSON *const root = message.get();
            if (!root) {
                words.push_back(text);
                return words;
            }
            if (base::itemOf(root, "done") != nullptr) {
                return words;
            }
            if (const std::string note = base::textOf(root, "note"); !note.empty()) {
                cause_ = note == "cause" ? text : cause_;
                words.push_back(note == "stage" ? base::textOf(root, "stage") : note);
                continue;
            }
            const base::Json record = base::parsed(base::textOf(root, "data"));
            const std::string call = base::textOf(root, "call");
            words.push_back(call == "signal"      ? base::textOf(record.get(), "status")
                            : call == "activated" ? call
                                                  : base::textOf(root, "name"));
            if (beforeAnswer_) {
                beforeAnswer_(words.back());
            }
            send(R"({"ack":0})");
        }
    }

    node::BootState bootState() const {
        node::BootState state;
        std::string whatIsWrong;
        EXPECT_TRUE(took(node::readBootState(in("boot_state")), state, whatIsWrong)) << whatIsWrong;
        return state;
    }

    void boot() {
        const auto booted = node::bootNode({in("boot_state"), {in("a"), in("b")}, ""});
        ASSERT_TRUE(booted) << booted.error().text;
    }

    std::string fileText(const std::string &name) const {
        std::ifstream file(in(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string image_;
    std::string cause_; // the last note of one
    std::function<void(const std::string &word)> beforeAnswer_;

    void writeImage(const char *model = "M") {
        const std::string payload(20000, 'p');
        std::string trailer;
        std::string whatIsWrong;
        EXPECT_TRUE(took(
            node::formatImageTrailer({kOffered, model, payload.size(), node::sha256Of(payload)}),
            trailer, whatIsWrong))
            << whatIsWrong;
        image_ = payload + trailer;
        std::ofstream(in("served")) << image_;
    }

  private:
    void writeBanks() {
        std::string running(kBankSize, 'r');
        std::ofstream(in("a")) << running;
        std::ofstream(in("b")) << std::string(kBankSize, '\0');
        node::BootState state;
        state.of(node::Bank::a) = {true, kRunning, kBankSize, node::sha256Of(running)};
        std::string whatIsWrong;
        EXPECT_TRUE(succeeds(node::writeBootState(in("boot_state"), state), whatIsWrong))
            << whatIsWrong;
        std::string config = fileText("node.conf");
        config.replace(config.find("size=1K"), 7, "size=64K");
        std::ofstream(configPath_) << config;
    }
};

using Words = std::vector<std::string>;

TEST_F(UpdateNotes, TellsEveryStageOfAnUpdateUntilItsCommit) {
    startAgent();
    bool askedTooEarly = true;
    beforeAnswer_ = [&](const std::string &) {
        askedTooEarly = std::filesystem::exists(in("reboot"));
    };
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story(), (Words{"downloading", "verifying", "writing", "activating", "rebooting",
                              "activated", "OTA_SW_ACTIVATION_COMPLETE", "idle"}))
        << errors();
    EXPECT_FALSE(askedTooEarly) << "the report comes before the reboot";
    EXPECT_TRUE(std::filesystem::exists(in("reboot")));
    EXPECT_EQ(bootState().next, node::Bank::b);
    EXPECT_EQ(banks_.next, 1) << "told before the reboot, and never looked up elsewhere";
    EXPECT_STREQ(banks_.banks[1].version, kOffered);
    boot();
    startOver();
    start(REAL_AGENT);
    EXPECT_EQ(next(), R"({"note":"node","mac":"02:00:00:AB:CD:EF"})");
    EXPECT_EQ(story(), (Words{"committing", "trial", "idle", "committing", "OTA_SW_COMMIT_COMPLETE",
                              "committed", "idle"}))
        << errors();
    EXPECT_FALSE(bootState().trial);
}

TEST_F(UpdateNotes, EndsIdleWhereItFailsOnItsWay) {
    startAgent();
    send(offer(1, std::string(32, '0')));
    EXPECT_EQ(story(), (Words{"downloading", "verifying", "cause", "OTA_CRC_CHECK_FAILED", "idle"}))
        << errors();
    EXPECT_EQ(cause_.find(R"({"note":"cause","reason":"checksum-differs","text":"the MD5 sum of )"),
              0U)
        << cause_;
    std::filesystem::remove(in("served"));
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story(), (Words{"downloading", "cause", "cause", "downloadRetryTimer", "idle"}))
        << errors();
    EXPECT_NE(cause_.find(R"("attempt":1})"), std::string::npos) << cause_;
}

TEST_F(UpdateNotes, TellsWhyTheBankDidNotTakeIt) {
    writeImage("other model");
    startAgent();
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story(), (Words{"downloading", "verifying", "writing", "cause",
                              "OTA_SW_FLASH_WRITE_FAILED", "idle"}))
        << errors();
    EXPECT_EQ(cause_.find(R"({"note":"cause","reason":"wrong-model","text":")"), 0U) << cause_;
}

// Nothing else tells of it: the agent says no word.
TEST_F(UpdateNotes, TellsWhyAnActivationFailedInSilence) {
    startAgent();
    beforeAnswer_ = [](const std::string &) {};
    send(offer(2, md5Of(image_)));
    EXPECT_EQ(story().back(), "idle");
    std::filesystem::remove(in("boot_state"));
    send(R"({"event":"timer","name":"rebootTimer"})");
    const Words words = story();
    EXPECT_NE(std::find(words.begin(), words.end(), "cause"), words.end()) << errors();
    EXPECT_EQ(cause_.find(R"({"note":"cause","reason":"boot-state-unreadable","text":")"), 0U)
        << cause_;
}

TEST_F(UpdateNotes, AsksForTheNextAttemptAtOnceWhereTheDeskHurries) {
    startAgent();
    std::filesystem::remove(in("served"));
    send(offer(1, md5Of(image_)));
    ASSERT_EQ(next(), R"({"note":"stage","stage":"downloading"})");
    EXPECT_EQ(next().find(R"({"note":"cause")"), 0U);
    EXPECT_EQ(next().find(R"({"note":"cause")"), 0U);
    EXPECT_EQ(next(), R"({"call":"startTimer","seconds":0,"name":"downloadRetryTimer"})");
}

TEST_F(UpdateNotes, GoesOnInANewProcessWithTheMemoryOfTheOldOne) {
    startAgent();
    send(offer(0, md5Of(image_)));
    EXPECT_EQ(story(), (Words{"downloading", "verifying", "writing", "rebootTimer", "idle"}))
        << errors();
    send(R"({"event":"activation-time","record":"{\"model\":\"M\",\"actTime\":\"04:05\"}"})");
    EXPECT_EQ(story(), (Words{"rebootTimer", "rebootTimer"}));
    const std::string before = memory_;
    EXPECT_NE(before.find(kOffered), std::string::npos) << before;
    EXPECT_NE(before.find("\"g_rebootTime\":\"04:05\""), std::string::npos) << before;
    EXPECT_NE(before.find("\"reboot_flag\":1"), std::string::npos) << before;
    startOver();
    startAgent("--no-commit-check");
    EXPECT_NE(memory_, before);
    send(R"({"event":"restore","memory":)" + before + "}");
    EXPECT_EQ(story(), Words{});
    EXPECT_EQ(memory_, before);
    send(R"({"event":"timer","name":"rebootTimer"})");
    EXPECT_EQ(story(),
              (Words{"activating", "rebooting", "activated", "OTA_SW_ACTIVATION_COMPLETE", "idle"}))
        << errors();
    EXPECT_EQ(fileText("ota_act_success"), std::string(kOffered) + "\n");
}

TEST_F(UpdateNotes, OfTheVersionInThePassiveBankIsASwapInTheActivatingStage) {
    startAgent();
    send(offer(2, md5Of(image_)));
    EXPECT_EQ(story().back(), "idle");
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story(), (Words{"activating", "OTA_SW_SWAP_PASSIVE", "rebooting", "activated",
                              "OTA_SW_ACTIVATION_COMPLETE", "idle"}))
        << errors();
}

TEST_F(UpdateNotes, ThatIsAbandonedIsTakenBackAndNeverBoots) {
    startAgent();
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story().back(), "idle");
    ASSERT_EQ(bootState().next, node::Bank::b);
    startOver();
    startAgent("--no-commit-check");
    send(R"({"event":"abandon"})");
    EXPECT_EQ(next(), R"({"done":"abandon","deferred":0})");
    EXPECT_EQ(bootState().next, node::Bank::a);
    EXPECT_FALSE(std::filesystem::exists(in("ota_act_success")));
    EXPECT_FALSE(std::filesystem::exists(in(kOffered)));
    EXPECT_FALSE(std::filesystem::exists(in("ota_dwld_prog")));
    EXPECT_TRUE(std::filesystem::exists(in("served")));
    boot();
    EXPECT_EQ(bootState().active, node::Bank::a);
}

TEST_F(UpdateNotes, ThatNobodyTakesBackStandsHoweverOftenItIsAbandoned) {
    startAgent();
    send(offer(1, md5Of(image_)));
    EXPECT_EQ(story().back(), "idle");
    startOver();
    startAgent("--no-commit-check " + withAltered("takeBack"));
    for (int i = 0; i < 2; ++i) {
        send(R"({"event":"abandon"})");
        const std::string done = next();
        EXPECT_NE(done.find("this platform takes no activation back; the other bank boots next"),
                  std::string::npos)
            << done;
        EXPECT_EQ(bootState().next, node::Bank::b);
        EXPECT_TRUE(std::filesystem::exists(in("ota_act_success"))) << "it reports that bank";
    }
}

TEST_F(UpdateNotes, ThatCannotBeTakenBackIsToldAndTheHostGoesOn) {
    startAgent();
    std::filesystem::remove(in("boot_state"));
    send(R"({"event":"abandon"})");
    const std::string done = next();
    EXPECT_EQ(done.find(R"({"done":"abandon","deferred":0,"failed":"the upgrade was not taken )"
                        "back as a whole: "),
              0U)
        << done;
    EXPECT_NE(errors().find("error: ota-host: the upgrade was not taken back as a whole: " +
                            in("boot_state") + ": the boot state cannot be read"),
              std::string::npos)
        << errors();
    send(R"({"event":"timer","name":"downloadStartTimer"})");
    EXPECT_EQ(story(), (Words{"downloading", "idle"}));
}

} // namespace
