// SPDX-License-Identifier: MIT
// Which version was offered, for who must compare it with the image that came.
#include "platform/offer_hook.h"

#include "platform/offered.h"

namespace {

const char *(*askOffered)() = nullptr;

} // namespace

void nalAskOffered(const char *(*ask)()) { askOffered = ask; }

std::string platform::offeredVersion() { return askOffered == nullptr ? "" : askOffered(); }
