// SPDX-License-Identifier: MIT
// Writes an image into the passive bank, and believes only what it reads back.
#include "base/because.h"
#include "node/bank_copy.h"
#include "node/bank_device.h"
#include "node/image_check.h"
#include "node/image_manifest.h"
#include "platform/activation.h"
#include "platform/nal.h"
#include "platform/node.h"
#include "platform/offered.h"
#include "platform/stage.h"

#include <chrono>
#include <cinttypes>
#include <fcntl.h>

namespace platform {
namespace {

using base::Reason;

bool openImage(const char *path, node::ImageFile &image, std::string &whatIsWrong) {
    image.path = path;
    image.file = base::UniqueFd(open(path, O_RDONLY | O_CLOEXEC));
    if (!image.file) {
        whatIsWrong = base::systemReason(image.path + ": the image cannot be opened") +
                      "; get the image again";
        return base::orBecause(false, Reason::imageUnreadable);
    }
    const auto manifest =
        node::readImageManifest(image.file.get(), image.path, node::trustOf(node().config()));
    if (!manifest) {
        return base::passOn(manifest.error().orBecause(Reason::imageDamaged), whatIsWrong);
    }
    image.manifest = *manifest;
    if (!image.manifest.signer.empty() && !image.manifest.signerChecked) {
        nalLogNotice(__func__, __LINE__,
                     "nal: %s is signed by %s, which was not checked: [images] has no signer_ca",
                     path, image.manifest.signer.c_str());
    }
    return true;
}

bool isForThisNode(const node::ImageFile &image, const node::BootState &state,
                   std::string &whatIsWrong) {
    const auto isFor = node::imageIsForThisNode(image.path, image.manifest, offeredVersion(),
                                                node().config(), state);
    return isFor || base::passOn(isFor.error(), whatIsWrong);
}

// An activated bank is left alone: it would boot with what was never activated.
bool mayBeWritten(const node::BootState &state, std::string &whatIsWrong) {
    const node::Bank passive = node::otherBank(state.active);
    if (isOnTrialItself(state, whatIsWrong)) {
        return base::orBecause(false, Reason::bankInUse);
    }
    if (state.next != passive || !state.of(passive).whole) {
        return true;
    }
    whatIsWrong = std::string("bank ") + node::bankName(passive) +
                  " was activated and boots next; reboot before another image is written to it";
    return base::orBecause(false, Reason::bankInUse);
}

bool fits(const node::ImageFile &image, const std::string &bankPath, std::uint64_t bankSize,
          std::string &whatIsWrong) {
    if (image.manifest.imageSize <= bankSize) {
        return true;
    }
    whatIsWrong = image.path + ": the image has " + std::to_string(image.manifest.imageSize) +
                  " bytes, the bank " + bankPath + " only " + std::to_string(bankSize) +
                  "; offer a smaller image or enlarge the bank";
    return base::orBecause(false, Reason::imageTooLarge);
}

void tellTimes(const node::BankRecord &record, const std::string &bankPath,
               const node::CopyTimes &times) {
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
void withdraw(node::BootState &state, node::Bank bank) {
    std::string alreadyReported;
    state.of(bank) = node::BankRecord{};
    node::writeBootState(node().config().bootState, state, alreadyReported);
}

bool store(const node::BootState &state, std::string &whatIsWrong) {
    return base::orBecause(node::writeBootState(node().config().bootState, state, whatIsWrong),
                           Reason::bootStateNotWritten);
}

// The bank is marked before its first byte changes and believed only after its last was read.
bool installImage(const node::ImageFile &image, node::BootState &state, std::string &whatIsWrong) {
    const node::Config &config = node().config();
    const node::Bank passive = node::otherBank(state.active);
    const std::string &bankPath = config.bankPath(passive);
    auto bank = node::openBank(bankPath, O_WRONLY);
    if (!bank) {
        return base::passOn(bank.error(), whatIsWrong);
    }
    if (!fits(image, bankPath, bank->size, whatIsWrong)) {
        return false;
    }
    state.of(passive) = node::BankRecord{};
    state.next = state.active; // an old choice of a broken bank must not wait for this image
    if (state.trial == passive) {
        state.endTrial();
    }
    if (!store(state, whatIsWrong)) {
        return false;
    }
    tellStage(NalStage::emptied);
    node::BankRecord written{true, image.manifest.version, image.manifest.imageSize, ""};
    node::CopyTimes times;
    node::forgetReadBack();
    const auto sha256 = node::copyToBank(image, std::move(bank->device), bankPath, times);
    if (!sha256) {
        return base::passOn(sha256.error(), whatIsWrong);
    }
    written.sha256 = *sha256;
    node::rememberReadBack(written, bankPath);
    state.of(passive) = written;
    if (!store(state, whatIsWrong)) {
        withdraw(state, passive);
        return false;
    }
    tellTimes(written, bankPath, times);
    return true;
}

} // namespace
} // namespace platform

int nal_writePassiveImage(const char *imagePath) {
    node::ImageFile image;
    node::BootState state;
    std::string whatIsWrong;
    platform::tellStage(NalStage::writing);
    base::forgetReason();
    if (platform::openImage(imagePath, image, whatIsWrong) &&
        base::orBecause(
            node::readBootState(platform::node().config().bootState, state, whatIsWrong),
            base::Reason::bootStateUnreadable) &&
        platform::isForThisNode(image, state, whatIsWrong) &&
        platform::mayBeWritten(state, whatIsWrong) &&
        platform::installImage(image, state, whatIsWrong)) {
        return 0;
    }
    nalLogError(__func__, __LINE__, "nal: the passive bank was not written: %s",
                whatIsWrong.c_str());
    base::tellReason(base::Reason::bankNotWritten, whatIsWrong);
    return -1;
}
