// SPDX-License-Identifier: MIT
// The node's configuration file, checked.
#include "platform/nal/config.h"

#include "platform/nal.h"
#include "platform/nal/file_io.h"
#include "platform/nal/ini_file.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

namespace nal {
namespace {

constexpr std::size_t kMaxConfig = 64 * 1024;
constexpr std::size_t kMaxName = 31; // what is read of a model, a serial number, a mode or a role

// The agent keeps 30 characters of a path, and of the images that it removes below tmp only 11: a
// longer directory would itself be removed, or another one that the cut name happens to be.
constexpr std::size_t kMaxTmp = 9;
constexpr std::size_t kMaxConfigs = 13; // room for /last_reboot_info
constexpr std::size_t kMaxLogs = 14;    // room for /ota_act_success
constexpr std::size_t kMaxCaCertificate = 30;

// Takes a value over, or returns false where it is not what the row expects.
using TakeValue = bool (*)(const std::string &value, Config &config);

struct Row {
    const char *section;
    const char *key;
    const char *expected;
    bool required;
    TakeValue take;
};

bool takeText(const std::string &value, std::size_t limit, std::string &destination) {
    destination = value;
    return !value.empty() && value.size() <= limit;
}

bool takePath(const std::string &value, std::string &destination,
              std::size_t limit = std::string::npos) {
    destination = value;
    return !value.empty() && value.size() <= limit && (value == "/" || value.back() != '/');
}

// The agent puts these into shell commands as they are.
bool takeDirectory(const std::string &value, std::string &destination, std::size_t limit) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789./_+-";
    return value.find_first_not_of(kPlain) == std::string::npos &&
           takePath(value, destination, limit);
}

bool takeNumber(std::string_view text, std::uint64_t &number) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
}

bool takeSize(const std::string &value, std::uint64_t &size) {
    constexpr std::string_view kSuffixes = "KMG";
    std::string_view digits = value;
    unsigned shift = 0;
    if (!digits.empty() && kSuffixes.find(digits.back()) != std::string_view::npos) {
        shift = 10 * (static_cast<unsigned>(kSuffixes.find(digits.back())) + 1);
        digits.remove_suffix(1);
    }
    std::uint64_t number = 0;
    constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max();
    if (!takeNumber(digits, number) || number == 0 || number > (kMax >> shift)) {
        return false;
    }
    size = number << shift;
    return true;
}

// hh[:mm[:ss]], one or two digits each.
bool isTimeOfDay(std::string_view text) {
    for (const std::uint64_t limit : {24U, 60U, 60U}) {
        const std::size_t end = std::min(text.find(':'), text.size());
        std::uint64_t number = 0;
        if (end > 2 || !takeNumber(text.substr(0, end), number) || number >= limit) {
            return false;
        }
        if (end == text.size()) {
            return true;
        }
        text.remove_prefix(end + 1);
    }
    return false;
}

constexpr const char *kName = "1 to 31 characters";
constexpr const char *kFile = "a file or block device";

const Row kRows[] = {
    {"node", "model", kName, true,
     [](const std::string &value, Config &config) {
         return takeText(value, kMaxName, config.model);
     }},
    {"node", "serial", kName, true,
     [](const std::string &value, Config &config) {
         return takeText(value, kMaxName, config.serial);
     }},
    {"node", "work_mode", kName, true,
     [](const std::string &value, Config &config) {
         return takeText(value, kMaxName, config.workMode);
     }},
    {"node", "work_role", kName, true,
     [](const std::string &value, Config &config) {
         return takeText(value, kMaxName, config.workRole);
     }},
    {"node", "onboarding", "0 or 1", true,
     [](const std::string &value, Config &config) {
         config.onboarding = value == "1" ? 1 : 0;
         return value == "0" || value == "1";
     }},
    {"node", "preferred_activation_time", "a time of day, hh[:mm[:ss]]", true,
     [](const std::string &value, Config &config) {
         config.preferredActivationTime = value;
         return isTimeOfDay(value);
     }},
    {"paths", "tmp",
     "a directory without \"/\" at the end, of at most 9 characters from A-Z a-z 0-9 . / _ + -",
     true,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.tmpDirectory, kMaxTmp);
     }},
    {"paths", "configs",
     "a directory without \"/\" at the end, of at most 13 characters from A-Z a-z 0-9 . / _ + -",
     true,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.configsDirectory, kMaxConfigs);
     }},
    {"paths", "logs",
     "a directory without \"/\" at the end, of at most 14 characters from A-Z a-z 0-9 . / _ + -",
     true,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.logsDirectory, kMaxLogs);
     }},
    {"paths", "ca_certificate", "a file, its path of at most 30 characters", true,
     [](const std::string &value, Config &config) {
         return takePath(value, config.caCertificate, kMaxCaCertificate);
     }},
    {"banks", "a", kFile, true,
     [](const std::string &value, Config &config) { return takePath(value, config.bankPaths[0]); }},
    {"banks", "b", "another file or block device than bank a", true,
     [](const std::string &value, Config &config) {
         return takePath(value, config.bankPaths[1]) && value != config.bankPaths[0];
     }},
    {"banks", "size", "a number of bytes above 0, with K, M or G behind it or nothing", false,
     [](const std::string &value, Config &config) { return takeSize(value, config.bankSize); }},
    {"banks", "boot_state", "a file", true,
     [](const std::string &value, Config &config) {
         return takePath(value, config.bootStatePath);
     }},
};

const Row *findRow(const IniEntry &entry) {
    const auto *const found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row &row) {
        return entry.section == row.section && entry.key == row.key;
    });
    return found == std::end(kRows) ? nullptr : found;
}

std::string nameOf(const std::string &section, const std::string &key) {
    return "[" + section + "] " + key;
}

bool takeRow(const std::string &path, const Row &row, const std::vector<IniEntry> &entries,
             Config &config, std::string &whatIsWrong) {
    const IniEntry *const entry = findEntry(entries, row.section, row.key);
    if (entry == nullptr) {
        whatIsWrong =
            path + ": " + nameOf(row.section, row.key) + " is missing: expected " + row.expected;
        return !row.required;
    }
    if (!row.take(entry->value, config)) {
        whatIsWrong = atLine(path, entry->line) + nameOf(row.section, row.key) + " is \"" +
                      entry->value + "\": expected " + row.expected;
        return false;
    }
    return true;
}

bool knowsEveryKey(const std::string &path, const std::vector<IniEntry> &entries,
                   std::string &whatIsWrong) {
    for (const IniEntry &entry : entries) {
        if (findRow(entry) == nullptr) {
            whatIsWrong = atLine(path, entry.line) + nameOf(entry.section, entry.key) +
                          " is not known: expected a key of node.conf.example";
            return false;
        }
    }
    return true;
}

} // namespace

bool readConfigText(const std::string &path, std::string &text, std::string &whatIsWrong) {
    return readWholeFile(path, kMaxConfig, text, whatIsWrong);
}

bool parseConfig(const std::string &path, const std::string &text, Config &config,
                 std::string &whatIsWrong) {
    std::vector<IniEntry> entries;
    if (!parseIni(path, text, entries, whatIsWrong) || !knowsEveryKey(path, entries, whatIsWrong)) {
        return false;
    }
    Config read;
    for (const Row &row : kRows) {
        if (!takeRow(path, row, entries, read, whatIsWrong)) {
            return false;
        }
    }
    whatIsWrong.clear();
    config = read;
    return true;
}

} // namespace nal
