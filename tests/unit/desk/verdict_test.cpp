// SPDX-License-Identifier: MIT
// The verdict over a road, that it is given where all is well, and each way to lose it.
#include "desk/verdict.h"

#include "desk/failure.h"
#include "desk/files.h"

#include "otaSwAgent/status_words.h"
#include "tests/support/results.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

namespace {

namespace fs = std::filesystem;
using desk::chooseRoad;
using desk::kNewVersion;
using desk::kOldVersion;
using desk::readOptions;
using desk::Road;
using desk::Witness;
using node::Bank;

constexpr const char *kOldBytes = "the old version's bytes";
constexpr const char *kNewBytes = "other bytes, of the new version";

class Verdict : public testing::Test {
  protected:
    Verdict() {
        std::string pattern = (fs::temp_directory_path() / "desk-verdict.XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        factory_ = image("old.img", kOldVersion, kOldBytes);
        offered_ = image("new.img", kNewVersion, kNewBytes);
        fs::create_directories(folder_ / "node/banks");
        fs::create_directories(folder_ / "node/logs");
        hold(Bank::a, factory_, kOldBytes);
    }
    ~Verdict() override { fs::remove_all(folder_); }

    desk::Image image(const char *name, const char *version, const std::string &bytes) const {
        desk::writeFile(folder_ / name, bytes);
        return {folder_ / name, version, bytes.size()};
    }

    void hold(Bank bank, const desk::Image &image, const std::string &bytes) {
        desk::writeFile(node().bank(bank), bytes + std::string(100, '\0'));
        state_.of(bank) = {.whole = true,
                           .version = image.version,
                           .size = image.size,
                           .sha256 = std::string(64, '0')};
    }

    [[nodiscard]] desk::NodeFolder node() const { return desk::NodeFolder(folder_ / "node"); }

    // As the road leaves a node where all went as it should.
    void commit() {
        hold(Bank::b, offered_, kNewBytes);
        state_.active = state_.next = Bank::b;
        witness_.boots = {kOldVersion, kNewVersion};
        witness_.words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_COMPLETE};
    }

    // What the verdict over these options says; empty: as expected.
    std::string verdict(const std::vector<std::string> &arguments) {
        std::string wrong;
        succeeds(node::writeBootState((folder_ / "node/boot_state").string(), state_), wrong);
        EXPECT_EQ(wrong, "");
        const desk::Options options = readOptions(arguments);
        const desk::Traveller traveller{"node", {},     options.mode,   options.role,
                                        true,   node(), folder_ / "log"};
        try {
            desk::checkEnding(chooseRoad(options), traveller, witness_, {factory_, offered_});
        } catch (const desk::Failure &failure) {
            return failure.what();
        }
        return "";
    }

