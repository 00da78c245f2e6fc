// SPDX-License-Identifier: MIT
// No file server fills the node's memory: a download may be little larger than a bank.
#ifndef HOST_TRANSFER_LIMIT_H
#define HOST_TRANSFER_LIMIT_H

#include <curl/curl.h>

namespace host {

/* A server that says beforehand that it sends far more is refused before the first byte. */
void limitSize(CURL *handle);

/*
 * Performs the transfer, in which no file of this process grows far beyond a bank. Where a server
 * sends more, the result is CURLE_FILESIZE_EXCEEDED and one error line says so. Where no bank tells
 * its size, nothing is limited.
 */
CURLcode performWithinLimit(CURLcode (*perform)(CURL *), CURL *handle);

} // namespace host

#endif
