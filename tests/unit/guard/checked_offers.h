// SPDX-License-Identifier: MIT
// Offers as the guard lets them through or refuses them.
#ifndef TESTS_GUARD_CHECKED_OFFERS_H
#define TESTS_GUARD_CHECKED_OFFERS_H

#include "descriptor.h"

#include <gtest/gtest.h>

namespace guard::test {

inline const Rules kHttpAllowed{true, ""};

inline std::string refusalOf(const std::string &text, const NodeIdentity &node = thisNode(),
                             const Rules &rules = {}) {
    Offer offer;
    const auto refusal = checkOffer(text, node, rules, offer);
    return refusal ? std::string(base::rowOf(refusal->outcome).name) + " " + refusal->field : "";
}

inline std::string refusalOf(const Descriptor &descriptor, const NodeIdentity &node = thisNode(),
                             const Rules &rules = {}) {
    return refusalOf(descriptor.text(), node, rules);
}

inline Offer accepted(const std::string &text, const Rules &rules = {}) {
    Offer offer;
    const auto refusal = checkOffer(text, thisNode(), rules, offer);
    EXPECT_FALSE(refusal) << refusal->text();
    return offer;
}

} // namespace guard::test

#endif
