// SPDX-License-Identifier: MIT
#include "node/bank_copy.h"

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

    base::Result<void> writeAll() {
        if (lseek(image_.file.get(), 0, SEEK_SET) < 0) {
            return base::Error{base::systemReason(image_.path + ": cannot be read")};
        }
        const auto write = [&](const void *piece, std::size_t size) {
            return writePiece(static_cast<const char *>(piece), size);
        };
        const auto &[path, file, manifest] = image_;
        if (auto all = readInPieces(file.get(), path, manifest.imageSize, write); !all) {
            return all;
        }
        if (!base::timed(times_.sync, [&] { return bank_.sync() && bank_.close(); })) {
            return notSynced();
        }
        readBack_.synced(written_);
        return {};
    }

    const std::string &trailer() const { return trailer_; }

  private:
    base::Result<void> writePiece(const char *piece, std::size_t size) {
        if (!base::timed(times_.write, [&] { return bank_.write(piece, size); })) {
            return base::Error{base::systemReason(cannotWrite_) +
                               "; check the space and the device"};
        }
        const std::uint64_t payload = image_.manifest.payloadSize;
        const std::uint64_t skipped = written_ < payload ? payload - written_ : 0;
        if (skipped < size) {
            trailer_.append(piece + skipped, size - static_cast<std::size_t>(skipped));
        }
        written_ += size;
        return written_ % kRegionSize != 0 ? base::Result<void>() : syncRegion();
    }

    base::Result<void> syncRegion() {
        if (!base::timed(times_.sync, [&] { return bank_.syncData(); })) {
            return notSynced();
        }
        readBack_.synced(written_);
        return {};
    }

    base::Error notSynced() const {
        return {base::systemReason(cannotWrite_) + "; check the device"};
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
base::Error whoIsDamaged(const ImageFile &image, const std::string &bankPath) {
    const auto whole = readImage(image.file.get(), image.path, image.manifest);
    if (!whole) {
        return whole.error().orBecause(base::Reason::imageUnreadable);
    }
    return {"the bank " + bankPath + " does not hold what was written; check the device",
            base::Reason::bankReadsOther};
}

base::Result<std::string> copyAndCompare(const ImageFile &image, base::UniqueFd bank,
                                         base::UniqueFd bankToRead, const std::string &bankPath,
                                         CopyTimes &times) {
    ReadBack readBack(std::move(bankToRead), "the bank " + bankPath, image.manifest.payloadSize,
                      image.manifest.imageSize);
    BankWriter writer(image, std::move(bank), bankPath, readBack, times);
    const auto copied = readBack.start().andThen([&] { return writer.writeAll(); }).andThen([&] {
        return readBack.finish();
    });
    if (!copied) {
        return copied.error();
    }
    times.readBack = readBack.timeToRead();
    times.sum = readBack.timeToSum();
    if (readBack.sums().payload() != image.manifest.payloadSha256 ||
        readBack.sums().trailer() != writer.trailer()) {
        return whoIsDamaged(image, bankPath);
    }
    return readBack.sums().whole();
}

} // namespace

base::Result<std::string> copyToBank(const ImageFile &image, base::UniqueFd bank,
                                     const std::string &bankPath, CopyTimes &times) {
    auto bankToRead = openBank(bankPath, O_RDONLY);
    if (!bankToRead) {
        return bankToRead.error();
    }
    return base::timed(times.all, [&] {
        return copyAndCompare(image, std::move(bank), std::move(bankToRead->device), bankPath,
                              times);
    });
}

} // namespace node
