// SPDX-License-Identifier: MIT
#include "node/boot_state_text.h"

#include "base/file_io.h"
#include "base/split.h"
#include "node/config/ini_file.h"
#include "node/digest.h"

#include <charconv>
#include <string_view>
#include <vector>

namespace node {
namespace {

constexpr int kMostAttempts = 9;

// The names that boot scripts of the field use for the order and the attempts.
constexpr const char *kOrder = "BOOT_ORDER";
constexpr const char *kActive = "ota_active";
constexpr const char *kTrial = "ota_trial";
constexpr const char *kHealthy = "ota_healthy";
constexpr const char *kFailed = "ota_failed";

const char *slotName(Bank bank) { return bank == Bank::a ? "A" : "B"; }

std::string attemptsName(Bank bank) { return std::string("BOOT_") + slotName(bank) + "_LEFT"; }

std::string recordName(Bank bank, const char *field) {
    return std::string("ota_") + bankName(bank) + "_" + field;
}

std::string formatFailed(const std::vector<FailedVersion> &failed) {
    std::string text;
    for (const FailedVersion &one : failed) {
        text += (text.empty() ? "" : ",") + one.version + ":" + std::to_string(one.trials) + ":" +
                trialFailureName(one.last);
    }
    return text;
}

template <typename Number>
bool takeCount(std::string_view text, Number least, Number most, Number &number) {
    Number read{};
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), read);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || read < least ||
        read > most) {
        return false;
    }
    number = read;
    return true;
}

// "version:trials:reason"
bool takeFailed(const std::string &text, FailedVersion &failed) {
    const std::size_t behindVersion = text.find(':');
    const std::size_t behindTrials = text.find(':', behindVersion + 1);
    if (behindVersion == text.npos || behindTrials == text.npos) {
        return false;
    }
    failed.version = text.substr(0, behindVersion);
    const std::string trials = text.substr(behindVersion + 1, behindTrials - behindVersion - 1);
    const std::string reason = text.substr(behindTrials + 1);
    failed.last = reason == "health" ? TrialFailure::health : TrialFailure::boot;
    return !failed.version.empty() && takeCount(trials, 1, kMostTrials, failed.trials) &&
           (reason == "boot" || reason == "health");
}

// Takes the checked values out of the variables; remembers the first mistake.
class VariableReader {
  public:
    VariableReader(const std::string &place, const BootVariables &variables)
        : place_(place), variables_(variables) {}

    BootState read() {
        BootState state;
        state.next = order();
        state.active = bank(kActive, false).value_or(Bank::a);
        state.trial = bank(kTrial, true);
        state.healthy = state.trial && text(kHealthy) == "1";
        for (const Bank which : {Bank::a, Bank::b}) {
            attempts(which, state.attemptsOf(which));
            state.of(which) = record(which);
        }
        for (const std::string &entry : base::piecesOf(text(kFailed), ',')) {
            FailedVersion failed;
            if (!takeFailed(entry, failed)) {
                mistake(kFailed, "versions as version:trials:boot or version:trials:health");
            }
            state.failed.push_back(failed);
        }
        return state;
    }

    const std::string &firstMistake() const { return firstMistake_; }

  private:
    std::string text(const std::string &name) const {
        const auto found = variables_.find(name);
        return found == variables_.end() ? "" : found->second;
    }

    Bank order() {
        const std::string value = text(kOrder);
        if (value != "A B" && value != "B A") {
            mistake(kOrder, "\"A B\" or \"B A\"");
        }
        return value == "B A" ? Bank::b : Bank::a;
    }

    std::optional<Bank> bank(const char *name, bool orNone) {
        const std::string value = text(name);
        if (value.empty() && orNone) {
            return std::nullopt;
        }
        if (value != "a" && value != "b") {
            mistake(name, "a or b");
        }
        return value == "b" ? Bank::b : Bank::a;
    }

    void attempts(Bank bank, int &left) {
        // A boot loader may count in hexadecimal, which is the same up to 9.
        if (!takeCount(text(attemptsName(bank)), 0, kMostAttempts, left)) {
            mistake(attemptsName(bank), "a number of boot attempts from 0 to 9");
        }
    }

    BankRecord record(Bank bank) {
        BankRecord record;
        record.version = text(recordName(bank, "version"));
        record.sha256 = text(recordName(bank, "sha256"));
        const std::string size = text(recordName(bank, "size"));
        record.whole = !record.version.empty() || !record.sha256.empty() || !size.empty();
        if (!record.whole) {
            return record;
        }
        if (record.version.empty()) {
            mistake(recordName(bank, "version"), "the version of the whole image");
        }
        if (!takeCount<std::uint64_t>(size, 1, UINT64_MAX, record.size)) {
            mistake(recordName(bank, "size"), "a number of bytes");
        }
        if (!isSha256Text(record.sha256)) {
            mistake(recordName(bank, "sha256"), "64 hexadecimal digits");
        }
        return record;
    }

