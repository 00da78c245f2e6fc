// SPDX-License-Identifier: MIT
// Tasks that are done in order by a thread of their own, and reported back in the loop's.
#include "service/state/disk_writer.h"

#include "tests/unit/service/state/files.h"

#include <array>
#include <future>
#include <map>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using service::DiskWriter;
using Overtaking = service::DiskWriter::Overtaking;

bool isReadable(const DiskWriter &disk, int timeoutMs) {
    pollfd waiting{disk.fd(), POLLIN, 0};
    return poll(&waiting, 1, timeoutMs) == 1;
}

class ADiskWriter : public InAFolder {
  protected:
    /* A completion that notes its name and what is wrong. */
    DiskWriter::Done note(const std::string &name) {
        return [this, name](const base::Result<void> &stored) {
            notes_.push_back(stored ? name : name + ": " + stored.error().text);
        };
    }
    void dispatchUntil(std::size_t count) {
        while (notes_.size() < count && isReadable(disk_, kPatience)) {
            disk_.dispatch();
        }
        ASSERT_EQ(notes_.size(), count);
    }

    /* Adds a line to the file, which is rotated by these limits. */
    void append(const std::string &path, const std::string &line, std::uint64_t maxBytes, int keep,
                DiskWriter::Done done, Overtaking overtaking = Overtaking::forbidden) {
        auto &file = files_[path];
        if (!file) {
            file =
                std::make_shared<const service::LineFile>(service::LineFile{path, maxBytes, keep});
        }
        disk_.append(file, line, overtaking, std::move(done));
    }

    std::map<std::string, std::shared_ptr<const service::LineFile>> files_;
    DiskWriter disk_;
    std::vector<std::string> notes_;
};

/* Its thread hangs in a task, until it is let go. */
class ABusyDiskWriter : public ADiskWriter {
  protected:
    ABusyDiskWriter() {
        writeText(in("slow"), "line\n");
        const auto slow = std::make_shared<const service::LineFile>(
            service::LineFile{in("slow"), 5, 1, [this](std::string_view) {
                                  begun_.set_value();
                                  letGo_.get_future().wait();
                                  return "";
                              }});
        disk_.append(slow, "", Overtaking::allowed, {});
        begun_.get_future().wait();
    }
    void letGo() { letGo_.set_value(); }

    std::promise<void> begun_, letGo_;
};

TEST_F(ADiskWriter, ReplacesAFileAndSaysSo) {
    writeText(in("file"), "old");
    disk_.replace(in("file"), "new", note("done"));
    dispatchUntil(1);
    EXPECT_EQ(notes_.front(), "done");
    EXPECT_EQ(textOf(in("file")), "new");
    EXPECT_FALSE(std::filesystem::exists(in("file.new")));
}

TEST_F(ADiskWriter, StoresALineThatMayNotBeOvertakenBeforeTheNextText) {
    for (int number = 0; number < 50; ++number) {
        const std::string text = std::to_string(number);
        append(in("lines"), text, 1'000'000, 1, note("added " + text));
        disk_.replace(in("file"), text, note("replaced " + text));
    }
    dispatchUntil(100);
    std::string lines;
    std::size_t added = 0;
    std::size_t replaced = 0;
    for (const std::string &note : notes_) {
        const bool isLine = note.starts_with("added");
        EXPECT_EQ(note, (isLine ? "added " : "replaced ") +
                            std::to_string(isLine ? added++ : replaced++));
        EXPECT_LE(replaced, added) << "a text overtook a line";
    }
    for (int number = 0; number < 50; ++number) {
        lines += std::to_string(number) + "\n";
    }
    EXPECT_EQ(textOf(in("file")), "49");
    EXPECT_EQ(textOf(in("lines")), lines);
}

TEST_F(ABusyDiskWriter, LetsATextOvertakeLinesOfOthers) {
    append(in("lines"), "one", 1000, 1, note("one"), Overtaking::allowed);
    append(in("lines"), "two", 1000, 1, note("two"), Overtaking::allowed);
    disk_.replace(in("file"), "text", note("text"));
    EXPECT_EQ(disk_.waitingLines(), 2U);
    letGo();
    dispatchUntil(3);
    EXPECT_EQ(notes_, (std::vector<std::string>{"text", "one", "two"}));
    EXPECT_EQ(disk_.waitingLines(), 0U);
}

TEST_F(ABusyDiskWriter, KeepsTheOrderOfLinesWhereOneMayNotBeOvertaken) {
    append(in("lines"), "other", 1000, 1, note("other"), Overtaking::allowed);
    append(in("lines"), "own", 1000, 1, note("own"));
    append(in("lines"), "another", 1000, 1, note("another"), Overtaking::allowed);
    disk_.replace(in("file"), "text", note("text"));
    letGo();
    dispatchUntil(4);
    EXPECT_EQ(textOf(in("lines")), "other\nown\nanother\n");
    EXPECT_EQ(notes_.back(), "text");
}

