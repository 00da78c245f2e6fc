// SPDX-License-Identifier: MIT
// Writes an image into the passive bank, and believes only what it reads back.
#include "node/bank_copy.h"
#include "node/bank_device.h"
#include "node/image_check.h"
#include "node/image_manifest.h"
#include "platform/activation.h"
#include "platform/hooks.h"
#include "platform/nal.h"
#include "platform/node.h"

#include <chrono>
#include <cinttypes>
#include <fcntl.h>

namespace platform {
namespace {

using base::Reason;

base::Result<node::ImageFile> openImage(const char *path) {
    node::ImageFile image;
    image.path = path;
    image.file = base::UniqueFd(open(path, O_RDONLY | O_CLOEXEC));
    if (!image.file) {
        return base::Error{base::systemReason(image.path + ": the image cannot be opened") +
                               "; get the image again",
                           Reason::imageUnreadable};
    }
    const auto manifest =
        node::readImageManifest(image.file.get(), image.path, node::trustOf(node().config()));
    if (!manifest) {
        return manifest.error().orBecause(Reason::imageDamaged);
    }
    image.manifest = *manifest;
    if (!manifest->signer.empty() && !manifest->signerChecked) {
        nalLogNotice(__func__, __LINE__,
                     "nal: %s is signed by %s, which was not checked: [images] has no signer_ca",
                     path, manifest->signer.c_str());
    }
    return image;
}

// An activated bank is left alone: it would boot with what was never activated.
base::Result<void> mayBeWritten(const node::BootState &state) {
    const node::Bank passive = node::otherBank(state.active);
    if (auto free = isFreeToChange(state); !free) {
        return free;
    }
    if (state.next != passive || !state.of(passive).whole) {
        return {};
    }
    return base::Error{
        std::string("bank ") + node::bankName(passive) +
            " was activated and boots next; reboot before another image is written to it",
        Reason::bankInUse};
}

base::Result<void> fits(const node::ImageFile &image, const std::string &bankPath,
                        std::uint64_t bankSize) {
    if (image.manifest.imageSize <= bankSize) {
        return {};
    }
    return base::Error{image.path + ": the image has " + std::to_string(image.manifest.imageSize) +
                           " bytes, the bank " + bankPath + " only " + std::to_string(bankSize) +
                           "; offer a smaller image or enlarge the bank",
                       Reason::imageTooLarge};
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

// The bank is marked before its first byte changes and believed only after its last was read.
base::Result<void> installImage(const node::ImageFile &image, node::BootState &state) {
    const node::Bank passive = node::otherBank(state.active);
    const std::string &bankPath = node().config().bankPath(passive);
    auto bank = node::openBank(bankPath, O_WRONLY);
    if (!bank) {
        return bank.error();
    }
    if (auto fit = fits(image, bankPath, bank->size); !fit) {
        return fit;
    }
    state.of(passive) = node::BankRecord{};
    state.next = state.active; // an old choice of a broken bank must not wait for this image
    if (state.trial == passive) {
        state.endTrial();
    }
    if (auto marked = node().writeBootState(state); !marked) {
        return marked;
    }
    tellEmptied();
    node::CopyTimes times;
    node::forgetReadBack();
    const auto sha256 = node::copyToBank(image, std::move(bank->device), bankPath, times);
    if (!sha256) {
        return sha256.error();
    }
    const node::BankRecord written{true, image.manifest.version, image.manifest.imageSize, *sha256};
    node::rememberReadBack(written, bankPath);
    state.of(passive) = written;
    auto stored = node().writeBootState(state);
    if (stored) {
        tellTimes(written, bankPath, times);
        return stored;
    }
    // It may be in place and only not known to last: a failed call must not leave it there.
    state.of(passive) = node::BankRecord{};
    static_cast<void>(node().writeBootState(state)); // reported already
    return stored;
}

base::Result<void> writePassive(const char *imagePath) {
    const auto image = openImage(imagePath);
    if (!image) {
        return image.error();
    }
    auto state = node().readBootState();
    if (!state) {
        return state.error();
    }
    return node::imageIsForThisNode(image->path, image->manifest, offeredVersion(), node().config(),
                                    *state)
        .andThen([&] { return mayBeWritten(*state); })
        .andThen([&] { return installImage(*image, *state); });
}

} // namespace
} // namespace platform

int nal_writePassiveImage(const char *imagePath) {
    const auto written = platform::writePassive(imagePath);
    if (written) {
        return 0;
    }
    const base::Error error = written.error().orBecause(base::Reason::bankNotWritten);
    nalLogError(__func__, __LINE__, "nal: the passive bank was not written: %s",
                error.text.c_str());
    platform::tellReason(error);
    return -1;
}
