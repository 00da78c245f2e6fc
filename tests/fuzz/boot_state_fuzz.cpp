// SPDX-License-Identifier: MIT
// What must hold for every boot state, of this release or an earlier one, whatever its bytes are.
#include "node/boot_copies.h"
#include "node/boot_state_text.h"
#include "node/digest.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/promise.h"
#include "tests/support/results.h"

#include <cstring>
#include <zlib.h>

using fuzz::MemoryFile;
using fuzz::promise;

namespace {

constexpr std::size_t kHead = 5; // checksum and counter

void checkState(const node::BootState &state, std::string_view input) {
    for (const node::Bank bank : {node::Bank::a, node::Bank::b}) {
        const node::BankRecord &record = state.of(bank);
        promise(state.attemptsOf(bank) >= 0 && state.attemptsOf(bank) <= 9,
                "attempts are within their bounds", input);
        promise(!record.whole ||
                    (!record.version.empty() && record.size > 0 && record.sha256.size() == 64),
                "a whole bank has version, size and digest", input);
    }
    for (const node::FailedVersion &failed : state.failed) {
        promise(!failed.version.empty() && failed.trials >= 1 && failed.trials <= 99,
                "a failed version has a name and a count", input);
    }
    node::BootState again;
    std::string whatIsWrong;
    const node::BootVariables printed = node::formatBootState(state);
    promise(took(node::parseBootState("state", printed), again, whatIsWrong) &&
                node::formatBootState(again) == printed,
            "a boot state comes back as it was written", input);
}

void tryVariables(const node::BootVariables &variables, std::string_view input) {
    node::BootState state;
    std::string whatIsWrong;
    if (took(node::parseBootState("state", variables), state, whatIsWrong)) {
        checkState(state, input);
    } else {
        promise(whatIsWrong.starts_with("state: "), "what is wrong says where", input);
    }
}

void tryFile(const std::string &bytes, std::string_view input) {
    static const MemoryFile file;
    file.hold(bytes);
    std::vector<node::BootCopy> copies;
    std::string whatIsWrong;
    promise(succeeds(node::bootCopies(file.path(), copies), whatIsWrong) && copies.size() == 2,
            "a file has two copies", input);
    const node::CopiesView view = node::lookAtCopies(copies);
    if (view.variables) {
        tryVariables(*view.variables, input);
    }
}

// One copy with its checksum, so that what stands in it is reached.
std::string copyOf(std::string text, char counter) {
    std::replace(text.begin(), text.end(), '\n', '\0');
    text.resize(node::kEnvironmentCopy - kHead);
    const auto sum = static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef *>(text.data()), static_cast<uInt>(text.size())));
    std::string copy(kHead, counter);
    std::memcpy(copy.data(), &sum, sizeof sum);
    return copy + text;
}

void tryCopies(const std::string &text) {
    tryFile(text, text);
    const std::size_t half = text.size() / 2;
    tryFile(copyOf(text, 1) + copyOf(text, 2), text);
    tryFile(copyOf(text.substr(0, half), 1) + copyOf(text.substr(half), text.empty() ? 0 : text[0]),
            text);
    // Behind a good state: the same name again is the one that holds.
    node::BootState good;
    good.of(node::Bank::a) = {true, "4QZ1", 7, std::string(64, 'a')};
    std::string variables;
    for (const auto &[name, value] : node::formatBootState(good)) {
        variables += value.empty() ? "" : name + "=" + value + "\n";
    }
    tryFile(copyOf(variables + text, 1) + copyOf(variables, 0), text);
}

void tryOlder(const std::string &text) {
    static const MemoryFile file;
    for (const std::string &one : {text, text + "checksum=" + node::sha256Of(text) + "\n"}) {
        file.hold(one);
        node::BootState state;
        if (node::readOlderBootState(file.path(), state)) {
            promise(!state.trial && state.failed.empty(), "an older state knows no trials", text);
            checkState(state, text);
        }
    }
}

// Where copies are; nothing that it names is opened.
void tryPlaces(const std::string &text) {
    static const MemoryFile file;
    file.hold(text);
    node::BootPlace place;
    place.fwEnvConfig = file.path();
    std::vector<node::BootCopy> copies;
    std::string whatIsWrong;
    if (succeeds(node::bootCopies(place, copies), whatIsWrong)) {
        promise(copies.size() == 2 && !copies[0].path.empty() && !copies[1].path.empty(),
                "there are two copies", text);
    } else {
        promise(!whatIsWrong.empty() && whatIsWrong.find('\n') == std::string::npos,
                "what is wrong is one line", text);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    tryCopies(text);
    tryOlder(text);
    tryPlaces(text);
    return 0;
}
