// SPDX-License-Identifier: MIT
// What a table of options takes, what it refuses and in which words, and what its help looks like.
#include "base/command_line.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

namespace base {
namespace {

using Words = std::vector<std::string>;

// A program with a bit of everything.
class CommandLine : public testing::Test {
  protected:
    CommandLine() {
        program_ = {.name = "tool",
                    .summary = "Does a bit of everything.",
                    .options = {{"--bus", base::text("ADDRESS", bus), "Which bus"},
                                {"--json", base::flag(json), "Print JSON"}},
                    .verbs = {sendVerb(), runVerb(), groupVerb()},
                    .version = "1.2.3"};
    }

    base::Command sendVerb() {
        return {
            .name = "send",
            .summary = "Send something",
            .options = {{"-n,--count", base::number("N", count, -5, 7), "How often",
                         base::Times::once},
                        {"--mode", base::oneOf({{"fast", 1}, {"slow", 2}}, mode), "How"},
                        {"--at", base::number("N", at, 1, 9), "When", {}, {"--mode"}, {"--from"}},
                        {"--from", base::text("FILE", from), "Where from"},
                        {"--to", base::text("FILE", to), "Where to", base::Times::any},
                        {"--wait", base::flag(wait), "Wait"},
                        {"--waive", base::flag(waive), "Waive"}},
            .arguments = {{"what", base::text("WHAT", what), "What", base::Times::once},
                          {"whom", base::text("WHOM", whom), "To whom"}}};
    }
    base::Command runVerb() {
        return {.name = "run",
                .summary = "Run a program",
                .arguments = {{"program", base::listed("PROGRAM", ran), "The program",
                               base::Times::someAndRest}}};
    }
    base::Command groupVerb() {
        return {.name = "group",
                .summary = "Has verbs of its own",
                .verbs = {{.name = "check",
                           .summary = "Check",
                           .arguments = {{"file", base::text("FILE", file), "The file"}}}}};
    }

    base::Parsed read(Words words) const {
        words.insert(words.begin(), "tool");
        return base::parse(program_, words);
    }
    void expectTaken(const Words &words, const std::string &path) const {
        const base::Parsed parsed = read(words);
        EXPECT_EQ(parsed.wrong, "") << testing::PrintToString(words);
        EXPECT_EQ(parsed.path, path);
    }
    void expectWrong(const Words &words, const std::string &wrong) const {
        EXPECT_EQ(read(words).wrong, wrong) << testing::PrintToString(words);
    }

