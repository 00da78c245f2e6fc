// SPDX-License-Identifier: MIT
#include "host/transfer_headers.h"

#include "host/causes.h"
#include "host/transfer_log.h"

#include <cstddef>
#include <string>

namespace host {
namespace {

// libcurl keeps every line; of trailers, and of answers before the last one, without a limit.
constexpr std::size_t kMost = 256 * 1024;

std::size_t came = 0; // bytes, of one transfer at a time

std::size_t onHeader(char * /*line*/, std::size_t /*one*/, std::size_t size, void * /*client*/) {
    came += size;
    return came <= kMost ? size : 0;
}

} // namespace

void countHeaders(CURL *handle) { curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, onHeader); }

CURLcode performWithinHeaders(CURLcode (*perform)(CURL *), CURL *handle) {
    came = 0;
    const CURLcode result = perform(handle);
    if (came <= kMost) {
        return result;
    }
    const std::string words = "the file server sent more than " + std::to_string(kMost) +
                              " bytes of headers and trailers beside the file";
    logTransferError(words + ": the download was ended; check what answers at the URL");
    expectCause({words, base::Reason::tooManyHeaders});
    return CURLE_WEIRD_SERVER_REPLY;
}

} // namespace host
