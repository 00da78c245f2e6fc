// SPDX-License-Identifier: MIT
#include "node/boot_state_older.h"

#include "base/file_io.h"
#include "base/ini_file.h"
#include "node/digest.h"

#include <charconv>
#include <string_view>
#include <vector>

namespace node {
namespace {

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
    explicit Fields(const std::vector<base::IniEntry> &entries) : entries_(entries) {}

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
        const base::IniEntry *const entry = base::findEntry(entries_, section, key);
        return entry == nullptr ? "" : entry->value;
    }

    const std::vector<base::IniEntry> &entries_;
};

} // namespace

bool readOlderBootState(const BootPlace &place, BootState &state) {
    if (place.file.empty()) {
        return false;
    }
    const auto text = base::readWholeFile(place.file, kMaxBootState);
    if (!text || !text->starts_with(kFirstLine) || !checksumHolds(*text)) {
        return false;
    }
    const auto entries = base::parseIni(place.file, *text);
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
