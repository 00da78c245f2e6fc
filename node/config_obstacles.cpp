// SPDX-License-Identifier: MIT
#include "node/config_obstacles.h"

#include "base/file_io.h"
#include "node/boot_state.h"
#include "node/openssl_objects.h"

#include <cerrno>
#include <sys/stat.h>

namespace node {
namespace {

constexpr mode_t kAnyoneRuns = S_IXUSR | S_IXGRP | S_IXOTH;

} // namespace

std::string whyNoBootState(const BootPlace &place) {
    const auto state = readBootState(place);
    if (state) {
        return "";
    }
    const std::string &why = state.error().text;
    const bool isAdvised = why.find("ota-boot-state") != std::string::npos;
    return "names what the node cannot use: " + why +
           (isAdvised ? "" : "; ota-boot-state init makes a boot state");
}

std::string whyNoProgram(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        // Whoever checks may not see what the service sees.
        return errno == EACCES
                   ? ""
                   : base::systemReason("begins with a program that is not there, " + path) +
                         "; put it there or name another";
    }
    return S_ISREG(status.st_mode) && (status.st_mode & kAnyoneRuns) != 0
               ? ""
               : "begins with " + path + ", which is no program; make it one (chmod +x)";
}

std::string whyNoCertificates(const std::string &path) {
    const auto certificates = readCertificates(path);
    return certificates
               ? ""
               : "names a file without a usable certificate: " + certificates.error().text +
                     "; put a certificate in PEM there";
}

} // namespace node
