// SPDX-License-Identifier: MIT
// Programs whose power is cut at each of their calls, faults of their disk, and how they end.
#include "tests/unit/desk/text_files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr int kPowerCut = 75;

class Power : public testing::Test {
  protected:
    Power() {
        std::string name = (fs::temp_directory_path() / "power-XXXXXX").string();
        place_ = mkdtemp(name.data());
        makeDisk();
    }
    ~Power() override { fs::remove_all(place_); }

    [[nodiscard]] fs::path disk() const { return place_ / "disk"; }
    void makeDisk() const {
        fs::remove_all(disk());
        fs::create_directories(disk() / "ram");
        desk::writeFile(disk() / "f", "old\n");
    }
    [[nodiscard]] std::string read(const std::string &name) const {
        return desk::readFile(disk() / name);
    }
    [[nodiscard]] std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto &entry : fs::directory_iterator(disk())) {
            found.insert(entry.path().filename());
        }
        return found;
    }

    // Its process id; the words of a shell, run in the disk's folder.
    [[nodiscard]] pid_t start(const Words &options, const Words &program) const {
        Words words{OTA_POWER_PROGRAM, "--disk", disk().string()};
        words.insert(words.end(), options.begin(), options.end());
        words.emplace_back("--");
        words.insert(words.end(), program.begin(), program.end());
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const int said = open((place_ / "said").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(said, STDERR_FILENO);
            if (chdir(disk().c_str()) == 0) {
                execv(arguments[0], arguments.data());
            }
            _exit(99);
        }
        return child;
    }
    static int endOf(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    [[nodiscard]] int run(const Words &options, const Words &program) const {
        return endOf(start(options, program));
    }
    [[nodiscard]] int shell(const Words &options, const std::string &text) const {
        return run(options, {"sh", "-c", text});
    }
    [[nodiscard]] std::string said() const { return desk::readFile(place_ / "said"); }

    // Cuts at every call there is, each on a new disk; returns how many there were.
    int cutEverywhere(const Words &more, const Words &program,
                      const std::function<void(int)> &check) const {
        for (int at = 1; at < 1000; ++at) {
            makeDisk();
            Words options{"--cut", std::to_string(at)};
            options.insert(options.end(), more.begin(), more.end());
            const int code = run(options, program);
            if (code == 0) {
                return at - 1;
            }
            EXPECT_EQ(code, kPowerCut) << said();
            check(at);
        }
        return -1;
    }

    fs::path place_;
};

const Words kCareful{"python3", "-c",
                     "import os\n"
                     "f = os.open('f.new', os.O_WRONLY | os.O_CREAT | os.O_TRUNC)\n"
                     "os.write(f, b'n' * 2000); os.fsync(f); os.rename('f.new', 'f')\n"
                     "d = os.open('.', os.O_RDONLY); os.fsync(d); os.mkdir('done'); os.fsync(d)\n"};
const Words kCareless{"python3", "-c",
                      "open('f.new', 'w').write('n' * 2000)\n"
                      "import os; os.rename('f.new', 'f'); os.mkdir('done')\n"};

TEST_F(Power, ACarefulReplacementIsOldOrNewAtEveryCut) {
    for (const Words &mode : {Words{},
                              Words{"--mode", "tear"},
                              {"--mode", "tear", "--seed", "1"},
                              {"--mode", "tear", "--seed", "9"}}) {
        std::set<std::string> seen;
        const int points = cutEverywhere(mode, kCareful, [&](int at) {
            const std::string text = read("f");
            EXPECT_TRUE(text == "old\n" || text == std::string(2000, 'n')) << at << ": " << text;
            EXPECT_TRUE(text != "old\n" || !names().contains("done")) << at;
            seen.insert(text);
        });
        EXPECT_EQ(points, 7) << "create, write, fsync, rename, fsync, mkdir, fsync";
        EXPECT_EQ(seen.size(), 2U);
    }
}

// What the test above would find: the same without the syncs is damaged somewhere.
TEST_F(Power, ACarelessReplacementIsDamagedByATear) {
    std::set<std::string> seen;
    cutEverywhere({"--mode", "tear", "--seed", "1"}, kCareless,
                  [&](int) { seen.insert(read("f")); });
    EXPECT_TRUE(seen.contains(""));
}

