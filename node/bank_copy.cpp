// SPDX-License-Identifier: MIT
#include "node/bank_copy.h"

#include "base/timed.h"
#include "node/bank_device.h"
#include "node/page_pipe.h"
#include "node/read_back.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace node {
namespace {

// What is synced at once, and then read back: large enough for a device to work on, small enough
// that little is left to read when the last byte is written.
constexpr std::uint64_t kRegionSize = 16 * 1024 * 1024;

class BankWriter {
  public:
    BankWriter(const ImageFile &image, base::UniqueFd bank, const std::string &bankPath,
               ReadBack &readBack, CopyTimes &times)
        : image_(image), bank_(std::move(bank)),
          cannotWrite_("the bank " + bankPath + " cannot be written"), readBack_(readBack),
          times_(times) {}

    base::Result<void> writeAll() {
        if (lseek(image_.file.get(), 0, SEEK_SET) < 0) {
            return cannotRead();
        }
        if (auto moved = movePages(); !moved) {
            return moved;
        }
        if (auto rest = writePieces(); !rest) {
            return rest;
        }
        if (!base::timed(times_.sync, [&] { return bank_.sync() && bank_.close(); })) {
            return notSynced();
        }
        readBack_.synced(written_);
        return {};
    }

  private:
    // As much as the kernel moves from file to file by itself.
    base::Result<void> movePages() {
        PagePipe pipe;
        if (!pipe.open()) {
            return {};
        }
        while (written_ < image_.manifest.imageSize) {
            const auto moved = movePiece(pipe);
            if (!moved) {
                return moved.error();
            }
            if (*moved == 0) {
                return {};
            }
            if (auto done = wrote(*moved); !done) {
                return done;
            }
        }
        return {};
    }

    // 0: the kernel does not do that with these files, or not for this process.
    base::Result<std::size_t> movePiece(const PagePipe &pipe) {
        const std::uint64_t left = image_.manifest.imageSize - written_;
        const auto most = static_cast<std::size_t>(
            std::min<std::uint64_t>({left, PagePipe::kSize, kRegionSize - written_ % kRegionSize}));
        const std::int64_t taken =
            base::timed(times_.write, [&] { return pipe.fill(image_.file.get(), most); });
        if (taken < 0) {
            return isRefused() ? base::Result<std::size_t>(0) : cannotRead();
        }
        if (taken == 0) {
            return endsBefore(image_.path, image_.manifest.imageSize);
        }
        const auto size = static_cast<std::size_t>(taken);
        if (!base::timed(times_.write, [&] { return bank_.writeFrom(pipe.end(), size); })) {
            return isRefused() ? base::Result<std::size_t>(0) : cannotWrite();
        }
        return size;
    }

    static bool isRefused() { return errno == EINVAL || errno == ENOSYS || errno == EPERM; }

    // Whatever was not moved.
    base::Result<void> writePieces() {
        const auto position = static_cast<off_t>(bank_.position());
        written_ = bank_.position();
        if (lseek(image_.file.get(), position, SEEK_SET) < 0) {
            return cannotRead();
        }
        const auto write = [&](const void *piece, std::size_t size) {
            return writePiece(static_cast<const char *>(piece), size);
        };
        return readInPieces(image_.file.get(), image_.path, image_.manifest.imageSize - written_,
                            write);
    }

    base::Result<void> writePiece(const char *piece, std::size_t size) {
        return base::timed(times_.write, [&] { return bank_.write(piece, size); }) ? wrote(size)
                                                                                   : cannotWrite();
    }

    base::Result<void> wrote(std::size_t size) {
        const std::uint64_t region = written_ / kRegionSize;
        written_ += size;
        return written_ / kRegionSize == region ? base::Result<void>() : syncRegion();
    }

    base::Error cannotRead() const {
        return {base::systemReason(image_.path + ": cannot be read")};
    }

    base::Error cannotWrite() const {
        return {base::systemReason(cannotWrite_) + "; check the space and the device"};
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
};

// The digest is taken of what came back alone, so a wrong one asks whose fault it is.
base::Error whoIsDamaged(const ImageFile &image, const std::string &bankPath) {
    const auto whole = readImage(image.file.get(), image.path, image.manifest);
    if (!whole) {
        return whole.error().orBecause(base::Reason::imageUnreadable);
    }
    std::string trailer(image.manifest.trailer.size(), '\0');
    const auto at = static_cast<off_t>(image.manifest.payloadSize);
    if (pread(image.file.get(), trailer.data(), trailer.size(), at) < 0 ||
        trailer != image.manifest.trailer) {
        return {image.path +
                    ": its manifest is another than the one that was checked; get the image again",
                base::Reason::imageUnreadable};
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
    // The digest covers the payload, the trailer is what was checked before the first byte.
    if (readBack.sums().payload() != image.manifest.payloadSha256 ||
        readBack.sums().trailer() != image.manifest.trailer) {
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
