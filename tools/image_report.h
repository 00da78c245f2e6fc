// SPDX-License-Identifier: MIT
// What the verbs on image files print, and how they fail.
#ifndef TOOLS_IMAGE_REPORT_H
#define TOOLS_IMAGE_REPORT_H

#include "base/outcome.h"
#include "node/image_manifest.h"
#include "tools/verbs.h"

#include <initializer_list>
#include <string>

namespace tools {

/* Version, model, size, digest and signer; returns the exit code of a success. */
int reportImage(const std::string &file, const node::ImageManifest &manifest, const Caller &caller);

/* Why one of the files that the command line names cannot be read; empty: each can, or its name is
 * empty. */
std::string whyUnreadable(std::initializer_list<std::string> files);

/* The reason in one line, which says itself what to do; returns the outcome's code. */
int reportRefusal(base::Outcome outcome, const std::string &reason, const Caller &caller);

} // namespace tools

#endif
