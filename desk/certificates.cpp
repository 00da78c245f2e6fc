// SPDX-License-Identifier: MIT
// Certificates by the openssl program, with a configuration of the desk's own.
#include "desk/certificates.h"

#include "desk/child.h"
#include "desk/files.h"

#include <vector>

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
[client]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = clientAuth
[signer]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = critical, codeSigning
)";

const char *const kDays = "30";

void openssl(const std::filesystem::path &folder, std::vector<std::string> arguments,
             const Interrupt &interrupt) {
    arguments.insert(arguments.begin(), "openssl");
    runProgram(Launch{arguments, folder, folder / "openssl.log"}, interrupt);
}

std::vector<std::string> withNewKey(std::vector<std::string> first,
                                    const std::vector<std::string> &rest) {
    for (const char *const word : {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                                   "-config", "openssl.cnf"}) {
        first.emplace_back(word);
    }
    first.insert(first.end(), rest.begin(), rest.end());
    return first;
}

// ca.pem and ca.key.
void makeAuthority(const std::filesystem::path &folder, const std::string &name,
                   const Interrupt &interrupt) {
    std::filesystem::create_directories(folder);
    writeFile(folder / "openssl.cnf", kConfiguration);
    openssl(folder,
            withNewKey({"req", "-x509"}, {"-subj", "/CN=" + name, "-extensions", "authority",
                                          "-days", kDays, "-keyout", "ca.key", "-out", "ca.pem"}),
            interrupt);
}

// FILE.pem with FILE.key, which the authority of the folder signs for that use, a section of the
// configuration.
void makePair(const std::filesystem::path &folder, const std::string &holder,
              const std::string &file, const std::string &use, const Interrupt &interrupt) {
    openssl(folder,
            withNewKey({"req"},
                       {"-subj", "/CN=" + holder, "-keyout", file + ".key", "-out", file + ".csr"}),
            interrupt);
    openssl(folder,
            {"x509", "-req", "-in", file + ".csr", "-CA", "ca.pem", "-CAkey", "ca.key",
             "-CAcreateserial", "-extfile", "openssl.cnf", "-extensions", use, "-days", kDays,
             "-out", file + ".pem"},
            interrupt);
}

} // namespace

Certificates makeCertificates(const std::filesystem::path &folder, const Interrupt &interrupt) {
    makeAuthority(folder, "Desk CA", interrupt);
    makePair(folder, "localhost", "server", "server", interrupt);
    return {folder / "ca.pem", folder / "server.pem", folder / "server.key"};
}

Holder makeHolder(const Certificates &certificates, const std::string &name,
                  const std::string &file, const Interrupt &interrupt) {
    const std::filesystem::path folder = certificates.authority.parent_path();
    makePair(folder, name, file, "client", interrupt);
    return {folder / (file + ".pem"), folder / (file + ".key")};
}

Signer makeSigner(const std::filesystem::path &folder, const Interrupt &interrupt) {
    makeAuthority(folder, "Desk image CA", interrupt);
    makePair(folder, "Desk signer", "signer", "signer", interrupt);
    return {folder / "ca.pem", folder / "signer.pem", folder / "signer.key"};
}

} // namespace desk
