// SPDX-License-Identifier: MIT
// Which bank runs, which one boots next, and what each bank holds.
#include "platform/nal/boot_state.h"

#include "platform/nal/digest.h"
#include "platform/nal/file_io.h"
#include "platform/nal/ini_file.h"

#include <charconv>
#include <vector>

namespace nal {
namespace {

constexpr std::size_t kMaxBootState = 8192;
constexpr std::string_view kChecksumKey = "checksum=";
constexpr const char *kWhatToDo =
    "; the node cannot tell its banks apart: write the boot state anew (ota-boot-state init)";

std::string bankSection(Bank bank) { return std::string("bank ") + bankName(bank); }

std::string formatBank(Bank bank, const BankRecord &record) {
    return "\n[" + bankSection(bank) + "]\nwhole=" + (record.whole ? "1" : "0") +
           "\nversion=" + record.version + "\nsize=" + std::to_string(record.size) +
           "\nsha256=" + record.sha256 + "\n";
}

std::string formatBootState(const BootState &state) {
    std::string text = "# Boot state of this node. Do not edit: the last line is the SHA-256 sum\n"
                       "# of all the lines above it.\n\n[boot]\nactive=";
    text += bankName(state.active);
    text += "\nnext=";
    text += bankName(state.next);
    text += "\n";
    text += formatBank(Bank::a, state.of(Bank::a));
    text += formatBank(Bank::b, state.of(Bank::b));
    text += "\n[end]\n";
    const std::string sum = sha256Of(text);
    return text.append(kChecksumKey).append(sum).append("\n");
}

// Takes the checked values out of the entries; remembers the first mistake.
class Fields {
  public:
    Fields(const std::string &path, const std::vector<IniEntry> &entries)
        : path_(path), entries_(entries) {}

    Bank bank(std::string_view key) {
        const std::string value = text("boot", key);
        if (value != "a" && value != "b") {
            mistake("boot", key, "a or b");
        }
        return value == "b" ? Bank::b : Bank::a;
    }

    BankRecord record(Bank bank) {
        const std::string section = bankSection(bank);
        BankRecord record;
        const std::string whole = text(section, "whole");
        if (whole != "0" && whole != "1") {
            mistake(section, "whole", "0 or 1");
        }
        record.whole = whole == "1";
        record.version = text(section, "version");
        record.sha256 = text(section, "sha256");
        const std::string size = text(section, "size");
        const auto parsed = std::from_chars(size.data(), size.data() + size.size(), record.size);
        if (parsed.ec != std::errc() || parsed.ptr != size.data() + size.size()) {
            mistake(section, "size", "a number of bytes");
        }
        if (record.whole && record.version.empty()) {
            mistake(section, "version", "the version of the whole image");
        }
        if (record.whole && !isSha256Text(record.sha256)) {
            mistake(section, "sha256", "64 hexadecimal digits");
        }
        return record;
    }

    const std::string &firstMistake() const { return firstMistake_; }

  private:
    std::string text(std::string_view section, std::string_view key) {
        const IniEntry *entry = findEntry(entries_, section, key);
        return entry == nullptr ? "" : entry->value;
    }

    void mistake(std::string_view section, std::string_view key, std::string_view expected) {
        if (!firstMistake_.empty()) {
            return;
        }
        const IniEntry *entry = findEntry(entries_, section, key);
        firstMistake_ = entry == nullptr ? path_ + ": " : atLine(path_, entry->line);
        firstMistake_.append("[").append(section).append("] ").append(key);
        firstMistake_.append(": expected ").append(expected);
    }

    const std::string &path_;
    const std::vector<IniEntry> &entries_;
    std::string firstMistake_;
};

bool checksumHolds(const std::string &path, const std::string &text, std::string &whatIsWrong) {
    const std::size_t lineSize = kChecksumKey.size() + Sha256::kTextSize + 1;
    const std::size_t at = text.size() < lineSize ? 0 : text.size() - lineSize;
    const std::string_view last = std::string_view(text).substr(at);
    if (!last.starts_with(kChecksumKey) || !last.ends_with('\n')) {
        whatIsWrong = path + ": the boot state is cut, its checksum line is missing";
        return false;
    }
    if (last.substr(kChecksumKey.size(), Sha256::kTextSize) != sha256Of(text.substr(0, at))) {
        whatIsWrong = path + ": the boot state is damaged, its checksum does not hold";
        return false;
    }
    return true;
}

bool parseBootState(const std::string &path, const std::string &text, BootState &state,
                    std::string &whatIsWrong) {
    std::vector<IniEntry> entries;
    if (!checksumHolds(path, text, whatIsWrong) || !parseIni(path, text, entries, whatIsWrong)) {
        return false;
    }
    Fields fields(path, entries);
    BootState read;
    read.active = fields.bank("active");
    read.next = fields.bank("next");
    read.of(Bank::a) = fields.record(Bank::a);
    read.of(Bank::b) = fields.record(Bank::b);
    whatIsWrong = fields.firstMistake();
    if (!whatIsWrong.empty()) {
        return false;
    }
    state = read;
    return true;
}

} // namespace

Bank otherBank(Bank bank) { return bank == Bank::a ? Bank::b : Bank::a; }

const char *bankName(Bank bank) { return bank == Bank::a ? "a" : "b"; }

Bank bankToBoot(const BootState &state) {
    return state.of(state.next).whole ? state.next : state.active;
}

bool readBootState(const std::string &path, BootState &state, std::string &whatIsWrong) {
    std::string text;
    if (readWholeFile(path, kMaxBootState, text, whatIsWrong) &&
        parseBootState(path, text, state, whatIsWrong)) {
        return true;
    }
    whatIsWrong += kWhatToDo;
    return false;
}

bool writeBootState(const std::string &path, const BootState &state, std::string &whatIsWrong) {
    const Replaced replaced = replaceFile(path, formatBootState(state), whatIsWrong);
    if (replaced != Replaced::yes) {
        whatIsWrong += "; check the file system that holds the boot state";
    }
    return replaced == Replaced::yes;
}

} // namespace nal
