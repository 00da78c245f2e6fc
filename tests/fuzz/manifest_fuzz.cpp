// SPDX-License-Identifier: MIT
// What must hold for every end of an image file: manifest, signature and footer.
#include "node/image_manifest.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/promise.h"

using fuzz::MemoryFile;
using fuzz::promise;

namespace {

// Its key is gone, and that of the one signer in the corpus: what is believed was signed back then.
constexpr const char *kAuthority =
    "-----BEGIN CERTIFICATE-----\n"
    "MIIBmDCCAT+gAwIBAgIURuhkjzNVuXw/0RUci/hMYm2MIKAwCgYIKoZIzj0EAwIw\n"
    "GTEXMBUGA1UEAwwORnV6eiBhdXRob3JpdHkwIBcNMjYxMTIyMTE0NzQzWhgPMjEy\n"
    "NjEwMjkxMTQ3NDNaMBkxFzAVBgNVBAMMDkZ1enogYXV0aG9yaXR5MFkwEwYHKoZI\n"
    "zj0CAQYIKoZIzj0DAQcDQgAEsGgrw9lMgDQZTnCLum4jp6yFiYAsynBAK1Ow4hYk\n"
    "ruUDsp3nsBrJ0YtSVswZO36kj6fzNpv5ZIDKv7J8bA4KJaNjMGEwHQYDVR0OBBYE\n"
    "FP32eGsSApEJCF0XFz+Bp855U1g6MB8GA1UdIwQYMBaAFP32eGsSApEJCF0XFz+B\n"
    "p855U1g6MA8GA1UdEwEB/wQFMAMBAf8wDgYDVR0PAQH/BAQDAgIEMAoGCCqGSM49\n"
    "BAMCA0cAMEQCICDu98qedCJJHmFxZJLZTv3BbwHMSrtVfIVzqDSFoSX8AiAi8Giy\n"
    "7jlQhXw9guzHDtBJt/jTuAsm0anRBFyx73TfSA==\n"
    "-----END CERTIFICATE-----\n";
constexpr const char *kSignedSha256 =
    "153ac90a80490199ae3d9587c40d8d9c069ae1c569af629d68a165af5a72d3af";
constexpr std::size_t kPayload = 64;
constexpr std::size_t kFooter = 16;

const std::string &authorityFile() {
    static const MemoryFile file;
    static const std::string path = [] {
        file.hold(kAuthority);
        return file.path();
    }();
    return path;
}

void checkManifest(const node::ImageManifest &manifest, std::string_view image) {
    promise(!manifest.version.empty() && manifest.version.size() <= 31 &&
                fuzz::consistsOf(manifest.version, fuzz::kVersionCharacters),
            "a version is short and safe in a shell", image);
    promise(!manifest.model.empty() && manifest.model.size() <= 31 &&
                fuzz::isPrintableLine(manifest.model),
            "a model is short and printable", image);
    promise(manifest.payloadSha256.size() == 64 &&
                fuzz::consistsOf(manifest.payloadSha256, "0123456789abcdef"),
            "a digest is one", image);
    promise(manifest.imageSize == image.size() &&
                manifest.payloadSize + kFooter < manifest.imageSize,
            "payload, trailer and footer are the whole file", image);
    promise(fuzz::isPrintableLine(manifest.signer), "a signer's name is printable", image);
}

void checkSigned(const node::ImageManifest &manifest, std::string_view image) {
    promise(manifest.signerChecked && manifest.signer == "CN = Fuzz signer",
            "what must be signed is signed by whom the node trusts", image);
    promise(manifest.version == "4QZ2.1.0" && manifest.model == "GW-1000" &&
                manifest.payloadSize == kPayload && manifest.payloadSha256 == kSignedSha256,
            "what is believed is what was signed", image);
}

void tryImage(const std::string &image) {
    static const MemoryFile file;
    file.hold(image);
    for (const node::ImageTrust &trust :
         {node::ImageTrust{true, authorityFile()}, node::ImageTrust{false, ""},
          node::ImageTrust{false, authorityFile()}}) {
        if (const auto manifest = node::readImageManifest(file.fd(), "image", trust)) {
            checkManifest(*manifest, image);
            if (trust.signatureRequired) {
                checkSigned(*manifest, image);
            }
        } else {
            const std::string &whatIsWrong = manifest.error().text;
            promise(whatIsWrong.starts_with("image: ") && fuzz::isPrintableLine(whatIsWrong),
                    "what is wrong is one printable line with the file", image);
        }
    }
}

std::string footerOf(std::string_view magic, std::size_t length) {
    std::string footer(magic);
    for (unsigned shift = 0; shift < 32; shift += 8) {
        footer += static_cast<char>((length >> shift) & 0xFFU);
    }
    return footer + std::string(4, '\0');
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    tryImage(text);
    for (const char *const magic : {"OTAMANI1", "OTASIGN1"}) {
        tryImage(std::string(kPayload, 'p') + text + footerOf(magic, text.size()));
    }
    return 0;
}
