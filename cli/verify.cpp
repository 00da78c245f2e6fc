// SPDX-License-Identifier: MIT
// otactl verify: checks signature and payload of an image file, without the service.
#include "base/trusted_path.h"
#include "cli/image_report.h"
#include "cli/verbs.h"
#include "node/image_signing.h"

#include <memory>

namespace cli {
namespace {

struct Verification {
    std::string image;
    std::string authority;
};

int verify(const Verification &verification, const Globals &globals) {
    if (const std::string why = whyUnreadable({verification.image, verification.authority});
        !why.empty()) {
        return reportRefusal(base::Outcome::wrongUse, why, globals);
    }
    if (const std::string flaw = base::whyNotTrusted(verification.authority); !flaw.empty()) {
        return reportRefusal(base::Outcome::configWrong, flaw, globals);
    }
    node::ImageManifest manifest;
    std::uint64_t size = 0;
    std::string whatIsWrong;
    return node::verifyImage(verification.image, node::ImageTrust{true, verification.authority},
                             manifest, size, whatIsWrong)
               ? reportImage(verification.image, manifest, globals)
               : reportRefusal(base::Outcome::imageRefused, whatIsWrong, globals);
}

} // namespace

base::Command verifyVerb(const Globals &globals) {
    const auto verification = std::make_shared<Verification>();
    return {.name = "verify",
            .summary = "Check signature and payload of an image file, without the service",
            .options = {{"--ca", base::text("FILE", verification->authority),
                         "The certificates of the authorities that are trusted, PEM",
                         base::Times::once}},
            .arguments = {{"image", base::text("IMAGE", verification->image), "The image file",
                           base::Times::once}},
            .run = [verification, &globals] { return verify(*verification, globals); }};
}

} // namespace cli
