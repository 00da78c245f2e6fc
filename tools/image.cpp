// SPDX-License-Identifier: MIT
// ota-image: makes images, signs them, checks them and shows their manifests.
#include "base/file_io.h"
#include "base/new_file.h"
#include "base/program.h"
#include "node/digest.h"
#include "node/image_manifest.h"
#include "node/image_stream.h"
#include "tools/verbs.h"

#include <cinttypes>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace {

constexpr mode_t kImageMode = 0644;

struct Making {
    std::string payload;
    std::string output;
    node::ImageManifest manifest;
};

int failImage(const std::string &what) {
    tools::reportFailure("ota-image", what);
    return 1;
}

// Copies the payload and fills in its size and sum; constant memory, whatever the size.
base::Result<void> copyPayload(const std::string &from, base::NewFile &output,
                               node::ImageManifest &manifest) {
    const base::UniqueFd payload(open(from.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!payload || fstat(payload.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return base::Error{from + ": the payload is not a file that can be read; give one"};
    }
    manifest.payloadSize = static_cast<std::uint64_t>(status.st_size);
    node::Sha256 sum;
    const auto copy = [&](const void *piece, std::size_t size) {
        sum.add(piece, size);
        return output.write(piece, size);
    };
    auto copied = node::readInPieces(payload.get(), from, manifest.payloadSize, copy);
    manifest.payloadSha256 = sum.text();
    return copied;
}

int makeImage(Making &making, const tools::Caller &caller) {
    base::NewFile output;
    const auto copied = output.begin(making.output, kImageMode).andThen([&] {
        return copyPayload(making.payload, output, making.manifest);
    });
    if (!copied) {
        return failImage(copied.error().text);
    }
    const auto trailer = node::formatImageTrailer(making.manifest);
    if (!trailer) {
        return failImage(trailer.error().text);
    }
    const auto made =
        output.write(trailer->data(), trailer->size()).andThen([&] { return output.finish(); });
    if (!made) {
        return failImage(made.error().text);
    }
    return caller.json ? tools::reportImage(making.output, making.manifest, caller) : 0;
}

// The lines of the manifest, and the signer on one that is not of it.
int showImage(const std::string &path, const tools::Caller &caller) {
    const auto manifest = node::verifyImage(path, node::ImageTrust{false});
    if (!manifest) {
        return failImage(manifest.error().text);
    }
    if (caller.json) {
        return tools::reportImage(path, *manifest, caller);
    }
    std::printf("version=%s\nmodel=%s\nsize=%" PRIu64 "\nsha256=%s\n", manifest->version.c_str(),
                manifest->model.c_str(), manifest->payloadSize, manifest->payloadSha256.c_str());
    if (!manifest->signer.empty()) {
        std::printf("signer, not checked: %s\n", manifest->signer.c_str());
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    using base::text, base::Times;
    tools::Caller caller{tools::nameOf(argv[0])};
    Making making;
    std::string image;
    const base::Command make{
        .name = "make",
        .summary = "Put the manifest behind a payload",
        .options = {{"--payload", text("FILE", making.payload), "What is to be flashed",
                     Times::once},
                    {"--version", text("VERSION", making.manifest.version), "Its version",
                     Times::once},
                    {"--model", text("MODEL", making.manifest.model),
                     "The model of the nodes that it is for", Times::once},
                    {"--output", text("FILE", making.output), "The image", Times::once}},
        .run = [&] { return makeImage(making, caller); }};
    const base::Command show{
        .name = "show",
        .summary = "Show the manifest of an image",
        .arguments = {{"image", text("FILE", image), "The image", Times::once}},
        .run = [&] { return showImage(image, caller); }};
    return base::runProgram(
        {.name = caller.program,
         .summary = "Makes images: a payload with a manifest behind it.",
         .options = {tools::jsonOption(caller)},
         .verbs = {make, show, tools::signVerb(caller), tools::verifyVerb(caller)}},
        argc, argv, caller.json);
}