TEST_F(Power, TheCallThatIsCutDoesNotHappen) {
    for (const char *text : {"echo new > g", "rm f", "mv f g", "mkdir d", "ln f g", "ln -s f g",
                             ": > f", "truncate -s 1 f", "dd if=/dev/zero of=f bs=9 count=1"}) {
        makeDisk();
        EXPECT_EQ(shell({"--cut", "1"}, std::string(text) + "; echo lived > f"), kPowerCut) << text;
        EXPECT_EQ(read("f"), "old\n") << text;
        EXPECT_EQ(names(), (std::set<std::string>{"f", "ram"})) << text;
    }
}

TEST_F(Power, WhatDdSyncedStays) {
    EXPECT_EQ(shell({"--cut", "4"},
                    "echo new | dd of=f conv=fsync,notrunc; echo lost > f; echo more > g"),
              kPowerCut);
    EXPECT_EQ(read("f"), "new\n") << said();
}

TEST_F(Power, AFileOpenedForSyncedWritesNeedsNoSync) {
    EXPECT_EQ(shell({"--cut", "3"}, "echo new | dd of=f oflag=dsync conv=notrunc; rm f; rm f"), 1);
    makeDisk();
    EXPECT_EQ(shell({"--cut", "2"}, "echo new | dd of=f oflag=dsync conv=notrunc; rm f"),
              kPowerCut);
    EXPECT_EQ(read("f"), "new\n");
}

