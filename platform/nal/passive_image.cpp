// SPDX-License-Identifier: MIT
// Writes an image into the passive bank, and believes only what it reads back.
#include "platform/nal.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/image_manifest.h"
#include "platform/nal/image_stream.h"
#include "platform/nal/node.h"
#include "platform/nal/stage.h"

#include <fcntl.h>
#include <unistd.h>

namespace nal {
namespace {

struct Image {
    std::string path;
    UniqueFd file;
    ImageManifest manifest;
    std::uint64_t size = 0;
};

bool openImage(const char *path, Image &image, std::string &whatIsWrong) {
    image.path = path;
    image.file = UniqueFd(open(path, O_RDONLY | O_CLOEXEC));
    if (!image.file) {
        whatIsWrong =
            systemReason(image.path + ": the image cannot be opened") + "; get the image again";
        return false;
    }
    if (!readImageManifest(image.file.get(), image.path, image.manifest, image.size, whatIsWrong)) {
        return false;
    }
    const std::string &model = node().config().model;
    if (image.manifest.model != model) {
        whatIsWrong = image.path + ": the image is for model " + image.manifest.model +
                      ", this node is a " + model + "; offer an image for this model";
        return false;
    }
    return true;
}

// An activated bank is left alone: it would boot with what was never activated.
bool mayBeWritten(const BootState &state, std::string &whatIsWrong) {
    const Bank passive = otherBank(state.active);
    if (state.next != passive || !state.of(passive).whole) {
        return true;
    }
    whatIsWrong = std::string("bank ") + bankName(passive) +
                  " was activated and boots next; reboot before another image is written to it";
    return false;
}

bool fits(const Image &image, const std::string &bankPath, std::uint64_t bankSize,
          std::string &whatIsWrong) {
    if (image.size <= bankSize) {
        return true;
    }
    whatIsWrong = image.path + ": the image has " + std::to_string(image.size) +
                  " bytes, the bank " + bankPath + " only " + std::to_string(bankSize) +
                  "; offer a smaller image or enlarge the bank";
    return false;
}

bool copyToBank(const Image &image, UniqueFd &bank, const std::string &bankPath,
                std::string &sha256, std::string &whatIsWrong) {
    const std::string cannotWrite = "the bank " + bankPath + " cannot be written";
    const PieceTaker write = [&](const void *piece, std::size_t size, std::string &wrong) {
        if (writeFully(bank.get(), piece, size)) {
            return true;
        }
        wrong = systemReason(cannotWrite) + "; check the space and the device";
        return false;
    };
    if (!readImage(image.file.get(), image.path, image.manifest, image.size, write, sha256,
                   whatIsWrong)) {
        return false;
    }
    if (fsync(bank.get()) != 0 || !bank.reset()) {
        whatIsWrong = systemReason(cannotWrite) + "; check the device";
        return false;
    }
    return true;
}

bool readsBack(const std::string &bankPath, std::uint64_t size, const std::string &sha256,
               std::string &whatIsWrong) {
    std::string stored;
    if (!readBackDigest(bankPath, size, stored, whatIsWrong)) {
        return false;
    }
    if (stored != sha256) {
        whatIsWrong = "the bank " + bankPath + " does not hold what was written; check the device";
        return false;
    }
    return true;
}

// The record may be in place and only not known to last: a failed call must not leave it there.
void withdraw(BootState &state, Bank bank) {
    std::string alreadyReported;
    state.of(bank) = BankRecord{};
    writeBootState(node().config().bootStatePath, state, alreadyReported);
}

// The bank is marked before its first byte changes and believed only after its last was read.
bool installImage(const Image &image, BootState &state, std::string &whatIsWrong) {
    const Config &config = node().config();
    const Bank passive = otherBank(state.active);
    const std::string &bankPath = config.bankPath(passive);
    std::uint64_t bankSize = 0;
    UniqueFd bank = openBank(bankPath, O_WRONLY, bankSize, whatIsWrong);
    if (!bank || !fits(image, bankPath, bankSize, whatIsWrong)) {
        return false;
    }
    state.of(passive) = BankRecord{};
    state.next = bankToBoot(state); // an old choice of a broken bank must not wait for this image
    if (!writeBootState(config.bootStatePath, state, whatIsWrong)) {
        return false;
    }
    BankRecord written{true, image.manifest.version, image.size, ""};
    if (!copyToBank(image, bank, bankPath, written.sha256, whatIsWrong) ||
        !readsBack(bankPath, written.size, written.sha256, whatIsWrong)) {
        return false;
    }
    state.of(passive) = written;
    if (!writeBootState(config.bootStatePath, state, whatIsWrong)) {
        withdraw(state, passive);
        return false;
    }
    return true;
}

} // namespace
} // namespace nal

int nal_writePassiveImage(const char *imagePath) {
    nal::Image image;
    nal::BootState state;
    std::string whatIsWrong;
    nal::tellStage(NalStage::writing);
    if (nal::openImage(imagePath, image, whatIsWrong) &&
        nal::readBootState(nal::node().config().bootStatePath, state, whatIsWrong) &&
        nal::mayBeWritten(state, whatIsWrong) && nal::installImage(image, state, whatIsWrong)) {
        return 0;
    }
    nalLogError(__func__, __LINE__, "nal: the passive bank was not written: %s",
                whatIsWrong.c_str());
    return -1;
}
