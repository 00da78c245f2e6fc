// SPDX-License-Identifier: MIT
// What is written where standard output is a terminal, and where it is not.
#include "desk/display.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using desk::Display;
using desk::Progress;

constexpr std::uint64_t kTwoMiB = 2 * 1024 * 1024;

std::string shown(bool terminal, const std::function<void(Display &)> &use) {
    testing::internal::CaptureStdout();
    Display display(terminal);
    use(display);
    return testing::internal::GetCapturedStdout();
}

TEST(Display, WithoutATerminalThereIsALineEveryTenPercent) {
    EXPECT_EQ(shown(false,
                    [](Display &display) {
                        for (const int percent : {1, 9, 10, 19, 25, 29, 100}) {
                            display.progress({percent, 0, 0});
                        }
                        display.step("written", "yes");
                    }),
              "  download     10 %\n"
              "  download     25 %\n"
              "  download     100 %\n"
              "  written      yes\n");
}

TEST(Display, ADownloadThatStartsOverIsToldFromItsBeginning) {
    EXPECT_EQ(shown(false,
                    [](Display &display) {
                        display.progress({90, 0, 0});
                        display.progress({10, 0, 0});
                    }),
              "  download     90 %\n"
              "  download     10 %\n");
}

TEST(Display, RateAndTimeLeftAreTold) {
    EXPECT_EQ(shown(false,
                    [](Display &display) {
                        display.progress({50, kTwoMiB, 3});
                        display.progress({100, kTwoMiB, 0});
                    }),
              "  download     50 %, 2.0 MiB/s, 3 s left\n"
              "  download     100 %, 2.0 MiB/s\n");
}

TEST(Display, WithoutATerminalThereIsNoColour) {
    EXPECT_EQ(shown(false,
                    [](Display &display) {
                        display.title("title");
                        display.step("step", "text");
                        display.more("and more");
                        display.verdict(true, "good");
                        display.verdict(false, "bad");
                    }),
              "title\n"
              "  step         text\n"
              "               and more\n"
              "good\n"
              "bad\n");
}

TEST(Display, OnATerminalTheBarIsRedrawnAndLeftBeforeTheNextLine) {
    EXPECT_EQ(shown(true,
                    [](Display &display) {
                        display.progress({0, 0, 0});
                        display.progress({50, kTwoMiB, 3});
                        display.step("written", "yes");
                        display.step("again", "yes");
                    }),
              "\r\033[K  \033[1mdownload     \033[0m[------------------------------] 0 %"
              "\r\033[K  \033[1mdownload     \033[0m[###############---------------] 50 %, "
              "2.0 MiB/s, 3 s left\n"
              "  \033[1mwritten      \033[0myes\n"
              "  \033[1magain        \033[0myes\n");
}

TEST(Display, LinesOfOneNodeAmongSeveralAreMarkedAndABarIsLines) {
    EXPECT_EQ(shown(true,
                    [](Display &display) {
                        Display marked = display.marked("ext-1");
                        marked.step("boot", "from bank A");
                        marked.more("and more");
                        marked.progress({5, 0, 0});
                        marked.progress({50, 0, 0});
                        marked.step("written", "yes");
                    }),
              "  ext-1    \033[1mboot         \033[0mfrom bank A\n"
              "  ext-1    \033[1m             \033[0mand more\n"
              "  ext-1    \033[1mdownload     \033[0m50 %\n"
              "  ext-1    \033[1mwritten      \033[0myes\n");
}

TEST(Display, TheBarIsLeftOnce) {
    const std::string text = shown(true, [](Display &display) {
        display.leaveBar();
        display.progress({100, 0, 0});
        display.leaveBar();
        display.leaveBar();
    });
    EXPECT_EQ(text, "\r\033[K  \033[1mdownload     \033[0m[##############################] "
                    "100 %\n");
}

TEST(Display, OnATerminalTheVerdictHasItsColour) {
    EXPECT_EQ(shown(true,
                    [](Display &display) {
                        display.verdict(true, "good");
                        display.verdict(false, "bad");
                    }),
              "\033[1;32mgood\033[0m\n\033[1;31mbad\033[0m\n");
}

TEST(Display, TheLastStepIsRemembered) {
    shown(true, [](Display &display) {
        display.step("boot", "from bank A");
        display.more("and more");
        EXPECT_EQ(display.lastStep(), "boot: from bank A");
        display.progress({7, 0, 0});
        EXPECT_EQ(display.lastStep(), "download: 7 %");
    });
}

} // namespace
