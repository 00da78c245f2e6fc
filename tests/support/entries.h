// SPDX-License-Identifier: MIT
// Expected journal entries: how they are spelled, put together and compared.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ota::test {

// One text per entry; line ends inside a body are shown as "\n" and "\r".
using Entries = std::vector<std::string>;

std::string escaped(std::string_view text);

// A line in the platform's logger, in the debug log, or in both. Bodies are written with real
// line ends, as the agent writes them.
std::string notice(std::string_view unit, std::string_view function, std::string_view body);
std::string error(std::string_view unit, std::string_view function, std::string_view body);
std::string trace(std::string_view function, std::string_view body);
Entries both(std::string_view unit, std::string_view function, std::string_view body);
Entries bothDebugFirst(std::string_view unit, std::string_view function, std::string_view body);
Entries bothErrors(std::string_view unit, std::string_view function, std::string_view body);
// The pair whose debug body differs from the platform's.
Entries both(std::string_view unit, std::string_view function, std::string_view body,
             std::string_view debugBody);
Entries bothErrors(std::string_view unit, std::string_view function, std::string_view body,
                   std::string_view debugBody);

// A status word on the bus, as the platform stand-in writes it down.
std::string signal(std::string_view statusWord);

inline void append(Entries &all, std::string one) { all.push_back(std::move(one)); }
inline void append(Entries &all, const Entries &several) {
    all.insert(all.end(), several.begin(), several.end());
}

// Strings and lists of strings, one after the other.
template <class... Parts>
Entries entries(Parts &&...parts) {
    Entries all;
    (append(all, std::forward<Parts>(parts)), ...);
    return all;
}

// The entries that begin with one of the prefixes, or all the others.
Entries only(const Entries &all, std::initializer_list<std::string_view> prefixes);
Entries without(const Entries &all, std::initializer_list<std::string_view> prefixes);

testing::AssertionResult sameEntries(const Entries &actual, const Entries &expected);

} // namespace ota::test

// Compares whole sequences; a difference is shown line by line.
#define EXPECT_ENTRIES(actual, expected) EXPECT_TRUE(::ota::test::sameEntries((actual), (expected)))
