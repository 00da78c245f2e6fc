// SPDX-License-Identifier: MIT
// Every mistake in the configuration names the file, the line and what was expected.
#include "fixture.h"
#include "node/config/config_rows.h"
#include "node/config_check.h"
#include "platform/open.h"
#include "tests/support/results.h"

#include <algorithm>
#include <filesystem>

namespace {

struct Mistake {
    const char *title;
    const char *key;
    const char *line;
    const char *complaint; // with its ":line:"
};

class Configuration : public OnANode {
  protected:
    std::string complaintAbout(const std::string &text) {
        writeText(configPath_, text);
        std::string whatIsWrong;
        EXPECT_FALSE(succeeds(nalOpen(configPath_.c_str()), whatIsWrong)) << text;
        EXPECT_EQ(whatIsWrong.find('\n'), std::string::npos);
        return whatIsWrong;
    }
};

const Mistake kMistakes[] = {
    {"empty model", "model", "model =", ":2: [node] model is \"\": expected a text"},
    {"long serial", "serial", "serial = 0123456789012345678901234567890X",
     ":3: [node] serial is \"0123456789012345678901234567890X\", 32 characters: expected at most "
     "31, since the agent reads no more"},
    {"onboarding", "onboarding", "onboarding = yes",
     ":6: [node] onboarding is \"yes\": expected 0 or 1"},
    {"hour 24", "preferred_activation_time", "preferred_activation_time = 24:00",
     ":7: [node] preferred_activation_time is \"24:00\": expected a time of day, hh[:mm[:ss]]"},
    {"four fields", "preferred_activation_time", "preferred_activation_time = 1:2:3:4",
     ":7: [node] preferred_activation_time is \"1:2:3:4\": expected a time of day"},
    {"slash", "tmp", "tmp = /tmp/", ":9: [paths] tmp is \"/tmp/\": expected a directory without"},
    {"blank in tmp", "tmp", "tmp = /t m", ":9: [paths] tmp is \"/t m\": expected a directory"},
    {"shell in logs", "logs", "logs = /l$(x)",
     ":11: [paths] logs is \"/l$(x)\": expected a directory"},
    {"long tmp", "tmp", "tmp = /tmp/ab",
     ":9: [paths] tmp is \"/tmp/ab\", 7 characters: expected at most 6, since the agent keeps 18 "
     "characters of its clean-up command \"rm -rf <tmp>/4QZ*\" and 31 of its progress command "
     "\"echo 100 > <tmp>/ota_dwld_prog\""},
    {"long configs", "configs", "configs = /opt/configs/1",
     ":10: [paths] configs is \"/opt/configs/1\", 14 characters: expected at most 13, since the "
     "agent keeps 30 characters of <configs>/last_reboot_info"},
    {"long logs", "logs", "logs = /opt/some/logs1",
     ":11: [paths] logs is \"/opt/some/logs1\", 15 characters: expected at most 14, since the agent "
     "keeps 30 characters of <logs>/ota_act_success"},
    {"long certificate", "ca_certificate", "ca_certificate = /opt/certificates/authority.pem",
     ":12: [paths] ca_certificate is \"/opt/certificates/authority.pem\", 31 characters: expected "
     "at most 30, since the agent keeps no more of a path"},
    {"zero size", "size", "size = 0", ":16: [banks] size is \"0\": expected a number of bytes"},
    {"size suffix", "size", "size = 5X", ":16: [banks] size is \"5X\": expected a number of bytes"},
    {"huge size", "size", "size = 99999999999G", ":16: [banks] size is \"99999999999G\""},
    {"no key", "serial", "just words", ":3: expected \"[section]\", \"key = value\" or a comment"},
    {"second time", "serial", "model = other", ":3: [node] model is given a second time"},
    {"missing key", "serial", "", ": [node] serial is missing: expected a text"},
    {"missing size", "size", "", ": [banks] size is missing: expected a size"},
    {"no directory", "logs", "logs = /nonexistent",
     ":11: [paths] logs names no directory: there is none at /nonexistent; make it or name another"},
    {"no bank", "b", "b = /nonexistent/b",
     ":15: [banks] b cannot be used: the bank /nonexistent/b cannot be opened"},
    {"other size", "size", "size = 2M", " has 1048576 bytes: expected the 2097152 of [banks] size"},
    {"no boot state", "boot_state", "",
     ": [banks] boot_state is missing: expected it, or fw_env_config"},
    {"two boot states", "boot_state", "boot_state = boot_state\nfw_env_config = node.conf",
     ":17: [banks] boot_state stands beside fw_env_config: expected one of the two"},
    {"no word of the kernel", "boot_state", "fw_env_config = node.conf",
     ": [banks] kernel_command_line is missing beside fw_env_config: expected /proc/cmdline"},
    {"no fw_env_config", "boot_state",
     "fw_env_config = /nonexistent\nkernel_command_line = node.conf",
     ":17: [banks] fw_env_config names a file that cannot be read, /nonexistent: No such file or "
     "directory; put it there or name another"},
    {"kernel's directory", "", "[banks]\nkernel_command_line = /proc/",
     ":2: [banks] kernel_command_line is \"/proc/\": expected a file"},
    {"no kernel's words", "", "[banks]\nkernel_command_line = /nonexistent",
     ":2: [banks] kernel_command_line names a file that cannot be read, /nonexistent"},
    {"no attempts", "", "[trial]\nattempts = 0",
     ":2: [trial] attempts is \"0\": expected a number from 1 to 9"},
    {"many attempts", "", "[trial]\nattempts = 10",
     ":2: [trial] attempts is \"10\": expected a number from 1 to 9"},
    {"empty health command", "", "[trial]\nhealth_command =",
     ":2: [trial] health_command is \"\": expected a command for the shell"},
    {"no time for health", "", "[trial]\nhealth_limit = 0",
     ":2: [trial] health_limit is \"0\": expected a number of seconds from 1 to 3600"},
    {"too much time for health", "", "[trial]\nhealth_limit = 3601",
     ":2: [trial] health_limit is \"3601\": expected a number of seconds from 1 to 3600"},
    {"negative refusal", "", "[trial]\nrefuse_after = -1",
     ":2: [trial] refuse_after is \"-1\": expected a number from 0 to 9"},
    {"late refusal", "", "[trial]\nrefuse_after = 10",
     ":2: [trial] refuse_after is \"10\": expected a number from 0 to 9"},
    {"signature", "signature", "signature = yes",
     ":19: [images] signature is \"yes\": expected required or optional"},
    {"signature by default without authority", "signature", "",
     ": [images] signer_ca is missing: expected the file of the authority whose signers this node "
     "trusts, or signature = optional to take unsigned images"},
    {"required signature without authority", "signature", "signature = required",
     ": [images] signer_ca is missing: expected the file of the authority"},
    {"no authority", "signature", "signature = required\nsigner_ca = /nonexistent.pem",
     ":20: [images] signer_ca names a file that cannot be read, /nonexistent.pem: No such file or "
     "directory; put it there or name another"},
    {"state", "", "[service]\nstate = /opt/",
     ":2: [service] state is \"/opt/\": expected a directory without \"/\" at the end"},
    {"plain http", "", "[service]\nallow_plain_http = 1",
     ":2: [service] allow_plain_http is \"1\": expected yes or no"},
    {"floor", "", "[service]\nlowest_version = 4QZ$(x)",
     ":2: [service] lowest_version is \"4QZ$(x)\": expected a version of the characters"},
    {"long floor", "", "[service]\nlowest_version = 4QZ1234567890123456789012345678",
     ":2: [service] lowest_version is \"4QZ1234567890123456789012345678\", 31 characters: expected "
     "at most 30"},
    {"history size", "", "[service]\nhistory_size = -1",
     ":2: [service] history_size is \"-1\": expected a number of bytes above 0"},
    {"no history files", "", "[service]\nhistory_files = 0",
     ":2: [service] history_files is \"0\": expected a number from 1 to 20"},
    {"many history files", "", "[service]\nhistory_files = 21",
     ":2: [service] history_files is \"21\": expected a number from 1 to 20"},
    {"port 0", "", "[root]\nca_certificate = node.conf\nbroker = h:0",
     ":3: [root] broker is \"h:0\": expected a host name or IPv4 address"},
    {"port 65536", "", "[root]\nca_certificate = node.conf\nbroker = h:65536",
     ":3: [root] broker is \"h:65536\": expected a host name"},
    {"no host", "", "[root]\nca_certificate = node.conf\nbroker = :1883",
     ":3: [root] broker is \":1883\": expected a host name"},
    {"shell in host", "", "[root]\nca_certificate = node.conf\nbroker = $(h)",
     ":3: [root] broker is \"$(h)\": expected a host name"},
    {"wildcard in topic", "", "[root]\nca_certificate = node.conf\nbroker = h\ntopic = a/#",
     ":4: [root] topic is \"a/#\": expected names of the characters"},
    {"empty level in topic", "", "[root]\nca_certificate = node.conf\nbroker = h\ntopic = a//b",
     ":4: [root] topic is \"a//b\": expected names of the characters"},
    {"broker alone", "", "[root]\nbroker = h", ":2: [root] broker needs ca_certificate: expected"},
    {"topic alone", "", "[root]\ntopic = t", ":2: [root] topic has no broker to go with"},
    {"key alone", "", "[root]\nca_certificate = node.conf\nbroker = h\nkey = node.conf",
     ":4: [root] key stands alone: expected certificate and key together, or neither"},
    {"certificate alone", "", "[root]\nca_certificate = node.conf\nbroker = h\ncertificate = x",
     ":4: [root] certificate stands alone: expected certificate and key together, or neither"},
    {"no root certificate", "", "[root]\nbroker = h\nca_certificate = /nonexistent.pem",
     ":3: [root] ca_certificate names a file that cannot be read, /nonexistent.pem: No such file or "
     "directory; put it there or name another"},
};

TEST_F(Configuration, NamesFileLineAndExpectationOfEveryMistake) {
    for (const Mistake &mistake : kMistakes) {
        const bool isAdded = *mistake.key == '\0'; // in front, for a line number of its own
        const std::string complaint =
            complaintAbout(isAdded ? std::string(mistake.line) + "\n" + configWith("", "")
                                   : configWith(mistake.key, mistake.line));
        EXPECT_EQ(complaint.find(configPath_), 0U) << mistake.title << ": " << complaint;
        EXPECT_NE(complaint.find(mistake.complaint), std::string::npos)
            << mistake.title << ": " << complaint;
    }
}

TEST_F(Configuration, RefusesOneBankUnderTwoNames) {
    std::filesystem::create_symlink(in("bank_a"), in("alias"));
    EXPECT_NE(complaintAbout(configWith("b", "b = " + in("alias"))).find("is bank a under another"),
              std::string::npos);
}

TEST_F(Configuration, TellsOfAFileThatIsMissingOrTooLargeOrHasAnEndlessLine) {
    std::string whatIsWrong;
    EXPECT_FALSE(succeeds(nalOpen(in("none.conf").c_str()), whatIsWrong));
    EXPECT_EQ(whatIsWrong.find(in("none.conf") + ": cannot be opened: No such file"), 0U)
        << whatIsWrong;
    EXPECT_NE(complaintAbout(std::string(70000, '#')).find("is larger than 65536 bytes"),
              std::string::npos);
    EXPECT_NE(complaintAbout("[node]\n# " + std::string(3000, 'x') + "\n")
                  .find(":2: the line is "
                        "too long"),
              std::string::npos);
}

TEST_F(Configuration, TellsOfABootStateThatCannotBeRead) {
    std::filesystem::remove(statePath_);
    EXPECT_EQ(
        complaintAbout(configWith("", "")).find(statePath_ + ": the boot state cannot be read"),
        0U);
}

TEST_F(Configuration, ShowsEveryMistakeAtOnce) {
    std::string text = configWith("onboarding", "onboarding = 2");
    text += "words\nmore words\n[banks]\nsize = 1M\ncolour = red\n[service]\nhistory_files = x\n";
    text.replace(text.find("logs = logs"), 11, "logs = none");
    text.replace(text.find("serial = SN42"), 13, "");
    writeText(configPath_, text);
    const std::vector<std::string> expected{
        ":20: expected \"[section]\", \"key = value\" or a comment that begins with \"#\"",
        ":21: expected \"[section]\", \"key = value\" or a comment that begins with \"#\"",
        ":23: [banks] size is given a second time; remove one",
        ": [node] serial is missing: expected a text",
        ":6: [node] onboarding is \"2\": expected 0 or 1",
        ":26: [service] history_files is \"x\": expected a number from 1 to 20",
        ":11: [paths] logs names no directory: there is none at none; make it or name another",
    };
    std::vector<std::string> warnings;
    const std::vector<std::string> mistakes = node::configMistakes(configPath_, &warnings);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0], configPath_ + ":24: [banks] colour is not known and has no effect");
    ASSERT_EQ(mistakes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(mistakes[i], configPath_ + expected[i]);
    }
    node::Config config;
    std::string whatIsWrong;
    EXPECT_FALSE(took(node::checkConfigFile(configPath_), config, whatIsWrong));
    EXPECT_EQ(whatIsWrong, mistakes.front());
    EXPECT_EQ(config.model, "") << "a configuration with mistakes is not taken over";
}

