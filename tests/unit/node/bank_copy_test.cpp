// SPDX-License-Identifier: MIT
// An image on its way into a bank: region by region, and believed once it came back.
#include "faults.h"
#include "fixture.h"
#include "next_function.h"
#include "node/bank_copy.h"
#include "node/bank_device.h"
#include "node/digest.h"
#include "platform/nal.h"
#include "tests/support/results.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t kRegion = 16 * 1024 * 1024;     // what is synced at once
constexpr std::size_t kPiece = 512 * 1024;            // what is read back at once
constexpr auto kTick = std::chrono::milliseconds(25); // longer than one of any kernel's clock

// What the stand-ins below do; the read-back calls them from threads of its own.
std::function<int()> onDataSync;
std::function<bool(int file, off_t at)> refusesRead; // with errno set; 0: the file ends
std::atomic<std::uint64_t> bytesRead;

// Which large pages of memory the pieces were read into.
class LargePages {
  public:
    void clear() {
        const std::lock_guard lock(mutex_);
        pages_.clear();
    }
    void add(const void *piece) {
        const std::lock_guard lock(mutex_);
        pages_.insert(reinterpret_cast<std::uintptr_t>(piece) / kSize);
    }
    std::size_t count() {
        const std::lock_guard lock(mutex_);
        return pages_.size();
    }

  private:
    static constexpr std::uintptr_t kSize = 2 * 1024 * 1024;

    std::mutex mutex_;
    std::set<std::uintptr_t> pages_;
};
LargePages readInto;

class CopyingToABank : public InTemporaryDirectory {
  protected:
    CopyingToABank() { bytesRead = 0; }
    ~CopyingToABank() override {
        faults::clear();
        onDataSync = nullptr;
        refusesRead = nullptr;
    }

    // No two pieces or blocks of it are alike.
    void makeImage(std::size_t size) {
        static const std::string pattern = payloadOf(65537);
        std::string payload;
        while (payload.size() < size) {
            payload += pattern;
        }
        payload.resize(size);
        bytes_ = imageOf(payload, "2.0.0");
        writeText(in("image"), bytes_);
        std::ofstream(in("bank")).close();
        std::filesystem::resize_file(in("bank"), bytes_.size() + 5000);
    }

    // Of this many bytes, trailer and footer included.
    void makeWholeImage(std::size_t size) {
        makeImage(size - 200);
        makeImage(size - (bytes_.size() - (size - 200)));
        ASSERT_EQ(bytes_.size(), size);
    }

    bool copy() {
        node::ImageFile image{in("image"), base::UniqueFd(open(in("image").c_str(), O_RDONLY)), {}};
        base::UniqueFd bank(open(in("bank").c_str(), O_WRONLY));
        node::CopyTimes times;
        EXPECT_TRUE(
            took(node::readImageManifest(image.file.get(), image.path, node::ImageTrust{false}),
                 image.manifest, whatIsWrong_))
            << whatIsWrong_;
        return took(node::copyToBank(image, std::move(bank), in("bank"), times), sha256_,
                    whatIsWrong_);
    }

    void damageBank(std::size_t at) const {
        std::fstream bank(in("bank"), std::ios::in | std::ios::out | std::ios::binary);
        bank.seekp(static_cast<std::streamoff>(at));
        bank.put(static_cast<char>(~bytes_.at(at)));
    }

    void expectRefusal(const std::string &complaint) {
        EXPECT_FALSE(copy());
        EXPECT_EQ(whatIsWrong_, complaint);
    }

    std::string bytes_;
    std::string sha256_;
    std::string whatIsWrong_;
};

TEST_F(CopyingToABank, WritesEveryByteOfAnyImageAndNoneBehindIt) {
    for (const std::size_t size :
         {std::size_t{300}, std::size_t{4096}, std::size_t{64 * 1024}, std::size_t{256 * 1024},
          std::size_t{256 * 1024 + 1}, std::size_t{512 * 1024}, std::size_t{512 * 1024 + 1},
          kRegion - 1, kRegion, kRegion + 1, 2 * kRegion + 777777}) {
        makeWholeImage(size);
        ASSERT_TRUE(copy()) << whatIsWrong_;
        const std::string bank = readText(in("bank"));
        EXPECT_TRUE(bank.starts_with(bytes_)) << size;
        EXPECT_EQ(bank.substr(bytes_.size()), std::string(5000, '\0')) << size;
        EXPECT_EQ(sha256_, node::sha256Of(bytes_)) << size;
    }
}

