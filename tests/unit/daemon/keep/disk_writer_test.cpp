// SPDX-License-Identifier: MIT
// Tasks that are done in order by a thread of their own, and reported back in the loop's.
#include "host/daemon/keep/disk_writer.h"

#include "tests/unit/daemon/keep/files.h"

#include <memory>
#include <poll.h>
#include <thread>
#include <vector>

namespace {

using otad::DiskWriter;

constexpr int kPatience = 10'000; // milliseconds; only a failure waits that long

bool isReadable(const DiskWriter &disk, int timeoutMs) {
    pollfd waiting{disk.fd(), POLLIN, 0};
    return poll(&waiting, 1, timeoutMs) == 1;
}

class ADiskWriter : public InAFolder {
  protected:
    /* A completion that notes its name and what is wrong. */
    DiskWriter::Done note(const std::string &name) {
        return [this, name](const std::string &whatIsWrong) {
            notes_.push_back(whatIsWrong.empty() ? name : name + ": " + whatIsWrong);
        };
    }
    void dispatchUntil(std::size_t count) {
        while (notes_.size() < count && isReadable(disk_, kPatience)) {
            disk_.dispatch();
        }
        ASSERT_EQ(notes_.size(), count);
    }

    DiskWriter disk_;
    std::vector<std::string> notes_;
};

TEST_F(ADiskWriter, ReplacesAFileAndSaysSo) {
    writeText(in("file"), "old");
    disk_.replace(in("file"), "new", note("done"));
    dispatchUntil(1);
    EXPECT_EQ(notes_.front(), "done");
    EXPECT_EQ(textOf(in("file")), "new");
    EXPECT_FALSE(std::filesystem::exists(in("file.new")));
}

TEST_F(ADiskWriter, DoesItsTasksInTheOrderOfTheCalls) {
    for (int number = 0; number < 50; ++number) {
        const std::string text = std::to_string(number);
        disk_.replace(in("file"), text, note("replaced " + text));
        disk_.append(in("lines"), text, 1'000'000, 1, note("added " + text));
    }
    dispatchUntil(100);
    std::string lines;
    for (std::size_t number = 0; number < 50; ++number) {
        const std::string text = std::to_string(number);
        EXPECT_EQ(notes_.at(2 * number), "replaced " + text);
        EXPECT_EQ(notes_.at(2 * number + 1), "added " + text);
        lines += text + "\n";
    }
    EXPECT_EQ(textOf(in("file")), "49");
    EXPECT_EQ(textOf(in("lines")), lines);
}

TEST_F(ADiskWriter, RotatesByTheLimitOfTheTask) {
    disk_.append(in("lines"), "one", 4, 1, note("one"));
    disk_.append(in("lines"), "two", 4, 1, note("two"));
    dispatchUntil(2);
    EXPECT_EQ(textOf(in("lines")), "two\n");
    EXPECT_EQ(textOf(in("lines.1")), "one\n");
}

TEST_F(ADiskWriter, SaysWhichFileCouldNotBeStoredAndGoesOn) {
    disk_.replace(in("missing/file"), "text", note("replaced"));
    disk_.append(in("missing/lines"), "text", 100, 1, note("added"));
    disk_.replace(in("file"), "text", note("next"));
    dispatchUntil(3);
    EXPECT_NE(notes_.at(0).find(in("missing/file")), std::string::npos) << notes_.at(0);
    EXPECT_NE(notes_.at(1).find(in("missing/lines")), std::string::npos) << notes_.at(1);
    EXPECT_EQ(notes_.at(2), "next");
}

TEST_F(ADiskWriter, CallsBackOnTheThreadThatDispatches) {
    std::thread::id calledOn;
    disk_.replace(in("file"), "text",
                  [&](const std::string &) { calledOn = std::this_thread::get_id(); });
    ASSERT_TRUE(isReadable(disk_, kPatience));
    EXPECT_EQ(calledOn, std::thread::id()) << "it was called before the dispatch";
    disk_.dispatch();
    EXPECT_EQ(calledOn, std::this_thread::get_id());
}

TEST_F(ADiskWriter, IsQuietOnceEverythingWasDispatched) {
    EXPECT_FALSE(isReadable(disk_, 0));
    disk_.dispatch(); // nothing waits, nothing blocks
    disk_.replace(in("file"), "text", note("done"));
    dispatchUntil(1);
    EXPECT_FALSE(isReadable(disk_, 0));
}

TEST_F(ADiskWriter, TakesNewTasksFromACompletion) {
    disk_.replace(in("first"), "text", [this](const std::string &) {
        disk_.replace(in("second"), "text", note("second"));
    });
    dispatchUntil(1);
    EXPECT_EQ(textOf(in("second")), "text");
}

TEST_F(ADiskWriter, NeedsNoCompletion) {
    disk_.replace(in("file"), "text", {});
    disk_.append(in("lines"), "line", 100, 1, note("added"));
    dispatchUntil(1);
    EXPECT_EQ(textOf(in("file")), "text");
}

TEST_F(ADiskWriter, FinishesWhatIsQueuedBeforeItGoes) {
    bool called = false;
    {
        DiskWriter disk;
        for (int number = 0; number < 20; ++number) {
            disk.append(in("lines"), "line", 1'000'000, 1,
                        [&](const std::string &) { called = true; });
        }
    }
    EXPECT_EQ(textOf(in("lines")).size(), 20 * sizeof "line");
    EXPECT_FALSE(called) << "nobody dispatched";
}

} // namespace
