// SPDX-License-Identifier: MIT
#include "platform/offer_hook.h"

#include "platform/offered.h"

namespace {

const char *(*askOffered)() = nullptr;

} // namespace

void nalAskOffered(const char *(*ask)()) { askOffered = ask; }

std::string platform::offeredVersion() { return askOffered == nullptr ? "" : askOffered(); }
