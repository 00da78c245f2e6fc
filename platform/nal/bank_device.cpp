// SPDX-License-Identifier: MIT
// A bank as a device: its size, its bytes, and what was really stored.
#include "platform/nal/bank_device.h"

#include "platform/nal/digest.h"
#include "platform/nal/image_stream.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace nal {
namespace {

// Fills in the status of a bank that can be used; else adds why it cannot.
bool lookAtBank(const Config &config, Bank bank, struct stat &status,
                std::vector<BankMistake> &mistakes) {
    const std::string &path = config.bankPath(bank);
    std::string whatIsWrong;
    std::uint64_t size = 0;
    const UniqueFd device = openBank(path, O_RDONLY, size, whatIsWrong);
    if (!device || fstat(device.get(), &status) != 0) {
        mistakes.push_back({bankName(bank), "cannot be used: " + whatIsWrong});
        return false;
    }
    if (S_ISBLK(status.st_mode)) {
        return true;
    }
    if (config.bankSize == 0) {
        mistakes.push_back({"size", "is missing: expected a size, since " + path + " is a file"});
        return false;
    }
    if (size != config.bankSize) {
        mistakes.push_back({bankName(bank), "cannot be used: " + path + " has " +
                                                std::to_string(size) + " bytes: expected the " +
                                                std::to_string(config.bankSize) +
                                                " of [banks] size"});
        return false;
    }
    return true;
}

bool isSameDevice(const struct stat &one, const struct stat &other) {
    if (S_ISBLK(one.st_mode) && S_ISBLK(other.st_mode)) {
        return one.st_rdev == other.st_rdev;
    }
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace

std::vector<BankMistake> bankMistakes(const Config &config) {
    std::vector<BankMistake> mistakes;
    struct stat a {};
    struct stat b {};
    const bool bothThere = !config.bankPath(Bank::a).empty() && !config.bankPath(Bank::b).empty();
    if (!bothThere) { // said by whoever read the configuration
        return mistakes;
    }
    const bool aIsUsable = lookAtBank(config, Bank::a, a, mistakes);
    const bool bIsUsable = lookAtBank(config, Bank::b, b, mistakes);
    if (aIsUsable && bIsUsable && isSameDevice(a, b)) {
        mistakes.push_back(
            {bankName(Bank::b), "cannot be used: " + config.bankPath(Bank::b) +
                                    " is bank a under another name: expected a bank of "
                                    "its own"});
    }
    return mistakes;
}

UniqueFd openBank(const std::string &path, int access, std::uint64_t &size,
                  std::string &whatIsWrong) {
    UniqueFd device(open(path.c_str(), access | O_CLOEXEC));
    struct stat status {};
    if (!device || fstat(device.get(), &status) != 0) {
        whatIsWrong = systemReason("the bank " + path + " cannot be opened");
        return UniqueFd();
    }
    if (S_ISREG(status.st_mode)) {
        size = static_cast<std::uint64_t>(status.st_size);
        return device;
    }
    if (S_ISBLK(status.st_mode) && ioctl(device.get(), BLKGETSIZE64, &size) == 0) {
        return device;
    }
    whatIsWrong = "the bank " + path + " is neither a file nor a block device that tells its size";
    return UniqueFd();
}

bool readBackDigest(const std::string &path, std::uint64_t size, std::string &sha256,
                    std::string &whatIsWrong) {
    std::uint64_t bankSize = 0;
    const UniqueFd device = openBank(path, O_RDONLY, bankSize, whatIsWrong);
    if (!device) {
        return false;
    }
    // Only a wish: where the pages cannot be dropped, the comparison is still of the bank's bytes.
    posix_fadvise(device.get(), 0, 0, POSIX_FADV_DONTNEED);
    Sha256 sum;
    const PieceTaker add = [&](const void *piece, std::size_t pieceSize, std::string &) {
        sum.add(piece, pieceSize);
        return true;
    };
    if (!readInPieces(device.get(), path, size, add, whatIsWrong)) {
        return false;
    }
    sha256 = sum.text();
    return true;
}

BankBytes compareBank(const BankRecord &record, const std::string &path, std::string &whatIsWrong) {
    std::string stored;
    if (!readBackDigest(path, record.size, stored, whatIsWrong)) {
        return BankBytes::unreadable;
    }
    if (stored == record.sha256) {
        return BankBytes::recorded;
    }
    whatIsWrong = "the image in the bank " + path +
                  " is damaged, its SHA-256 sum is not the recorded one; write it again";
    return BankBytes::different;
}

} // namespace nal
