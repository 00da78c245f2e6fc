// SPDX-License-Identifier: MIT
#include "host/transfer_ports.h"

#include "host/transfer_log.h"

#include <cerrno>

namespace host {
namespace {

constexpr long kAnyPort = 0;

// The system chooses the port while it connects, and so it is the connection that fails.
bool foundNoPort(CURL *handle, CURLcode result) {
    long error = 0;
    curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
    return result == CURLE_COULDNT_CONNECT && error == EADDRNOTAVAIL;
}

} // namespace

CURLcode performFromSomePort(CURLcode (*perform)(CURL *), CURL *handle) {
    const CURLcode first = perform(handle);
    if (first != CURLE_INTERFACE_FAILED) {
        return first;
    }
    logTransferError("none of the local ports that downloads leave from could be had: this one "
                     "leaves from another; find out who holds them (ss -tanp)");
    curl_easy_setopt(handle, CURLOPT_LOCALPORT, kAnyPort);
    const CURLcode second = perform(handle);
    return foundNoPort(handle, second) ? CURLE_INTERFACE_FAILED : second;
}

} // namespace host
