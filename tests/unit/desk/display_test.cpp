// SPDX-License-Identifier: MIT
// What is written where standard output is a terminal, and where it is not.
#include "desk/display.h"
#include "desk/screen.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using desk::Display;
using desk::Progress;
using desk::Surface;

constexpr std::uint64_t kTwoMiB = 2 * 1024 * 1024;

std::size_t noLimit() { return 0; }
std::size_t eightyColumns() { return 80; }
std::size_t fortyColumns() { return 40; }
std::string now() { return "12:34:56"; }

constexpr Surface kPipe{false, false, noLimit, now};
constexpr Surface kTerminal{true, true, eightyColumns, now};
constexpr Surface kColourless{false, true, eightyColumns, now};
constexpr Surface kDumb{false, false, eightyColumns, now};
constexpr Surface kNarrow{false, false, fortyColumns, now};

std::string shown(const Surface &surface, const std::function<void(Display &)> &use) {
    testing::internal::CaptureStdout();
    Display display(surface);
    use(display);
    return testing::internal::GetCapturedStdout();
}

TEST(Display, WithoutATerminalThereIsALineEveryTenPercent) {
    const auto use = [](Display &display) {
        for (const int percent : {1, 9, 10, 19, 25, 29, 100}) {
            display.progress({percent, 0, 0});
        }
        display.step("written", "yes");
    };
    constexpr const char *kLines = "  12:34:56 download     10 %\n"
                                   "  12:34:56 download     25 %\n"
                                   "  12:34:56 download     100 %\n"
                                   "  12:34:56 written      yes\n";
    EXPECT_EQ(shown(kPipe, use), kLines);
    EXPECT_EQ(shown(kDumb, use), kLines);
}

TEST(Display, ADownloadThatStartsOverIsToldFromItsBeginning) {
    EXPECT_EQ(shown(kPipe,
                    [](Display &display) {
                        display.progress({90, 0, 0});
                        display.progress({10, 0, 0});
                    }),
              "  12:34:56 download     90 %\n"
              "  12:34:56 download     10 %\n");
}

TEST(Display, StepsAreTimedAndWithoutATerminalNothingIsColoured) {
    EXPECT_EQ(shown(kPipe,
                    [](Display &display) {
                        display.title("title");
                        display.step("step", "text");
                        display.more("and more");
                        display.verdict(true, "good");
                        display.verdict(false, "bad");
                    }),
              "title\n"
              "  12:34:56 step         text\n"
              "                        and more\n"
              "good\n"
              "bad\n");
}

TEST(Display, NoLineIsWiderThanTheTerminal) {
    EXPECT_EQ(shown(kNarrow,
                    [](Display &display) {
                        display.title("a title that goes on, beyond forty columns");
                        display.step("step", "fourteen and a few columns more");
                        display.verdict(true, "a verdict that goes on, beyond forty columns");
                    }),
              "a title that goes on, beyond forty\n"
              "columns\n"
              "  12:34:56 step         fourteen and a few columns more\n"
              "a verdict that goes on, beyond forty\n"
              "columns\n")
        << "a head of more than half the width leaves it to the terminal";
    EXPECT_EQ(shown(kTerminal,
                    [](Display &display) {
                        display.step("step", "words up to the fifty-sixth column of the text, "
                                             "then the next line");
                    }),
              "  12:34:56 \033[1mstep         \033[0mwords up to the fifty-sixth column of the "
              "text, then the\n"
              "                        next line\n");
}

TEST(Display, ACommandIsBrokenWhereTheShellJoinsItAgain) {
    const auto use = [](Display &display) {
        display.command({"/some/where/otactl", "--bus unix:path=/a/folder/bus", "status"});
    };
    EXPECT_EQ(shown(kPipe, use), "    /some/where/otactl --bus unix:path=/a/folder/bus status\n");
    EXPECT_EQ(shown(kNarrow, use), "    /some/where/otactl \\\n"
                                   "      --bus unix:path=/a/folder/bus \\\n"
                                   "      status\n");
}

