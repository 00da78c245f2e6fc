// SPDX-License-Identifier: MIT
// Spelling and comparing of journal entries.
#include "entries.h"

#include <algorithm>

namespace ota::test {

namespace {

std::string logLine(std::string_view kind, std::string_view unit, std::string_view function,
                    std::string_view body) {
    std::string line(kind);
    line.append(" ").append(unit).append(" ").append(function).append(": ");
    return line + escaped(body);
}

bool beginsWithOneOf(const std::string &entry, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view prefix) { return entry.starts_with(prefix); });
}

// How many entries two tails have in common, for every pair of tails.
std::vector<std::vector<std::size_t>> commonTails(const Entries &a, const Entries &b) {
    std::vector<std::vector<std::size_t>> common(a.size() + 1,
                                                 std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = a.size(); i-- > 0;) {
        for (std::size_t j = b.size(); j-- > 0;) {
            common[i][j] = a[i] == b[j] ? common[i + 1][j + 1] + 1
                                        : std::max(common[i + 1][j], common[i][j + 1]);
        }
    }
    return common;
}

std::string difference(const Entries &expected, const Entries &actual) {
    const auto common = commonTails(expected, actual);
    std::string text;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < expected.size() || j < actual.size()) {
        if (i < expected.size() && j < actual.size() && expected[i] == actual[j]) {
            text += "    " + expected[i] + "\n";
            ++i;
            ++j;
        } else if (j == actual.size() ||
                   (i < expected.size() && common[i + 1][j] >= common[i][j + 1])) {
            text += "  - " + expected[i++] + "\n";
        } else {
            text += "  + " + actual[j++] + "\n";
        }
    }
    return text;
}

} // namespace

std::string escaped(std::string_view text) {
    std::string shown;
    for (const char character : text) {
        if (character == '\n') {
            shown += "\\n";
        } else if (character == '\r') {
            shown += "\\r";
        } else {
            shown += character;
        }
    }
    return shown;
}

std::string notice(std::string_view unit, std::string_view function, std::string_view body) {
    return logLine("notice", unit, function, body);
}

std::string error(std::string_view unit, std::string_view function, std::string_view body) {
    return logLine("error", unit, function, body);
}

std::string trace(std::string_view function, std::string_view body) {
    return "debug " + std::string(function) + ": " + escaped(body);
}

Entries both(std::string_view unit, std::string_view function, std::string_view body) {
    return both(unit, function, body, body);
}

Entries bothDebugFirst(std::string_view unit, std::string_view function, std::string_view body) {
    return {trace(function, body), notice(unit, function, body)};
}

Entries bothErrors(std::string_view unit, std::string_view function, std::string_view body) {
    return bothErrors(unit, function, body, body);
}

Entries both(std::string_view unit, std::string_view function, std::string_view body,
             std::string_view debugBody) {
    return {notice(unit, function, body), trace(function, debugBody)};
}

Entries bothErrors(std::string_view unit, std::string_view function, std::string_view body,
                   std::string_view debugBody) {
    return {error(unit, function, body), trace(function, debugBody)};
}

std::string signal(std::string_view statusWord) {
    return "evbusSendSignal velmo.otaSwAgent updateUpgradeStatus " + std::string(statusWord);
}

Entries only(const Entries &all, std::initializer_list<std::string_view> prefixes) {
    Entries kept;
    std::copy_if(all.begin(), all.end(), std::back_inserter(kept),
                 [&](const std::string &entry) { return beginsWithOneOf(entry, prefixes); });
    return kept;
}

Entries without(const Entries &all, std::initializer_list<std::string_view> prefixes) {
    Entries kept;
    std::copy_if(all.begin(), all.end(), std::back_inserter(kept),
                 [&](const std::string &entry) { return !beginsWithOneOf(entry, prefixes); });
    return kept;
}

testing::AssertionResult sameEntries(const Entries &actual, const Entries &expected) {
    if (actual == expected) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "the journal differs (- expected, + written):\n"
                                       << difference(expected, actual);
}

} // namespace ota::test
