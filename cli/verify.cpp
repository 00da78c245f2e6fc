// SPDX-License-Identifier: MIT
// otactl verify: checks signature and payload of an image file, without the service.
#include "cli/image_report.h"
#include "cli/verbs.h"
#include "platform/nal/image_signing.h"
#include "platform/nal/trusted_path.h"

#include <memory>

namespace otactl {
namespace {

struct Verification {
    std::string image;
    std::string authority;
};

int verify(const Verification &verification, const Globals &globals) {
    if (const std::string why = whyUnreadable({verification.image, verification.authority});
        !why.empty()) {
        return reportRefusal(host::Outcome::wrongUse, why, globals);
    }
    if (const std::string flaw = nal::whyNotTrusted(verification.authority); !flaw.empty()) {
        return reportRefusal(host::Outcome::configWrong, flaw, globals);
    }
    nal::ImageManifest manifest;
    std::uint64_t size = 0;
    std::string whatIsWrong;
    return nal::verifyImage(verification.image, nal::ImageTrust{true, verification.authority},
                            manifest, size, whatIsWrong)
               ? reportImage(verification.image, manifest, globals)
               : reportRefusal(host::Outcome::imageRefused, whatIsWrong, globals);
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

} // namespace otactl
