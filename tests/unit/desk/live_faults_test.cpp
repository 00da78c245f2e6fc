// SPDX-License-Identifier: MIT
// Faults that come and go while programs run, a power that is cut on request, and what a cut took.
#include "power_program.h"

#include <csignal>

namespace {

class LiveFaults : public PowerProgram {
  protected:
    [[nodiscard]] fs::path faults() const { return place_ / "faults"; }
    [[nodiscard]] Words options() const {
        return {"--faults", faults(), "--losses", place_ / "losses"};
    }
    void say(const std::string &lines) const { desk::writeFile(faults(), lines); }
    // A shell's words that put other faults in the place of these.
    [[nodiscard]] static std::string sayThen(const std::string &lines) {
        return "printf '" + lines + "' > ../next; mv ../next ../faults; ";
    }
    [[nodiscard]] std::string losses() const { return desk::readFile(place_ / "losses"); }
    // The power goes once the program says that it is so far.
    [[nodiscard]] int cutOnRequest(const std::string &text) const {
        const pid_t child = start(options(), {"sh", "-c", text + "; : > ../there; sleep 60"});
        while (!fs::exists(place_ / "there")) {
            usleep(10'000);
        }
        kill(child, SIGPWR);
        return endOf(child);
    }
};

TEST_F(LiveFaults, ADiskIsReadOnlyForAsLongAsItSays) {
    say("");
    EXPECT_EQ(shell(options(), "echo 1 > f; " + sayThen("read-only\\n") + "echo 2 > f; rm f; " +
                                   sayThen("") + "echo 3 >> f"),
              0);
    EXPECT_EQ(read("f"), "1\n3\n");
    EXPECT_NE(said().find("Read-only file system"), std::string::npos) << said();
}

TEST_F(LiveFaults, AFileStoresWrongBitsForAsLongAsItSays) {
    say("corrupt f\n");
    EXPECT_EQ(shell(options(), "echo abcdef > f; " + sayThen("") + "echo abcdef >> f"), 0);
    EXPECT_EQ(read("f"), "abceef\nabcdef\n");
}

TEST_F(LiveFaults, APowerCutOnRequestTakesWhatWasNotSynced) {
    say("");
    EXPECT_EQ(cutOnRequest("echo new | dd of=f conv=fsync,notrunc; echo more >> f; echo x > g"),
              kPowerCut);
    EXPECT_EQ(read("f"), "new\n");
    EXPECT_EQ(names(), (std::set<std::string>{"f", "ram"}));
    EXPECT_NE(losses().find(R"({"kind":"name","change":"made","name":"g","from":"",)"),
              std::string::npos)
        << losses();
    EXPECT_NE(losses().find(R"("name":"f","size_had":9,"size_has":4,"survived":0,"rows":1,)"
                            R"("taken":[{"from":4,"end":9,"had":"6d6f72650a","has":""}])"),
              std::string::npos)
        << losses();
}

TEST_F(LiveFaults, ASyncThatLiedIsFoundOutWhenThePowerGoes) {
    say("lie f\n");
    EXPECT_EQ(cutOnRequest("echo new | dd of=f conv=fsync,notrunc"), kPowerCut);
    EXPECT_EQ(read("f"), "old\n");
    EXPECT_NE(losses().find(R"({"from":0,"end":4,"had":"6e65770a","has":"6f6c640a"})"),
              std::string::npos)
        << losses();
}

TEST_F(LiveFaults, WhatIsSafeIsNoLoss) {
    say("");
    EXPECT_EQ(cutOnRequest("echo new | dd of=f conv=fsync,notrunc"), kPowerCut);
    EXPECT_EQ(losses(), "");
}

TEST_F(LiveFaults, ACutIsCountedFromWhenItWasAskedFor) {
    say("");
    const std::string five = "for i in 1 2 3 4 5; do echo $i >> g; done; ";
    EXPECT_EQ(shell(options(), five + sayThen("cut 3 drop one\\n") + "echo a >> f; " +
                                   // The same one again, which goes on being counted.
                                   sayThen("read-only\\ncut 3 drop one\\n") +
                                   "echo b >> f; echo c >> f; echo lived > ../lived"),
              kPowerCut);
    EXPECT_EQ(read("f"), "old\n");
    EXPECT_FALSE(fs::exists(place_ / "lived"));
}

TEST_F(LiveFaults, AFaultThatIsNoneIsRefused) {
    for (const char *line :
         {"burn f\n", "lie\n", "cut 0 drop x\n", "cut 3 burn x\n", "cut 3 tear\n"}) {
        say(line);
        EXPECT_EQ(shell(options(), "echo x > f"), 125) << line;
        EXPECT_NE(said().find("is no fault"), std::string::npos) << said();
    }
}

// A torn one says what survived, too.
TEST_F(LiveFaults, ATearTellsWhatItTookAndWhatItLeft) {
    desk::writeFile(disk() / "f", std::string(1024, 'o'));
    EXPECT_EQ(shell({"--losses", place_ / "losses", "--cut", "2", "--mode", "tear"},
                    "head -c 1024 /dev/zero | dd of=f bs=1024 conv=notrunc; : > g"),
              kPowerCut);
    EXPECT_EQ(read("f"), std::string(1024, '\0'));
    EXPECT_NE(losses().find(R"("size_had":1024,"size_has":1024,"survived":1024,"rows":0)"),
              std::string::npos)
        << losses();
}

} // namespace
