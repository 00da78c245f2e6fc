// SPDX-License-Identifier: MIT
#include "platform/bank_capacity.h"

#include "node/bank_device.h"
#include "platform/node.h"

#include <algorithm>
#include <fcntl.h>

std::uint64_t nalBankCapacity() {
    std::uint64_t largest = 0;
    for (const std::string &path : platform::node().config().bankPaths) {
        if (const auto bank = node::openBank(path, O_RDONLY)) {
            largest = std::max(largest, bank->size);
        }
    }
    return largest;
}
