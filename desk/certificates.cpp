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
CN = unnamed
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[server]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth
subjectAltName = DNS:localhost, IP:127.0.0.1
[signer]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = critical, codeSigning
)";

const char *const kDays = "30";

// ca.pem, and USE.pem with USE.key, which it signed for that section of the configuration.
void makePair(const std::filesystem::path &folder, const std::string &authority,
              const std::string &holder, const std::string &use, const Interrupt &interrupt) {
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
    openssl(with({"req", "-x509"}, {"-subj", "/CN=" + authority, "-extensions", "authority",
                                    "-days", kDays, "-keyout", "ca.key", "-out", "ca.pem"}));
    openssl(
        with({"req"}, {"-subj", "/CN=" + holder, "-keyout", use + ".key", "-out", use + ".csr"}));
    openssl({"x509", "-req", "-in", use + ".csr", "-CA", "ca.pem", "-CAkey", "ca.key",
             "-CAcreateserial", "-extfile", "openssl.cnf", "-extensions", use, "-days", kDays,
             "-out", use + ".pem"});
}

} // namespace

Certificates makeCertificates(const std::filesystem::path &folder, const Interrupt &interrupt) {
    makePair(folder, "Desk CA", "localhost", "server", interrupt);
    return {folder / "ca.pem", folder / "server.pem", folder / "server.key"};
}

Signer makeSigner(const std::filesystem::path &folder, const Interrupt &interrupt) {
    makePair(folder, "Desk image CA", "Desk signer", "signer", interrupt);
    return {folder / "ca.pem", folder / "signer.pem", folder / "signer.key"};
}

} // namespace desk
