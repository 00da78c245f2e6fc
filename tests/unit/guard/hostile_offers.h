// SPDX-License-Identifier: MIT
// Descriptors that must not reach the agent, each with what the guard has to say.
#ifndef TESTS_GUARD_HOSTILE_OFFERS_H
#define TESTS_GUARD_HOSTILE_OFFERS_H

#include "base/outcome.h"

#include <string>
#include <vector>

namespace guard::test {

struct HostileOffer {
    std::string what;
    std::string text;
    base::Outcome outcome;
    std::string field;
};

const std::vector<HostileOffer> &hostileOffers();

/* Texts that a shell, a path or a terminal would misread; all of them valid UTF-8. */
const std::vector<std::string> &hostileTexts();

/* Byte sequences that are not UTF-8. */
const std::vector<std::string> &badUtf8();

} // namespace guard::test

#endif
