// SPDX-License-Identifier: MIT
// A node of which one bank is on trial, or has failed its trial.
#ifndef TESTS_SERVICE_JOBS_TRIAL_FIXTURE_H
#define TESTS_SERVICE_JOBS_TRIAL_FIXTURE_H

#include "tests/support/results.h"
#include "tests/unit/service/daemon_fixture.h"

#include <memory>
#include <string>

namespace service::test {

inline constexpr const char *kTrialNote =
    R"({"note":"trial","bank":"b","version":"4QZ-2.0.0","attempts":2})";
inline constexpr const char *kFailedNote =
    R"({"note":"trial-failed","bank":"b","version":"4QZ-2.0.0","reason":"the health command ended with 3"})";
inline constexpr const char *kCommittedNote =
    R"({"note":"committed","bank":"b","version":"4QZ-2.0.0"})";

// The old version is in bank a, the new one in bank b.
class OnTrial : public DaemonTest {
  protected:
    OnTrial() {
        config_.healthCommand = "true";
        config_.healthLimitSeconds = 7;
    }

    node::BootState stateOf(node::Bank active, bool trial) const {
        node::BootState state;
        state.active = active;
        state.next = trial ? node::Bank::b : active;
        const std::string sum(64, 'a');
        state.of(node::Bank::a) = {.whole = true, .version = kOld, .size = 1, .sha256 = sum};
        state.of(node::Bank::b) = {.whole = true, .version = kNew, .size = 1, .sha256 = sum};
        if (trial) {
            state.trial = node::Bank::b;
            state.attemptsOf(node::Bank::b) = 2;
        }
        return state;
    }

    node::BootState failedState(node::TrialFailure failure, const char *version = kNew) const {
        node::BootState state = stateOf(node::Bank::a, false);
        node::rememberFailure(state, version, failure);
        return state;
    }

    void put(const node::BootState &state, const std::string &file = "boot-state") const {
        std::string whatIsWrong;
        ASSERT_TRUE(succeeds(node::writeBootState(in(file), state), whatIsWrong)) << whatIsWrong;
    }

    ReplyRef commit() {
        auto reply = std::make_shared<Reply>();
        calls().commit(answerInto(reply));
        return reply;
    }

    ReplyRef forget(const std::string &version) {
        auto reply = std::make_shared<Reply>();
        calls().forget(version, answerInto(reply));
        return reply;
    }

    bool answered(const ReplyRef &reply) const {
        return turnUntil([&] { return reply->times > 0; });
    }
};

} // namespace service::test

#endif
