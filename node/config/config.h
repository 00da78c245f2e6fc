// SPDX-License-Identifier: MIT
// The node's configuration file, checked: one INI file for every process of the node.
#ifndef NODE_CONFIG_CONFIG_H
#define NODE_CONFIG_CONFIG_H

#include "base/result.h"
#include "node/config/boot_place.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace node {

enum class Bank;

struct Config {
    // [node]
    std::string model;
    std::string serial;
    std::string workMode;
    std::string workRole;
    int onboarding = 0;
    std::string preferredActivationTime;

    // [paths]
    std::string tmpDirectory;
    std::string configsDirectory;
    std::string logsDirectory;
    std::string caCertificate;

    // [banks]
    std::array<std::string, 2> bankPaths;
    std::uint64_t bankSize = 0; // 0: not given
    BootPlace bootState;

    // [trial]
    int trialAttempts = 3;
    std::string healthCommand;   // for the shell; empty: none, every boot is a healthy one
    int healthLimitSeconds = 60; // until the command counts as failed
    int refuseAfterTrials = 1;   // failed trials of one version; 0: never refused

    // [images]
    bool signatureRequired = true;
    std::string signerAuthority; // certificate file; empty: no signature can be checked

    // [service]
    std::string stateDirectory; // never empty; need not exist
    std::string platform;       // library; empty: the reference platform
    bool allowPlainHttp = false;
    std::string lowestVersion; // empty: none
    std::uint64_t historySize = 256 * 1024;
    int historyFiles = 4;

    // [root]
    std::string rootHost; // empty: the node has no root
    int rootPort = 8883;
    std::string rootCaCertificate;
    std::string rootCertificate; // empty together with rootKey
    std::string rootKey;
    std::string rootTopic = "otaSwAgent";

    /* A file that tells two processes of one node from each other. */
    std::string lockPath() const;

    const std::string &bankPath(Bank bank) const {
        return bankPaths.at(static_cast<std::size_t>(bank));
    }
    /* The settings that were changed at run time (settings_overlay.h). */
    std::string overlayPath() const { return stateDirectory + "/settings.ini"; }
};

/* The bytes of the file. */
base::Result<std::string> readConfigText(const std::string &path);

/*
 * The configuration of the text; nothing that it names is looked at. An error names the file, the
 * line where there is one, and what was expected.
 */
base::Result<Config> parseConfig(const std::string &path, const std::string &text);

} // namespace node

#endif
