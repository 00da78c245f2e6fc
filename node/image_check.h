// SPDX-License-Identifier: MIT
// Whether an image is one for this node, by what its manifest says.
#ifndef NODE_IMAGE_CHECK_H
#define NODE_IMAGE_CHECK_H

#include "node/boot_state.h"
#include "node/config/config.h"
#include "node/image_manifest.h"

#include <string>

namespace node {

/* The trust that the node's configuration asks for. */
ImageTrust trustOf(const Config &config);

/*
 * Looks at model, version and file name only. An error names imagePath: the image is for another
 * model, of another version than the one offered or the file was named after, of one under the
 * lowest that the node takes, or of one that failed its trial too often. offered: empty where
 * nobody knows.
 */
base::Result<void> imageIsForThisNode(const std::string &imagePath, const ImageManifest &manifest,
                                      const std::string &offered, const Config &config,
                                      const BootState &state);

/* True for a version under [service] lowest_version. */
bool isUnderTheLowest(const std::string &version, const Config &config);

} // namespace node

#endif
