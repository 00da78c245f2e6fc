// SPDX-License-Identifier: MIT
// The four paths that the agent makes its own from.
#include "base/trusted_path.h"
#include "tools/platform_check/ground.h"

#include <array>
#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace check {
namespace {

struct Path {
    const char *call;
    const char *text; // null: it gave none
    std::size_t limit;
};

constexpr std::size_t kTmpLimit = 6;
constexpr std::size_t kConfigsLimit = 13;
constexpr std::size_t kLogsLimit = 14;
constexpr std::size_t kCaLimit = 30;
constexpr std::size_t kDirectories = 3; // of the four

std::array<Path, 4> pathsOf(const Platform &platform) {
    return {{{"nal_getTmpDirectory", platform.tmpDirectory(), kTmpLimit},
             {"nal_getConfigsDirectory", platform.configsDirectory(), kConfigsLimit},
             {"nal_getLogsDirectory", platform.logsDirectory(), kLogsLimit},
             {"nal_getHIECertifcatePath", platform.caCertificate(), kCaLimit}}};
}

std::string said(const Path &path) {
    return std::string(path.call) + "() gave " +
           (path.text == nullptr ? "null" : inQuotes(path.text));
}

void givesPaths(Ground &ground) {
    ground.player().play([](Platform &platform) {
        for (const Path &path : pathsOf(platform)) {
            if (path.text == nullptr || *path.text == '\0') {
                throw Wrong{said(path)};
            }
        }
    });
}

void endsWithoutSlash(Ground &ground) {
    ground.player().play([](Platform &platform) {
        for (const Path &path : pathsOf(platform)) {
            if (path.text[std::strlen(path.text) - 1] == '/') {
                throw Wrong{said(path)};
            }
        }
    });
}

// What the agent makes of a directory that is too long.
std::string whatIsLeft(const Path &path) {
    constexpr std::size_t kKeptOfCommand = 18;
    if (std::strcmp(path.call, "nal_getTmpDirectory") != 0) {
        return "";
    }
    const std::string command = "rm -rf " + std::string(path.text) + "/4QZ*";
    return "; of its clean-up command the agent keeps " +
           inQuotes(command.substr(0, kKeptOfCommand));
}

void isShort(Ground &ground) {
    ground.player().play([](Platform &platform) {
        for (const Path &path : pathsOf(platform)) {
            const std::size_t length = std::strlen(path.text);
            if (length > path.limit) {
                throw Wrong{said(path) + ", " + std::to_string(length) + " characters where " +
                            std::to_string(path.limit) + " fit" + whatIsLeft(path)};
            }
        }
    });
}

void isPlain(Ground &ground) {
    constexpr const char *kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                   "./_+-";
    ground.player().play([](Platform &platform) {
        for (const Path &path : pathsOf(platform)) {
            if (path.text[std::strspn(path.text, kPlain)] != '\0' || path.text[0] == '-') {
                throw Wrong{said(path)};
            }
        }
    });
}

void staysTheSame(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const auto first = pathsOf(platform);
        std::array<std::string, 4> texts;
        for (std::size_t at = 0; at < first.size(); ++at) {
            texts.at(at) = first.at(at).text;
        }
        constexpr int kTimes = 3;
        for (int time = 0; time < kTimes; ++time) {
            const auto again = pathsOf(platform);
            for (std::size_t at = 0; at < first.size(); ++at) {
                if (texts.at(at) != again.at(at).text) {
                    throw Wrong{std::string(first.at(at).call) + "() gave " +
                                inQuotes(texts.at(at)) + ", and later " +
                                inQuotes(again.at(at).text)};
                }
                if (texts.at(at) != first.at(at).text) {
                    throw Wrong{std::string("the text that ") + first.at(at).call +
                                "() gave first, " + inQuotes(texts.at(at)) + ", has become " +
                                inQuotes(first.at(at).text)};
                }
            }
        }
    });
}

void isThere(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const auto paths = pathsOf(platform);
        for (std::size_t at = 0; at < kDirectories; ++at) {
            const Path &path = paths.at(at);
            struct stat status {};
            if (stat(path.text, &status) != 0 || !S_ISDIR(status.st_mode)) {
                throw Wrong{said(path) + ", which is no directory that is there"};
            }
            if (access(path.text, W_OK | X_OK) != 0) {
                throw Wrong{said(path) + ", in which no file can be made"};
            }
        }
    });
}

void isTrustedToo(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const auto paths = pathsOf(platform);
        for (std::size_t at = 0; at < kDirectories; ++at) {
            const std::string flaw = base::whyNotTrusted(paths.at(at).text);
            if (!flaw.empty()) {
                throw Wrong{said(paths.at(at)) + ": " + flaw};
            }
        }
    });
}

constexpr const char *kAsked = "the three directories and the path of the CA certificate";
constexpr const char *kShell = "the agent puts the names into shell commands as they are: it would "
                               "remove or write something else";

constexpr Check kDirectoryChecks[] = {
    {"directories.never-null", kNothing, givesPaths, kAsked, "never null, and never empty",
     "the agent reads from nowhere and ends with its host"},
    {"directories.no-trailing-slash", kNothing, endsWithoutSlash, kAsked, "no \"/\" at the end",
     "the paths that the agent makes of them are one character longer than it keeps",
     "directories.never-null"},
    {"directories.short-enough", kNothing, isShort, kAsked,
     "at most 6 characters for tmp, 13 for configs, 14 for logs and 30 for the certificate",
     "the agent cuts what it makes of them: its clean-up command removes another directory, and the "
     "mark of an activation is not found again",
     "directories.never-null"},
    {"directories.plain-names", kNothing, isPlain, kAsked,
     "characters A-Z a-z 0-9 . / _ + - and no \"-\" at the beginning", kShell,
     "directories.never-null"},
    {"directories.same-each-time", kNothing, staysTheSame, "the four paths, four times",
     "the same text each time, valid for the life of the process",
     "the agent writes a file in one place and looks for it in another", "directories.never-null"},
    {"directories.are-there", kNothing, isThere, "what lies at the three directories",
     "each is a directory in which the agent can make files",
     "no download starts, and no activation is remembered over the reboot",
     "directories.never-null"},
    {"directories.are-trusted", kNothing, isTrustedToo, "who may change the three directories",
     "root or the service's user alone, and neither group nor others",
     "the service refuses the node: whatever file begins with 4QZ goes into a command of root's",
     "directories.are-there"},
};

} // namespace

std::span<const Check> directoryChecks() { return kDirectoryChecks; }

} // namespace check
