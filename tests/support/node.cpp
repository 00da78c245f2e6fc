// SPDX-License-Identifier: MIT
// The node's answers.
#include "node.h"

namespace ota::test {

int Node::resultOf(const std::string &call) {
    if (std::deque<int> &queued = results[call]; !queued.empty()) {
        const int result = queued.front();
        queued.pop_front();
        return result;
    }
    if (const auto fixed = always.find(call); fixed != always.end()) {
        return fixed->second;
    }
    return call == "nal_activatePassiveImage" ? 1 : 0;
}

Node &node() {
    static Node theNode;
    return theNode;
}

} // namespace ota::test
