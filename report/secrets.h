// SPDX-License-Identifier: MIT
// Texts of a node that somebody else may read.
#ifndef REPORT_SECRETS_H
#define REPORT_SECRETS_H

#include <string>

namespace report {

/*
 * The text with "***" in place of what may be secret: user, password, query and fragment of a URL,
 * headers that let somebody in, values of keys that are named like a secret, private keys. Rather
 * too much than too little: an unquoted value is left out up to the end of its line.
 */
std::string withoutSecrets(std::string text);

} // namespace report

#endif
