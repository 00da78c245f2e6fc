// SPDX-License-Identifier: MIT
// A certificate authority of the desk's own and a server certificate signed by it.
#ifndef DESK_CERTIFICATES_H
#define DESK_CERTIFICATES_H

#include "desk/interrupt.h"

#include <filesystem>

namespace desk {

struct Certificates {
    std::filesystem::path authority; // what a node trusts
    std::filesystem::path server;
    std::filesystem::path serverKey;
};

// For "localhost" and 127.0.0.1, made in the folder, good for some days.
Certificates makeCertificates(const std::filesystem::path &folder, const Interrupt &interrupt);

} // namespace desk

#endif
