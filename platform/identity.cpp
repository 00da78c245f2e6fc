// SPDX-License-Identifier: MIT
// Who the node is, what it runs, which part it plays in the network, and where its directories are.
#include "platform/nal.h"
#include "platform/node.h"

#include <cstring>
#include <string>

namespace {

constexpr int kFailed = -1;

// The configuration and the manifest keep every text under the width that its reader has.
void copyText(void *destination, const std::string &text) {
    std::memcpy(destination, text.c_str(), text.size() + 1);
}

} // namespace

int nal_getNodeInfo(void *record) {
    const node::Config &config = platform::node().config();
    char *const bytes = static_cast<char *>(record);
    copyText(bytes + NAL_NODE_INFO_SERIAL_OFFSET, config.serial);
    copyText(bytes + NAL_NODE_INFO_MODEL_OFFSET, config.model);
    return 0;
}

int nal_getCurSwVersion(char *version) {
    node::BootState state;
    if (!platform::node().bootState(state, __func__, __LINE__)) {
        return kFailed;
    }
    const std::string &running = state.of(state.active).version;
    if (running.empty() || running.size() >= NAL_VERSION_WIDTH) {
        nalLogError(__func__, __LINE__,
                    "nal: %s: the running bank %s has no usable version; write the boot state anew",
                    platform::node().config().bootState.name().c_str(),
                    node::bankName(state.active));
        return kFailed;
    }
    copyText(version, running);
    return 0;
}

int nal_getPrevSwVersion(char *version) {
    node::BootState state;
    if (!platform::node().bootState(state, __func__, __LINE__)) {
        return kFailed;
    }
    const node::BankRecord &passive = state.of(node::otherBank(state.active));
    if (!passive.whole) {
        return NAL_NO_PREVIOUS_IMAGE;
    }
    if (passive.version.size() >= NAL_VERSION_WIDTH) {
        return kFailed;
    }
    copyText(version, passive.version);
    return 0;
}

int nal_getWorkMode(char *mode) {
    copyText(mode, platform::node().freshConfig().workMode);
    return 0;
}

int nal_getWorkRole(char *role) {
    copyText(role, platform::node().freshConfig().workRole);
    return 0;
}

int nal_getRootOnBoardingStatus(int *status) {
    *status = platform::node().freshConfig().onboarding;
    return 0;
}

int nal_getSwAutoUpgradeInfo(void *record) {
    copyText(static_cast<char *>(record) + NAL_UPGRADE_INFO_TIME_OFFSET,
             platform::node().freshConfig().preferredActivationTime);
    return 0;
}

const char *nal_getTmpDirectory(void) { return platform::node().config().tmpDirectory.c_str(); }

const char *nal_getConfigsDirectory(void) {
    return platform::node().config().configsDirectory.c_str();
}

const char *nal_getLogsDirectory(void) { return platform::node().config().logsDirectory.c_str(); }

const char *nal_getHIECertifcatePath(void) {
    return platform::node().config().caCertificate.c_str();
}
