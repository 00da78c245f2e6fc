// SPDX-License-Identifier: MIT
// ota-image: puts the manifest behind a payload, and shows the manifest of an image.
#include "platform/nal/boot_state.h"
#include "platform/nal/digest.h"
#include "platform/nal/file_io.h"
#include "platform/nal/image_manifest.h"
#include "platform/nal/image_stream.h"
#include "platform/nal/tools/command_line.h"

#include <cinttypes>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kImageMode = 0644;

const tools::Program kProgram = {
    "ota-image", "ota-image make --payload FILE --version VERSION --model MODEL --output FILE, "
                 "or ota-image show FILE"};

bool reportFailure(const std::string &what) { return tools::reportFailure(kProgram, what); }

// Copies the payload and fills in its size and sum; constant memory, whatever the size.
bool copyPayload(const std::string &from, const std::string &to, int output,
                 nal::ImageManifest &manifest) {
    const nal::UniqueFd payload(open(from.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!payload || fstat(payload.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return reportFailure(from + ": the payload is not a file that can be read; give one");
    }
    manifest.payloadSize = static_cast<std::uint64_t>(status.st_size);
    nal::Sha256 sum;
    std::string whatIsWrong;
    const nal::PieceTaker copy = [&](const void *piece, std::size_t size, std::string &wrong) {
        sum.add(piece, size);
        if (nal::writeFully(output, piece, size)) {
            return true;
        }
        wrong = nal::systemReason(to + ": cannot be written");
        return false;
    };
    if (!nal::readInPieces(payload.get(), from, manifest.payloadSize, copy, whatIsWrong)) {
        return reportFailure(whatIsWrong);
    }
    manifest.payloadSha256 = sum.text();
    return true;
}

bool writeImage(const std::string &payloadPath, const std::string &path,
                nal::ImageManifest &manifest) {
    nal::UniqueFd output(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kImageMode));
    if (!output) {
        return reportFailure(nal::systemReason(path + ": cannot be written"));
    }
    std::string trailer;
    std::string whatIsWrong;
    if (!copyPayload(payloadPath, path, output.get(), manifest)) {
        return false;
    }
    if (!nal::formatImageTrailer(manifest, trailer, whatIsWrong)) {
        return reportFailure(whatIsWrong);
    }
    if (!nal::writeFully(output.get(), trailer.data(), trailer.size()) ||
        fsync(output.get()) != 0 || !output.reset()) {
        return reportFailure(nal::systemReason(path + ": cannot be written"));
    }
    return true;
}

// The output appears under its name only once it is whole.
int makeImage(const tools::Options &options) {
    nal::ImageManifest manifest;
    manifest.version = options.at("--version");
    manifest.model = options.at("--model");
    const std::string &path = options.at("--output");
    const std::string unfinished = path + ".new";
    if (!writeImage(options.at("--payload"), unfinished, manifest)) {
        unlink(unfinished.c_str());
        return 1;
    }
    if (rename(unfinished.c_str(), path.c_str()) != 0) {
        reportFailure(nal::systemReason(path + ": cannot be written"));
        unlink(unfinished.c_str());
        return 1;
    }
    return 0;
}

int showImage(const std::string &path) {
    const nal::UniqueFd image(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!image) {
        reportFailure(nal::systemReason(path + ": cannot be opened"));
        return 1;
    }
    nal::ImageManifest manifest;
    nal::BankRecord record;
    std::string whatIsWrong;
    std::uint64_t size = 0;
    if (!nal::readImageManifest(image.get(), path, manifest, size, whatIsWrong) ||
        !nal::recordOfImage(path, record, whatIsWrong)) {
        reportFailure(whatIsWrong);
        return 1;
    }
    std::printf("version=%s\nmodel=%s\nsize=%" PRIu64 "\nsha256=%s\n", manifest.version.c_str(),
                manifest.model.c_str(), manifest.payloadSize, manifest.payloadSha256.c_str());
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (tools::helpWasGiven(kProgram, argc, argv)) {
        return 0;
    }
    const std::string_view verb = argc > 1 ? argv[1] : "";
    if (verb == "show" && argc == 3) {
        return showImage(argv[2]);
    }
    if (verb != "make") {
        return tools::reportUse(kProgram, "give make or show");
    }
    tools::Options options = {
        {"--payload", ""}, {"--version", ""}, {"--model", ""}, {"--output", ""}};
    return tools::readOptions(kProgram, argc, argv, options) ? makeImage(options)
                                                             : tools::kWrongUse;
}
