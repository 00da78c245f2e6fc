// SPDX-License-Identifier: MIT
// What the host adds to the agent's downloads from outside, since the options that the agent sets
// are fixed. The agent's library finds these names in this executable before those of libcurl.
#include "host/transfer_headers.h"
#include "host/transfer_limit.h"
#include "host/transfer_log.h"
#include "host/transfer_ports.h"

#include <curl/curl.h>
#include <dlfcn.h>

namespace {

template <typename Function>
Function *libcurls(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// libcurl was built with a directory of authorities, which counts beside the file that is named:
// every authority of the distribution could stand in for the file server.
void trustNobodyElse(CURL *handle) { curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr); }

CURLcode performItself(CURL *handle) {
    static auto *const perform = libcurls<CURLcode(CURL *)>("curl_easy_perform");
    return perform == nullptr ? CURLE_FAILED_INIT : perform(handle);
}

CURLcode performBounded(CURL *handle) {
    return host::performWithinHeaders(
        [](CURL *inner) { return host::performWithinLimit(performItself, inner); }, handle);
}

} // namespace

extern "C" CURL *curl_easy_init() {
    static auto *const init = libcurls<CURL *()>("curl_easy_init");
    CURL *const handle = init == nullptr ? nullptr : init();
    if (handle != nullptr) {
        trustNobodyElse(handle);
        host::countHeaders(handle);
        host::followTransfer(handle);
    }
    return handle;
}

extern "C" CURLcode curl_easy_perform(CURL *curl) {
    const CURLcode result = host::performFromSomePort(performBounded, curl);
    host::tellTransfer(curl, result);
    return result;
}
