// SPDX-License-Identifier: MIT
// The two calls that take the agent's log, and how long the short calls take.
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guards.h"

#include <algorithm>
#include <array>

namespace check {
namespace {

constexpr int kLine = 142;

void logs(decltype(&nalLogNotice) into, const char *call, const std::string &text) {
    const Running running(call);
    into("a_function", kLine, "ota: [%s %s:%d] %s", "unit", "a_function", kLine, text.c_str());
}

void takesText(Ground &ground, const std::string &text) {
    ground.player().play([&](Platform &platform) {
        logs(platform.logNotice, "nalLogNotice", text);
        logs(platform.logError, "nalLogError", text);
    });
}

void takesShort(Ground &ground) { takesText(ground, "a notice of the check, no fault"); }

void takesLong(Ground &ground) {
    constexpr std::size_t kLength = 70000; // a message with a descriptor in it
    takesText(ground, std::string(kLength, 'x'));
}

void takesOdd(Ground &ground) {
    takesText(ground, "%s%n%p 100% \x1b[31m\r\n\t \xff\xfe \xc3\xa9 \"quotes\" `id` $(id)");
}

void takesEmpty(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const Running running("nalLogNotice");
        const std::string nothing;
        platform.logNotice("", 0, "%s", nothing.c_str());
    });
}

// The fastest of some: another program may have had the processor in between.
template <typename Work>
std::int64_t fastestOf(int times, const Work &work) {
    std::int64_t fastest = INT64_MAX;
    for (int time = 0; time < times; ++time) {
        const std::int64_t began = nowMs();
        work();
        fastest = std::min(fastest, nowMs() - began);
    }
    return fastest;
}

void requireWithin(std::int64_t took, std::int64_t limit, const char *what) {
    if (took > limit) {
        throw Wrong{std::string(what) + " took " + std::to_string(took) + " ms, at the fastest"};
    }
}

void logsQuickly(Ground &ground) {
    ground.player().play([](Platform &platform) {
        constexpr int kLines = 10;
        constexpr std::int64_t kLimitMs = 500;
        requireWithin(fastestOf(3,
                                [&] {
                                    for (int line = 0; line < kLines; ++line) {
                                        logs(platform.logNotice, "nalLogNotice",
                                             "one line of many");
                                    }
                                }),
                      kLimitMs, "ten lines");
    });
}

void pathsQuickly(Ground &ground) {
    ground.player().play([](Platform &platform) {
        constexpr std::int64_t kLimitMs = 100;
        requireWithin(fastestOf(3,
                                [&] {
                                    platform.tmpDirectory();
                                    platform.configsDirectory();
                                    platform.logsDirectory();
                                    platform.caCertificate();
                                }),
                      kLimitMs, "the four paths");
    });
}

void queriesQuickly(Ground &ground) {
    ground.player().play([](Platform &platform) {
        constexpr std::int64_t kLimitMs = 1000;
        const auto limit = [&](const auto &call, auto argument) {
            requireWithin(fastestOf(3, [&] { call(argument); }), kLimitMs, call.name);
        };
        std::array<char, NAL_UPGRADE_INFO_SIZE> record{};
        int status = 0;
        limit(platform.nodeInfo, static_cast<void *>(record.data()));
        record.fill('\0');
        limit(platform.upgradeInfo, static_cast<void *>(record.data()));
        limit(platform.runningVersion, record.data());
        limit(platform.otherVersion, record.data());
        limit(platform.workMode, record.data());
        limit(platform.workRole, record.data());
        limit(platform.onboarding, &status);
    });
}

constexpr const char *kLogContract =
    "it comes back: format and arguments are as for printf, of whatever length";
constexpr const char *kLogDevice = "the host process ends with the first such line of the agent's";

constexpr Check kLoggerChecks[] = {
    {"logger.takes-a-line", kNothing, takesShort, "one notice and one error", kLogContract,
     kLogDevice},
    {"logger.takes-a-long-line", kNothing, takesLong, "a notice and an error of 70,000 characters",
     kLogContract, kLogDevice, "logger.takes-a-line"},
    {"logger.takes-odd-characters", kNothing, takesOdd,
     "percent signs, control characters and bytes that are no text, as an argument", kLogContract,
     "somebody who offers an image writes into the memory of the host, or ends it",
     "logger.takes-a-line"},
    {"logger.takes-an-empty-line", kNothing, takesEmpty, "an empty text from an unnamed function",
     kLogContract, kLogDevice, "logger.takes-a-line"},
    {"duration.logger", kNothing, logsQuickly, "ten lines of log, three times",
     "the logger must not block for long: the agent logs every step",
     "every call of the agent takes seconds, and the download's speed limit ends it",
     "logger.takes-a-line"},
    {"duration.paths", kNothing, pathsQuickly, "the four paths, three times",
     "these calls do not block", "every step of the agent waits for them",
     "directories.never-null"},
    {"duration.queries", kNothing, queriesQuickly,
     "each call about identity and state, three times",
     "these calls block briefly, well below a second",
     "an offer is answered late: who offers gives up and offers again", "identity"},
};

} // namespace

std::span<const Check> loggerChecks() { return kLoggerChecks; }

} // namespace check