TEST_F(Configuration, ReadsOverKeysThatItDoesNotKnowAndNamesTheNearest) {
    writeText(configPath_, configWith("serial", "serial = SN42\nSerail = x\nzzzzzzzz = 1") +
                               "[service]\nlowestversion = 4QZ9\n[later]\nthing = 1\n"
                               "[node]\nhistory_size = 1K\n");
    node::Config config;
    std::string whatIsWrong;
    EXPECT_TRUE(took(node::checkConfigFile(configPath_), config, whatIsWrong)) << whatIsWrong;
    EXPECT_EQ(config.serial, "SN42");
    EXPECT_EQ(config.lowestVersion, "");
    std::vector<std::string> warnings;
    EXPECT_TRUE(node::configMistakes(configPath_, &warnings).empty());
    const std::vector<std::string> expected{
        ":4: [node] Serail is not known and has no effect; did you mean [node] serial?",
        ":5: [node] zzzzzzzz is not known and has no effect",
        ":23: [service] lowestversion is not known and has no effect; did you mean [service] "
        "lowest_version?",
        ":25: [later] thing is not known and has no effect",
        ":27: [node] history_size is not known and has no effect; did you mean [service] "
        "history_size?",
    };
    ASSERT_EQ(warnings.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(warnings[i], configPath_ + expected[i]);
    }
}

