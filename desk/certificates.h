// SPDX-License-Identifier: MIT
// Certificate authorities of the desk's own: one for its servers, one for who signs its images.
#ifndef DESK_CERTIFICATES_H
#define DESK_CERTIFICATES_H

#include "desk/interrupt.h"

#include <filesystem>
#include <string>

namespace desk {

struct Certificates {
    std::filesystem::path authority; // what a node trusts
    std::filesystem::path server;
    std::filesystem::path serverKey;
};

// For "localhost" and 127.0.0.1, made in the folder, good for some days.
Certificates makeCertificates(const std::filesystem::path &folder, const Interrupt &interrupt);

struct Holder {
    std::filesystem::path certificate;
    std::filesystem::path key;
};

// For a client of the servers, with this common name, beside the other certificates.
Holder makeHolder(const Certificates &certificates, const std::string &name,
                  const std::string &file, const Interrupt &interrupt);

struct Signer {
    std::filesystem::path authority; // what a node trusts
    std::filesystem::path certificate;
    std::filesystem::path key;
};

// For images, made in the folder.
Signer makeSigner(const std::filesystem::path &folder, const Interrupt &interrupt);

} // namespace desk

#endif