    fs::path folder_;
    desk::Image factory_;
    desk::Image offered_;
    node::BootState state_;
    Witness witness_;
};

TEST_F(Verdict, ACommitIsAsExpected) {
    commit();
    EXPECT_EQ(verdict({}), "");
}

TEST_F(Verdict, EachThingThatIsNotSoSpoilsACommit) {
    struct Row {
        std::function<void()> spoil;
        const char *said;
    };
    const std::vector<Row> rows = {
        {[this] { witness_.words.pop_back(); }, "status words expected"},
        {[this] { witness_.words.emplace_back(OTA_STATUS_COMMIT_COMPLETE); }, "status words"},
        {[this] { witness_.atTheRoot = witness_.words; }, "words on the gateway's bus"},
        {[this] { witness_.boots = {kOldVersion}; }, "boots expected: 4QZ2.0.0, 4QZ2.1.0; came"},
        {[this] { witness_.failedDownloads = {"failed: x"}; }, "downloads that fail expected: 0"},
        {[this] { witness_.refusal = "no"; }, "the node's reason should say"},
        {[this] { witness_.early = true; }, "activated before the time"},
        {[this] { witness_.powerCut = true; }, "the power should not have been cut"},
        {[this] { witness_.handedOver = true; }, "should not have been handed over"},
        {[this] { state_.active = Bank::a; }, "bank b should run and boot next"},
        {[this] { state_.next = Bank::a; }, "bank b should run and boot next"},
        {[this] { state_.trial = Bank::b; }, "bank b is still on trial"},
        {[this] { node::rememberFailure(state_, kNewVersion, node::TrialFailure::boot); },
         "failed trial expected: none; came: boot"},
        {[this] { hold(Bank::b, offered_, "yet other bytes"); }, "bank b should equal"},
        {[this] { hold(Bank::a, factory_, "changed"); }, "bank a should equal"},
        {[this] { state_.of(Bank::a).whole = false; }, "bank a should equal"},
        {[this] { desk::writeFile(node().mark(), kNewVersion); }, "mark"},
    };
    for (const Row &row : rows) {
        state_ = {};
        witness_ = {};
        hold(Bank::a, factory_, kOldBytes);
        commit();
        row.spoil();
        EXPECT_NE(verdict({}).find(row.said), std::string::npos) << row.said << ": " << verdict({});
        fs::remove(node().mark());
    }
}

TEST_F(Verdict, ACutThatDidNotHappenFails) {
    commit();
    witness_.changes = 5197;
    EXPECT_EQ(verdict({"--cut-power", "99999"}),
              "the power was not cut: the node changed its storage only 5197 times; name one of "
              "these");
    witness_.powerCut = true;
    EXPECT_EQ(verdict({"--cut-power", "300"}), "");
    witness_.words.pop_back();
    EXPECT_EQ(verdict({"--cut-power", "300"}),
              "no commit was reported; came: OTA_SW_ACTIVATION_COMPLETE");
    witness_.words.emplace_back(OTA_STATUS_COMMIT_FAILED);
    EXPECT_EQ(verdict({"--cut-power", "300"}).find("no failure was expected"), 0U);
}

TEST_F(Verdict, ADownloadThatWasNotCutOrNotTakenUpFails) {
    commit();
    witness_.boots = {kOldVersion, kOldVersion, kNewVersion};
    EXPECT_NE(verdict({"--power-cut"}).find("did not lose it"), std::string::npos);
    witness_.powerCut = true;
    EXPECT_NE(verdict({"--power-cut"}).find("took nothing up"), std::string::npos);
    witness_.takenUp = true;
    EXPECT_EQ(verdict({"--power-cut"}), "");
}

TEST_F(Verdict, AnImageMustBeRefusedForTheReasonThatWasMade) {
    hold(Bank::b, factory_, kOldBytes);
    witness_.boots = {kOldVersion};
    witness_.words = {OTA_STATUS_FLASH_WRITE_FAILED};
    witness_.refusal = "its signer is not of an authority in signer-ca.pem";
    EXPECT_EQ(verdict({"--fail", "signature"}), "");
    EXPECT_EQ(verdict({"--fail", "version"}),
              "the node's reason should say \"is not the one that was offered\", not \"its signer "
              "is not of an authority in signer-ca.pem\"");
    witness_.refusal.clear();
    EXPECT_NE(verdict({"--fail", "signature"}), "");
    witness_.refusal = "its signer is not of an authority in signer-ca.pem";
    hold(Bank::b, offered_, kNewBytes);
    EXPECT_NE(verdict({"--fail", "signature"}).find("bank b should equal"), std::string::npos);
}

TEST_F(Verdict, GivingUpTakesSevenAttemptsThatFailForTheReasonThatWasMade) {
    witness_.boots = {kOldVersion};
    witness_.words = {OTA_STATUS_RECONNECT};
    witness_.failedDownloads.assign(6, "failed: the server answers 503");
    EXPECT_EQ(verdict({"--fail", "server"}).find("downloads that fail expected: 7"), 0U);
    witness_.failedDownloads.emplace_back("failed: the server answers 503");
    EXPECT_EQ(verdict({"--fail", "server"}), "");
    witness_.failedDownloads.back() = "failed: Timeout was reached";
    EXPECT_NE(verdict({"--fail", "server"}).find("Timeout"), std::string::npos);
}

TEST_F(Verdict, ATrialMustFailInTheWayThatWasMade) {
    hold(Bank::b, offered_, kNewBytes);
    witness_.boots = {kOldVersion, kNewVersion, kOldVersion};
    witness_.words = {OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_COMMIT_FAILED};
    EXPECT_EQ(verdict({"--fail", "health"}), "failed trial expected: health; came: none");
    node::rememberFailure(state_, kNewVersion, node::TrialFailure::health);
    EXPECT_EQ(verdict({"--fail", "health"}), "");
    node::rememberFailure(state_, kNewVersion, node::TrialFailure::boot);
    EXPECT_EQ(verdict({"--fail", "health"}), "failed trial expected: health; came: boot");
}

TEST_F(Verdict, AnOffloadMustHandTheImageOverAndDownloadNothing) {
    witness_.boots = {kOldVersion};
    EXPECT_NE(verdict({"--offload"}).find("should have been handed over"), std::string::npos);
    witness_.handedOver = true;
    EXPECT_EQ(verdict({"--offload"}), "");
    hold(Bank::b, offered_, kNewBytes);
    EXPECT_NE(verdict({"--offload"}).find("should not be marked as whole"), std::string::npos);
}

} // namespace
