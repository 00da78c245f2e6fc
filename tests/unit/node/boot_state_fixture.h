// SPDX-License-Identifier: MIT
// A boot state in a file of its own.
#ifndef TESTS_NODE_BOOT_STATE_FIXTURE_H
#define TESTS_NODE_BOOT_STATE_FIXTURE_H

#include "faults.h"
#include "fixture.h"
#include "node/boot_state.h"
#include "tests/support/results.h"

class BootStateFile : public InTemporaryDirectory {
  protected:
    ~BootStateFile() override { faults::clear(); }

    static node::BootState filled() {
        node::BootState state;
        state.active = node::Bank::b;
        state.next = node::Bank::a;
        state.trial = node::Bank::a;
        state.attemptsLeft = {2, 7};
        state.of(node::Bank::a) = {true, "4QZ-2.0.1", 5368709120, std::string(64, 'a')};
        state.failed = {{"4QZ-1.9", 1, node::TrialFailure::boot},
                        {"4QZ-1.8+x", 12, node::TrialFailure::health}};
        return state;
    }
    bool write(const node::BootState &state) {
        const auto written = node::writeBootState(path_, state);
        reason_ = written ? base::Reason::none : written.error().reason;
        return succeeds(written, wrong_);
    }
    bool read(node::BootState &state) {
        return took(node::readBootState(path_, &findings_), state, wrong_);
    }

    std::string path_ = in("state");
    std::string wrong_;
    base::Reason reason_ = base::Reason::none;
    node::BootFindings findings_;
};

#endif
