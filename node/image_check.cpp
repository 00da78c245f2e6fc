// SPDX-License-Identifier: MIT
#include "node/image_check.h"

#include "base/because.h"
#include "base/version_order.h"

#include <string_view>

namespace node {
namespace {

// The agent names the file after the version that was offered, and cuts the name here.
constexpr std::size_t kMaxImageName = 14;

bool fileNameContradicts(std::string_view imagePath, std::string_view version) {
    const std::string_view name = imagePath.substr(imagePath.rfind('/') + 1);
    return name.starts_with(base::kVersionPrefix) && name != version &&
           name != version.substr(0, kMaxImageName);
}

} // namespace

ImageTrust trustOf(const Config &config) {
    return {config.signatureRequired, config.signerAuthority};
}

bool isUnderTheLowest(const std::string &version, const Config &config) {
    return !config.lowestVersion.empty() &&
           base::compareVersions(version, config.lowestVersion) < 0;
}

bool imageIsForThisNode(const std::string &imagePath, const ImageManifest &manifest,
                        const std::string &offered, const Config &config, const BootState &state,
                        std::string &whatIsWrong) {
    const std::string image = imagePath + ": the image is ";
    const std::string ofVersion = image + "of version " + manifest.version;
    if (manifest.model != config.model) {
        whatIsWrong = image + "for model " + manifest.model + ", this node is a " + config.model +
                      "; offer an image for this model";
        base::because(base::Reason::wrongModel);
    } else if (fileNameContradicts(imagePath, manifest.version) ||
               (!offered.empty() && offered != manifest.version)) {
        whatIsWrong = ofVersion + ", which is not the one that was offered; offer the version that "
                                  "the image holds";
        base::because(base::Reason::wrongVersion);
    } else if (isUnderTheLowest(manifest.version, config)) {
        whatIsWrong = ofVersion + ", the lowest that this node takes is " + config.lowestVersion +
                      "; offer a newer one, or change lowest_version in [service]";
        base::because(base::Reason::versionUnderFloor);
    } else if (isRefused(state, manifest.version, config.refuseAfterTrials)) {
        whatIsWrong = ofVersion +
                      ", which failed its trial on this node; offer another one, or "
                      "let it be tried again with otactl forget " +
                      manifest.version;
        base::because(base::Reason::versionFailedBefore);
    } else {
        return true;
    }
    return false;
}

} // namespace node
