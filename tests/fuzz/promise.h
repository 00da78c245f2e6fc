// SPDX-License-Identifier: MIT
// What a fuzzer holds its subject to: a promise that is broken ends the process with the input.
#ifndef TESTS_FUZZ_PROMISE_H
#define TESTS_FUZZ_PROMISE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

// libFuzzer knows it by this name, and so does the replay.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace fuzz {

inline void promise(bool holds, const char *rule, std::string_view input) {
    if (holds) {
        return;
    }
    std::fprintf(stderr, "\nbroken: %s\ninput of %zu bytes: ", rule, input.size());
    for (const char byte : input.substr(0, 4000)) {
        const bool plain = byte >= ' ' && byte <= '~' && byte != '\\';
        std::fprintf(stderr, plain ? "%c" : "\\x%02X", static_cast<unsigned char>(byte));
    }
    std::fputc('\n', stderr);
    std::abort();
}

inline bool isPrintableLine(std::string_view line) {
    return std::all_of(line.begin(), line.end(),
                       [](char byte) { return byte >= ' ' && byte <= '~'; });
}

inline bool consistsOf(std::string_view text, std::string_view characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

inline constexpr std::string_view kVersionCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";

} // namespace fuzz

#endif
