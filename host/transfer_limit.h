// SPDX-License-Identifier: MIT
// No file server fills the node's memory: a download may be little larger than a bank, and leaves
// room on its disk.
#ifndef HOST_TRANSFER_LIMIT_H
#define HOST_TRANSFER_LIMIT_H

#include <curl/curl.h>

namespace host {

/*
 * Performs the transfer, in which no file of this process grows far beyond a bank, nor takes the
 * last of the tmp directory's disk. A server that announces more is refused before the first byte.
 * Where it would be more, the result is CURLE_FILESIZE_EXCEEDED and one error line says so. A size
 * that no bank or no disk tells limits nothing.
 */
CURLcode performWithinLimit(CURLcode (*perform)(CURL *), CURL *handle);

} // namespace host

#endif
