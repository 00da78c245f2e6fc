// SPDX-License-Identifier: MIT
// What the verbs on image files print, and how they fail.
#ifndef CLI_IMAGE_REPORT_H
#define CLI_IMAGE_REPORT_H

#include "base/outcome.h"
#include "cli/verbs.h"
#include "node/image_manifest.h"

#include <initializer_list>
#include <string>

namespace cli {

/* Version, model, size, digest and signer; returns the exit code of a success. */
int reportImage(const std::string &file, const node::ImageManifest &manifest,
                const Globals &globals);

/* Why one of the files that the command line names cannot be read; empty: each can, or its name is
 * empty. */
std::string whyUnreadable(std::initializer_list<std::string> files);

/* The reason in one line, which says itself what to do; returns the outcome's code. */
int reportRefusal(base::Outcome outcome, const std::string &reason, const Globals &globals);

} // namespace cli

#endif