TEST_F(CopyingToABank, ReadsBackOneRegionWhileTheNextIsWritten) {
    makeWholeImage(2 * kRegion + 1000);
    int syncs = 0;
    bool cameBack = false;
    onDataSync = [&] {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (++syncs == 2 && !cameBack && std::chrono::steady_clock::now() < end) {
            --syncs;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            cameBack = bytesRead >= kRegion;
        }
        return 0;
    };
    EXPECT_TRUE(copy()) << whatIsWrong_;
    EXPECT_TRUE(cameBack);
}

TEST_F(CopyingToABank, ReadsBackIntoOneLargePageOfMemory) {
    makeWholeImage(kRegion + 1000);
    readInto.clear();
    EXPECT_TRUE(copy()) << whatIsWrong_;
    EXPECT_EQ(readInto.count(), 1U);
}

TEST_F(CopyingToABank, ReadsNothingBackThatIsNotSynced) {
    makeWholeImage(2 * kRegion + 1000);
    int syncs = 0;
    bool tooEarly = false;
    onDataSync = [&] {
        std::this_thread::sleep_for(kTick); // time enough for a reader that does not wait
        tooEarly = tooEarly || bytesRead > static_cast<std::uint64_t>(syncs) * kRegion;
        ++syncs;
        return 0;
    };
    EXPECT_TRUE(copy()) << whatIsWrong_;
    EXPECT_EQ(syncs, 2);
    EXPECT_FALSE(tooEarly);
}

TEST_F(CopyingToABank, NoticesBytesThatChangeAfterTheyWereSynced) {
    makeWholeImage(2 * kRegion + 1000);
    const std::string complaint =
        "the bank " + in("bank") + " does not hold what was written; check the device";
    for (const std::size_t at : {std::size_t{0}, kRegion / 2, kRegion - 1}) {
        onDataSync = [&] {
            damageBank(at);
            onDataSync = nullptr;
            return 0;
        };
        expectRefusal(complaint);
    }
    for (const std::size_t at : {2 * kRegion, bytes_.size() - 1}) { // payload and trailer
        faults::afterFileSync(1, [&] { damageBank(at); });
        expectRefusal(complaint);
    }
}

TEST_F(CopyingToABank, SaysWhereTheImageItselfIsDamaged) {
    makeImage(kRegion + 1000);
    bytes_[4711] = static_cast<char>(bytes_[4711] ^ 1);
    writeText(in("image"), bytes_);
    expectRefusal(in("image") + ": the image is damaged, its payload does not have the SHA-256 sum "
                                "of its manifest; get the image again");
}

TEST_F(CopyingToABank, TakesNoTrailerButTheOneThatWasChecked) {
    makeWholeImage(kRegion + 1000);
    onDataSync = [&] {
        std::fstream image(in("image"), std::ios::in | std::ios::out | std::ios::binary);
        image.seekp(-20, std::ios::end); // the manifest's last line, before the footer
        image.put('x');
        return 0;
    };
    expectRefusal(in("image") + ": its manifest is another than the one that was checked; get the "
                                "image again");
}

TEST_F(CopyingToABank, EndsWhereARegionCannotBeSynced) {
    makeWholeImage(2 * kRegion + 1000);
    int syncs = 0;
    onDataSync = [&] {
        errno = EIO;
        return ++syncs == 2 ? -1 : 0;
    };
    expectRefusal("the bank " + in("bank") +
                  " cannot be written: Input/output error; check the device");
    EXPECT_EQ(syncs, 2);
}

TEST_F(CopyingToABank, EndsWhereTheBankCannotBeReadBack) {
    makeWholeImage(kRegion + 1000);
    for (const off_t at : {off_t{0}, static_cast<off_t>(kRegion)}) {
        refusesRead = [at](int, off_t offset) {
            errno = EIO;
            return offset >= at;
        };
        expectRefusal("the bank " + in("bank") +
                      ": cannot be read back: Input/output error; check the device");
    }
    refusesRead = [](int, off_t) {
        errno = 0;
        return true;
    };
    expectRefusal("the bank " + in("bank") + ": ends before its " + std::to_string(bytes_.size()) +
                  " bytes were read back; check the device");
}

TEST_F(CopyingToABank, GoesThroughTheCacheWhereTheBankDoesNotLetItBePassedBy) {
    makeWholeImage(kRegion + 1000);
    refusesRead = [](int file, off_t) {
        errno = EINVAL;
        return (fcntl(file, F_GETFL) & O_DIRECT) != 0;
    };
    faults::shortenWrites(1000); // no whole block either
    EXPECT_TRUE(copy()) << whatIsWrong_;
    EXPECT_TRUE(readText(in("bank")).starts_with(bytes_));
}

