// SPDX-License-Identifier: MIT
// The file server: an nginx of its own on the loopback interface.
#ifndef DESK_FILE_SERVER_H
#define DESK_FILE_SERVER_H

#include "desk/certificates.h"
#include "desk/child.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace desk {

struct FileServerSetup {
    std::filesystem::path folder;
    std::filesystem::path image;
    std::optional<Certificates> certificates{}; // beside the folder; none: plain http
    std::uint64_t bytesPerSecond = 0;           // 0: as fast as it can
    bool refuses = false;                       // answers 503 to everything
};

class FileServer {
  public:
    FileServer(const FileServerSetup &setup, const Interrupt &interrupt);

    [[nodiscard]] std::string address() const;
    [[nodiscard]] std::string imageUrl() const { return address() + "/" + imageName_; }
    // The same image at 16 KiB a second: the download blocks for many minutes, until the crawl
    // ends.
    [[nodiscard]] std::string slowImageUrl() const { return address() + "/slow/" + imageName_; }
    // Downloads of the slow address that begin from now on are as fast as the others.
    void endCrawl() const;

  private:
    void writeConfiguration(const FileServerSetup &setup) const;

    std::filesystem::path folder_;
    std::string scheme_;
    std::string imageName_;
    std::uint16_t port_;
    Child process_;
};

} // namespace desk

#endif
