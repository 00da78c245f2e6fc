// SPDX-License-Identifier: MIT
// A host that starts while bank b runs on trial.
#ifndef TESTS_HOST_TRIAL_FIXTURE_H
#define TESTS_HOST_TRIAL_FIXTURE_H

#include "host_process.h"

#include "node/boot_state.h"
#include "node/digest.h"
#include "tests/support/results.h"

#include <fstream>
#include <iterator>

using node::Bank;
using Messages = std::vector<std::string>;

inline constexpr const char *kOld = "4QZ-1.0";
inline constexpr const char *kNew = "4QZ-2.0";
inline const std::string kNode = R"({"note":"node","mac":"02:00:00:AB:CD:EF"})";
inline const std::string kTimer = R"({"call":"startTimer","seconds":-7,"name":"rebootTimer"})";
inline const std::string kDone = R"({"done":"start-up","deferred":0})";

inline std::string stage(const std::string &name) {
    return R"({"note":"stage","stage":")" + name + "\"}";
}

inline std::string ofBankB(const std::string &note, const std::string &more = "") {
    return R"({"note":")" + note + R"(","bank":"b","version":"4QZ-2.0")" + more + "}";
}

// Its reboots are asked for with a file; bank b runs on trial.
class Trial : public HostProcess {
  protected:
    Trial() {
        program_ = OTA_DESK_HOST;
        environment_ = {{"OTA_DESK_REBOOT_FILE", in("reboot")},
                        {"OTA_DESK_MAC", "02:00:00:AB:CD:EF"}};
        node::BootState state;
        const std::string sum = node::sha256Of(std::string(kBank, '\0'));
        state.of(Bank::a) = {true, kOld, kBank, sum};
        state.of(Bank::b) = {true, kNew, kBank, sum};
        state.active = state.next = Bank::b;
        state.trial = Bank::b;
        state.attemptsOf(Bank::b) = 2;
        keep(state);
    }

    void keep(const node::BootState &state) const {
        std::string whatIsWrong;
        ASSERT_TRUE(succeeds(node::writeBootState(in("boot_state"), state), whatIsWrong))
            << whatIsWrong;
    }

    node::BootState bootState() const {
        node::BootState state;
        std::string whatIsWrong;
        EXPECT_TRUE(took(node::readBootState(in("boot_state")), state, whatIsWrong)) << whatIsWrong;
        return state;
    }

    void checkHealthWith(const std::string &command) const {
        std::ofstream(configPath_, std::ios::app) << "[trial]\nhealth_command=" << command << "\n";
    }

    std::string textOf(const std::string &name) const {
        std::ifstream file(in(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void expectBegin() {
        expect({signalOf("initOTAlib", R"(".")"), kNode, stage("committing"),
                ofBankB("trial", R"(,"attempts":2)")});
    }

    void expectAgentsStart() {
        expect({kTimer, signalOf("main", "\"0\""), signalOf("commit", "null")});
    }

    void expectAgentsStartWithoutCommit() { expect({kTimer, signalOf("main", "\"0\"")}); }

    static constexpr std::size_t kBank = 1024;
};

#endif
