// SPDX-License-Identifier: MIT
// Which file-server URLs the agent may be given.
#ifndef GUARD_URL_H
#define GUARD_URL_H

#include "guard/refusal.h"

#include <optional>
#include <string>

namespace guard {

/*
 * The URL with each ' and $ behind its host as %27 and %24: they are legal there, and what a shell
 * would expand is kept away from the agent all the same.
 */
std::string withoutQuotesAndDollars(const std::string &url);

/*
 * Nothing: the URL is http or https with a host and no user, and the agent takes it for what it is.
 */
std::optional<Refusal> checkUrl(const char *key, const std::string &url, bool allowPlainHttp);

} // namespace guard

#endif
