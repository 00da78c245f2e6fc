// SPDX-License-Identifier: MIT
// The reference platform's table: its calls behind C, where no exception may pass.
#include "platform/service.h"

#include "base/bank_note.h"
#include "base/text.h"
#include "node/bank_facts.h"
#include "node/config_check.h"
#include "platform/hooks.h"
#include "platform/node.h"
#include "platform/open.h"
#include "platform/take_back.h"
#include "platform/trial.h"

namespace {

constexpr int kNotDone = -1;

const OtaPlatformHooks *hooks = nullptr;

int answer(const base::Result<void> &done, OtaFault *why, int failed = kNotDone) {
    if (done) {
        return 0;
    }
    const base::Error &error = done.error();
    if (error.reason != base::Reason::none) {
        base::copyText(base::rowOf(error.reason).name, why->reason, sizeof why->reason);
    }
    base::copyText(error.text, why->text, sizeof why->text);
    return failed;
}

// A start that found a mistake in the configuration finds it again.
int openNode(const char *configPath, OtaFault *why) {
    if (const auto config = node::checkConfigFile(configPath, node::ConfigReader::platform);
        !config) {
        return answer(config.error(), why, OTA_CONFIG_WRONG);
    }
    return answer(nalOpen(configPath), why);
}

void follow(const OtaPlatformHooks *given) {
    hooks = given;
    nalOnEmptied(hooks->banksChanged);
    nalOnReason([](const base::Error &error) {
        OtaFault fault{};
        answer(error, &fault);
        hooks->failed(&fault);
    });
    nalAskOffered(hooks->offeredVersion);
}

int bankFacts(OtaBankFacts *facts, OtaFault *why) {
    const auto state = platform::node().readBootState();
    if (!state) {
        return answer(state.error(), why);
    }
    *facts = node::factsOf(*state);
    return 0;
}

int beginTrial(OtaFault *what) {
    std::string text;
    const NalTrial trial = nalBeginTrial(text);
    base::copyText(text, what->text, sizeof what->text);
    return trial == NalTrial::running  ? OTA_TRIAL_RUNNING
           : trial == NalTrial::failed ? OTA_TRIAL_FAILED
                                       : OTA_TRIAL_NONE;
}

void checkConfig(const char *configPath, OtaTellConfig tell, void *context) {
    const base::ConfigFindings findings = node::platformFindings(configPath);
    for (const std::string &mistake : findings.mistakes) {
        tell(context, OTA_CONFIG_MISTAKE, mistake.c_str());
    }
    for (const std::string &obstacle : findings.obstacles) {
        tell(context, OTA_CONFIG_OBSTACLE, obstacle.c_str());
    }
}

constexpr OtaPlatformService kTable{
    .size = sizeof(OtaPlatformService),
    .open = openNode,
    .follow = follow,
    .bankFacts = bankFacts,
    .bankCapacity = nalBankCapacity,
    .beginTrial = beginTrial,
    .checkHealth = [](OtaFault *why) { return answer(nalCheckHealth(), why); },
    .healthLimit = [] { return platform::node().config().healthLimitSeconds; },
    .failTrial = [](OtaFault *why) { return answer(nalFailTrial(), why); },
    .mayReboot = [](OtaFault *why) { return answer(nalMayReboot(), why); },
    .passTrial = [](OtaFault *why) { return answer(nalPrepareCommit(), why); },
    .commit = [](OtaFault *why) { return answer(nalCommit(), why); },
    .forget = [](const char *version, OtaFault *why) { return answer(nalForget(version), why); },
    .takeBack = [](OtaFault *why) { return answer(nalTakeBack(), why); },
    .giveUpPassive = [](OtaFault *why) { return answer(nalGiveUpPassive(), why); },
    .checkConfig = checkConfig,
};

} // namespace

const OtaPlatformService *otaPlatformService(void) { return &kTable; }