TEST_F(Configuration, NamesTwentyKeysThatItDoesNotKnowAndCountsTheOthers) {
    const auto warningsOf = [this](int keys) {
        std::string text = configWith("serial", "serial = SN42") + "[later]\n";
        for (int i = 0; i < keys; ++i) {
            text += "thing" + std::to_string(i) + " = 1\n";
        }
        writeText(configPath_, text);
        std::vector<std::string> warnings;
        EXPECT_TRUE(node::configMistakes(configPath_, &warnings).empty());
        return warnings;
    };
    EXPECT_EQ(warningsOf(20).size(), 20U);
    const std::vector<std::string> warnings = warningsOf(3000);
    ASSERT_EQ(warnings.size(), 21U);
    EXPECT_NE(warnings[19].find("[later] thing19 is not known"), std::string::npos) << warnings[19];
    EXPECT_EQ(warnings[20],
              configPath_ + ": and 2980 more, which are not known and have no effect");
}

TEST_F(Configuration, IsCheckedWithoutALock) {
    open();
    node::Config config;
    std::string whatIsWrong;
    EXPECT_TRUE(took(node::checkConfigFile(configPath_), config, whatIsWrong)) << whatIsWrong;
    EXPECT_EQ(config.model, "GW-1000");
    EXPECT_TRUE(node::configMistakes(configPath_).empty());
    const std::vector<std::string> missing = node::configMistakes(in("none.conf"));
    ASSERT_EQ(missing.size(), 1U);
    EXPECT_EQ(missing[0], in("none.conf") + ": cannot be opened: No such file or directory; give a "
                                            "configuration made after node.conf.example");
}

} // namespace
