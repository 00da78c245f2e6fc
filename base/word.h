// SPDX-License-Identifier: MIT
// What the agent's status words mean.
#ifndef BASE_WORD_H
#define BASE_WORD_H

#include <span>
#include <string>
#include <string_view>

namespace base {

struct WordRow {
    const char *word;
    const char *meaning; // half a sentence, without a full stop
    const char *remedy;  // what a person can do about it, likewise
};

std::span<const WordRow> statusWords();

/* The row, or null. */
const WordRow *rowOfWord(std::string_view word);

/* The third table of docs/codes.md, from its head to its last row, a line end behind each. */
std::string wordsAsMarkdown();

} // namespace base

#endif
