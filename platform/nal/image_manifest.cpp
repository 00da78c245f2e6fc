// SPDX-License-Identifier: MIT
// The manifest at the end of an image file: what the image says about itself.
#include "platform/nal/image_manifest.h"

#include "platform/nal/digest.h"
#include "platform/nal/file_io.h"

#include <algorithm>
#include <charconv>
#include <sys/stat.h>
#include <unistd.h>

namespace nal {
namespace {

constexpr std::string_view kMagic = "OTAMANI1";
constexpr std::size_t kFooterSize = 16;
constexpr std::size_t kLengthOffset = 8;
constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kMaxManifest = 64 * 1024; // room for a signature
constexpr std::size_t kMaxVersion = 31;         // what is read back of it after the reboot
constexpr std::size_t kMaxModel = 31;

bool isPrintable(char character) { return character >= ' ' && character <= '~'; }

// The agent puts a version into a file name and a shell command.
bool isVersion(std::string_view text) {
    constexpr std::string_view kCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    return !text.empty() && text.size() <= kMaxVersion &&
           text.find_first_not_of(kCharacters) == std::string_view::npos;
}

bool isModel(std::string_view text) {
    return !text.empty() && text.size() <= kMaxModel &&
           std::all_of(text.begin(), text.end(), isPrintable) && text.front() != ' ' &&
           text.back() != ' ';
}

bool readAt(int image, std::uint64_t offset, std::string &bytes) {
    return lseek(image, static_cast<off_t>(offset), SEEK_SET) >= 0 &&
           readFully(image, bytes.data(), bytes.size()) == static_cast<std::int64_t>(bytes.size());
}

// The manifest's length, or 0 where these 16 bytes are no footer.
std::size_t manifestLength(const std::string &footer) {
    if (!footer.starts_with(kMagic) ||
        footer.substr(kLengthOffset + kLengthSize).find_first_not_of('\0') != std::string::npos) {
        return 0;
    }
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthSize; ++i) {
        const auto byte = static_cast<unsigned char>(footer[kLengthOffset + i]);
        length |= static_cast<std::size_t>(byte) << (8 * i);
    }
    return length;
}

// The value of the one line with this name; empty where there is none or more than one.
std::string_view lineValue(std::string_view text, std::string_view name) {
    std::string_view value;
    bool found = false;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
            value = found ? std::string_view() : line.substr(name.size() + 1);
            found = true;
        }
    }
    return value;
}

bool parseManifest(std::string_view text, ImageManifest &manifest, std::string &whatIsWrong) {
    const std::string_view size = lineValue(text, "size");
    manifest.version = lineValue(text, "version");
    manifest.model = lineValue(text, "model");
    manifest.payloadSha256 = lineValue(text, "sha256");
    const auto parsed =
        std::from_chars(size.data(), size.data() + size.size(), manifest.payloadSize);
    if (!isVersion(manifest.version)) {
        whatIsWrong = "its manifest has no usable version (1 to 31 of A-Z a-z 0-9 . _ + -)";
    } else if (!isModel(manifest.model)) {
        whatIsWrong = "its manifest has no usable model (1 to 31 printable characters)";
    } else if (size.empty() || parsed.ec != std::errc() || parsed.ptr != size.end()) {
        whatIsWrong = "its manifest has no usable size";
    } else if (!isSha256Text(manifest.payloadSha256)) {
        whatIsWrong = "its manifest has no usable sha256";
    } else {
        return true;
    }
    return false;
}

bool readTrailer(int image, std::uint64_t fileSize, ImageManifest &manifest,
                 std::string &whatIsWrong) {
    std::string footer(kFooterSize, '\0');
    if (fileSize < kFooterSize || !readAt(image, fileSize - kFooterSize, footer)) {
        whatIsWrong = "it is cut: there is no room for a manifest";
        return false;
    }
    const std::size_t length = manifestLength(footer);
    if (length == 0 || length > kMaxManifest || length > fileSize - kFooterSize) {
        whatIsWrong = "it is cut or no image: it does not end in a manifest";
        return false;
    }
    std::string text(length, '\0');
    const std::uint64_t payloadSize = fileSize - kFooterSize - length;
    if (!readAt(image, payloadSize, text)) {
        whatIsWrong = systemReason("its manifest cannot be read");
        return false;
    }
    if (!parseManifest(text, manifest, whatIsWrong)) {
        return false;
    }
    if (manifest.payloadSize != payloadSize) {
        whatIsWrong = "its manifest announces " + std::to_string(manifest.payloadSize) +
                      " bytes of payload, there are " + std::to_string(payloadSize);
        return false;
    }
    return true;
}

} // namespace

bool readImageManifest(int image, const std::string &path, ImageManifest &manifest,
                       std::uint64_t &imageSize, std::string &whatIsWrong) {
    struct stat status {};
    if (fstat(image, &status) != 0 || !S_ISREG(status.st_mode)) {
        whatIsWrong = path + ": the image is not a regular file; give an image file";
        return false;
    }
    const auto fileSize = static_cast<std::uint64_t>(status.st_size);
    std::string reason;
    ImageManifest read;
    if (!readTrailer(image, fileSize, read, reason)) {
        whatIsWrong = path + ": the image cannot be used, " + reason + "; get the image again";
        return false;
    }
    manifest = read;
    imageSize = fileSize;
    return true;
}

bool formatImageTrailer(const ImageManifest &manifest, std::string &trailer,
                        std::string &whatIsWrong) {
    std::string text = "version=" + manifest.version + "\nmodel=" + manifest.model +
                       "\nsize=" + std::to_string(manifest.payloadSize) +
                       "\nsha256=" + manifest.payloadSha256 + "\n";
    ImageManifest readBack;
    if (!parseManifest(text, readBack, whatIsWrong)) {
        whatIsWrong = "version \"" + manifest.version + "\", model \"" + manifest.model +
                      "\": " + whatIsWrong + "; give others";
        return false;
    }
    const std::size_t length = text.size();
    text += kMagic;
    for (std::size_t i = 0; i < kLengthSize; ++i) {
        text.push_back(static_cast<char>((length >> (8 * i)) & 0xFFU));
    }
    text.append(kFooterSize - kLengthOffset - kLengthSize, '\0');
    trailer = std::move(text);
    return true;
}

} // namespace nal
