// SPDX-License-Identifier: MIT
// Runs a fuzzer's entry without libFuzzer: the corpus, then mutations of it, always the same
// ones.
#include "tests/fuzz/promise.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

constexpr std::uint64_t kSeed = 20240229;
constexpr std::size_t kMaxText = 70000; // beyond what any of them takes

std::string contentOf(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Texts readCorpus(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end()); // the same order everywhere
    Texts texts;
    std::transform(paths.begin(), paths.end(), std::back_inserter(texts), contentOf);
    return texts;
}

// One value between quotes, with \\, \" and \xNN, as libFuzzer reads it.
std::string unquoted(const std::string &line) {
    std::string text;
    const std::size_t end = line.rfind('"');
    for (std::size_t at = line.find('"') + 1; at < end; ++at) {
        if (line[at] != '\\') {
            text += line[at];
        } else if (line[++at] == 'x') {
            text += static_cast<char>(std::stoi(line.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            text += line[at];
        }
    }
    return text;
}

Texts readDictionary(const std::filesystem::path &path) {
    Texts texts;
    std::istringstream lines(contentOf(path));
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() != '#') {
            texts.push_back(unquoted(line));
        }
    }
    return texts;
}

class Mutator {
  public:
    Mutator(const Texts &corpus, const Texts &dictionary)
        : corpus_(corpus), dictionary_(dictionary) {}

    std::string next() {
        std::string text = corpus_[below(corpus_.size())];
        for (std::size_t count = 1 + below(4); count > 0; --count) {
            mutate(text);
        }
        return text.substr(0, kMaxText);
    }

  private:
    // The library's distributions differ from one implementation to the next; this does not.
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }

    void mutate(std::string &text) {
        const std::size_t at = below(text.size() + 1);
        const std::size_t length = below(std::min<std::size_t>(text.size() - at, 40) + 1);
        switch (below(7)) {
        case 0:
            text.insert(at, 1, static_cast<char>(below(256)));
            break;
        case 1:
            text.erase(at, length);
            break;
        case 2:
            if (at < text.size()) {
                text[at] = static_cast<char>(text[at] ^ static_cast<char>(1U << below(8)));
            }
            break;
        case 3: {
            const std::string &other = corpus_[below(corpus_.size())];
            text = text.substr(0, at) + other.substr(below(other.size() + 1));
            break;
        }
        case 4:
            text.insert(at, dictionary_[below(dictionary_.size())]);
            break;
        case 5:
            text.replace(at, length, dictionary_[below(dictionary_.size())]);
            break;
        default:
            repeat(text, at, length);
        }
    }

    // Mostly a few times; now and then until the limit of the size is passed.
    void repeat(std::string &text, std::size_t at, std::size_t length) {
        const std::string piece = text.substr(at, length);
        std::size_t times = below(500) == 0 ? kMaxText / (length + 1) : below(12);
        std::string repeated;
        for (; times > 0; --times) {
            repeated += piece;
        }
        text.insert(at, repeated);
    }

    const Texts &corpus_;
    const Texts &dictionary_;
    std::mt19937_64 random_{kSeed};
};

void run(const std::string &text) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: NAME_fuzz_replay CORPUS-FOLDER DICTIONARY MUTATIONS\n");
        return 2;
    }
    const Texts corpus = readCorpus(argv[1]);
    const Texts dictionary = readDictionary(argv[2]);
    const long mutations = std::atol(argv[3]);
    if (corpus.empty() || dictionary.empty() || mutations <= 0) {
        std::fprintf(stderr,
                     "nothing to run: the corpus, the dictionary or the number of mutations "
                     "is empty\n");
        return 2;
    }
    std::for_each(corpus.begin(), corpus.end(), run);
    Mutator mutator(corpus, dictionary);
    for (long done = 0; done < mutations; ++done) {
        run(mutator.next());
    }
    std::printf("executions: %ld\n", mutations + static_cast<long>(corpus.size()));
    return 0;
}
