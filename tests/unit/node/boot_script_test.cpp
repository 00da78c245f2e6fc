// SPDX-License-Identifier: MIT
// The boot script of the documentation decides as the boot loader of the platform does.
#include "boot_situations.h"
#include "fixture.h"
#include "node/boot.h"
#include "tests/support/results.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <tuple>

namespace {

using node::Bank;

// Files stay small while it lives: the kernel's word fits, the environment does not.
class OnlySmallFiles {
  public:
    OnlySmallFiles() {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{100, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~OnlySmallFiles() { setrlimit(RLIMIT_FSIZE, &before_); }
    OnlySmallFiles(const OnlySmallFiles &) = delete;
    OnlySmallFiles &operator=(const OnlySmallFiles &) = delete;

  private:
    rlimit before_{};
};

class BootScript : public InTemporaryDirectory {
  protected:
    BootScript() { std::filesystem::create_directory(in("board")); }

    // Made once for all situations with the same state: each costs several syncs.
    const std::string &stateFileOf(Situation situation) {
        situation.saves = true;
        std::replace(situation.banks.begin(), situation.banks.end(), BankIs::unreadable,
                     BankIs::whole);
        std::ostringstream key;
        key << situation;
        const auto [made, isNew] = stateFiles_.try_emplace(key.str());
        if (isNew) {
            std::string whatIsWrong;
            EXPECT_TRUE(
                succeeds(node::makeBootState(in("new_state"), stateOf(situation)), whatIsWrong))
                << whatIsWrong;
            made->second = readText(in("new_state"));
        }
        return made->second;
    }

    Decision byThePlatform(const Situation &situation) {
        writeText(in("state"), stateFileOf(situation));
        const node::BootWay way{in("state"), {in("bank_a"), in("bank_b")}, in("command_line")};
        for (const Bank bank : {Bank::a, Bank::b}) {
            std::filesystem::remove(way.bankPaths.at(static_cast<std::size_t>(bank)));
            if (situation.of(bank) == BankIs::whole) {
                writeText(way.bankPaths.at(static_cast<std::size_t>(bank)), "bank");
            }
        }
        std::filesystem::remove(in("command_line"));
        const std::string before = readText(in("state"));
        const auto boot = [&] {
            const OnlySmallFiles limit;
            return node::bootNode(way);
        };
        const auto booted = situation.saves ? node::bootNode(way) : boot();
        std::string whatIsWrong;
        node::BootState after;
        EXPECT_TRUE(took(node::readBootState(in("state")), after, whatIsWrong)) << whatIsWrong;
        Decision decision = storedIn(after);
        decision.saved = situation.saves && readText(in("state")) != before;
        if (booted) {
            decision.booted = node::bankName(booted->state.active);
            EXPECT_EQ(readText(in("command_line")), "ota.bank=" + decision.booted + "\n");
        }
        return decision;
    }

    void putEnvironment(const Situation &situation) const {
        const node::BootState state = stateOf(situation);
        const Decision stored = storedIn(state);
        const auto line = [](const std::string &name, const std::string &value) {
            return name + "='" + value + "'\n";
        };
        writeText(in("board/environment"),
                  line("BOOT_ORDER", stored.order) +
                      line("BOOT_A_LEFT", std::to_string(state.attemptsLeft[0])) +
                      line("BOOT_B_LEFT", std::to_string(state.attemptsLeft[1])) +
                      line("ota_active", stored.active) + line("ota_trial", stored.trial) +
                      line("ota_a_version", state.of(Bank::a).version) +
                      line("ota_b_version", state.of(Bank::b).version));
    }

    std::string saved(const std::string &name) const {
        std::ifstream environment(in("board/environment"));
        for (std::string line; std::getline(environment, line);) {
            if (line.starts_with(name + "='")) {
                return line.substr(name.size() + 2, line.size() - name.size() - 3);
            }
        }
        return "missing";
    }

    // What one boot needs is gone with it.
    void expectOnlyTheState() const {
        static const std::set<std::string> kState{"BOOT_ORDER",   "BOOT_A_LEFT", "BOOT_B_LEFT",
                                                  "ota_active",   "ota_trial",   "ota_a_version",
                                                  "ota_b_version"};
        std::ifstream environment(in("board/environment"));
        for (std::string line; std::getline(environment, line);) {
            EXPECT_EQ(kState.count(line.substr(0, line.find('='))), 1U) << line;
        }
    }

    // A power on with the environment as the last one left it.
    Decision byTheScript(const std::string &shell, const Situation &situation) {
        std::string partitions;
        if (situation.of(Bank::a) != BankIs::unreadable) {
            partitions += " 0:2";
        }
        if (situation.of(Bank::b) != BankIs::unreadable) {
            partitions += " 0:3";
        }
        std::filesystem::remove(in("board/booted"));
        std::filesystem::remove(in("board/saves"));
        const std::string command = "cd " + in("board") + " && COMES_UP='" + partitions +
                                    "' SAVES=" + (situation.saves ? "yes " : "no ") + shell + " " +
                                    OTA_BOOT_STAND_INS + " " + OTA_BOOT_SCRIPT +
                                    " >output 2>errors";
        EXPECT_EQ(std::system(command.c_str()), 0) << readText(in("board/errors"));
        EXPECT_EQ(readText(in("board/errors")), "");
        Decision decision{bankOf(readText(in("board/booted"))),
                          saved("BOOT_ORDER"),
                          saved("ota_active"),
                          saved("ota_trial"),
                          saved("BOOT_A_LEFT") + " and " + saved("BOOT_B_LEFT"),
                          std::filesystem::exists(in("board/saves"))};
        expectOnlyTheState();
        return decision;
    }

    // Of the kernel's arguments, which name it once.
    static std::string bankOf(const std::string &arguments) {
        const std::string word = " ota.bank=";
        const std::size_t place = arguments.find(word);
        if (arguments.empty()) {
            return "";
        }
        EXPECT_EQ(place, arguments.rfind(word)) << arguments;
        const std::string bank =
            place == std::string::npos ? "none named" : arguments.substr(place + word.size(), 1);
        EXPECT_NE(arguments.find(bank == "a" ? "root=/dev/mmcblk0p2 " : "root=/dev/mmcblk0p3 "),
                  std::string::npos)
            << arguments;
        return bank;
    }

  private:
    std::map<std::string, std::string> stateFiles_;
};

class BootScriptFrom : public BootScript,
                       public testing::WithParamInterface<std::tuple<Bank, Bank>> {};

TEST_P(BootScriptFrom, DecidesAsThePlatformInEverySituation) {
    int situations = 0;
    const auto [active, next] = GetParam();
    forEachSituation(active, next, [&](const Situation &situation) {
        ++situations;
        const Decision expected = byThePlatform(situation);
        for (const char *shell : {"sh", "busybox sh"}) {
            putEnvironment(situation);
            EXPECT_EQ(byTheScript(shell, situation), expected) << shell << ": " << situation;
        }
    });
    EXPECT_EQ(situations, 9 * 9 * 2); // trials with attempts, banks, saving or not
}

INSTANTIATE_TEST_SUITE_P(RunningAndChosenBank, BootScriptFrom,
                         testing::Combine(testing::Values(Bank::a, Bank::b),
                                          testing::Values(Bank::a, Bank::b)));

TEST_F(BootScript, SavesNothingWhileACommittedBankBoots) {
    for (const Bank bank : {Bank::a, Bank::b}) {
        Situation situation;
        situation.active = situation.next = bank;
        putEnvironment(situation);
        for (int boot = 0; boot < 5; ++boot) {
            const Decision decision = byTheScript("sh", situation);
            EXPECT_EQ(decision.booted, node::bankName(bank));
            EXPECT_FALSE(decision.saved);
        }
    }
}

TEST_F(BootScript, FallsBackWhereNobodyCommitsWithinTheAttempts) {
    Situation situation;
    situation.next = Bank::b;
    situation.trial = Bank::b;
    putEnvironment(situation);
    for (const char *const left : {"2", "1", "0"}) {
        const Decision decision = byTheScript("sh", situation);
        EXPECT_EQ(decision.booted, "b");
        EXPECT_EQ(decision.attempts, std::string("3 and ") + left);
    }
    const Decision last = byTheScript("sh", situation);
    EXPECT_EQ(last.booted, "a");
    EXPECT_EQ(last.active, "a");
    EXPECT_EQ(last.trial, "b") << "what became of the trial is for the node to settle";
}

TEST_F(BootScript, SaysWhatIsMissingWhereThereIsNoBootState) {
    writeText(in("board/environment"), "BOOT_ORDER='A'\n");
    const Decision decision = byTheScript("sh", Situation{});
    EXPECT_EQ(decision.booted, "");
    EXPECT_FALSE(decision.saved);
    EXPECT_EQ(
        readText(in("board/output")),
        "BOOT_ORDER is <A>, expected <A B> or <B A>: make the boot state with ota-boot-state init\n");
}

// A shell takes both, the boot loader's ends with a syntax error or prints them.
TEST_F(BootScript, HasNoBackslashAndNoApostropheBetweenDoubleQuotes) {
    std::ifstream script(OTA_BOOT_SCRIPT);
    int lines = 0;
    for (std::string line; std::getline(script, line);) {
        ++lines;
        const std::size_t first = line.find_first_not_of(' ');
        if (first == std::string::npos || line[first] == '#') {
            continue;
        }
        EXPECT_EQ(line.find('\\'), std::string::npos) << line;
        bool quoted = false;
        for (const char character : line) {
            quoted = character == '"' ? !quoted : quoted;
            EXPECT_FALSE(quoted && character == '\'') << line;
        }
        EXPECT_FALSE(quoted) << line;
    }
    EXPECT_GT(lines, 50);
}

TEST_F(BootScript, IsTakenByTheImageMakerOfTheBootLoader) {
    if (std::system("command -v mkimage >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "mkimage is not installed (package u-boot-tools)";
    }
    const std::string command = "mkimage -A arm64 -T script -C none -n 'bank selection' -d " +
                                std::string(OTA_BOOT_SCRIPT) + " " + in("boot.scr") + " >" +
                                in("out") + " 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << readText(in("out"));
    EXPECT_NE(readText(in("boot.scr")).find(readText(OTA_BOOT_SCRIPT)), std::string::npos);
}

} // namespace
