// SPDX-License-Identifier: MIT
// What the tools have in common, with otactl's verbs of the same name too, which hand over to them:
// how they are called, what they print of an image, and how they fail.
#ifndef TOOLS_VERBS_H
#define TOOLS_VERBS_H

#include "base/command_line.h"
#include "base/outcome.h"
#include "node/image_manifest.h"

#include <initializer_list>
#include <string>

namespace tools {

/* One line on standard error. False. */
bool reportFailure(const std::string &program, const std::string &what);

struct Caller {
    std::string program; // as it was called
    bool json = false;
};

/* Under which name the program was called, without its folder. */
std::string nameOf(const char *argument);

/* The option of every tool that prints JSON on demand. */
base::Parameter jsonOption(Caller &caller);

/* Each: what was called outlives the command. */
base::Command signVerb(const Caller &caller);
base::Command verifyVerb(const Caller &caller);
base::Command checkVerb(const Caller &caller);

/* Version, model, size, digest and signer; returns the exit code of a success. */
int reportImage(const std::string &file, const node::ImageManifest &manifest, const Caller &caller);

/* Why one of the files that the command line names cannot be read; empty: each can, or its name is
 * empty. */
std::string whyUnreadable(std::initializer_list<std::string> files);

/* The reason in one line, which says itself what to do; returns the outcome's code. */
int reportRefusal(base::Outcome outcome, const std::string &reason, const Caller &caller);

} // namespace tools

#endif