TEST_F(CopyingToABank, CopiesByItselfWhereTheKernelDoesNotMoveThePages) {
    makeWholeImage(kRegion + 1000);
    for (const int why : {EINVAL, EPERM, ENOSYS}) {
        for (const int n : {1, 2, 7}) { // out of the image, into the bank, amidst it
            std::ofstream(in("bank")).close();
            std::filesystem::resize_file(in("bank"), bytes_.size() + 5000);
            faults::failFrom(faults::Call::move, n, why);
            ASSERT_TRUE(copy()) << whatIsWrong_;
            EXPECT_TRUE(readText(in("bank")).starts_with(bytes_)) << why << ", " << n;
        }
    }
    faults::failOnce(faults::Call::move, 3, EIO);
    expectRefusal(in("image") + ": cannot be read: Input/output error");
}

class AReadBack : public OnANode {
  protected:
    AReadBack() {
        open();
        // So slow that the clock goes on between the last write and the end of the read-back.
        refusesRead = [](int, off_t) {
            std::this_thread::sleep_for(kTick);
            return false;
        };
        installPassive("2.0.0");
        refusesRead = nullptr;
        record_ = bootState().of(node::Bank::b);
        bytesRead = 0;
    }
    ~AReadBack() override { refusesRead = nullptr; }

    bool stillHolds() const { return node::readBackStillHolds(record_, in("bank_b")); }

    node::BankRecord record_;
};

TEST_F(AReadBack, IsNotRepeatedByTheActivationThatFollows) {
    EXPECT_TRUE(stillHolds());
    EXPECT_NE(nal_activatePassiveImage(), 0);
    EXPECT_EQ(bytesRead, 0U);
}

TEST_F(AReadBack, IsRepeatedOnceTheBankChanged) {
    damagePassive();
    EXPECT_FALSE(stillHolds());
    EXPECT_EQ(nal_activatePassiveImage(), 0);
    EXPECT_GT(bytesRead, 0U);
    EXPECT_FALSE(bootState().of(node::Bank::b).whole);
}

TEST_F(AReadBack, HoldsForItsOwnBankAndRecordAlone) {
    node::BankRecord other = record_;
    other.sha256.front() = other.sha256.front() == '0' ? '1' : '0';
    EXPECT_FALSE(node::readBackStillHolds(other, in("bank_b")));
    EXPECT_FALSE(node::readBackStillHolds(record_, in("bank_a")));
    EXPECT_FALSE(node::readBackStillHolds(node::BankRecord{}, in("bank_b")));
    std::filesystem::copy_file(in("bank_b"), in("copy"));
    std::filesystem::rename(in("copy"), in("bank_b"));
    EXPECT_FALSE(stillHolds()) << "another file of this name";
}

TEST_F(AReadBack, IsForgottenWhenTheNextImageIsWritten) {
    std::string image = imageOf(payloadOf(300000, 7), "3.0.0");
    image[0] = static_cast<char>(image[0] ^ 1);
    writeText(in("image"), image);
    EXPECT_NE(nal_writePassiveImage(in("image").c_str()), 0);
    EXPECT_FALSE(stillHolds());
}

TEST_F(AReadBack, IsNotBelievedWhereTheClockHasNotGoneOn) {
    // A change within this tick would not show in the file's times. On a busy machine the tick may
    // be over before the call.
    bool believedAlways = true;
    for (int i = 0; i < 100 && believedAlways; ++i) {
        damagePassive();
        node::rememberReadBack(record_, in("bank_b"));
        believedAlways = stillHolds();
    }
    EXPECT_FALSE(believedAlways);
    std::this_thread::sleep_for(kTick);
    node::rememberReadBack(record_, in("bank_b"));
    EXPECT_TRUE(stillHolds());
}

} // namespace

extern "C" {

ssize_t pread(int file, void *buffer, size_t size, off_t at) {
    if (refusesRead && refusesRead(file, at)) {
        return errno == 0 ? 0 : -1;
    }
    if (size == kPiece) {
        readInto.add(buffer);
    }
    const auto load = ota::test::nextFunction<ssize_t(int, void *, size_t, off_t)>("pread");
    const ssize_t got = load(file, buffer, size, at);
    bytesRead += static_cast<std::uint64_t>(got > 0 ? got : 0);
    return got;
}

int fdatasync(int file) {
    if (onDataSync) {
        const std::function<int()> action = onDataSync; // it may take itself away
        if (action() != 0) {
            return -1;
        }
    }
    return ota::test::nextFunction<int(int)>("fdatasync")(file);
}
}
