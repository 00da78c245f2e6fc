// SPDX-License-Identifier: MIT
// Wherever the power is cut, a bank that holds a whole image boots, and its version is told.
#include "faults.h"
#include "fixture.h"
#include "platform/nal.h"
#include "platform/trial.h"

#include <cerrno>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kMostCalls = 100;

class PowerCut : public OnANode {
  protected:
    PowerCut() {
        for (const auto &[version, seed] : {std::pair{"1.5.0", 2U}, std::pair{"2.0.0", 3U}}) {
            images_[version] = imageOf(payloadOf(600000, seed), version);
            writeText(in(version), images_[version]);
        }
        const std::string running = readText(in("bank_a")); // padded with zeros
        images_["1.0.0"] = running.substr(0, bootState().of(node::Bank::a).size);
        open();
    }

    /* As the node writes images: bank b holds the old one, or that one is chosen as well. */
    void write(const char *version) { ASSERT_EQ(nal_writePassiveImage(in(version).c_str()), 0); }
    void activate() { ASSERT_NE(nal_activatePassiveImage(), 0); }

    // Two copies of the boot state: written, synced by the library, synced by the node.
    static constexpr int kChange = 6;

    /*
     * Prepares the node and lets a child do the action, with the power cut at its n-th change of
     * the storage, for every n until the child survives; checks the node after each cut. What the
     * survivor left is there afterwards. The calls that the survivor made.
     */
    int cutEverywhere(const std::function<void()> &prepare, const std::function<void()> &action) {
        for (int n = 1; n < kMostCalls; ++n) {
            SCOPED_TRACE("power cut at call " + std::to_string(n));
            resetNode();
            prepare();
            const int code = codeOfChild(action, n);
            if (code == 0) {
                return n - 1;
            }
            EXPECT_EQ(code, faults::kPowerCut);
            expectThatAWholeBankBoots();
            if (HasFailure()) {
                return 0;
            }
        }
        ADD_FAILURE() << "the child never survives";
        return 0;
    }

    void expectThatAWholeBankBoots() {
        node::BootState state;
        ASSERT_TRUE(boot(state)) << bootComplaint_;
        EXPECT_TRUE(state.of(state.active).whole);
        std::string what; // a trial that failed is settled by the node that boots
        nalBeginTrial(what);
        state = bootState();
        for (const node::Bank bank : {node::Bank::a, node::Bank::b}) {
            expectTrueRecord(state.of(bank), in(std::string("bank_") + node::bankName(bank)));
        }
        char version[NAL_VERSION_WIDTH] = "";
        EXPECT_EQ(nal_getCurSwVersion(version), 0);
        EXPECT_EQ(version, state.of(state.active).version);
    }

    std::map<std::string, std::string> images_; // the bytes by version

  private:
    static int codeOfChild(const std::function<void()> &action, int n) {
        const pid_t child = fork();
        if (child == 0) {
            faults::cutPowerAt(n);
            action();
            _exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void expectTrueRecord(const node::BankRecord &record, const std::string &bank) const {
        if (!record.whole) {
            return;
        }
        ASSERT_EQ(images_.count(record.version), 1U) << record.version;
        const std::string &image = images_.at(record.version);
        EXPECT_EQ(record.size, image.size());
        EXPECT_TRUE(readText(bank).starts_with(image)) << bank << " is not " << record.version;
    }
};

TEST_F(PowerCut, DuringAWriteLeavesTheRunningBankAndNoHalfImage) {
    const int calls = cutEverywhere([&] { write("1.5.0"); }, [&] { write("2.0.0"); });
    EXPECT_GT(calls, 10);
    EXPECT_EQ(bootState().of(node::Bank::b).version, "2.0.0");
    expectThatAWholeBankBoots();
    EXPECT_EQ(bootState().active, node::Bank::a);
}

TEST_F(PowerCut, DuringAnActivationBootsOneOfTheTwo) {
    EXPECT_EQ(cutEverywhere([&] { write("2.0.0"); }, [&] { activate(); }), kChange);
    expectThatAWholeBankBoots();
    EXPECT_EQ(bootState().active, node::Bank::b);
}

TEST_F(PowerCut, DuringAnActivationOfADamagedBankNeverBootsIt) {
    const auto prepare = [&] {
        write("2.0.0");
        activate();
        damagePassive();
    };
    const auto action = [&] { EXPECT_EQ(nal_activatePassiveImage(), 0); };
    EXPECT_EQ(cutEverywhere(prepare, action), kChange);
    expectThatAWholeBankBoots();
    EXPECT_EQ(bootState().active, node::Bank::a);
}

TEST_F(PowerCut, DuringTheWithdrawalOfAFailedActivationBootsOneOfTheTwo) {
    const auto action = [&] {
        faults::failOnce(faults::Call::fileSync, 2, EIO);
        EXPECT_EQ(nal_activatePassiveImage(), 0);
    };
    EXPECT_EQ(cutEverywhere([&] { write("2.0.0"); }, action), 3 + kChange);
    expectThatAWholeBankBoots();
    EXPECT_EQ(bootState().active, node::Bank::a);
}

TEST_F(PowerCut, DuringAFallBackBootsOneOfTheTwo) {
    const auto prepare = [&] {
        write("2.0.0");
        activate();
        damagePassive();
        faults::failFrom(faults::Call::write, 1, EIO);
        EXPECT_EQ(nal_activatePassiveImage(), 0);
        faults::clear();
    };
    const auto action = [&] { EXPECT_EQ(nal_fallBackToActiveImage(), 0); };
    EXPECT_EQ(cutEverywhere(prepare, action), kChange);
    expectThatAWholeBankBoots();
    EXPECT_EQ(bootState().active, node::Bank::a);
}

TEST_F(PowerCut, DuringABootBootsTheChosenBankTheNextTime) {
    const auto prepare = [&] {
        write("2.0.0");
        activate();
    };
    const auto action = [&] {
        node::BootState state;
        EXPECT_TRUE(boot(state)) << bootComplaint_;
    };
    EXPECT_EQ(cutEverywhere(prepare, action), kChange);
    EXPECT_EQ(bootState().active, node::Bank::b);
    expectThatAWholeBankBoots();
}

TEST_F(PowerCut, DuringABootThatPassesOverADamagedBankBootsTheOther) {
    const auto prepare = [&] {
        write("2.0.0");
        activate();
        damagePassive();
    };
    const auto action = [&] {
        node::BootState state;
        EXPECT_TRUE(boot(state)) << bootComplaint_;
    };
    EXPECT_EQ(cutEverywhere(prepare, action), 4 * kChange) << "three attempts, and the other bank";
    EXPECT_EQ(bootState().active, node::Bank::a);
    expectThatAWholeBankBoots();
}

TEST_F(PowerCut, DuringAWholeUpgradeBootsOneOfTheTwo) {
    const auto action = [&] {
        write("2.0.0");
        activate();
        node::BootState state;
        EXPECT_TRUE(boot(state)) << bootComplaint_;
    };
    EXPECT_GT(cutEverywhere([&] { write("1.5.0"); }, action), 18);
    EXPECT_EQ(bootState().active, node::Bank::b);
    EXPECT_EQ(bootState().of(node::Bank::b).version, "2.0.0");
}

} // namespace