TEST_F(Power, AllProcessesEndWithThePower) {
    EXPECT_EQ(shell({"--cut", "1"}, "(sleep 0.3; touch ../late) & touch g; touch ../lived"),
              kPowerCut);
    usleep(400'000);
    EXPECT_FALSE(fs::exists(place_ / "late"));
    EXPECT_FALSE(fs::exists(place_ / "lived"));
}

TEST_F(Power, CallsThatMissTheDiskDoNotCount) {
    EXPECT_EQ(shell({"--count", place_ / "count", "--journal", place_ / "journal"},
                    "echo x > ../out; echo x > /dev/null; echo x | cat > ../out; rm -f none; "
                    "cat f > /dev/null; echo x > f; rm ../out"),
              0);
    EXPECT_EQ(desk::readFile(place_ / "count"), "2\n");
    EXPECT_EQ(desk::readFile(place_ / "journal"), "1 sh openat f\n2 sh write f 0 2\n");
}

TEST_F(Power, ThreadsAreFollowed) {
    const Words program{"python3", "-c",
                        "import threading\n"
                        "def work(n):\n"
                        "  for i in range(20): open(f'f{n}.{i}', 'w').write('text')\n"
                        "all = [threading.Thread(target=work, args=(n,)) for n in range(4)]\n"
                        "[one.start() for one in all]; [one.join() for one in all]\n"};
    EXPECT_EQ(run({"--count", place_ / "count"}, program), 0) << said();
    EXPECT_EQ(desk::readFile(place_ / "count"), "160\n");
    EXPECT_EQ(names().size(), 82U);
    makeDisk();
    EXPECT_EQ(run({"--cut", "100"}, program), kPowerCut);
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(Power, MemoryIsEmptyAfterTheCutAndNoFileMovesOutOfIt) {
    EXPECT_EQ(shell({"--ram", disk() / "ram", "--cut", "6"},
                    "echo x > ram/g; python3 -c 'import os; os.rename(\"ram/g\", \"g\")'; "
                    "echo $? > code; sync; rm f"),
              kPowerCut);
    EXPECT_EQ(names(), (std::set<std::string>{"code", "f", "ram"}));
    EXPECT_EQ(read("code"), "1\n");
    EXPECT_TRUE(fs::is_empty(disk() / "ram"));
}

TEST_F(Power, ASingleCallFails) {
    EXPECT_EQ(shell({"--fail", "ENOSPC", "--at", "2"}, "echo x > f; echo $? > g; cat g"), 0);
    EXPECT_EQ(read("f"), "");
    EXPECT_EQ(read("g"), "1\n");
}

TEST_F(Power, FromAFullDiskOnOnlyWhatNeedsNoSpaceSucceeds) {
    EXPECT_EQ(shell({"--fail", "ENOSPC", "--from", "1"}, "echo x > g; mkdir d; rm f"), 0);
    EXPECT_EQ(names(), std::set<std::string>{"ram"});
}

TEST_F(Power, FromAReadOnlyDiskOnNothingSucceeds) {
    EXPECT_EQ(shell({"--fail", "EROFS", "--from", "1"}, "echo x > g; mkdir d; rm -f f"), 1);
    EXPECT_EQ(names(), (std::set<std::string>{"f", "ram"}));
    EXPECT_NE(said().find("Read-only file system"), std::string::npos) << said();
}

TEST_F(Power, ASyncThatLiesKeepsNothing) {
    for (const bool lies : {false, true}) {
        makeDisk();
        Words options{"--cut", "3"};
        if (lies) {
            options.insert(options.end(), {"--lie", disk() / "f"});
        }
        EXPECT_EQ(shell(options,
                        "echo new | dd of=f conv=fsync,notrunc || echo failed > ../failed; "
                        "rm f"),
                  kPowerCut);
        EXPECT_EQ(read("f"), lies ? "old\n" : "new\n");
        EXPECT_FALSE(fs::exists(place_ / "failed"));
    }
}

TEST_F(Power, ACorruptedFileHasOneWrongBitInEachWrite) {
    EXPECT_EQ(shell({"--corrupt", disk() / "f"}, "echo abcdef > f; echo abcdef > g"), 0);
    EXPECT_EQ(read("f"), "abceef\n");
    EXPECT_EQ(read("g"), "abcdef\n");
}

TEST_F(Power, TheProgramsEndIsItsOwn) {
    EXPECT_EQ(shell({}, "exit 3"), 3);
    EXPECT_EQ(shell({}, "kill -9 $$"), 128 + SIGKILL);
    EXPECT_EQ(shell({"--cut", "5"}, "echo x > f"), 0);
    EXPECT_EQ(run({}, {"no-such-program"}), 127);
    EXPECT_NE(said().find("no-such-program: cannot be started"), std::string::npos) << said();
}

TEST_F(Power, ASignalGoesOnToTheProgram) {
    const pid_t child =
        start({}, {"sh", "-c", "trap 'exit 7' TERM; touch ../up; while :; do sleep 0.01; done"});
    for (int tries = 0; tries < 12'000 && !fs::exists(place_ / "up"); ++tries) {
        usleep(5'000);
    }
    kill(child, SIGTERM);
    EXPECT_EQ(endOf(child), 7);
}

TEST_F(Power, EndsTheProgramWhereItIsKilledItself) {
    const pid_t child = start({}, {"sh", "-c", "echo $$ > ../up; exec sleep 600"});
    pid_t program = 0;
    for (int tries = 0; tries < 12'000 && program == 0; ++tries) {
        usleep(5'000);
        program = std::atoi(desk::readFile(place_ / "up").c_str());
    }
    ASSERT_GT(program, 0);
    kill(child, SIGKILL);
    EXPECT_EQ(endOf(child), -SIGKILL);
    int tries = 0;
    while (kill(program, 0) == 0 && ++tries < 12'000) {
        usleep(5'000);
    }
    EXPECT_LT(tries, 12'000) << "the program lives on";
}

// Whoever is traced already may not be traced by another.
TEST_F(Power, SaysInOneLineThatTracingIsRefused) {
    // A sanitizer finds no leaks in what is traced, and says so.
    EXPECT_EQ(run({}, {"env", "ASAN_OPTIONS=detect_leaks=0", OTA_POWER_PROGRAM, "--disk",
                       disk().string(), "--", "touch", "lived"}),
              125);
    EXPECT_NE(said().find("the program cannot be traced"), std::string::npos) << said();
    EXPECT_EQ(said().find('\n'), said().size() - 1) << said();
    EXPECT_FALSE(names().contains("lived"));
}

TEST_F(Power, SaysInOneLineWhatIsWrongWithItsOptions) {
    for (const Words &options : {Words{"--cut", "0"},
                                 {"--mode", "tear"},
                                 {"--fail", "EIO"},
                                 {"--fail", "EBADF", "--at", "1"},
                                 {"--cut", "1", "--mode", "burn"},
                                 {"--at", "3"},
                                 {"--nonsense"}}) {
        EXPECT_EQ(shell(options, "exit 0"), 2) << options[0];
        const std::string text = said();
        EXPECT_TRUE(text.starts_with("ota-power: ")) << text;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
    }
    EXPECT_EQ(shell({"--ram", place_}, "exit 0"), 125);
    EXPECT_NE(said().find("does not lie below"), std::string::npos) << said();
}

} // namespace
