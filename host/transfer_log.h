// SPDX-License-Identifier: MIT
// What libcurl tells about a transfer: one line where it went well, every line where it did not.
#ifndef HOST_TRANSFER_LOG_H
#define HOST_TRANSFER_LOG_H

#include <curl/curl.h>
#include <string>

namespace host {

/*
 * From now on libcurl's words about this handle's transfers are collected here instead of written
 * to standard error. What was sent is left out: it may carry a password, and follows from the URL.
 */
void followTransfer(CURL *handle);

/*
 * The transfer is over. An answer of 200 is told in one notice; else all that was collected
 * follows, a notice for each line, under the unit "libcurl".
 */
void tellTransfer(CURL *handle, CURLcode result);

/* An error about a transfer, under the same unit. */
void logTransferError(const std::string &text);

} // namespace host

#endif
