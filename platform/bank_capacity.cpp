// SPDX-License-Identifier: MIT
#include "platform/bank_capacity.h"

#include "node/bank_device.h"
#include "platform/node.h"

#include <algorithm>
#include <fcntl.h>

std::uint64_t nalBankCapacity() {
    std::uint64_t largest = 0;
    for (const std::string &path : platform::node().config().bankPaths) {
        std::uint64_t size = 0;
        std::string whatIsWrong;
        if (node::openBank(path, O_RDONLY, size, whatIsWrong)) {
            largest = std::max(largest, size);
        }
    }
    return largest;
}