    void mistake(const std::string &name, const char *expected) {
        if (firstMistake_.empty()) {
            const auto found = variables_.find(name);
            firstMistake_ =
                place_ + ": " + name +
                (found == variables_.end() ? " is missing" : " is \"" + found->second + "\"") +
                ": expected " + expected;
        }
    }

    const std::string &place_;
    const BootVariables &variables_;
    std::string firstMistake_;
};

constexpr std::size_t kMaxBootState = 8192;
constexpr std::string_view kFirstLine = "# Boot state of this node.";
constexpr std::string_view kChecksumKey = "checksum=";

bool checksumHolds(const std::string &text) {
    const std::size_t lineSize = kChecksumKey.size() + Sha256::kTextSize + 1;
    const std::size_t at = text.size() < lineSize ? 0 : text.size() - lineSize;
    const std::string_view last = std::string_view(text).substr(at);
    return last.starts_with(kChecksumKey) && last.ends_with('\n') &&
           last.substr(kChecksumKey.size(), Sha256::kTextSize) == sha256Of(text.substr(0, at));
}

class Fields {
  public:
    explicit Fields(const std::vector<IniEntry> &entries) : entries_(entries) {}

    bool bank(const char *key, Bank &bank) const {
        const std::string value = text("boot", key);
        bank = value == "b" ? Bank::b : Bank::a;
        return value == "a" || value == "b";
    }

    // Of a bank that is not whole nothing else is believed today.
    bool record(Bank bank, BankRecord &record) const {
        const std::string section = std::string("bank ") + bankName(bank);
        const std::string whole = text(section, "whole");
        if (whole != "1") {
            return whole == "0";
        }
        const std::string size = text(section, "size");
        const auto parsed = std::from_chars(size.data(), size.data() + size.size(), record.size);
        record.whole = true;
        record.version = text(section, "version");
        record.sha256 = text(section, "sha256");
        return parsed.ec == std::errc() && parsed.ptr == size.data() + size.size() &&
               record.size > 0 && !record.version.empty() && isSha256Text(record.sha256);
    }

  private:
    std::string text(std::string_view section, std::string_view key) const {
        const IniEntry *const entry = findEntry(entries_, section, key);
        return entry == nullptr ? "" : entry->value;
    }

    const std::vector<IniEntry> &entries_;
};

} // namespace

BootVariables formatBootState(const BootState &state) {
    BootVariables variables;
    variables[kOrder] = std::string(slotName(state.next)) + " " + slotName(otherBank(state.next));
    variables[kActive] = bankName(state.active);
    variables[kTrial] = state.trial ? bankName(*state.trial) : "";
    variables[kHealthy] = state.trial && state.healthy ? "1" : "";
    variables[kFailed] = formatFailed(state.failed);
    for (const Bank bank : {Bank::a, Bank::b}) {
        const BankRecord &record = state.of(bank);
        variables[attemptsName(bank)] = std::to_string(state.attemptsOf(bank));
        variables[recordName(bank, "version")] = record.whole ? record.version : "";
        variables[recordName(bank, "size")] = record.whole ? std::to_string(record.size) : "";
        variables[recordName(bank, "sha256")] = record.whole ? record.sha256 : "";
    }
    return variables;
}

base::Result<BootState> parseBootState(const std::string &place, const BootVariables &variables) {
    VariableReader reader(place, variables);
    const BootState read = reader.read();
    if (!reader.firstMistake().empty()) {
        return base::Error{reader.firstMistake()};
    }
    return read;
}

bool readOlderBootState(const BootPlace &place, BootState &state) {
    if (place.file.empty()) {
        return false;
    }
    const auto text = base::readWholeFile(place.file, kMaxBootState);
    if (!text || !text->starts_with(kFirstLine) || !checksumHolds(*text)) {
        return false;
    }
    const auto entries = parseIni(place.file, *text);
    if (!entries) {
        return false;
    }
    const Fields fields(*entries);
    BootState read;
    if (!fields.bank("active", read.active) || !fields.bank("next", read.next) ||
        !fields.record(Bank::a, read.of(Bank::a)) || !fields.record(Bank::b, read.of(Bank::b))) {
        return false;
    }
    state = read;
    return true;
}

} // namespace node
