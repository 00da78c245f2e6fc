// SPDX-License-Identifier: MIT
// ota-image verify: checks signature and payload of an image file, without the service.
#include "base/trusted_path.h"
#include "node/image_manifest.h"
#include "tools/image_report.h"
#include "tools/verbs.h"

#include <memory>

namespace tools {
namespace {

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
