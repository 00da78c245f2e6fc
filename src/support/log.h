// SPDX-License-Identifier: MIT
// One statement writes an event to both logs, under the operation and the unit that own it.
#pragma once

#include "otaSwAgent/agent.h"
#include "platform/nal.h"

namespace ota {

// One entry of the debug log as the agent's own operations write it. The body is bounded, its
// arguments are not.
inline constexpr size_t kLongestBody = 200;
[[gnu::format(printf, 3, 4)]] void debugLine(const char *function, int line, const char *body, ...);

} // namespace ota

// The includer's `kUnit` (its unit.h) names the unit. The plain forms log under the calling
// function; the _OF forms take the operation's name, for steps that live in a function of their
// own. Arguments are expanded once a log: no side effects in them. Bodies are complete: no line
// end is added, and the debug log's entries may share a line. The body ends the platform's format,
// so that both logs share one string in the library.

#define OTA_PLATFORM_OF(logger, operation, body, ...)                                              \
    logger(operation, __LINE__, "ota: [%s %s:%d] " body, kUnit, operation,                         \
           __LINE__ __VA_OPT__(, ) __VA_ARGS__)
// Debug log only: "function():line: " and the body.
#define OTA_TRACE_OF(operation, body, ...)                                                         \
    do {                                                                                           \
        static_assert(sizeof(body) <= ota::kLongestBody);                                          \
        ota::debugLine(operation, __LINE__, body __VA_OPT__(, ) __VA_ARGS__);                      \
    } while (false)

// Platform logger only.
#define OTA_PLATFORM_NOTICE_OF(operation, body, ...)                                               \
    OTA_PLATFORM_OF(nalLogNotice, operation, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_PLATFORM_ERROR_OF(operation, body, ...)                                                \
    OTA_PLATFORM_OF(nalLogError, operation, body __VA_OPT__(, ) __VA_ARGS__)

// Both logs, platform logger first; the _2 forms for a pair whose bodies differ.
#define OTA_NOTICE_2_OF(operation, body, debugBody, ...)                                           \
    do {                                                                                           \
        OTA_PLATFORM_NOTICE_OF(operation, body __VA_OPT__(, ) __VA_ARGS__);                        \
        OTA_TRACE_OF(operation, debugBody __VA_OPT__(, ) __VA_ARGS__);                             \
    } while (false)
#define OTA_ERROR_2_OF(operation, body, debugBody, ...)                                            \
    do {                                                                                           \
        OTA_PLATFORM_ERROR_OF(operation, body __VA_OPT__(, ) __VA_ARGS__);                         \
        OTA_TRACE_OF(operation, debugBody __VA_OPT__(, ) __VA_ARGS__);                             \
    } while (false)
#define OTA_NOTICE_OF(operation, body, ...)                                                        \
    OTA_NOTICE_2_OF(operation, body, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_ERROR_OF(operation, body, ...)                                                         \
    OTA_ERROR_2_OF(operation, body, body __VA_OPT__(, ) __VA_ARGS__)

// Both logs, debug log first.
#define OTA_DEBUG_FIRST_NOTICE_2(body, debugBody, ...)                                             \
    do {                                                                                           \
        OTA_TRACE(debugBody __VA_OPT__(, ) __VA_ARGS__);                                           \
        OTA_PLATFORM_NOTICE(body __VA_OPT__(, ) __VA_ARGS__);                                      \
    } while (false)
#define OTA_DEBUG_FIRST_NOTICE(body, ...)                                                          \
    OTA_DEBUG_FIRST_NOTICE_2(body, body __VA_OPT__(, ) __VA_ARGS__)

#define OTA_TRACE(body, ...) OTA_TRACE_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_PLATFORM_NOTICE(body, ...)                                                             \
    OTA_PLATFORM_NOTICE_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_PLATFORM_ERROR(body, ...)                                                              \
    OTA_PLATFORM_ERROR_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_NOTICE(body, ...) OTA_NOTICE_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_ERROR(body, ...) OTA_ERROR_OF(__func__, body __VA_OPT__(, ) __VA_ARGS__)
#define OTA_NOTICE_2(body, debugBody, ...)                                                         \
    OTA_NOTICE_2_OF(__func__, body, debugBody __VA_OPT__(, ) __VA_ARGS__)
#define OTA_ERROR_2(body, debugBody, ...)                                                          \
    OTA_ERROR_2_OF(__func__, body, debugBody __VA_OPT__(, ) __VA_ARGS__)
