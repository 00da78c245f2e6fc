// SPDX-License-Identifier: MIT
// What of this node a request is compared with.
#ifndef GUARD_NODE_IDENTITY_H
#define GUARD_NODE_IDENTITY_H

#include <cstddef>
#include <string>

namespace guard {

struct NodeIdentity {
    std::string model;
    std::string serial;
    std::string mac;                // six hexadecimal pairs with colons, any case
    std::size_t longestVersion = 0; // see longestVersion() in version.h
};

} // namespace guard

#endif
