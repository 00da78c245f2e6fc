// SPDX-License-Identifier: MIT
// The ledger's file: kept, read again, and put aside where it is damaged.
#include "service/request_book.h"

#include "tests/support/results.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/stat.h>

namespace service {
namespace {

namespace fs = std::filesystem;

class Book : public testing::Test {
  protected:
    Book() {
        char name[] = "/tmp/ota-book-test.XXXXXX";
        folder_ = mkdtemp(name);
        path_ = folder_ / "requests.json";
    }
    ~Book() override { fs::remove_all(folder_); }

    std::string save(RequestBook &book) {
        std::string result = "never answered";
        book.save(
            [&](const base::Result<void> &saved) { result = saved ? "" : saved.error().text; });
        pollfd entry{disk_.fd(), POLLIN, 0};
        poll(&entry, 1, 10'000);
        disk_.dispatch();
        return result;
    }

    fs::path folder_;
    std::string path_;
    DiskWriter disk_;
    std::string whatIsWrong_;
};

TEST_F(Book, without_a_file_is_empty) {
    RequestBook book(disk_, path_);
    EXPECT_TRUE(succeeds(book.load(), whatIsWrong_));
    EXPECT_EQ(book.ledger(), Ledger{});
}

TEST_F(Book, reads_what_it_kept) {
    RequestBook book(disk_, path_);
    book.ledger().nextTicket = 7;
    book.ledger().queue.push_back({6, kMobileTrigger, R"({"event":"mobile-trigger"})", "", 0});
    ASSERT_EQ(save(book), "");
    RequestBook again(disk_, path_);
    ASSERT_TRUE(succeeds(again.load(), whatIsWrong_)) << whatIsWrong_;
    EXPECT_EQ(again.ledger(), book.ledger());
}

TEST_F(Book, that_is_damaged_is_put_aside_and_told) {
    std::ofstream(path_) << "{\"half\": ";
    RequestBook book(disk_, path_);
    book.ledger().nextTicket = 9;
    EXPECT_FALSE(succeeds(book.load(), whatIsWrong_));
    EXPECT_NE(whatIsWrong_.find(path_ + ".damaged"), std::string::npos) << whatIsWrong_;
    EXPECT_TRUE(fs::exists(path_ + ".damaged"));
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(Book, of_a_newer_release_is_put_aside_whole_however_often) {
    std::string text = printLedger(Ledger{});
    text.insert(text.rfind('}'), ",\"later\": {\"a\": [1]}");
    for (const char *const aside : {".newer", ".newer.2", ".newer.3"}) {
        std::ofstream(path_) << text;
        RequestBook book(disk_, path_);
        EXPECT_FALSE(succeeds(book.load(), whatIsWrong_));
        EXPECT_EQ(book.ledger(), Ledger{});
        EXPECT_EQ(whatIsWrong_, path_ +
                                    ": the kept requests are of a newer release of this service: "
                                    "it holds a key that this release does not know; moved to " +
                                    path_ + aside + "; the node starts without them, offer again");
        std::ifstream kept(path_ + aside);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), text);
    }
    EXPECT_FALSE(fs::exists(path_ + ".damaged"));
}

TEST_F(Book, of_an_earlier_release_is_taken_over) {
    fs::copy_file(OTA_SAMPLES "/older/requests_before_trials.json", path_);
    RequestBook book(disk_, path_);
    ASSERT_TRUE(succeeds(book.load(), whatIsWrong_)) << whatIsWrong_;
    const Ledger &ledger = book.ledger();
    EXPECT_EQ(ledger.nextTicket, 9U);
    ASSERT_TRUE(ledger.waiting);
    EXPECT_EQ(ledger.waiting->offer.version, "4QZ-2.0.0");
    EXPECT_EQ(ledger.waiting->failedTrials, 0);
    ASSERT_TRUE(ledger.running);
    EXPECT_EQ(ledger.running->request.kind, kActivationTime);
    ASSERT_EQ(ledger.timers.size(), 1U);
    EXPECT_EQ(ledger.timers[0].name, "rebootTimer");
    ASSERT_EQ(ledger.queue.size(), 1U);
}

TEST_F(Book, is_not_waited_for_where_a_pipe_stands_in_its_place) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    RequestBook book(disk_, path_);
    EXPECT_FALSE(succeeds(book.load(), whatIsWrong_));
    EXPECT_EQ(whatIsWrong_, path_ + ": is no regular file; replace it by one; the node starts "
                                    "without the requests that it held");
    EXPECT_EQ(save(book), "") << "it takes the pipe's place";
    EXPECT_TRUE(succeeds(book.load(), whatIsWrong_)) << whatIsWrong_;
}

TEST_F(Book, tells_where_it_cannot_be_kept) {
    RequestBook book(disk_, (folder_ / "missing/requests.json").string());
    EXPECT_NE(save(book).find("missing/requests.json"), std::string::npos);
}

} // namespace
} // namespace service