TEST(Display, OnATerminalTheBarIsRedrawnAndLeftBeforeTheNextLine) {
    EXPECT_EQ(shown(kTerminal,
                    [](Display &display) {
                        display.progress({0, 0, 0});
                        display.progress({50, kTwoMiB, 3});
                        display.step("written", "yes");
                        display.step("again", "yes");
                    }),
              "  12:34:56 \033[1mdownload     \033[0m[---------------------] 0 %"
              "\r\033[K  12:34:56 \033[1mdownload     \033[0m[##########-----------] 50 %, "
              "2.0 MiB/s, 3 s left\n"
              "  12:34:56 \033[1mwritten      \033[0myes\n"
              "  12:34:56 \033[1magain        \033[0myes\n");
}

TEST(Display, ABarNeedsNoColour) {
    EXPECT_EQ(shown(kColourless,
                    [](Display &display) {
                        display.progress({100, 0, 0});
                    }),
              "  12:34:56 download     [#####################] 100 %");
}

TEST(Display, WhereABarHasNoRoomThereIsItsTextAlone) {
    const Surface narrow{true, true, fortyColumns, now};
    EXPECT_EQ(shown(narrow,
                    [](Display &display) {
                        display.marked("gateway").progress({99, kTwoMiB, 1234567890});
                    }),
              "  gateway  99 %, 2.0 MiB/s, 1234567890 ");
}

TEST(Display, EachNodeHasItsMarkAndABarOfItsOwn) {
    EXPECT_EQ(shown(kColourless,
                    [](Display &display) {
                        Display one = display.marked("ext-1");
                        Display two = display.marked("gateway");
                        one.step("boot", "from bank A");
                        one.progress({50, 0, 0});
                        two.progress({5, 0, 0});
                        one.step("written", "yes");
                        display.step("all", "done");
                    }),
              "  12:34:56 ext-1    boot         from bank A\n"
              "  12:34:56 ext-1    download     [######------] 50 %"
              "\r\033[K"
              "  12:34:56 ext-1    download     [######------] 50 %\n"
              "  12:34:56 gateway  download     [------------] 5 %"
              // its bar becomes a line, the other is drawn again
              "\r\033[K\033[A\r\033[K"
              "  12:34:56 ext-1    download     [######------] 50 %\n"
              "  12:34:56 gateway  download     [------------] 5 %"
              "\r\033[K"
              "  12:34:56 ext-1    written      yes\n"
              "  12:34:56 gateway  download     [------------] 5 %"
              "\r\033[K"
              "  12:34:56 all          done\n"
              "  12:34:56 gateway  download     [------------] 5 %");
}

TEST(Display, TheBarIsLeftOnce) {
    const std::string text = shown(kColourless, [](Display &display) {
        display.leaveBars();
        display.progress({100, 0, 0});
        display.leaveBars();
        display.leaveBars();
    });
    EXPECT_EQ(text, "  12:34:56 download     [#####################] 100 %\n");
}

TEST(Display, OnATerminalTheVerdictHasItsColour) {
    EXPECT_EQ(shown(kTerminal,
                    [](Display &display) {
                        display.verdict(true, "good");
                        display.verdict(false, "bad");
                    }),
              "\033[1;32mgood\033[0m\n\033[1;31mbad\033[0m\n");
}

TEST(Display, TheLastStepIsRemembered) {
    shown(kTerminal, [](Display &display) {
        display.step("boot", "from bank A");
        display.more("and more");
        EXPECT_EQ(display.lastStep(), "boot: from bank A");
        display.progress({7, 0, 0});
        EXPECT_EQ(display.lastStep(), "download: 7 %");
    });
}

TEST(Screen, TextIsBrokenAtBlanksAndElsewhereOnlyWhereThereIsNone) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(desk::wrapped("one two three", 0), Pieces{"one two three"});
    EXPECT_EQ(desk::wrapped("one two three", 13), Pieces{"one two three"});
    EXPECT_EQ(desk::wrapped("one two three", 12), (Pieces{"one two", "three"}));
    EXPECT_EQ(desk::wrapped("one two three", 7), (Pieces{"one two", "three"}));
    EXPECT_EQ(desk::wrapped("abcdefgh", 3), (Pieces{"abc", "def", "gh"}));
    EXPECT_EQ(desk::width("\033[1mab\033[0mc"), 3U);
}

} // namespace
