// SPDX-License-Identifier: MIT
// Programs whose power is cut at each of their calls, and faults of their disk.
#include "power_program.h"

#include <cerrno>

namespace {

class Tracer : public PowerProgram {};

const Words kCareful{"python3", "-c",
                     "import os\n"
                     "f = os.open('f.new', os.O_WRONLY | os.O_CREAT | os.O_TRUNC)\n"
                     "os.write(f, b'n' * 2000); os.fsync(f); os.rename('f.new', 'f')\n"
                     "d = os.open('.', os.O_RDONLY); os.fsync(d); os.mkdir('done'); os.fsync(d)\n"};
const Words kCareless{"python3", "-c",
                      "open('f.new', 'w').write('n' * 2000)\n"
                      "import os; os.rename('f.new', 'f'); os.mkdir('done')\n"};

TEST_F(Tracer, ACarefulReplacementIsOldOrNewAtEveryCut) {
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
TEST_F(Tracer, ACarelessReplacementIsDamagedByATear) {
    std::set<std::string> seen;
    cutEverywhere({"--mode", "tear", "--seed", "1"}, kCareless,
                  [&](int) { seen.insert(read("f")); });
    EXPECT_TRUE(seen.contains(""));
}

TEST_F(Tracer, TheCallThatIsCutDoesNotHappen) {
    for (const char *text : {"echo new > g", "rm f", "mv f g", "mkdir d", "ln f g", "ln -s f g",
                             ": > f", "truncate -s 1 f", "dd if=/dev/zero of=f bs=9 count=1"}) {
        makeDisk();
        EXPECT_EQ(shell({"--cut", "1"}, std::string(text) + "; echo lived > f"), kPowerCut) << text;
        EXPECT_EQ(read("f"), "old\n") << text;
        EXPECT_EQ(names(), (std::set<std::string>{"f", "ram"})) << text;
    }
}

TEST_F(Tracer, WhatDdSyncedStays) {
    EXPECT_EQ(shell({"--cut", "4"},
                    "echo new | dd of=f conv=fsync,notrunc; echo lost > f; echo more > g"),
              kPowerCut);
    EXPECT_EQ(read("f"), "new\n") << said();
}

TEST_F(Tracer, AFileOpenedForSyncedWritesNeedsNoSync) {
    EXPECT_EQ(shell({"--cut", "3"}, "echo new | dd of=f oflag=dsync conv=notrunc; rm f; rm f"), 1);
    makeDisk();
    EXPECT_EQ(shell({"--cut", "2"}, "echo new | dd of=f oflag=dsync conv=notrunc; rm f"),
              kPowerCut);
    EXPECT_EQ(read("f"), "new\n");
}

TEST_F(Tracer, AllProcessesEndWithThePower) {
    EXPECT_EQ(shell({"--cut", "1"}, "(sleep 0.3; touch ../late) & touch g; touch ../lived"),
              kPowerCut);
    usleep(400'000);
    EXPECT_FALSE(fs::exists(place_ / "late"));
    EXPECT_FALSE(fs::exists(place_ / "lived"));
}

TEST_F(Tracer, CallsThatMissTheDiskDoNotCount) {
    EXPECT_EQ(shell({"--count", place_ / "count", "--journal", place_ / "journal"},
                    "echo x > ../out; echo x > /dev/null; echo x | cat > ../out; rm -f none; "
                    "cat f > /dev/null; echo x > f; rm ../out"),
              0);
    EXPECT_EQ(desk::readFile(place_ / "count"), "2\n");
    EXPECT_EQ(desk::readFile(place_ / "journal"), "1 sh openat f\n2 sh write f 0 2\n");
}

TEST_F(Tracer, ThreadsAreFollowed) {
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

TEST_F(Tracer, MemoryIsEmptyAfterTheCutAndNoFileMovesOutOfIt) {
    EXPECT_EQ(shell({"--ram", disk() / "ram", "--cut", "6"},
                    "echo x > ram/g; python3 -c 'import os; os.rename(\"ram/g\", \"g\")'; "
                    "echo $? > code; sync; rm f"),
              kPowerCut);
    EXPECT_EQ(names(), (std::set<std::string>{"code", "f", "ram"}));
    EXPECT_EQ(read("code"), "1\n");
    EXPECT_TRUE(fs::is_empty(disk() / "ram"));
}

TEST_F(Tracer, ASingleCallFails) {
    EXPECT_EQ(shell({"--fail", "ENOSPC", "--at", "2"}, "echo x > f; echo $? > g; cat g"), 0);
    EXPECT_EQ(read("f"), "");
    EXPECT_EQ(read("g"), "1\n");
}

TEST_F(Tracer, FromAFullDiskOnOnlyWhatNeedsNoSpaceSucceeds) {
    EXPECT_EQ(shell({"--fail", "ENOSPC", "--from", "1"}, "echo x > g; mkdir d; rm f"), 0);
    EXPECT_EQ(names(), std::set<std::string>{"ram"});
}

TEST_F(Tracer, FromAReadOnlyDiskOnNothingSucceeds) {
    EXPECT_EQ(shell({"--fail", "EROFS", "--from", "1"}, "echo x > g; mkdir d; rm -f f"), 1);
    EXPECT_EQ(names(), (std::set<std::string>{"f", "ram"}));
    EXPECT_NE(said().find("Read-only file system"), std::string::npos) << said();
}

TEST_F(Tracer, ASyncThatLiesKeepsNothing) {
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

TEST_F(Tracer, ACorruptedFileHasOneWrongBitInEachWrite) {
    EXPECT_EQ(shell({"--corrupt", disk() / "f"}, "echo abcdef > f; echo abcdef > g"), 0);
    EXPECT_EQ(read("f"), "abceef\n");
    EXPECT_EQ(read("g"), "abcdef\n");
}

TEST_F(Tracer, SaysInOneLineWhatIsWrongWithItsOptions) {
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
