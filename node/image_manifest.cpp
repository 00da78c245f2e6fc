// SPDX-License-Identifier: MIT
#include "node/image_manifest.h"

#include "base/file_io.h"
#include "base/new_file.h"
#include "base/version_order.h"
#include "node/digest.h"
#include "node/image_stream.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace node {

// ---- The manifest at the end of an image file: what the image says about itself.

namespace {

constexpr std::string_view kPlainMagic = "OTAMANI1";
constexpr std::string_view kSignedMagic = "OTASIGN1";
constexpr std::size_t kFooterSize = 16;
constexpr std::size_t kLengthOffset = 8;
constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kMaxTrailer = kMaxSignature;
constexpr std::size_t kMaxModel = 31;

bool isPrintable(char character) { return character >= ' ' && character <= '~'; }

// The agent puts a version into a file name and a shell command.
bool isVersion(std::string_view text) {
    constexpr std::string_view kCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    return !text.empty() && text.size() <= base::kLongestVersion &&
           text.find_first_not_of(kCharacters) == std::string_view::npos;
}

bool isModel(std::string_view text) {
    return !text.empty() && text.size() <= kMaxModel &&
           std::all_of(text.begin(), text.end(), isPrintable) && text.front() != ' ' &&
           text.back() != ' ';
}

const std::string kGetWhole = "; get the image again";

bool readAt(int image, std::uint64_t offset, std::string &bytes) {
    return lseek(image, static_cast<off_t>(offset), SEEK_SET) >= 0 &&
           base::readFully(image, bytes.data(), bytes.size()) ==
               static_cast<std::int64_t>(bytes.size());
}

// The trailer's length, or 0 where these 16 bytes are no footer.
std::size_t trailerLength(const std::string &footer) {
    if ((!footer.starts_with(kPlainMagic) && !footer.starts_with(kSignedMagic)) ||
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

std::string footerOf(std::string_view magic, std::size_t length) {
    std::string footer(magic);
    for (std::size_t i = 0; i < kLengthSize; ++i) {
        footer.push_back(static_cast<char>((length >> (8 * i)) & 0xFFU));
    }
    footer.resize(kFooterSize, '\0');
    return footer;
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

base::Result<ImageManifest> parseManifest(std::string_view text) {
    const std::string_view size = lineValue(text, "size");
    ImageManifest manifest;
    manifest.version = lineValue(text, "version");
    manifest.model = lineValue(text, "model");
    manifest.payloadSha256 = lineValue(text, "sha256");
    const auto parsed =
        std::from_chars(size.data(), size.data() + size.size(), manifest.payloadSize);
    if (!isVersion(manifest.version)) {
        return base::Error{"its manifest has no usable version (1 to 30 of A-Z a-z 0-9 . _ + -)"};
    }
    if (!isModel(manifest.model)) {
        return base::Error{"its manifest has no usable model (1 to 31 printable characters)"};
    }
    if (size.empty() || parsed.ec != std::errc() || parsed.ptr != size.end()) {
        return base::Error{"its manifest has no usable size"};
    }
    if (!isSha256Text(manifest.payloadSha256)) {
        return base::Error{"its manifest has no usable sha256"};
    }
    return manifest;
}

struct Trailer {
    bool isSigned = false;
    std::string bytes;
    std::uint64_t payloadSize = 0; // of what lies before it
    std::string footer;
};

base::Result<Trailer> readTrailerAt(int image, std::uint64_t fileSize) {
    std::string footer(kFooterSize, '\0');
    if (fileSize < kFooterSize || !readAt(image, fileSize - kFooterSize, footer)) {
        return base::Error{"it is cut: there is no room for a manifest" + kGetWhole};
    }
    const std::size_t length = trailerLength(footer);
    if (length == 0 || length > kMaxTrailer || length > fileSize - kFooterSize) {
        return base::Error{"it is cut or no image: it does not end in a manifest" + kGetWhole};
    }
    Trailer trailer{footer.starts_with(kSignedMagic), std::string(length, '\0'),
                    fileSize - kFooterSize - length, footer};
    if (!readAt(image, trailer.payloadSize, trailer.bytes)) {
        return base::Error{base::systemReason("its manifest cannot be read") + kGetWhole};
    }
    return trailer;
}

// The manifest's text, from a trailer that the trust lets pass; signed by nobody or somebody.
base::Result<SignedText> openTrailer(const Trailer &trailer, const ImageTrust &trust,
                                     bool isChecked) {
    if (trailer.isSigned) {
        return isChecked ? openSignedManifest(trailer.bytes, trust.authority)
                         : peekSignedManifest(trailer.bytes);
    }
    if (trust.signatureRequired) {
        return base::Error{"it is not signed; have it signed (otactl sign)",
                           base::Reason::notSigned};
    }
    return SignedText{trailer.bytes, ""};
}

base::Result<ImageManifest> readManifest(int image, std::uint64_t fileSize,
                                         const ImageTrust &trust) {
    const auto trailer = readTrailerAt(image, fileSize);
    if (!trailer) {
        return trailer.error();
    }
    const bool isChecked =
        trailer->isSigned && (trust.signatureRequired || !trust.authority.empty());
    const auto opened = openTrailer(*trailer, trust, isChecked);
    if (!opened) {
        return opened.error();
    }
    auto manifest = parseManifest(opened->text);
    if (!manifest) {
        return manifest.error().within("", kGetWhole);
    }
    if (manifest->payloadSize != trailer->payloadSize) {
        return base::Error{"its manifest announces " + std::to_string(manifest->payloadSize) +
                           " bytes of payload, there are " + std::to_string(trailer->payloadSize) +
                           kGetWhole};
    }
    manifest->signer = opened->signer;
    manifest->signerChecked = isChecked;
    manifest->imageSize = fileSize;
    manifest->trailer = trailer->bytes + trailer->footer;
    return manifest;
}

base::Result<std::string> formatManifest(const ImageManifest &manifest) {
    std::string text = "version=" + manifest.version + "\nmodel=" + manifest.model +
                       "\nsize=" + std::to_string(manifest.payloadSize) +
                       "\nsha256=" + manifest.payloadSha256 + "\n";
    if (const auto readBack = parseManifest(text); !readBack) {
        return readBack.error().within("version \"" + manifest.version + "\", model \"" +
                                           manifest.model + "\": ",
                                       "; give others");
    }
    return text;
}

constexpr mode_t kPermissions = 07777;

base::Result<void> copyPayload(int image, const std::string &path, const ImageManifest &manifest,
                               base::NewFile &output) {
    if (lseek(image, 0, SEEK_SET) < 0) {
        return base::Error{base::systemReason(path + ": cannot be read")};
    }
    Sha256 sum;
    const auto copy = [&](const void *piece, std::size_t size) {
        sum.add(piece, size);
        return output.write(piece, size);
    };
    if (auto read = readInPieces(image, path, manifest.payloadSize, copy); !read) {
        return read;
    }
    if (sum.text() != manifest.payloadSha256) {
        return base::Error{damagedImage(path)};
    }
    return {};
}

} // namespace

base::Result<ImageManifest> readImageManifest(int image, const std::string &path,
                                              const ImageTrust &trust) {
    struct stat status {};
    if (fstat(image, &status) != 0 || !S_ISREG(status.st_mode)) {
        return base::Error{path + ": the image is not a regular file; give an image file"};
    }
    auto manifest = readManifest(image, static_cast<std::uint64_t>(status.st_size), trust);
    if (!manifest) {
        return manifest.error().within(path + ": the image cannot be used, ");
    }
    return manifest;
}

base::Result<std::string> formatImageTrailer(const ImageManifest &manifest) {
    auto text = formatManifest(manifest);
    return text ? *text + footerOf(kPlainMagic, text->size()) : text;
}

base::Result<std::string> formatSignedTrailer(const ImageManifest &manifest,
                                              const SigningFiles &files) {
    auto text = formatManifest(manifest);
    if (!text) {
        return text;
    }
    const auto cms = signManifest(*text, files);
    return cms ? *cms + footerOf(kSignedMagic, cms->size()) : cms;
}

base::Result<ImageManifest> signImage(const std::string &path, const std::string &output,
                                      const SigningFiles &files) {
    const auto image = openImage(path);
    if (!image) {
        return image.error();
    }
    auto manifest = readImageManifest(image->get(), path, ImageTrust{false});
    if (!manifest) {
        return manifest;
    }
    // The signature first: what is wrong with a key should not be told after minutes of copying.
    const auto trailer = formatSignedTrailer(*manifest, files);
    if (!trailer) {
        return trailer.error();
    }
    struct stat status {};
    if (fstat(image->get(), &status) != 0) {
        return base::Error{base::systemReason(path + ": cannot be read")};
    }
    base::NewFile written;
    const auto made =
        written.begin(output, status.st_mode & kPermissions)
            .andThen([&] { return copyPayload(image->get(), path, *manifest, written); })
            .andThen([&] { return written.write(trailer->data(), trailer->size()); })
            .andThen([&] { return written.finish(); });
    if (!made) {
        return made.error();
    }
    const auto result = openImage(output);
    return result ? readImageManifest(result->get(), output, ImageTrust{false}) : result.error();
}

base::Result<ImageManifest> verifyImage(const std::string &path, const ImageTrust &trust) {
    const auto image = openImage(path);
    if (!image) {
        return image.error();
    }
    auto manifest = readImageManifest(image->get(), path, trust);
    if (!manifest) {
        return manifest;
    }
    const auto sha256 = readImage(image->get(), path, *manifest);
    return sha256 ? std::move(manifest) : sha256.error();
}

} // namespace node
