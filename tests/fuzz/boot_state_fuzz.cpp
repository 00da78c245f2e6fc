// SPDX-License-Identifier: MIT
// What must hold for every boot state, of this release or an earlier one, whatever its bytes are.
#include "platform/nal/boot_copies.h"
#include "platform/nal/boot_state_older.h"
#include "platform/nal/boot_state_text.h"
#include "platform/nal/digest.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/promise.h"

#include <cstring>
#include <zlib.h>

using fuzz::MemoryFile;
using fuzz::promise;

namespace {

constexpr std::size_t kHead = 5; // checksum and counter

void checkState(const nal::BootState &state, std::string_view input) {
    for (const nal::Bank bank : {nal::Bank::a, nal::Bank::b}) {
        const nal::BankRecord &record = state.of(bank);
        promise(state.attemptsOf(bank) >= 0 && state.attemptsOf(bank) <= 9,
                "attempts are within their bounds", input);
        promise(!record.whole ||
                    (!record.version.empty() && record.size > 0 && record.sha256.size() == 64),
                "a whole bank has version, size and digest", input);
    }
    for (const nal::FailedVersion &failed : state.failed) {
        promise(!failed.version.empty() && failed.trials >= 1 && failed.trials <= 99,
                "a failed version has a name and a count", input);
    }
    nal::BootState again;
    std::string whatIsWrong;
    const nal::BootVariables printed = nal::formatBootState(state);
    promise(nal::parseBootState("state", printed, again, whatIsWrong) &&
                nal::formatBootState(again) == printed,
            "a boot state comes back as it was written", input);
}

void tryVariables(const nal::BootVariables &variables, std::string_view input) {
    nal::BootState state;
    std::string whatIsWrong;
    if (nal::parseBootState("state", variables, state, whatIsWrong)) {
        checkState(state, input);
    } else {
        promise(whatIsWrong.starts_with("state: "), "what is wrong says where", input);
    }
}

void tryFile(const std::string &bytes, std::string_view input) {
    static const MemoryFile file;
    file.hold(bytes);
    std::vector<nal::BootCopy> copies;
    std::string whatIsWrong;
    promise(nal::bootCopies(file.path(), copies, whatIsWrong) && copies.size() == 2,
            "a file has two copies", input);
    const nal::CopiesView view = nal::lookAtCopies(copies);
    if (view.variables) {
        tryVariables(*view.variables, input);
    }
}

// One copy with its checksum, so that what stands in it is reached.
std::string copyOf(std::string text, char counter) {
    std::replace(text.begin(), text.end(), '\n', '\0');
    text.resize(nal::kEnvironmentCopy - kHead);
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
    nal::BootState good;
    good.of(nal::Bank::a) = {true, "4QZ1", 7, std::string(64, 'a')};
    std::string variables;
    for (const auto &[name, value] : nal::formatBootState(good)) {
        variables += value.empty() ? "" : name + "=" + value + "\n";
    }
    tryFile(copyOf(variables + text, 1) + copyOf(variables, 0), text);
}

void tryOlder(const std::string &text) {
    static const MemoryFile file;
    for (const std::string &one : {text, text + "checksum=" + nal::sha256Of(text) + "\n"}) {
        file.hold(one);
        nal::BootState state;
        if (nal::readOlderBootState(file.path(), state)) {
            promise(!state.trial && state.failed.empty(), "an older state knows no trials", text);
            checkState(state, text);
        }
    }
}

// Where copies are; nothing that it names is opened.
void tryPlaces(const std::string &text) {
    static const MemoryFile file;
    file.hold(text);
    nal::BootPlace place;
    place.fwEnvConfig = file.path();
    std::vector<nal::BootCopy> copies;
    std::string whatIsWrong;
    if (nal::bootCopies(place, copies, whatIsWrong)) {
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
