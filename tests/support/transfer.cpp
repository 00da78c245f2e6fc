// SPDX-License-Identifier: MIT
// Stand-ins for libcurl's easy interface.
#include "transfer.h"

#include "agent_library.h"
#include "files.h"
#include "journal.h"
#include "next_function.h"

#include <cstdarg>
#include <memory>
#include <vector>

#undef curl_easy_setopt
#undef curl_easy_getinfo

#if defined(__clang__)
// libcurl's own prototypes end in an enumeration before the dots.
#pragma clang diagnostic ignored "-Wvarargs"
#endif

namespace ota::test {

namespace {

// Handles stay in memory after their clean-up, so that a use after it can be reported.
std::vector<std::unique_ptr<Transfer>> gTransfers;

std::string optionName(CURLoption option) {
    const curl_easyoption *known = curl_easy_option_by_id(option);
    return known != nullptr ? known->name : std::to_string(option);
}

std::string pointerName(const void *pointer) {
    if (pointer == nullptr) {
        return "null";
    }
    if (pointer == static_cast<const void *>(&AGENT_VAR(g_httpInfo))) {
        return "g_httpInfo";
    }
    for (const auto &[stream, path] : files().open) {
        if (stream == pointer) {
            return "stream of " + path;
        }
    }
    return "pointer";
}

std::string functionName(const void *function) {
    const std::string exported = agentNameOf(function);
    return !exported.empty() ? exported : belongsToAgent(function) ? "file-local" : "foreign";
}

void keepCallback(Transfer &transfer, CURLoption option, void *value) {
    switch (option) {
    case CURLOPT_WRITEFUNCTION:
        transfer.writeFunction = reinterpret_cast<curl_write_callback>(value);
        break;
    case CURLOPT_WRITEDATA:
        transfer.writeData = value;
        break;
    case CURLOPT_PROGRESSFUNCTION:
        transfer.progressFunction = reinterpret_cast<curl_progress_callback>(value);
        break;
    case CURLOPT_PROGRESSDATA:
        transfer.progressData = value;
        break;
    case CURLOPT_SOCKOPTFUNCTION:
        transfer.socketFunction = reinterpret_cast<curl_sockopt_callback>(value);
        break;
    case CURLOPT_SOCKOPTDATA:
        transfer.socketData = value;
        break;
    default:
        break;
    }
}

std::string readValue(Transfer &transfer, CURLoption option, va_list arguments) {
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        return std::to_string(va_arg(arguments, long));
    }
    if (option >= CURLOPTTYPE_OFF_T) {
        return std::to_string(va_arg(arguments, curl_off_t));
    }
    void *value = va_arg(arguments, void *);
    keepCallback(transfer, option, value);
    if (option >= CURLOPTTYPE_FUNCTIONPOINT) {
        return functionName(value);
    }
    const curl_easyoption *known = curl_easy_option_by_id(option);
    if (known != nullptr && known->type == CURLOT_STRING) {
        return value != nullptr ? static_cast<const char *>(value) : "null";
    }
    return pointerName(value);
}

// Real handles share one record of what was set.
Transfer &transferOf(CURL *handle) {
    static Transfer ofRealHandles;
    return curl().isReal ? ofRealHandles : *static_cast<Transfer *>(handle);
}

CURLcode setReal(CURL *handle, CURLoption option, va_list arguments) {
    static auto *const next = nextFunction<CURLcode(CURL *, CURLoption, ...)>("curl_easy_setopt");
    if (option >= CURLOPTTYPE_OBJECTPOINT) {
        return next(handle, option, va_arg(arguments, void *));
    }
    const long value = va_arg(arguments, long);
    const bool isReplaced = option == CURLOPT_TIMEOUT && curl().realTimeLimit != 0;
    return next(handle, option, isReplaced ? curl().realTimeLimit : value);
}

void note(const std::string &text) { journal().add(Kind::kAction, text); }

} // namespace

std::size_t Transfer::write(std::string_view data, std::size_t itemSize) {
    const AgentScope agent;
    std::string copy(data);
    return writeFunction(copy.data(), itemSize, data.size() / itemSize, writeData);
}

