// SPDX-License-Identifier: MIT
// No user of the node keeps it from its downloads by holding the few local ports that they leave
// from.
#ifndef HOST_TRANSFER_PORTS_H
#define HOST_TRANSFER_PORTS_H

#include <curl/curl.h>

namespace host {

/*
 * Performs the transfer from one of the local ports that the agent asks for. Where none of them can
 * be had, one error line says so and the transfer is performed once more, from any port. The result
 * is CURLE_INTERFACE_FAILED only where no port at all is left.
 */
CURLcode performFromSomePort(CURLcode (*perform)(CURL *), CURL *handle);

} // namespace host

#endif
