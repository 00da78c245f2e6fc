// SPDX-License-Identifier: MIT
#include "node/bank_device.h"

#include "base/ioctl_request.h"
#include "node/read_back.h"

#include <ctime>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>

namespace node {
namespace {

// Fills in the status of a bank that can be used; else adds why it cannot.
bool lookAtBank(const Config &config, Bank bank, struct stat &status,
                std::vector<BankMistake> &mistakes) {
    const std::string &path = config.bankPath(bank);
    const auto opened = openBank(path, O_RDONLY);
    if (!opened || fstat(opened->device.get(), &status) != 0) {
        const std::string why = opened ? "" : opened.error().text;
        mistakes.push_back({bankName(bank), "cannot be used: " + why});
        return false;
    }
    if (S_ISBLK(status.st_mode)) {
        return true;
    }
    if (config.bankSize == 0) {
        mistakes.push_back({"size", "is missing: expected a size, since " + path + " is a file"});
        return false;
    }
    if (opened->size != config.bankSize) {
        mistakes.push_back(
            {bankName(bank), "cannot be used: " + path + " has " + std::to_string(opened->size) +
                                 " bytes: expected the " + std::to_string(config.bankSize) +
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

// The last bank that this process read back as a whole; the path is empty where there is none.
struct LastReadBack {
    std::string path;
    BankRecord record;
    struct stat status {};
    timespec at{}; // since the boot
};
LastReadBack lastReadBack;

constexpr time_t kCallOfTheAgent = 5; // seconds between the two banks calls of one, at most

timespec clockNow(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now;
}

bool isBefore(const timespec &one, const timespec &other) {
    return one.tv_sec != other.tv_sec ? one.tv_sec < other.tv_sec : one.tv_nsec < other.tv_nsec;
}

bool isSameTime(const timespec &one, const timespec &other) {
    return !isBefore(one, other) && !isBefore(other, one);
}

bool isSameRecord(const BankRecord &one, const BankRecord &other) {
    return one.whole && other.whole && one.version == other.version && one.size == other.size &&
           one.sha256 == other.sha256;
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

base::Result<OpenBank> openBank(const std::string &path, int access) {
    OpenBank bank{base::UniqueFd(open(path.c_str(), access | O_CLOEXEC))};
    struct stat status {};
    if (!bank.device || fstat(bank.device.get(), &status) != 0) {
        return base::Error{base::systemReason("the bank " + path + " cannot be opened")};
    }
    if (S_ISREG(status.st_mode)) {
        bank.size = static_cast<std::uint64_t>(status.st_size);
        return bank;
    }
    constexpr auto kTellSize = static_cast<base::IoctlRequest>(BLKGETSIZE64);
    if (S_ISBLK(status.st_mode) && ioctl(bank.device.get(), kTellSize, &bank.size) == 0) {
        return bank;
    }
    return base::Error{"the bank " + path +
                       " is neither a file nor a block device that tells its size"};
}

base::Result<std::string> readBackDigest(const std::string &path, std::uint64_t size) {
    auto bank = openBank(path, O_RDONLY);
    if (!bank) {
        return bank.error();
    }
    ReadBack readBack(std::move(bank->device), path, size, size);
    if (const auto started = readBack.start(); !started) {
        return started.error();
    }
    readBack.synced(size);
    if (const auto finished = readBack.finish(); !finished) {
        return finished.error();
    }
    return readBack.sums().whole();
}

base::Result<void> compareBank(const BankRecord &record, const std::string &path) {
    if (readBackStillHolds(record, path)) {
        return {};
    }
    const auto stored = readBackDigest(path, record.size);
    if (!stored) {
        return stored.error().orBecause(base::Reason::bankNotWritten);
    }
    if (*stored == record.sha256) {
        return {};
    }
    return base::Error{"the image in the bank " + path +
                           " is damaged, its SHA-256 sum is not the recorded one; write it again",
                       base::Reason::bankReadsOther};
}

bool readsOther(const base::Result<void> &comparison) {
    return !comparison && comparison.error().reason == base::Reason::bankReadsOther;
}

void forgetReadBack() { lastReadBack.path.clear(); }

void rememberReadBack(const BankRecord &record, const std::string &path) {
    forgetReadBack();
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return;
    }
    // A change within the same tick of the kernel's clock would leave the file's times as they are.
    if (S_ISREG(status.st_mode) && !isBefore(status.st_ctim, clockNow(CLOCK_REALTIME_COARSE))) {
        return;
    }
    lastReadBack = {path, record, status, clockNow(CLOCK_BOOTTIME)};
}

bool readBackStillHolds(const BankRecord &record, const std::string &path) {
    const struct stat &then = lastReadBack.status;
    struct stat now {};
    if (lastReadBack.path != path || path.empty() || !isSameRecord(lastReadBack.record, record) ||
        stat(path.c_str(), &now) != 0 || !isSameDevice(then, now)) {
        return false;
    }
    if (S_ISREG(now.st_mode)) {
        return now.st_size == then.st_size && isSameTime(now.st_mtim, then.st_mtim) &&
               isSameTime(now.st_ctim, then.st_ctim);
    }
    return clockNow(CLOCK_BOOTTIME).tv_sec - lastReadBack.at.tv_sec < kCallOfTheAgent;
}

} // namespace node
