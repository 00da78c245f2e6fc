// SPDX-License-Identifier: MIT
// The image files of a demonstration, built and signed once and kept.
#ifndef DESK_IMAGE_H
#define DESK_IMAGE_H

#include "desk/certificates.h"
#include "desk/interrupt.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace desk {

inline constexpr const char *kModel = "DeskNode-1";
inline constexpr const char *kOldVersion = "4QZ2.0.0";
inline constexpr const char *kNewVersion = "4QZ2.1.0";
inline constexpr const char *kOtherVersion = "4QZ2.0.9";

struct Image {
    std::filesystem::path path;
    std::string version; // what its manifest says
    std::uint64_t size = 0;
};

class ImageStore {
  public:
    // `tool` is the program that puts payload and manifest together.
    ImageStore(std::filesystem::path folder, std::filesystem::path tool, const Interrupt &interrupt)
        : folder_(std::move(folder)), tool_(std::move(tool)), interrupt_(interrupt) {}

    // What a node comes with: busybox alone.
    Image factory() { return make(kOldVersion, "factory.squashfs", 0); }
    // What is offered: a root file system of at least 16 MiB, packed.
    Image release(const std::string &version);
    // What a node has to trust for these images; there once an image is.
    [[nodiscard]] std::filesystem::path authority() const { return signer().authority; }
    // True where an image has to be built first; a release takes some seconds.
    [[nodiscard]] bool mustBuild(const std::string &version) const;
    // True where this user may keep images here.
    [[nodiscard]] bool mayBuild() const;

  private:
    Image make(const std::string &version, const std::string &payload, std::uint64_t leastBytes);
    void build(const std::string &version, const std::string &payload, std::uint64_t leastBytes);
    [[nodiscard]] Signer signer() const;
    void makeSignerOnce() const;
    [[nodiscard]] std::filesystem::path imagePath(const std::string &version) const;

    std::filesystem::path folder_;
    std::filesystem::path tool_;
    const Interrupt &interrupt_;
};

// The image as the signer signs it, in another file.
Image signedAgain(const Image &image, const std::filesystem::path &path, const Signer &signer);

} // namespace desk

#endif
