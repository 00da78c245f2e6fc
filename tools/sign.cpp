// SPDX-License-Identifier: MIT
// ota-image sign and verify: put a signature on an image file, and check one, without the service.
#include "base/trusted_path.h"
#include "node/image_manifest.h"
#include "tools/verbs.h"

#include <memory>

namespace tools {

namespace {

struct Signing {
    std::string image;
    std::string output; // empty: the image itself
    node::SigningFiles files;
};

int sign(const Signing &signing, const Caller &caller) {
    const std::string &output = signing.output.empty() ? signing.image : signing.output;
    const node::SigningFiles &files = signing.files;
    if (const std::string why =
            whyUnreadable({signing.image, files.key, files.certificate, files.chain});
        !why.empty()) {
        return reportRefusal(base::Outcome::wrongUse, why, caller);
    }
    if (const std::string flaw = base::whyNoPrivateKey(files.key); !flaw.empty()) {
        return reportRefusal(base::Outcome::configWrong, flaw, caller);
    }
    const auto manifest = node::signImage(signing.image, output, signing.files);
    return manifest ? reportImage(output, *manifest, caller)
                    : reportRefusal(base::Outcome::failed, manifest.error().text, caller);
}

struct Verification {
    std::string image;
    std::string authority;
};

int verify(const Verification &verification, const Caller &caller) {
    if (const std::string why = whyUnreadable({verification.image, verification.authority});
        !why.empty()) {
        return reportRefusal(base::Outcome::wrongUse, why, caller);
    }
    if (const std::string flaw = base::whyNotTrusted(verification.authority); !flaw.empty()) {
        return reportRefusal(base::Outcome::configWrong, flaw, caller);
    }
    const auto manifest =
        node::verifyImage(verification.image, node::ImageTrust{true, verification.authority});
    return manifest ? reportImage(verification.image, *manifest, caller)
                    : reportRefusal(base::Outcome::imageRefused, manifest.error().text, caller);
}

} // namespace

base::Command signVerb(const Caller &caller) {
    const auto signing = std::make_shared<Signing>();
    return {.name = "sign",
            .summary = "Sign an image file, without the service",
            .options = {{"--key", base::text("FILE", signing->files.key),
                         "The signer's private key, PEM", base::Times::once},
                        {"--certificate", base::text("FILE", signing->files.certificate),
                         "The signer's certificate, PEM", base::Times::once},
                        {"--chain", base::text("FILE", signing->files.chain),
                         "Certificates between the signer and its authority, PEM"},
                        {"--output", base::text("FILE", signing->output),
                         "Write the signed image here; in place of the image if not given"}},
            .arguments = {{"image", base::text("IMAGE", signing->image),
                           "The image file, signed or not", base::Times::once}},
            .run = [signing, &caller] { return sign(*signing, caller); }};
}

base::Command verifyVerb(const Caller &caller) {
    const auto verification = std::make_shared<Verification>();
    return {.name = "verify",
            .summary = "Check signature and payload of an image file, without the service",
            .options = {{"--ca", base::text("FILE", verification->authority),
                         "The certificates of the authorities that are trusted, PEM",
                         base::Times::once}},
            .arguments = {{"image", base::text("IMAGE", verification->image), "The image file",
                           base::Times::once}},
            .run = [verification, &caller] { return verify(*verification, caller); }};
}

} // namespace tools