    std::string bus, from, to, what, whom;
    std::string file = "/etc/file";
    bool json = false, wait = false, waive = false;
    int count = 0, mode = 0;
    std::optional<std::uint64_t> at;
    Words ran;
    base::Command program_;
};

TEST_F(CommandLine, OptionsStandBeforeAndBehindVerbsAndArguments) {
    expectTaken({"--bus", "b", "send", "x", "-n", "3", "--json", "y", "--wait"}, "tool send");
    EXPECT_EQ(bus, "b");
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(json && wait && !waive);
    EXPECT_EQ(what + whom, "xy");
    expectTaken({"group", "--json", "check", "f", "--bus", "other"}, "tool group check");
    EXPECT_EQ(file + bus, "fother");
}

TEST_F(CommandLine, AValueMayBeJoinedToItsOption) {
    expectTaken({"send", "--count=4", "--from=a=b", "x"}, "tool send");
    EXPECT_EQ(count, 4);
    EXPECT_EQ(from, "a=b");
    expectTaken({"send", "-n5", "x"}, "tool send");
    EXPECT_EQ(count, 5);
}

TEST_F(CommandLine, WhateverStandsBehindAnOptionIsItsValue) {
    expectTaken({"send", "-n", "-3", "--from", "--json", "--to", "--", "x"}, "tool send");
    EXPECT_EQ(count, -3);
    EXPECT_EQ(from + to, "--json--");
    EXPECT_FALSE(json);
}

TEST_F(CommandLine, ANegativeNumberAndADashAreArguments) {
    expectTaken({"send", "-n", "1", "-7", "-"}, "tool send");
    EXPECT_EQ(what + whom, "-7-");
    expectWrong({"-7"}, "-7: there is no such verb");
}

TEST_F(CommandLine, BehindTwoDashesAllAreArguments) {
    expectTaken({"send", "-n", "1", "--", "--json", "--"}, "tool send");
    EXPECT_EQ(what + whom, "--json--");
    EXPECT_FALSE(json);
}

TEST_F(CommandLine, BehindAProgramAllIsItsOwn) {
    expectTaken({"run", "--json", "sh", "-c", "--json", "--help", "--", "-1"}, "tool run");
    EXPECT_EQ(ran, (Words{"sh", "-c", "--json", "--help", "--", "-1"}));
    ran.clear();
    expectTaken({"run", "--", "-x", "y"}, "tool run");
    EXPECT_EQ(ran, (Words{"-x", "y"}));
    expectWrong({"run"}, "program is missing");
}

// A script that says --wai would mean something else once there is a --waif.
TEST_F(CommandLine, ANameIsGivenWhole) {
    expectWrong({"send", "--fro", "f", "-n", "1", "x"},
                "--fro: there is no such option; did you mean --from?");
    expectWrong({"send", "--wai"}, "--wai: there is no such option; did you mean --wait?");
    expectWrong({"send", "--fro=f"}, "--fro: there is no such option; did you mean --from?");
    EXPECT_EQ(from, "");
    EXPECT_EQ(read({"--hel"}).help, false);
    expectWrong({"stat"}, "stat: there is no such verb");
    expectWrong({"--bus", "x", "sned"}, "sned: there is no such verb; did you mean send?");
}

TEST_F(CommandLine, WhatIsWrongIsSaidInOneLine) {
    expectWrong({}, "a verb is missing");
    expectWrong({"group"}, "a verb is missing");
    expectWrong({"--nonsense"}, "--nonsense: there is no such option");
    expectWrong({"send", "-xn", "1"}, "-x: there is no such option");
    expectWrong({"send", "-n", "1"}, "what is missing");
    expectWrong({"send", "x"}, "-n,--count is missing");
    expectWrong({"send", "-n", "1", "x", "y", "z"}, "z: one argument too many");
    expectWrong({"--bus"}, "--bus needs a value, ADDRESS");
    expectWrong({"--bus="}, "--bus needs a value, ADDRESS");
    expectWrong({"--bus", "", "send"}, "--bus needs a value, ADDRESS");
    expectWrong({"send", "-n"}, "-n needs a value, N");
    expectWrong({"--json=1"}, "--json takes no value");
    expectWrong({"send", "--bus", "a", "--bus", "b"}, "--bus is given twice");
    expectWrong({"send", "-n", "1", "--count", "1"}, "--count is given twice");
    expectWrong({"\033[31m\n"}, "\\x1B[31m\\x0A: there is no such verb");
    expectWrong({"--b\ns"}, "--b\\x0As: there is no such option; did you mean --bus?");
}

TEST_F(CommandLine, ValuesAreHeldToWhatIsExpected) {
    for (const char *value : {"x", "8", "-6", "1x", "+1", " 1", "0x1", "99999999999999999999"}) {
        expectWrong({"send", "x", "-n", value},
                    "-n is \"" + std::string(value) + "\": expected a whole number from -5 to 7");
    }
    expectTaken({"send", "x", "-n", "7", "--mode", "slow", "--at", "9"}, "tool send");
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(at, 9U);
    for (const char *value : {"slo", "fast|slow", "2"}) {
        expectWrong({"send", "x", "-n", "1", "--mode", value},
                    "--mode is \"" + std::string(value) + "\": expected fast|slow");
    }
}

TEST_F(CommandLine, FlagsAndListsMayBeRepeated) {
    expectTaken({"--json", "send", "--json", "-n1", "x", "--to", "a", "--to", "b"}, "tool send");
    EXPECT_EQ(to, "b");
}

TEST_F(CommandLine, OptionsNeedAndExcludeEachOther) {
    expectWrong({"send", "-n1", "x", "--at", "3"}, "--at needs --mode");
    expectWrong({"send", "-n1", "x", "--mode", "fast", "--from", "f", "--at", "3"},
                "--at and --from do not go together");
}

TEST_F(CommandLine, TheFirstMistakeIsToldAndTheRestIsStillRead) {
    const base::Parsed parsed = read({"send", "--nonsense", "--worse", "--json"});
    EXPECT_EQ(parsed.wrong, "--nonsense: there is no such option");
    EXPECT_TRUE(json);
    EXPECT_EQ(base::withAdvice(parsed), parsed.wrong + "; see tool send --help");
}

TEST_F(CommandLine, OneParseLeavesNothingToTheNext) {
    read({"send", "-xxn", "1"});
    expectTaken({"send", "-n", "2", "x"}, "tool send");
    EXPECT_EQ(count, 2);
}

TEST_F(CommandLine, AskedForHelpOrVersionItPrintsThatAndNoMistake) {
    for (const Words &words : {Words{"--help"}, {"-h"}, {"nonsense", "--help"}, {"--bad", "-h"}}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(base::answer(program_, read(words)), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), base::helpText(program_, "tool"));
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(base::answer(program_, read({"--help", "group", "check"})), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("Check\nUsage: tool group check "), 0U);
    testing::internal::CaptureStdout();
    EXPECT_EQ(base::answer(program_, read({"send", "--version"})), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "1.2.3\n");
    EXPECT_EQ(base::answer(program_, read({"send", "x", "-n", "1"})), std::nullopt);
}

TEST_F(CommandLine, AProgramWithoutAVersionMayTakeOne) {
    program_.version.clear();
    program_.options.push_back({"--version", base::text("VERSION", to), "Of an image"});
    const base::Parsed parsed = read({"--version", "7", "group", "check"});
    EXPECT_EQ(parsed.wrong, "");
    EXPECT_FALSE(parsed.version);
    EXPECT_EQ(to, "7");
}

TEST_F(CommandLine, AMistakeIsCodeTwoAndALineOnStandardError) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(base::answer(program_, read({"group", "check", "a", "b"})), 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tool: b: one argument too many; see tool group check --help\n");
    EXPECT_EXIT(base::refuse(program_, "it is late"), testing::ExitedWithCode(2),
                "^tool: it is late; see tool --help\n$");
}

TEST_F(CommandLine, TheHelpShowsTheTable) {
    EXPECT_EQ(base::helpText(program_, "tool"),
              "Does a bit of everything.\n"
              "Usage: tool [OPTIONS] VERB\n"
              "\n"
              "Options:\n"
              "  -h,--help                   Print this help message and exit\n"
              "  --bus ADDRESS               Which bus\n"
              "  --json                      Print JSON\n"
              "  --version                   Display program version information and exit\n"
              "\n"
              "Verbs:\n"
              "  send                        Send something\n"
              "  run                         Run a program\n"
              "  group                       Has verbs of its own\n");
    EXPECT_EQ(base::helpText(program_.verbs[0], "tool send"),
              "Send something\n"
              "Usage: tool send [OPTIONS] what [whom]\n"
              "\n"
              "Positionals:\n"
              "  what WHAT REQUIRED          What\n"
              "  whom WHOM                   To whom\n"
              "\n"
              "Options:\n"
              "  -h,--help                   Print this help message and exit\n"
              "  -n,--count N REQUIRED       How often\n"
              "  --mode fast|slow            How\n"
              "  --at N Needs: --mode Excludes: --from\n"
              "                              When\n"
              "  --from FILE                 Where from\n"
              "  --to FILE ...               Where to\n"
              "  --wait                      Wait\n"
              "  --waive                     Waive\n");
    EXPECT_NE(base::helpText(program_.verbs[2].verbs[0], "c").find("\n  file FILE=/etc/file"),
              std::string::npos);
    EXPECT_EQ(base::helpText(program_.verbs[1], "r")
                  .find("Run a program\nUsage: r [OPTIONS] program...\n"),
              0U);
}

TEST_F(CommandLine, TheHelpKeepsToEightyColumns) {
    std::string words;
    for (int i = 0; i < 60; ++i) {
        words += std::string(static_cast<std::size_t>(i % 9 + 1), 'w') + (i < 59 ? " " : "");
    }
    program_.summary = words;
    program_.footer = "The end.\n";
    program_.options = {{"--fail",
                         base::oneOf({"checksum", "flash", "activate", "boot", "health", "server",
                                      "certificate", "signature", "version", "disk"},
                                     what),
                         words}};
    std::istringstream help(base::helpText(program_, "tool"));
    std::string all;
    std::size_t longest = 0;
    for (std::string line; std::getline(help, line);) {
        longest = std::max(longest, line.size());
        EXPECT_FALSE(line.ends_with(' ')) << line;
        all += line.substr(std::min(line.size(), line.find_first_not_of(' '))) + " ";
    }
    EXPECT_GT(longest, 70U);
    EXPECT_LE(longest, 80U);
    EXPECT_EQ(all.find(words), 0U) << "nothing is lost between two lines";
    EXPECT_NE(all.find(words, 1), std::string::npos);
    EXPECT_TRUE(all.ends_with(" The end. "));
}

} // namespace
} // namespace base
