// SPDX-License-Identifier: MIT
// The boot state as variables, and a node that was made by an earlier release goes on with its own.
#include "boot_state_fixture.h"
#include "node/boot_state_text.h"
#include "node/digest.h"
#include "platform/nal.h"

#include <filesystem>

namespace {

class BootStateText : public BootStateFile {};

TEST_F(BootStateText, UsesTheNamesThatBootScriptsUse) {
    ASSERT_TRUE(write(filled())) << wrong_;
    node::BootVariables variables;
    ASSERT_TRUE(took(node::readBootEnvironment(path_, nullptr), variables, wrong_)) << wrong_;
    EXPECT_EQ(variables["BOOT_ORDER"], "A B");
    EXPECT_EQ(variables["BOOT_A_LEFT"], "2");
    EXPECT_EQ(variables["BOOT_B_LEFT"], "7");
    EXPECT_EQ(variables["ota_trial"], "a");
    EXPECT_EQ(variables["ota_active"], "b");
    EXPECT_EQ(variables.count("ota_b_version"), 0U);
}

TEST_F(BootStateText, NamesTheVariableOfAWrongValue) {
    const std::pair<const char *, const char *> wrongs[] = {
        {"BOOT_ORDER", "A"},        {"BOOT_A_LEFT", "10"},      {"BOOT_B_LEFT", "x"},
        {"ota_active", "c"},        {"ota_trial", "1"},         {"ota_a_size", "-1"},
        {"ota_a_sha256", "beef"},   {"ota_a_version", ""},      {"ota_failed", "4QZ-1"},
        {"ota_failed", "x:0:boot"}, {"ota_failed", "x:1:other"}};
    for (const auto &[name, value] : wrongs) {
        ASSERT_TRUE(write(filled()));
        ASSERT_TRUE(succeeds(node::changeBootEnvironment(path_, {{name, value}}), wrong_))
            << wrong_;
        node::BootState state;
        EXPECT_FALSE(read(state)) << name;
        EXPECT_EQ(wrong_.find(path_ + ": " + name + " is "), 0U) << wrong_;
        EXPECT_NE(wrong_.find(": expected "), std::string::npos) << wrong_;
        EXPECT_EQ(wrong_.find('\n'), std::string::npos);
        std::filesystem::remove(path_);
    }
}

class OlderBootState : public OnANode {
  protected:
    // As an earlier release wrote it.
    static std::string sample(const char *name) {
        const std::string text = readText(std::string(OTA_SAMPLES "/older/") + name);
        EXPECT_FALSE(text.empty()) << name;
        return text;
    }

    node::BootState read(node::BootFindings *findings = nullptr) const {
        node::BootState state;
        std::string whatIsWrong;
        EXPECT_TRUE(took(node::readBootState(statePath_, findings), state, whatIsWrong))
            << whatIsWrong;
        return state;
    }
};

TEST_F(OlderBootState, IsReadAsItWasMeant) {
    writeText(statePath_, sample("boot_state_activated.ini"));
    node::BootFindings findings;
    const node::BootState state = read(&findings);
    EXPECT_TRUE(findings.older);
    EXPECT_TRUE(findings.damages.empty()) << findings.damages.front();
    EXPECT_EQ(state.active, node::Bank::a);
    EXPECT_EQ(state.next, node::Bank::b) << "it was activated and keeps its turn";
    EXPECT_EQ(node::bankToBoot(state), node::Bank::b);
    EXPECT_FALSE(state.trial);
    EXPECT_TRUE(state.failed.empty());
    EXPECT_EQ(state.of(node::Bank::a).version, "4QZ-1.0.0");
    EXPECT_EQ(state.of(node::Bank::b).version, "4QZ-2.0.0");
    EXPECT_EQ(state.of(node::Bank::b).size, 300000U);
    EXPECT_EQ(state.of(node::Bank::b).sha256.substr(0, 8), "3fc4ccfe");
    writeText(statePath_, sample("boot_state_one_bank.ini"));
    EXPECT_FALSE(read().of(node::Bank::b).whole);
    EXPECT_EQ(node::bankToBoot(read()), node::Bank::a);
}

TEST_F(OlderBootState, IsTakenOverWhenTheNodeIsOpenedAndThatIsSaid) {
    writeText(statePath_, sample("boot_state_one_bank.ini"));
    const std::string said = errorsOf([&] { open(); });
    EXPECT_NE(said.find("the boot state of an earlier release was taken over"), std::string::npos)
        << said;
    node::BootFindings findings;
    EXPECT_EQ(read(&findings).of(node::Bank::a).version, "4QZ-1.0.0");
    EXPECT_TRUE(findings.none());
    EXPECT_EQ(readText(statePath_).size(), 2 * node::kEnvironmentCopy);
    EXPECT_EQ(errorsOf([&] { open(); }), "") << "there is nothing more to take over";
}

TEST_F(OlderBootState, BootsAndIsTakenOverByTheBoot) {
    const node::BootState state = read();
    std::string text = sample("boot_state_one_bank.ini");
    const std::string sum = state.of(node::Bank::a).sha256;
    // The sample's bank is not this node's: its record is put in, as its writer would have.
    const auto replace = [&](const std::string &from, const std::string &to) {
        ASSERT_NE(text.find(from), std::string::npos) << from;
        text.replace(text.find(from), from.size(), to);
    };
    replace("7692c3ad3540bb803c020b3aee66cd8887123234ea0c6e7143c0add73ff431ed", sum);
    replace("size=5000", "size=" + std::to_string(state.of(node::Bank::a).size));
    const std::size_t end = text.find("checksum=");
    text = text.substr(0, end) + "checksum=" + node::sha256Of(text.substr(0, end)) + "\n";
    writeText(statePath_, text);
    node::BootState booted;
    EXPECT_TRUE(boot(booted)) << bootComplaint_;
    EXPECT_EQ(booted.active, node::Bank::a);
    open();
    installPassive("4QZ-3.0.0");
    EXPECT_NE(nal_activatePassiveImage(), 0) << "the version of the factory stands in no way";
    EXPECT_TRUE(read().isOnTrial(node::Bank::b));
}

TEST_F(OlderBootState, ThatIsDamagedOrCutIsNone) {
    const std::string whole = sample("boot_state_activated.ini");
    node::BootState state;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        writeText(statePath_, changed);
        EXPECT_FALSE(node::readOlderBootState(statePath_, state)) << at;
        writeText(statePath_, whole.substr(0, at));
        EXPECT_FALSE(node::readOlderBootState(statePath_, state)) << at;
    }
    std::string whatIsWrong;
    EXPECT_FALSE(took(node::readBootState(statePath_), state, whatIsWrong));
    EXPECT_EQ(readText(statePath_), whole.substr(0, whole.size() - 1)) << "it was left as it is";
}

} // namespace
