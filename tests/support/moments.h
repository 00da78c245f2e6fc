// SPDX-License-Identifier: MIT
// What the agent's state is at a moment in the middle of its call.
#pragma once

#include "journal.h"

#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

namespace ota::test {

// From now on: for every entry that begins so, the beginning, a colon and the value it finds.
template <class Value>
void noteAt(Entries &seen, std::initializer_list<std::string> beginnings, Value value) {
    const std::vector<std::string> wanted = beginnings;
    journal().onEntry = [&seen, wanted, value](const std::string &text) {
        for (const std::string &beginning : wanted) {
            if (!text.starts_with(beginning)) {
                continue;
            }
            if constexpr (std::is_integral_v<decltype(value())>) {
                seen.push_back(beginning + ": " + std::to_string(value()));
            } else {
                seen.push_back(beginning + ": " + std::string(value()));
            }
        }
    };
}

} // namespace ota::test
