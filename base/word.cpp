// SPDX-License-Identifier: MIT
#include "base/word.h"

#include "otaSwAgent/status_words.h"

#include <algorithm>

namespace base {
namespace {

constexpr WordRow kWords[] = {
#define WORD(word, meaning, remedy) {word, meaning, remedy},
#include "base/word.def"
#undef WORD
};

} // namespace

std::span<const WordRow> statusWords() { return kWords; }

const WordRow *rowOfWord(std::string_view word) {
    const auto *const found = std::find_if(std::begin(kWords), std::end(kWords),
                                           [&](const WordRow &row) { return word == row.word; });
    return found == std::end(kWords) ? nullptr : found;
}

std::string wordsAsMarkdown() {
    std::string table = "| Status word | It means | What to do |\n|---|---|---|\n";
    for (const WordRow &row : kWords) {
        table += std::string("| `") + row.word + "` | " + row.meaning + " | " + row.remedy + " |\n";
    }
    return table;
}

} // namespace base
