// SPDX-License-Identifier: MIT
// Certificates that last for one test.
#include "certificates.h"

#include "files.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace ota::test {

void makeCertificate(const std::string &name, const std::string &alternativeName) {
    const std::string command = std::string(OTA_OPENSSL) +
                                " req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1"
                                " -nodes -days 2 -subj /CN=files.example -addext subjectAltName=" +
                                alternativeName + " -keyout " + name + ".key -out " + name +
                                ".pem 2>openssl.log";
    if (std::system(command.c_str()) != 0) {
        ADD_FAILURE() << "no certificate could be made: " << contentOf("openssl.log");
    }
}

} // namespace ota::test
