// SPDX-License-Identifier: MIT
#include "node/config/config_rows.h"

#include "base/version_order.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

namespace node {
namespace {

constexpr std::size_t kMaxName = 31;
constexpr const char *kWhyName = "the agent reads no more";

// The agent cuts what is longer, and then removes or writes another path than the one meant.
constexpr std::size_t kMaxTmp = 6;
constexpr const char *kWhyTmp =
    "the agent keeps 18 characters of its clean-up command \"rm -rf <tmp>/4QZ*\" and 31 of its "
    "progress command \"echo 100 > <tmp>/ota_dwld_prog\"";
constexpr std::size_t kMaxConfigs = 13;
constexpr const char *kWhyConfigs = "the agent keeps 30 characters of <configs>/last_reboot_info";
constexpr std::size_t kMaxLogs = 14;
constexpr const char *kWhyLogs = "the agent keeps 30 characters of <logs>/ota_act_success";
constexpr std::size_t kMaxCaCertificate = 30;
constexpr const char *kWhyCaCertificate = "the agent keeps no more of a path";

constexpr std::size_t kMaxTopic = 200;

constexpr std::string_view kLettersAndDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool isMadeOf(std::string_view text, std::string_view others) {
    return std::all_of(text.begin(), text.end(), [&](char character) {
        return kLettersAndDigits.find(character) != std::string_view::npos ||
               others.find(character) != std::string_view::npos;
    });
}

bool takeText(const std::string &value, std::string &destination) {
    destination = value;
    return !value.empty();
}

bool takePath(const std::string &value, std::string &destination) {
    return takeText(value, destination) && (value == "/" || value.back() != '/');
}

// The agent puts these into shell commands as they are.
bool takeDirectory(const std::string &value, std::string &destination) {
    return isMadeOf(value, "./_+-") && takePath(value, destination);
}

bool takeNumber(std::string_view text, std::uint64_t &number) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
}

bool takeNumberWithin(std::string_view text, int least, int most, int &number) {
    std::uint64_t value = 0;
    if (!takeNumber(text, value) || value < static_cast<std::uint64_t>(least) ||
        value > static_cast<std::uint64_t>(most)) {
        return false;
    }
    number = static_cast<int>(value);
    return true;
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

bool takeBroker(const std::string &value, Config &config) {
    constexpr int kMaxPort = 65535;
    const std::size_t colon = value.find(':');
    config.rootHost = value.substr(0, colon);
    return !config.rootHost.empty() && isMadeOf(config.rootHost, ".-") &&
           (colon == std::string::npos ||
            takeNumberWithin(std::string_view(value).substr(colon + 1), 1, kMaxPort,
                             config.rootPort));
}

bool takeTopic(const std::string &value, Config &config) {
    config.rootTopic = value;
    return !value.empty() && isMadeOf(value, "._-/") && value.front() != '/' &&
           value.back() != '/' && value.find("//") == std::string::npos;
}

bool takeYesOrNo(const std::string &value, bool &destination) {
    destination = value == "yes";
    return value == "yes" || value == "no";
}

constexpr const char *kSomeText = "a text";
constexpr const char *kFile = "a file or block device";
constexpr const char *kDirectory =
    "a directory without \"/\" at the end, of the characters A-Z a-z 0-9 . / _ + -";
constexpr const char *kSize = "a number of bytes above 0, with K, M or G behind it or nothing";
constexpr const char *kPlainFile = "a file";

const ConfigRow kRows[] = {
    {"node", "model", kSomeText, true, kMaxName, kWhyName,
     [](const std::string &value, Config &config) { return takeText(value, config.model); }},
    {"node", "serial", kSomeText, true, kMaxName, kWhyName,
     [](const std::string &value, Config &config) { return takeText(value, config.serial); }},
    {"node", "work_mode", kSomeText, true, kMaxName, kWhyName,
     [](const std::string &value, Config &config) { return takeText(value, config.workMode); }},
    {"node", "work_role", kSomeText, true, kMaxName, kWhyName,
     [](const std::string &value, Config &config) { return takeText(value, config.workRole); }},
    {"node", "onboarding", "0 or 1", true, 0, "",
     [](const std::string &value, Config &config) {
         config.onboarding = value == "1" ? 1 : 0;
         return value == "0" || value == "1";
     }},
    {"node", "preferred_activation_time", "a time of day, hh[:mm[:ss]], from 0:00 to 23:59:59",
     true, 0, "",
     [](const std::string &value, Config &config) {
         config.preferredActivationTime = value;
         return isTimeOfDay(value);
     }},
    {"paths", "tmp", kDirectory, true, kMaxTmp, kWhyTmp,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.tmpDirectory);
     }},
    {"paths", "configs", kDirectory, true, kMaxConfigs, kWhyConfigs,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.configsDirectory);
     }},
    {"paths", "logs", kDirectory, true, kMaxLogs, kWhyLogs,
     [](const std::string &value, Config &config) {
         return takeDirectory(value, config.logsDirectory);
     }},
    {"paths", "ca_certificate", kPlainFile, true, kMaxCaCertificate, kWhyCaCertificate,
     [](const std::string &value, Config &config) {
         return takePath(value, config.caCertificate);
     }},
    {"banks", "a", kFile, true, 0, "",
     [](const std::string &value, Config &config) { return takePath(value, config.bankPaths[0]); }},
    {"banks", "b", "another file or block device than bank a", true, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.bankPaths[1]) && value != config.bankPaths[0];
     }},
    {"banks", "size", kSize, false, 0, "",
     [](const std::string &value, Config &config) { return takeSize(value, config.bankSize); }},
    {"banks", "boot_state", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.bootState.file);
     }},
    {"banks", "fw_env_config", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.bootState.fwEnvConfig);
     }},
    {"banks", "kernel_command_line", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.bootState.kernelCommandLine);
     }},
    {"trial", "attempts", "a number from 1 to 9", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeNumberWithin(value, 1, 9, config.trialAttempts);
     }},
    {"trial", "health_command", "a command for the shell", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeText(value, config.healthCommand);
     }},
    {"trial", "health_limit", "a number of seconds from 1 to 3600", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeNumberWithin(value, 1, 3600, config.healthLimitSeconds);
     }},
    {"trial", "refuse_after", "a number from 0 to 9", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeNumberWithin(value, 0, 9, config.refuseAfterTrials);
     }},
    {"images", "signature", "required or optional", false, 0, "",
     [](const std::string &value, Config &config) {
         config.signatureRequired = value != "optional";
         return value == "required" || value == "optional";
     }},
    {"images", "signer_ca", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.signerAuthority);
     }},
    {"service", "state", "a directory without \"/\" at the end", false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.stateDirectory);
     }},
    {"service", "platform", "the file of a platform's library", false, 0, "",
     [](const std::string &value, Config &config) { return takePath(value, config.platform); }},
    {"service", "allow_plain_http", "yes or no", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeYesOrNo(value, config.allowPlainHttp);
     }},
    {"service", "lowest_version", "a version of the characters A-Z a-z 0-9 . _ + -", false,
     base::kLongestVersion, "no version is longer",
     [](const std::string &value, Config &config) {
         return isMadeOf(value, "._+-") && takeText(value, config.lowestVersion);
     }},
    {"service", "history_size", kSize, false, 0, "",
     [](const std::string &value, Config &config) { return takeSize(value, config.historySize); }},
    {"service", "history_files", "a number from 1 to 20", false, 0, "",
     [](const std::string &value, Config &config) {
         return takeNumberWithin(value, 1, 20, config.historyFiles);
     }},
    {"root", "broker",
     "a host name or IPv4 address, with \":\" and a port from 1 to 65535 or without", false, 0, "",
     takeBroker},
    {"root", "ca_certificate", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) {
         return takePath(value, config.rootCaCertificate);
     }},
    {"root", "certificate", kPlainFile, false, 0, "",
     [](const std::string &value,
        Config &config) { return takePath(value, config.rootCertificate); }},
    {"root", "key", kPlainFile, false, 0, "",
     [](const std::string &value, Config &config) { return takePath(value, config.rootKey); }},
    {"root", "topic",
     "names of the characters A-Z a-z 0-9 . _ -, with one \"/\" between each two of them", false,
     kMaxTopic, "a topic is sent with every message", takeTopic},
};

} // namespace

std::span<const ConfigRow> configRows() { return kRows; }

const ConfigRow *findConfigRow(std::string_view section, std::string_view key) {
    const auto *const found =
        std::find_if(std::begin(kRows), std::end(kRows), [&](const ConfigRow &row) {
            return section == row.section && key == row.key;
        });
    return found == std::end(kRows) ? nullptr : found;
}

std::string nameOf(std::string_view section, std::string_view key) {
    return std::string("[").append(section).append("] ").append(key);
}

base::Result<void> takeValue(const ConfigRow &row, const std::string &value, Config &config) {
    const std::string given = nameOf(row.section, row.key) + " is \"" + value + "\"";
    if (row.limit != 0 && value.size() > row.limit) {
        return base::Error{given + ", " + std::to_string(value.size()) +
                           " characters: expected at most " + std::to_string(row.limit) +
                           ", since " + row.whyLimit};
    }
    if (!row.take(value, config)) {
        return base::Error{given + ": expected " + row.expected};
    }
    return {};
}

} // namespace node