/* How often a file of this folder was closed after writing, or put into its place. */
class FolderWatch {
  public:
    FolderWatch(const std::string &folder, std::uint32_t what) : fd_(inotify_init1(IN_NONBLOCK)) {
        EXPECT_GE(inotify_add_watch(fd_, folder.c_str(), what), 0);
    }
    ~FolderWatch() { close(fd_); }
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

    int count(const std::string &name) const {
        alignas(inotify_event) std::array<char, 64 * 1024> bytes{};
        const ssize_t got = read(fd_, bytes.data(), bytes.size());
        int found = 0;
        for (ssize_t at = 0; at < got;) {
            const auto *const event = reinterpret_cast<const inotify_event *>(bytes.data() + at);
            found += name == event->name ? 1 : 0;
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        return found;
    }

  private:
    int fd_;
};

TEST_F(ABusyDiskWriter, WritesOnlyTheNewestOfTheTextsThatWaitAndAnswersThemAll) {
    const FolderWatch watch(in(""), IN_MOVED_TO);
    for (const char *const text : {"1", "2", "3"}) {
        disk_.replace(in("file"), text, note(text));
        disk_.replace(in("other"), text, note(std::string("other ") + text));
    }
    letGo();
    dispatchUntil(6);
    EXPECT_EQ(notes_, (std::vector<std::string>{"1", "2", "3", "other 1", "other 2", "other 3"}));
    EXPECT_EQ(textOf(in("file")), "3");
    EXPECT_EQ(watch.count("file"), 1);
}

TEST_F(ABusyDiskWriter, TellsAllOfThemWhatWasWrong) {
    for (const char *const text : {"1", "2"}) {
        disk_.replace(in("missing/file"), text, note(text));
    }
    letGo();
    dispatchUntil(2);
    EXPECT_NE(notes_.at(0).find(in("missing/file")), std::string::npos) << notes_.at(0);
    EXPECT_NE(notes_.at(1).find(in("missing/file")), std::string::npos) << notes_.at(1);
}

TEST_F(ABusyDiskWriter, WritesTheLinesThatWaitTogether) {
    const FolderWatch watch(in(""), IN_CLOSE_WRITE);
    for (int number = 0; number < 100; ++number) {
        append(in("lines"), "line", 1'000'000, 1, note("line"), Overtaking::allowed);
    }
    letGo();
    dispatchUntil(100);
    EXPECT_EQ(textOf(in("lines")).size(), 100 * sizeof "line");
    EXPECT_EQ(watch.count("lines"), 1);
}

TEST_F(ADiskWriter, RotatesByTheLimitOfTheTask) {
    append(in("lines"), "one", 4, 1, note("one"));
    append(in("lines"), "two", 4, 1, note("two"));
    dispatchUntil(2);
    EXPECT_EQ(textOf(in("lines")), "two\n");
    EXPECT_EQ(textOf(in("lines.1")), "one\n");
}

TEST_F(ADiskWriter, SaysWhichFileCouldNotBeStoredAndGoesOn) {
    disk_.replace(in("missing/file"), "text", note("replaced"));
    append(in("missing/lines"), "text", 100, 1, note("added"));
    disk_.replace(in("file"), "text", note("next"));
    dispatchUntil(3);
    EXPECT_NE(notes_.at(0).find(in("missing/file")), std::string::npos) << notes_.at(0);
    EXPECT_NE(notes_.at(1).find(in("missing/lines")), std::string::npos) << notes_.at(1);
    EXPECT_EQ(notes_.at(2), "next");
}

TEST_F(ADiskWriter, CallsBackOnTheThreadThatDispatches) {
    std::thread::id calledOn;
    disk_.replace(in("file"), "text",
                  [&](const base::Result<void> &) { calledOn = std::this_thread::get_id(); });
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
    disk_.replace(in("first"), "text", [this](const base::Result<void> &) {
        disk_.replace(in("second"), "text", note("second"));
    });
    dispatchUntil(1);
    EXPECT_EQ(textOf(in("second")), "text");
}

TEST_F(ADiskWriter, NeedsNoCompletion) {
    disk_.replace(in("file"), "text", {});
    append(in("lines"), "line", 100, 1, note("added"));
    dispatchUntil(1);
    EXPECT_EQ(textOf(in("file")), "text");
}

TEST_F(ADiskWriter, FinishesWhatIsQueuedBeforeItGoes) {
    bool called = false;
    {
        const auto lines =
            std::make_shared<const service::LineFile>(service::LineFile{in("lines"), 1'000'000, 1});
        DiskWriter disk;
        for (int number = 0; number < 20; ++number) {
            disk.append(lines, "line", Overtaking::allowed,
                        [&](const base::Result<void> &) { called = true; });
        }
    }
    EXPECT_EQ(textOf(in("lines")).size(), 20 * sizeof "line");
    EXPECT_FALSE(called) << "nobody dispatched";
}

} // namespace
