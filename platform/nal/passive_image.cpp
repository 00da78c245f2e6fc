// SPDX-License-Identifier: MIT
// Writes an image into the passive bank, and believes only what it reads back.
#include "platform/nal.h"
#include "platform/nal/activation.h"
#include "platform/nal/bank_copy.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/because.h"
#include "platform/nal/image_check.h"
#include "platform/nal/image_manifest.h"
#include "platform/nal/node.h"
#include "platform/nal/offered.h"
#include "platform/nal/stage.h"

#include <chrono>
#include <cinttypes>
#include <fcntl.h>

namespace nal {
namespace {

using host::Reason;

bool openImage(const char *path, ImageFile &image, std::string &whatIsWrong) {
    image.path = path;
    image.file = UniqueFd(open(path, O_RDONLY | O_CLOEXEC));
    if (!image.file) {
        whatIsWrong =
            systemReason(image.path + ": the image cannot be opened") + "; get the image again";
        return orBecause(false, Reason::imageUnreadable);
    }
    if (!readImageManifest(image.file.get(), image.path, trustOf(node().config()), image.manifest,
                           image.size, whatIsWrong)) {
        return orBecause(false, Reason::imageDamaged);
    }
    if (!image.manifest.signer.empty() && !image.manifest.signerChecked) {
        nalLogNotice(__func__, __LINE__,
                     "nal: %s is signed by %s, which was not checked: [images] has no signer_ca",
                     path, image.manifest.signer.c_str());
    }
    return true;
}

// An activated bank is left alone: it would boot with what was never activated.
bool mayBeWritten(const BootState &state, std::string &whatIsWrong) {
    const Bank passive = otherBank(state.active);
    if (isOnTrialItself(state, whatIsWrong)) {
        return orBecause(false, Reason::bankInUse);
    }
    if (state.next != passive || !state.of(passive).whole) {
        return true;
    }
    whatIsWrong = std::string("bank ") + bankName(passive) +
                  " was activated and boots next; reboot before another image is written to it";
    return orBecause(false, Reason::bankInUse);
}

bool fits(const ImageFile &image, const std::string &bankPath, std::uint64_t bankSize,
          std::string &whatIsWrong) {
    if (image.size <= bankSize) {
        return true;
    }
    whatIsWrong = image.path + ": the image has " + std::to_string(image.size) +
                  " bytes, the bank " + bankPath + " only " + std::to_string(bankSize) +
                  "; offer a smaller image or enlarge the bank";
    return orBecause(false, Reason::imageTooLarge);
}

void tellTimes(const BankRecord &record, const std::string &bankPath, const CopyTimes &times) {
    const auto seconds = [](std::chrono::nanoseconds time) {
        return std::chrono::duration<double>(time).count();
    };
    nalLogNotice(
        __func__, __LINE__,
        "nal: %s: %s was written and read back, %" PRIu64 " bytes in %.3f s (write %.3f s, "
        "sync %.3f s; beside it read-back %.3f s, digest %.3f s)",
        bankPath.c_str(), record.version.c_str(), record.size, seconds(times.all),
        seconds(times.write), seconds(times.sync), seconds(times.readBack), seconds(times.sum));
}

// The record may be in place and only not known to last: a failed call must not leave it there.
void withdraw(BootState &state, Bank bank) {
    std::string alreadyReported;
    state.of(bank) = BankRecord{};
    writeBootState(node().config().bootState, state, alreadyReported);
}

bool store(const BootState &state, std::string &whatIsWrong) {
    return orBecause(writeBootState(node().config().bootState, state, whatIsWrong),
                     Reason::bootStateNotWritten);
}

// The bank is marked before its first byte changes and believed only after its last was read.
bool installImage(const ImageFile &image, BootState &state, std::string &whatIsWrong) {
    const Config &config = node().config();
    const Bank passive = otherBank(state.active);
    const std::string &bankPath = config.bankPath(passive);
    std::uint64_t bankSize = 0;
    UniqueFd bank = openBank(bankPath, O_WRONLY, bankSize, whatIsWrong);
    if (!bank || !fits(image, bankPath, bankSize, whatIsWrong)) {
        return false;
    }
    state.of(passive) = BankRecord{};
    state.next = state.active; // an old choice of a broken bank must not wait for this image
    if (state.trial == passive) {
        state.endTrial();
    }
    if (!store(state, whatIsWrong)) {
        return false;
    }
    tellStage(NalStage::emptied);
    BankRecord written{true, image.manifest.version, image.size, ""};
    CopyTimes times;
    forgetReadBack();
    if (!copyToBank(image, std::move(bank), bankPath, written.sha256, times, whatIsWrong)) {
        return false;
    }
    rememberReadBack(written, bankPath);
    state.of(passive) = written;
    if (!store(state, whatIsWrong)) {
        withdraw(state, passive);
        return false;
    }
    tellTimes(written, bankPath, times);
    return true;
}

} // namespace
} // namespace nal

int nal_writePassiveImage(const char *imagePath) {
    nal::ImageFile image;
    nal::BootState state;
    std::string whatIsWrong;
    nal::tellStage(NalStage::writing);
    nal::forgetReason();
    if (nal::openImage(imagePath, image, whatIsWrong) &&
        nal::orBecause(nal::readBootState(nal::node().config().bootState, state, whatIsWrong),
                       host::Reason::bootStateUnreadable) &&
        nal::imageIsForThisNode(image.path, image.manifest, nal::offeredVersion(),
                                nal::node().config(), state, whatIsWrong) &&
        nal::mayBeWritten(state, whatIsWrong) && nal::installImage(image, state, whatIsWrong)) {
        return 0;
    }
    nalLogError(__func__, __LINE__, "nal: the passive bank was not written: %s",
                whatIsWrong.c_str());
    nal::tellReason(host::Reason::bankNotWritten, whatIsWrong);
    return -1;
}