int Transfer::progress(double total, double now) {
    const AgentScope agent;
    return progressFunction(progressData, total, now, 0, 0);
}

int Transfer::openSocket(curl_socket_t socket, curlsocktype purpose) {
    const AgentScope agent;
    return socketFunction(socketData, socket, purpose);
}

Curl &curl() {
    static Curl theCurl;
    return theCurl;
}

} // namespace ota::test

using namespace ota::test;

extern "C" {

CURLcode curl_global_init(long flags) {
    if (!agentIsActive()) {
        return nextFunction<CURLcode(long)>("curl_global_init")(flags);
    }
    const HarnessScope harness;
    note("curl_global_init " +
         (flags == CURL_GLOBAL_ALL ? std::string("CURL_GLOBAL_ALL") : std::to_string(flags)));
    return curl().isReal ? nextFunction<CURLcode(long)>("curl_global_init")(flags) : CURLE_OK;
}

void curl_global_cleanup(void) {
    if (!agentIsActive()) {
        nextFunction<void()>("curl_global_cleanup")();
        return;
    }
    const HarnessScope harness;
    note("curl_global_cleanup");
    if (curl().isReal) {
        nextFunction<void()>("curl_global_cleanup")();
    }
}

CURL *curl_easy_init(void) {
    if (!agentIsActive()) {
        return nextFunction<CURL *()>("curl_easy_init")();
    }
    const HarnessScope harness;
    note("curl_easy_init");
    if (curl().initFails) {
        return nullptr;
    }
    ++curl().openHandles;
    if (curl().isReal) {
        CURL *handle = nextFunction<CURL *()>("curl_easy_init")();
        curl().realHandles.insert(handle);
        return handle;
    }
    gTransfers.push_back(std::make_unique<Transfer>());
    return gTransfers.back().get();
}

CURLcode curl_easy_setopt(CURL *handle, CURLoption option, ...) {
    const HarnessScope harness;
    Transfer &transfer = transferOf(handle);
    va_list arguments;
    va_start(arguments, option);
    const std::string value = readValue(transfer, option, arguments);
    va_end(arguments);
    transfer.options[optionName(option)] = value;
    note("curl_easy_setopt CURLOPT_" + optionName(option) + " " + value);
    if (!curl().isReal) {
        return CURLE_OK;
    }
    va_start(arguments, option);
    const CURLcode result = setReal(handle, option, arguments);
    va_end(arguments);
    return result;
}

CURLcode curl_easy_perform(CURL *handle) {
    const HarnessScope harness;
    note("curl_easy_perform");
    if (curl().isReal) {
        return nextFunction<CURLcode(CURL *)>("curl_easy_perform")(handle);
    }
    return curl().perform ? curl().perform(*static_cast<Transfer *>(handle)) : CURLE_OK;
}

CURLcode curl_easy_getinfo(CURL *handle, CURLINFO info, ...) {
    const HarnessScope harness;
    const bool isCode = info == CURLINFO_RESPONSE_CODE;
    note(std::string("curl_easy_getinfo ") + (isCode                      ? "CURLINFO_RESPONSE_CODE"
                                              : info == CURLINFO_OS_ERRNO ? "CURLINFO_OS_ERRNO"
                                                                          : "another"));
    if (curl().infoResult != CURLE_OK) {
        return curl().infoResult;
    }
    va_list arguments;
    va_start(arguments, info);
    long *answer = va_arg(arguments, long *);
    va_end(arguments);
    if (curl().isReal) {
        return nextFunction<CURLcode(CURL *, CURLINFO, ...)>("curl_easy_getinfo")(handle, info,
                                                                                  answer);
    }
    *answer = isCode ? curl().responseCode : curl().osErrno;
    return CURLE_OK;
}

const char *curl_easy_strerror(CURLcode code) {
    return nextFunction<const char *(CURLcode)>("curl_easy_strerror")(code);
}

void curl_easy_cleanup(CURL *handle) {
    const HarnessScope harness;
    note("curl_easy_cleanup");
    --curl().openHandles;
    if (curl().realHandles.erase(handle) > 0) {
        nextFunction<void(CURL *)>("curl_easy_cleanup")(handle);
    }
}

} // extern "C"
