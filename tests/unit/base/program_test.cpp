// SPDX-License-Identifier: MIT
// Whatever ends a program is its exit code and one line.
#include "base/program.h"

#include "base/failure.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace base {
namespace {

struct Ended {
    int code;
    std::string output;
    std::string errors;
};

Ended ended(std::vector<std::string> words, const std::function<int()> &run) {
    const Command program{.name = "tool verb", .summary = "A tool.", .run = run, .version = "1.2"};
    words.insert(words.begin(), "tool");
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int code =
        runProgram(program, static_cast<int>(arguments.size()), arguments.data(), false);
    return {code, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

TEST(Program, EndsWithTheCodeOfWhatItRan) {
    const Ended well = ended({}, [] { return 3; });
    EXPECT_EQ(well.code, 3);
    EXPECT_EQ(well.output + well.errors, "");
    EXPECT_EQ(ended({"--version"}, [] { return 3; }).output, "1.2\n");
}

TEST(Program, TellsWhatWasThrown) {
    const Ended failed =
        ended({}, []() -> int { throw Failure(Outcome::configWrong, "why", "mend it"); });
    EXPECT_EQ(failed.code, static_cast<int>(Outcome::configWrong));
    EXPECT_EQ(failed.errors, "tool: why; mend it\n");
    const Ended other = ended({}, []() -> int { throw std::runtime_error("no memory"); });
    EXPECT_EQ(other.code, static_cast<int>(Outcome::failed));
    EXPECT_EQ(other.errors.find("tool: no memory; "), 0U) << other.errors;
}

TEST(Program, TellsAWrongCommandLine) {
    const Ended wrong = ended({"word"}, [] { return 0; });
    EXPECT_EQ(wrong.code, kWrongUse);
    EXPECT_EQ(wrong.errors, "tool: word: one argument too many; see tool verb --help\n");
}

} // namespace
} // namespace base
