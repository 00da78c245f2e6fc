// SPDX-License-Identifier: MIT
// Certificates by the openssl program, with a configuration of the desk's own.
#include "desk/certificates.h"

#include "desk/child.h"
#include "desk/files.h"

namespace desk {
namespace {

const char *const kConfiguration = R"([req]
distinguished_name = name
prompt = no
[name]
CN = localhost
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[server]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth
subjectAltName = DNS:localhost, IP:127.0.0.1
)";

const char *const kDays = "30";

} // namespace

Certificates makeCertificates(const std::filesystem::path &folder, const Interrupt &interrupt) {
    std::filesystem::create_directories(folder);
    writeFile(folder / "openssl.cnf", kConfiguration);
    const auto openssl = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "openssl");
        runProgram(Launch{arguments, folder, folder / "openssl.log"}, interrupt);
    };
    const std::vector<std::string> newKey{
        "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-config", "openssl.cnf"};
    const auto with = [&](std::vector<std::string> first, const std::vector<std::string> &rest) {
        first.insert(first.end(), newKey.begin(), newKey.end());
        first.insert(first.end(), rest.begin(), rest.end());
        return first;
    };
    openssl(with({"req", "-x509"}, {"-subj", "/CN=Desk CA", "-extensions", "authority", "-days",
                                    kDays, "-keyout", "ca.key", "-out", "ca.pem"}));
    openssl(with({"req"}, {"-keyout", "server.key", "-out", "server.csr"}));
    openssl({"x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
             "-CAcreateserial", "-extfile", "openssl.cnf", "-extensions", "server", "-days", kDays,
             "-out", "server.pem"});
    return {folder / "ca.pem", folder / "server.pem", folder / "server.key"};
}

} // namespace desk
