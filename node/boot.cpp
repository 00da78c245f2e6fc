// SPDX-License-Identifier: MIT
#include "node/boot.h"

#include "base/file_io.h"
#include "node/bank_device.h"

#include <unistd.h>

namespace node {
namespace {

class PowerOn {
  public:
    PowerOn(const BootWay &way, const BootState &state, std::vector<std::string> damages)
        : way_(way), state_(state), stored_(state), passedOver_(std::move(damages)) {}

    base::Result<Booted> boot() {
        for (const Bank bank : {state_.next, otherBank(state_.next)}) {
            if ((state_.isOnTrial(bank) ? tryTrial(bank) : tryBank(bank)) && keep(bank)) {
                return booted();
            }
        }
        // Attempts are for a bank to fall back from: without one, a whole bank is all there is.
        if (state_.trial && comesUp(*state_.trial) && keep(*state_.trial)) {
            return booted();
        }
        // What the state names already needs no storing to be true.
        if (cannotStore_ && comesUp(stored_.active)) {
            state_ = stored_;
            tellKernel(state_.active);
            return booted();
        }
        std::string whatIsWrong = "no bank can boot";
        for (const std::string &line : passedOver_) {
            whatIsWrong += "; " + line;
        }
        return base::Error{whatIsWrong};
    }

  private:
    Booted booted() const { return {state_, passedOver_}; }

    const std::string &pathOf(Bank bank) const {
        return way_.bankPaths.at(static_cast<std::size_t>(bank));
    }

    bool comesUp(Bank bank) {
        std::string why;
        if (!state_.of(bank).whole) {
            why = "the bank " + pathOf(bank) + " holds no whole image";
        } else {
            const auto comparison = compareBank(state_.of(bank), pathOf(bank));
            if (comparison) {
                return true;
            }
            why = comparison.error().text;
            sawUnreadable_ = sawUnreadable_ || !readsOther(comparison);
            if (readsOther(comparison) && !state_.isOnTrial(bank)) {
                state_.of(bank) = BankRecord{};
            }
        }
        passedOver_.push_back(why);
        return false;
    }

    bool tryTrial(Bank bank) {
        const std::string name = std::string("bank ") + bankName(bank);
        int &left = state_.attemptsOf(bank);
        while (left > 0) {
            --left;
            state_.active = bank;
            if (const auto counted = store(); !counted) {
                passedOver_.push_back(name + " is on trial, and the attempt cannot be counted: " +
                                      counted.error().text);
                return false;
            }
            if (comesUp(bank)) {
                return true;
            }
            passedOver_.back() += "; " + std::to_string(left) + " of its attempts left";
        }
        passedOver_.push_back(name + " is on trial and has no attempt left");
        return false;
    }

    bool tryBank(Bank bank) {
        if (!comesUp(bank)) {
            return false;
        }
        state_.active = bank;
        // A bank that cannot be read just now may be the better one the next time.
        if (!state_.trial && !sawUnreadable_) {
            state_.next = bank;
        }
        return true;
    }

    // False where the system would boot from another bank than the state, or the kernel, says.
    bool keep(Bank bank) {
        state_.active = bank;
        const bool toldToKernel = tellKernel(bank);
        const auto stored = store();
        if (stored) {
            return true;
        }
        passedOver_.push_back("what this boot changes cannot be stored: " + stored.error().text);
        return toldToKernel || stored_.active == bank;
    }

    // What runs must be known to the system that boots, whatever became of the state; an old word
    // would be believed.
    bool tellKernel(Bank bank) {
        if (way_.commandLine.empty()) {
            return false;
        }
        const auto told =
            base::renewFile(way_.commandLine, std::string("ota.bank=") + bankName(bank) + "\n");
        if (told) {
            base::syncDirectoryOf(way_.commandLine);
            return true;
        }
        unlink(way_.commandLine.c_str());
        passedOver_.push_back("the kernel is not told which bank runs: " + told.error().text);
        return false;
    }

    base::Result<void> store() {
        const auto sameRecords = state_.banks[0].whole == stored_.banks[0].whole &&
                                 state_.banks[1].whole == stored_.banks[1].whole;
        if (sameRecords && state_.active == stored_.active && state_.next == stored_.next &&
            state_.attemptsLeft == stored_.attemptsLeft) {
            return {};
        }
        auto written = writeBootState(way_.state, state_);
        if (written) {
            stored_ = state_;
            return written;
        }
        // One copy may have been stored before the other one failed.
        cannotStore_ = true;
        if (const auto read = readBootState(way_.state)) {
            stored_ = *read;
        }
        return written;
    }

    const BootWay &way_;
    BootState state_;
    BootState stored_;
    std::vector<std::string> passedOver_;
    bool sawUnreadable_ = false;
    bool cannotStore_ = false;
};

} // namespace

base::Result<Booted> bootNode(const BootWay &way) {
    BootFindings findings;
    const auto state = readBootState(way.state, &findings);
    if (!state) {
        return state.error();
    }
    return PowerOn(way, *state, std::move(findings.damages)).boot();
}

} // namespace node
