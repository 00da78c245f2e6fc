// SPDX-License-Identifier: MIT
#include "node/bank_copy.h"

#include "base/because.h"
#include "base/timed.h"
#include "node/bank_device.h"
#include "node/read_back.h"

#include <fcntl.h>
#include <unistd.h>

namespace node {
namespace {

// What is synced at once, and then read back: large enough for a device to work on, small enough
// that little is left to read when the last byte is written.
constexpr std::uint64_t kRegionSize = 8 * 1024 * 1024;

class BankWriter {
  public:
    BankWriter(const ImageFile &image, base::UniqueFd bank, const std::string &bankPath,
               ReadBack &readBack, CopyTimes &times)
        : image_(image), bank_(std::move(bank)),
          cannotWrite_("the bank " + bankPath + " cannot be written"), readBack_(readBack),
          times_(times) {}

    bool writeAll(std::string &whatIsWrong) {
        if (lseek(image_.file.get(), 0, SEEK_SET) < 0) {
            whatIsWrong = base::systemReason(image_.path + ": cannot be read");
            return false;
        }
        const PieceTaker write = [&](const void *piece, std::size_t size, std::string &wrong) {
            return writePiece(static_cast<const char *>(piece), size, wrong);
        };
        if (!readInPieces(image_.file.get(), image_.path, image_.size, write, whatIsWrong)) {
            return false;
        }
        if (!base::timed(times_.sync, [&] { return bank_.sync() && bank_.close(); })) {
            return failSync(whatIsWrong);
        }
        readBack_.synced(written_);
        return true;
    }

    const std::string &trailer() const { return trailer_; }

  private:
    bool writePiece(const char *piece, std::size_t size, std::string &whatIsWrong) {
        if (!base::timed(times_.write, [&] { return bank_.write(piece, size); })) {
            whatIsWrong = base::systemReason(cannotWrite_) + "; check the space and the device";
            return false;
        }
        const std::uint64_t payload = image_.manifest.payloadSize;
        const std::uint64_t skipped = written_ < payload ? payload - written_ : 0;
        if (skipped < size) {
            trailer_.append(piece + skipped, size - static_cast<std::size_t>(skipped));
        }
        written_ += size;
        return written_ % kRegionSize != 0 || syncRegion(whatIsWrong);
    }

    bool syncRegion(std::string &whatIsWrong) {
        if (!base::timed(times_.sync, [&] { return bank_.syncData(); })) {
            return failSync(whatIsWrong);
        }
        readBack_.synced(written_);
        return true;
    }

    bool failSync(std::string &whatIsWrong) const {
        whatIsWrong = base::systemReason(cannotWrite_) + "; check the device";
        return false;
    }

    const ImageFile &image_;
    DirectFile bank_;
    const std::string cannotWrite_;
    ReadBack &readBack_;
    CopyTimes &times_;
    std::uint64_t written_ = 0;
    std::string trailer_;
};

// The digest is taken of what came back alone, so a wrong one asks whose fault it is.
bool sayWhoIsDamaged(const ImageFile &image, const std::string &bankPath,
                     std::string &whatIsWrong) {
    const PieceTaker keepNothing = [](const void *, std::size_t, std::string &) { return true; };
    std::string sha256;
    if (readImage(image.file.get(), image.path, image.manifest, image.size, keepNothing, sha256,
                  whatIsWrong)) {
        whatIsWrong = "the bank " + bankPath + " does not hold what was written; check the device";
        return base::orBecause(false, base::Reason::bankReadsOther);
    }
    return base::orBecause(false, base::Reason::imageUnreadable);
}

bool copyAndCompare(const ImageFile &image, base::UniqueFd bank, base::UniqueFd bankToRead,
                    const std::string &bankPath, std::string &sha256, CopyTimes &times,
                    std::string &whatIsWrong) {
    ReadBack readBack(std::move(bankToRead), "the bank " + bankPath, image.manifest.payloadSize,
                      image.size);
    BankWriter writer(image, std::move(bank), bankPath, readBack, times);
    if (!readBack.start(whatIsWrong) || !writer.writeAll(whatIsWrong) ||
        !readBack.finish(whatIsWrong)) {
        return false;
    }
    times.readBack = readBack.timeToRead();
    times.sum = readBack.timeToSum();
    if (readBack.sums().payload() != image.manifest.payloadSha256 ||
        readBack.sums().trailer() != writer.trailer()) {
        return sayWhoIsDamaged(image, bankPath, whatIsWrong);
    }
    sha256 = readBack.sums().whole();
    return true;
}

} // namespace

bool copyToBank(const ImageFile &image, base::UniqueFd bank, const std::string &bankPath,
                std::string &sha256, CopyTimes &times, std::string &whatIsWrong) {
    std::uint64_t bankSize = 0;
    base::UniqueFd bankToRead = openBank(bankPath, O_RDONLY, bankSize, whatIsWrong);
    if (!bankToRead) {
        return false;
    }
    return base::timed(times.all, [&] {
        return copyAndCompare(image, std::move(bank), std::move(bankToRead), bankPath, sha256,
                              times, whatIsWrong);
    });
}

} // namespace node
