// SPDX-License-Identifier: MIT
// The process that the platform shares with the agent: what it must leave as it is, and what piles
// up in it.
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guards.h"
#include "tools/platform_check/rounds.h"

#include "base/text.h"

#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace check {
namespace {

struct DirectoryClose {
    void operator()(DIR *folder) const { closedir(folder); }
};

// Entries of a folder of /proc; the one that this look itself opens is always among them.
int entriesIn(const char *path) {
    const std::unique_ptr<DIR, DirectoryClose> folder(opendir(path));
    int count = 0;
    while (folder && readdir(folder.get()) != nullptr) {
        ++count;
    }
    return count;
}

void leavesOutputAlone(Ground &ground) {
    ground.player().play(askAndLog);
    const std::string written = ground.player().output();
    if (!written.empty()) {
        throw Wrong{"standard output got " + inQuotes(written)};
    }
}

// Looks before the library is loaded, and once more behind all calls.
template <typename Look, typename Tell>
void staysAsItWas(Ground &ground, const Look &look, const Tell &tell) {
    const std::string path = ground.options().platform;
    const std::string config = ground.options().config;
    ground.player().play(
        [&](Platform &) {
            const auto before = look();
            Platform platform = loadPlatform(path);
            openPlatform(platform, config);
            askAndLog(platform);
            const auto now = look();
            if (now != before) {
                throw Wrong{tell(before, now)};
            }
        },
        Opening::none);
}

std::string workingDirectory() {
    std::array<char, PATH_MAX> path{};
    return getcwd(path.data(), path.size()) == nullptr ? "none" : path.data();
}

void keepsWorkingFolder(Ground &ground) {
    staysAsItWas(ground, workingDirectory, [](const std::string &before, const std::string &now) {
        return "the working directory was " + before + " and is " + now;
    });
}

mode_t maskOfFiles() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

void keepsUmask(Ground &ground) {
    staysAsItWas(ground, maskOfFiles, [](mode_t before, mode_t now) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "the umask was %03o and is %03o", before, now);
        return std::string(text.data());
    });
}

// Of each signal the address of what it does, and whether it is blocked.
std::string signalsNow() {
    std::string all;
    sigset_t blocked;
    sigemptyset(&blocked);
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0) {
            std::array<char, 64> text{};
            std::snprintf(text.data(), text.size(), "%d:%p:%d ", number,
                          reinterpret_cast<void *>(action.sa_handler),
                          sigismember(&blocked, number));
            all += text.data();
        }
    }
    return all;
}

std::string firstDifference(const std::string &before, const std::string &now) {
    std::size_t at = 0;
    std::size_t start = 0;
    for (; at < now.size() && at < before.size() && before[at] == now[at]; ++at) {
        start = now[at] == ' ' ? at + 1 : start;
    }
    const int number = std::atoi(now.c_str() + start);
    return std::string("what is done at ") + strsignal(number) + " (signal " +
           std::to_string(number) + ") is another";
}

void keepsSignals(Ground &ground) { staysAsItWas(ground, signalsNow, firstDifference); }

std::string standardFiles() {
    std::string all;
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        struct stat status {};
        if (fstat(number, &status) != 0) {
            return all + std::to_string(number) + " is closed";
        }
        all += std::to_string(number) + " is " + std::to_string(status.st_dev) + ":" +
               std::to_string(status.st_ino) + "; ";
    }
    return all;
}

void keepsStandardFiles(Ground &ground) {
    staysAsItWas(ground, standardFiles, [](const std::string &before, const std::string &now) {
        return "of the descriptors 0 to 2: before, " + before + "now, " + now;
    });
}

std::string environmentNow() {
    std::string all;
    for (char **at = environ; at != nullptr && *at != nullptr; ++at) {
        all.append(*at).append("\n");
    }
    return all;
}

void keepsEnvironment(Ground &ground) {
    staysAsItWas(ground, environmentNow, [](const std::string &, const std::string &) {
        return std::string("the environment of the process is another");
    });
}

void leavesNoProcess(Ground &ground) {
    ground.player().play(askAndLog);
    if (ground.player().leftProcesses()) {
        throw Wrong{"a process that it started went on when the one that loaded it had ended"};
    }
}

constexpr int kFirstRounds = 50; // until everything that is kept once is there
constexpr int kRounds = 400;

void leaksNothing(Ground &ground, const char *path, const char *what) {
    ground.playLong([&](Platform &platform) {
        for (int round = 0; round < kFirstRounds; ++round) {
            askAndLog(platform);
        }
        const int before = entriesIn(path);
        for (int round = 0; round < kRounds; ++round) {
            askAndLog(platform);
        }
        const int now = entriesIn(path);
        if (now > before) {
            throw Wrong{std::to_string(now - before) + " " + what + " more after " +
                        std::to_string(kRounds) + " rounds of all calls"};
        }
    });
}

