// SPDX-License-Identifier: MIT
#include "node/image_check.h"

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

base::Result<void> imageIsForThisNode(const std::string &imagePath, const ImageManifest &manifest,
                                      const std::string &offered, const Config &config,
                                      const BootState &state) {
    const std::string image = imagePath + ": the image is ";
    const std::string ofVersion = image + "of version " + manifest.version;
    if (manifest.model != config.model) {
        return base::Error{image + "for model " + manifest.model + ", this node is a " +
                               config.model + "; offer an image for this model",
                           base::Reason::wrongModel};
    }
    if (fileNameContradicts(imagePath, manifest.version) ||
        (!offered.empty() && offered != manifest.version)) {
        return base::Error{ofVersion +
                               ", which is not the one that was offered; offer the version that "
                               "the image holds",
                           base::Reason::wrongVersion};
    }
    if (isUnderTheLowest(manifest.version, config)) {
        return base::Error{ofVersion + ", the lowest that this node takes is " +
                               config.lowestVersion +
                               "; offer a newer one, or change lowest_version in [service]",
                           base::Reason::versionUnderFloor};
    }
    if (isRefused(state, manifest.version, config.refuseAfterTrials)) {
        return base::Error{ofVersion +
                               ", which failed its trial on this node; offer another one, or "
                               "let it be tried again with otactl forget " +
                               manifest.version,
                           base::Reason::versionFailedBefore};
    }
    return {};
}

} // namespace node
