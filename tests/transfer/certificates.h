// SPDX-License-Identifier: MIT
// Certificates that last for one test.
#pragma once

#include <string>

namespace ota::test {

// Makes "<name>.pem" and "<name>.key" in the test's folder: a certificate of its own authority
// for this subject alternative name, as "IP:127.0.0.1".
void makeCertificate(const std::string &name, const std::string &alternativeName);

} // namespace ota::test
