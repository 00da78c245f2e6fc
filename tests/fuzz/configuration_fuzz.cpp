// SPDX-License-Identifier: MIT
// What must hold for every configuration file: what is taken over cannot surprise a shell or a
// path.
#include "node/boot_state.h"
#include "node/config/config.h"
#include "tests/fuzz/promise.h"
#include "tests/support/results.h"

using fuzz::promise;

namespace {

constexpr std::string_view kPathCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789./_+-";

void checkDirectory(const std::string &path, std::size_t most, std::string_view input) {
    promise(!path.empty() && path.size() <= most && fuzz::consistsOf(path, kPathCharacters),
            "a directory is short and safe in a shell", input);
    promise(path == "/" || path.back() != '/', "a directory ends without a slash", input);
}

void checkNames(const node::Config &config, std::string_view input) {
    for (const std::string *name :
         {&config.model, &config.serial, &config.workMode, &config.workRole}) {
        promise(!name->empty() && name->size() <= 31, "a name fits where the agent reads it",
                input);
    }
    promise(config.preferredActivationTime.size() <= 8 &&
                fuzz::consistsOf(config.preferredActivationTime, "0123456789:"),
            "a preferred time is a time of day", input);
    promise(config.lowestVersion.size() <= 63 &&
                fuzz::consistsOf(config.lowestVersion, fuzz::kVersionCharacters),
            "a lowest version is one", input);
}

void checkTrust(const node::Config &config, std::string_view input) {
    promise(!config.signatureRequired || !config.signerAuthority.empty(),
            "what must be signed is signed by somebody", input);
    promise(config.bootState.file.empty() != config.bootState.fwEnvConfig.empty(),
            "there is one boot state", input);
    promise(!config.bankPath(node::Bank::a).empty() &&
                config.bankPath(node::Bank::a) != config.bankPath(node::Bank::b),
            "there are two banks", input);
    promise(config.rootHost.empty() || !config.rootCaCertificate.empty(),
            "a broker is checked by somebody", input);
    promise(config.rootCertificate.empty() == config.rootKey.empty(),
            "a certificate comes with its key", input);
}

void checkNumbers(const node::Config &config, std::string_view input) {
    const auto within = [&](int number, int least, int most) {
        promise(number >= least && number <= most, "a number is within its bounds", input);
    };
    within(config.onboarding, 0, 1);
    within(config.trialAttempts, 1, 9);
    within(config.healthLimitSeconds, 1, 3600);
    within(config.refuseAfterTrials, 0, 9);
    within(config.historyFiles, 1, 20);
    within(config.rootPort, 1, 65535);
    promise(config.historySize > 0, "a history has room", input);
}

void tryConfiguration(const std::string &text) {
    node::Config config;
    std::string whatIsWrong;
    if (!took(node::parseConfig("node.conf", text), config, whatIsWrong)) {
        promise(config.model.empty() && config.stateDirectory.empty(),
                "a refused configuration is not taken over", text);
        promise(whatIsWrong.starts_with("node.conf:") &&
                    whatIsWrong.find('\n') == std::string::npos,
                "what is wrong is one line with its place", text);
        return;
    }
    checkDirectory(config.tmpDirectory, 6, text);
    checkDirectory(config.configsDirectory, 13, text);
    checkDirectory(config.logsDirectory, 14, text);
    promise(config.caCertificate.size() <= 30, "the agent keeps all of the CA's path", text);
    promise(!config.stateDirectory.empty(), "there is a state directory", text);
    checkNames(config, text);
    checkTrust(config, text);
    checkNumbers(config, text);
}

// The text behind what every node needs, so that the optional keys are reached.
constexpr const char *kNeeded =
    "[node]\nmodel = GW-1000\nserial = SN42\nwork_mode = RGW\nwork_role = Controller\n"
    "onboarding = 0\npreferred_activation_time = 02:30\n[paths]\ntmp = /run/o\n"
    "configs = /var/lib/ota\nlogs = /var/log/ota\nca_certificate = /etc/otaSwAgent/ca.pem\n"
    "[banks]\na = /dev/a\nb = /dev/b\nboot_state = /var/boot_state\nsize = 1M\n[images]\n"
    "signer_ca = /etc/otaSwAgent/signer.pem\n";

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    tryConfiguration(text);
    tryConfiguration(kNeeded + text);
    return 0;
}