void leaksNoDescriptor(Ground &ground) {
    leaksNothing(ground, "/proc/self/fd", "open descriptors");
}

void leaksNoThread(Ground &ground) { leaksNothing(ground, "/proc/self/task", "threads"); }

// Bytes of memory that is this process's own.
long ownMemory() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen("/proc/self/statm", "r"),
                                                                std::fclose);
    long size = 0;
    long resident = 0;
    long together = 0;
    const bool isRead =
        file && std::fscanf(file.get(), "%ld %ld %ld", &size, &resident, &together) == 3;
    return isRead ? (resident - together) * sysconf(_SC_PAGESIZE) : 0;
}

void leaksNoMemory(Ground &ground) {
    ground.playLong([](Platform &platform) {
        constexpr long kMost = 96L * 1024;
        constexpr int kManyRounds = 2000;
        for (int round = 0; round < kRounds; ++round) {
            askAndLog(platform);
        }
        const long before = ownMemory();
        for (int round = 0; round < kManyRounds; ++round) {
            askAndLog(platform);
        }
        const long grown = ownMemory() - before;
        if (grown > kMost) {
            throw Wrong{"the process grew by " + std::to_string(grown) + " bytes in " +
                        std::to_string(kManyRounds) + " rounds of all calls, " +
                        std::to_string(grown / kManyRounds) + " bytes a round"};
        }
    });
}

void leaksNothingOnWriting(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    ground.playLong([&](Platform &platform) {
        constexpr int kWrites = 8;
        platform.write(image.c_str());
        const int files = entriesIn("/proc/self/fd");
        const int threads = entriesIn("/proc/self/task");
        for (int time = 0; time < kWrites; ++time) {
            platform.write(image.c_str());
        }
        const int moreFiles = entriesIn("/proc/self/fd") - files;
        const int moreThreads = entriesIn("/proc/self/task") - threads;
        if (moreFiles > 0 || moreThreads > 0) {
            throw Wrong{std::to_string(moreFiles) + " open descriptors and " +
                        std::to_string(moreThreads) + " threads more after " +
                        std::to_string(kWrites) + " writes"};
        }
    });
}

constexpr const char *kAllCalls =
    "the process around all calls about paths, identity, state and log";
constexpr const char *kNotItsOwn = "the process is the host's and the agent's: C calls alone cross";

constexpr Check kProcessChecks[] = {
    {"process.leaves-standard-output", kNothing, leavesOutputAlone, kAllCalls,
     "nothing is written to standard output", "what reads the host's output takes it for an answer",
     "logger"},
    {"process.keeps-working-directory", kNothing, keepsWorkingFolder, kAllCalls, kNotItsOwn,
     "relative paths of the configuration lead elsewhere: the agent removes files in another place",
     "logger"},
    {"process.keeps-umask", kNothing, keepsUmask, kAllCalls, kNotItsOwn,
     "files of the agent become writable to others, or unreadable to the service", "logger"},
    {"process.keeps-signals", kNothing, keepsSignals, kAllCalls, kNotItsOwn,
     "the host does not end when the service tells it to, or ends when a pipe is closed", "logger"},
    {"process.keeps-standard-files", kNothing, keepsStandardFiles, kAllCalls, kNotItsOwn,
     "the next file that is opened takes their place: log lines go into a bank", "logger"},
    {"process.keeps-environment", kNothing, keepsEnvironment, kAllCalls, kNotItsOwn,
     "commands of the agent run with another search path", "logger"},
    {"process.leaves-no-process", kNothing, leavesNoProcess, kAllCalls,
     "what a call starts has ended when it comes back",
     "processes pile up with each start of the host, and hold what it held open", "logger"},
};

constexpr const char *kManyTimes = "all calls about paths, identity, state and log, many times";
constexpr const char *kAgain = "every call may be made again at any time";

constexpr Check kLeakChecks[] = {
    {"leaks.descriptors", kNothing, leaksNoDescriptor, kManyTimes, kAgain,
     "after some days no file can be opened: downloads fail until the host is started again",
     "logger"},
    {"leaks.threads", kNothing, leaksNoThread, kManyTimes, kAgain,
     "after some days no thread can be started, and memory is short", "logger"},
    {"leaks.memory", kNothing, leaksNoMemory, kManyTimes, kAgain,
     "after some weeks the kernel ends the host, or a process that the node needs",
     "leaks.threads"},
    {"leaks.writes", kWrites, leaksNothingOnWriting, "the same image, written nine times", kAgain,
     "each upgrade leaves an open bank behind, which cannot be mounted or replaced", "write.again"},
};

} // namespace

std::span<const Check> processChecks() { return kProcessChecks; }
std::span<const Check> leakChecks() { return kLeakChecks; }

} // namespace check
