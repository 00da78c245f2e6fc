// SPDX-License-Identifier: MIT
// What each key of the configuration takes, and what holds where it is not given.
#include "fixture.h"
#include "node/config/config_rows.h"

namespace {

class ConfigurationRows : public OnANode {
  protected:
    static node::Config taken(const std::string &text) {
        const auto config = node::parseConfig("c", text);
        EXPECT_TRUE(config) << (config ? "" : config.error().text);
        return config ? *config : node::Config();
    }
};

TEST_F(ConfigurationRows, TakesPathsOfTheGreatestLengths) {
    const std::pair<const char *, std::size_t> limits[] = {
        {"tmp", 6}, {"configs", 13}, {"logs", 14}, {"ca_certificate", 30}};
    for (const auto &[key, limit] : limits) {
        const std::string line = std::string(key) + " = " + std::string(limit, 'd');
        taken(configWith(key, line));
    }
}

TEST_F(ConfigurationRows, TakesAHealthCommandAsLongAsALineMayBe) {
    constexpr std::size_t kLongestLine = 199;
    const auto withLine = [&](std::size_t length) {
        std::string line = "health_command = ";
        line.resize(length, 'h');
        return "[trial]\n" + line + "\n" + configWith("", "");
    };
    const node::Config config = taken(withLine(kLongestLine));
    EXPECT_EQ(config.healthCommand.size(), 182U);
    EXPECT_NE(node::parseConfig("c", withLine(kLongestLine + 1))
                  .error()
                  .text.find(":2: the line is too long"),
              std::string::npos);
}

TEST_F(ConfigurationRows, ReadsSizesWithTheirSuffixes) {
    const std::pair<const char *, std::uint64_t> sizes[] = {
        {"1048576", 1048576}, {"1024K", 1048576}, {"7M", 7340032}, {"5G", 5368709120}};
    for (const auto &[text, bytes] : sizes) {
        const node::Config config = taken(configWith("size", std::string("size = ") + text));
        EXPECT_EQ(config.bankSize, bytes) << text;
    }
}

TEST_F(ConfigurationRows, WithoutTheOptionalSectionsHasTheirDefaults) {
    node::Config config = taken(configWith("", ""));
    EXPECT_EQ(config.stateDirectory, "configs/otad");
    EXPECT_EQ(config.overlayPath(), "configs/otad/settings.ini");
    EXPECT_FALSE(config.allowPlainHttp);
    EXPECT_EQ(config.lowestVersion, "");
    EXPECT_EQ(config.historySize, 262144U);
    EXPECT_EQ(config.historyFiles, 4);
    EXPECT_EQ(config.rootHost, "");
    EXPECT_EQ(config.bootState.fwEnvConfig, "");
    EXPECT_EQ(config.bootState.kernelCommandLine, "");
    EXPECT_EQ(config.lockPath(), in("boot_state.lock"));
    EXPECT_EQ(config.trialAttempts, 3);
    EXPECT_EQ(config.healthCommand, "");
    EXPECT_EQ(config.healthLimitSeconds, 60);
    EXPECT_EQ(config.refuseAfterTrials, 1);
    config = taken(configWith("signature", "signer_ca = ca"));
    EXPECT_TRUE(config.signatureRequired);
    EXPECT_EQ(config.signerAuthority, "ca");
}

TEST_F(ConfigurationRows, TakesEveryKeyOfTheBootStateTheTrialAndTheImages) {
    const std::string text =
        configWith("boot_state", "fw_env_config = fw\nkernel_command_line = k") +
        "signer_ca = ca\n[trial]\nattempts = 9\nhealth_command = test -S \"$d\" && true\n"
        "health_limit = 3600\nrefuse_after = 0\n";
    const node::Config config = taken(text);
    EXPECT_EQ(config.bootState.file, "");
    EXPECT_EQ(config.bootState.fwEnvConfig, "fw");
    EXPECT_EQ(config.bootState.kernelCommandLine, "k");
    EXPECT_EQ(config.lockPath(), "configs/boot_state.lock");
    EXPECT_EQ(config.trialAttempts, 9);
    EXPECT_EQ(config.healthCommand, "test -S \"$d\" && true");
    EXPECT_EQ(config.healthLimitSeconds, 3600);
    EXPECT_EQ(config.refuseAfterTrials, 0);
    EXPECT_FALSE(config.signatureRequired);
    EXPECT_EQ(config.signerAuthority, "ca");
}

TEST_F(ConfigurationRows, TakesEveryKeyOfTheServiceAndTheRoot) {
    const std::string text =
        configWith("", "") +
        "[service]\nstate = /s\nallow_plain_http = yes\nlowest_version = 4QZ-1\nhistory_size = 1M\n"
        "history_files = 20\n[root]\nbroker = 10.0.0.1:1883\nca_certificate = ca\n"
        "certificate = c\nkey = k\ntopic = a/b.c\n";
    node::Config config = taken(text);
    EXPECT_EQ(config.stateDirectory, "/s");
    EXPECT_TRUE(config.allowPlainHttp);
    EXPECT_EQ(config.lowestVersion, "4QZ-1");
    EXPECT_EQ(config.historySize, 1048576U);
    EXPECT_EQ(config.historyFiles, 20);
    EXPECT_EQ(config.rootHost, "10.0.0.1");
    EXPECT_EQ(config.rootPort, 1883);
    EXPECT_EQ(config.rootCaCertificate, "ca");
    EXPECT_EQ(config.rootCertificate, "c");
    EXPECT_EQ(config.rootKey, "k");
    EXPECT_EQ(config.rootTopic, "a/b.c");
    config = taken(configWith("", "") + "[root]\nbroker = gateway.mesh\nca_certificate = ca\n");
    EXPECT_EQ(config.rootHost, "gateway.mesh");
    EXPECT_EQ(config.rootPort, 8883);
    EXPECT_EQ(config.rootTopic, "otaSwAgent");
}

TEST_F(ConfigurationRows, ExampleIsWithoutMistakesAndNamesEveryKey) {
    const std::string text = readText(NODE_CONF_EXAMPLE);
    const node::Config config = taken(text);
    EXPECT_EQ(config.model, "GW-1000");
    EXPECT_EQ(config.bankSize, 268435456U);
    EXPECT_EQ(config.rootPort, 8883);
    for (const node::ConfigRow &row : node::configRows()) {
        // One that excludes another, or needs a boot loader that tells, stands in a comment.
        const std::string line = std::string(row.key) + " = ";
        EXPECT_TRUE(text.find("\n" + line) != std::string::npos ||
                    text.find("\n# " + line) != std::string::npos)
            << row.key;
    }
}

} // namespace
