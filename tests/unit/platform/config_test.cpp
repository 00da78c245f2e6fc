// SPDX-License-Identifier: MIT
// Every mistake in the configuration names the file, the line and what was expected.
#include "fixture.h"
#include "platform/nal/config.h"
#include "platform/nal/open.h"

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
        EXPECT_FALSE(nalOpen(configPath_.c_str(), whatIsWrong)) << text;
        EXPECT_EQ(whatIsWrong.find('\n'), std::string::npos);
        return whatIsWrong;
    }
};

const Mistake kMistakes[] = {
    {"empty model", "model", "model =", ":2: [node] model is \"\": expected 1 to 31 characters"},
    {"long serial", "serial", "serial = 0123456789012345678901234567890X",
     ":3: [node] serial is \"0123456789012345678901234567890X\": expected 1 to 31 characters"},
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
    {"long tmp", "tmp", "tmp = /var/tmp/x",
     ":9: [paths] tmp is \"/var/tmp/x\": expected a directory without \"/\" at the end, of at most "
     "9 characters"},
    {"long configs", "configs", "configs = /opt/configs/1",
     ":10: [paths] configs is \"/opt/configs/1\": expected a directory without \"/\" at the end, of "
     "at most 13 characters"},
    {"long logs", "logs", "logs = /opt/some/logs1",
     ":11: [paths] logs is \"/opt/some/logs1\": expected a directory without \"/\" at the end, of at "
     "most 14 characters"},
    {"long certificate", "ca_certificate", "ca_certificate = /opt/certificates/authority.pem",
     ":12: [paths] ca_certificate is \"/opt/certificates/authority.pem\": expected a file, its path "
     "of at most 30 characters"},
    {"zero size", "size", "size = 0", ":16: [banks] size is \"0\": expected a number of bytes"},
    {"size suffix", "size", "size = 5X", ":16: [banks] size is \"5X\": expected a number of bytes"},
    {"huge size", "size", "size = 99999999999G", ":16: [banks] size is \"99999999999G\""},
    {"no key", "serial", "just words", ":3: expected \"[section]\", \"key = value\" or a comment"},
    {"unknown key", "serial", "colour = red", ":3: [node] colour is not known"},
    {"second time", "serial", "model = other", ":3: [node] model is given a second time"},
    {"missing key", "serial", "", ": [node] serial is missing: expected 1 to 31 characters"},
    {"missing size", "size", "", ": [banks] size is missing: expected a size"},
    {"no directory", "logs", "logs = /nonexistent", ": [paths] logs: there is no directory"},
    {"no bank", "b", "b = /nonexistent/b", ": [banks] b: the bank /nonexistent/b cannot be opened"},
    {"other size", "size", "size = 2M", " has 1048576 bytes: expected the 2097152 of [banks] size"},
};

TEST_F(Configuration, NamesFileLineAndExpectationOfEveryMistake) {
    for (const Mistake &mistake : kMistakes) {
        const std::string complaint = complaintAbout(configWith(mistake.key, mistake.line));
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
    EXPECT_FALSE(nalOpen(in("none.conf").c_str(), whatIsWrong));
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
    EXPECT_EQ(complaintAbout(configWith("", "")).find(statePath_ + ": cannot be opened"), 0U);
}

TEST_F(Configuration, TakesPathsOfTheGreatestLengths) {
    const std::pair<const char *, std::size_t> limits[] = {
        {"tmp", 9}, {"configs", 13}, {"logs", 14}, {"ca_certificate", 30}};
    for (const auto &[key, limit] : limits) {
        const std::string line = std::string(key) + " = " + std::string(limit, 'd');
        nal::Config config;
        std::string whatIsWrong;
        EXPECT_TRUE(nal::parseConfig("c", configWith(key, line), config, whatIsWrong))
            << whatIsWrong;
    }
}

TEST_F(Configuration, ReadsSizesWithTheirSuffixes) {
    const std::pair<const char *, std::uint64_t> sizes[] = {
        {"1048576", 1048576}, {"1024K", 1048576}, {"7M", 7340032}, {"5G", 5368709120}};
    for (const auto &[text, bytes] : sizes) {
        nal::Config config;
        std::string whatIsWrong;
        ASSERT_TRUE(nal::parseConfig("c", configWith("size", std::string("size = ") + text), config,
                                     whatIsWrong))
            << whatIsWrong;
        EXPECT_EQ(config.bankSize, bytes) << text;
    }
}

TEST_F(Configuration, ExampleIsWithoutMistakesAndNamesEveryKey) {
    nal::Config config;
    std::string whatIsWrong;
    ASSERT_TRUE(nal::parseConfig("example", readText(NODE_CONF_EXAMPLE), config, whatIsWrong))
        << whatIsWrong;
    EXPECT_EQ(config.model, "GW-1000");
    EXPECT_EQ(config.bankSize, 268435456U);
}

} // namespace
