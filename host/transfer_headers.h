// SPDX-License-Identifier: MIT
// No file server fills the host's memory with what it sends beside the file.
#ifndef HOST_TRANSFER_HEADERS_H
#define HOST_TRANSFER_HEADERS_H

#include <curl/curl.h>

namespace host {

/* From now on the headers and trailers of this handle's transfers are counted. */
void countHeaders(CURL *handle);

/*
 * Performs the transfer of a handle whose headers are counted. It ends where they are far more than
 * anybody needs: then one error line says so, and the result is CURLE_WEIRD_SERVER_REPLY.
 */
CURLcode performWithinHeaders(CURLcode (*perform)(CURL *), CURL *handle);

} // namespace host

#endif
