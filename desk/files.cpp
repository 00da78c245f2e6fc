// SPDX-License-Identifier: MIT
// Whole files by the standard library.
#include "desk/files.h"

#include "desk/failure.h"
#include "desk/sizes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <openssl/evp.h>
#include <sstream>

namespace desk {
namespace {

constexpr std::size_t kChunk = 64 * 1024;

struct DigestFree {
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

std::ifstream openForReading(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Failure("cannot read " + path.string() + ": " + std::strerror(errno));
    }
    return file;
}

} // namespace

std::filesystem::path absolutePath(const std::filesystem::path &path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (error) {
        throw Failure("cannot tell where " + path.string() +
                      " is: the current directory is gone; change to one that is there");
    }
    return absolute.lexically_normal();
}

void requireSpace(const std::filesystem::path &folder, std::uint64_t bytes) {
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(folder, error);
    if (!error && space.available < bytes) {
        throw Failure("too little space for " + folder.string() + ": " + readableSize(bytes) +
                      " needed, " + readableSize(space.available) +
                      " free; make room there, or run elsewhere (--build-dir, --run-dir)");
    }
}

void writeFile(const std::filesystem::path &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        throw Failure("cannot write " + path.string() + ": " + std::strerror(errno));
    }
}

void copyFile(const std::filesystem::path &from, const std::filesystem::path &path) {
    using std::filesystem::perms;
    std::error_code error;
    std::filesystem::copy_file(from, path, error);
    if (!error) {
        std::filesystem::permissions(
            path, perms::owner_read | perms::owner_write | perms::group_read | perms::others_read,
            error);
    }
    if (error) {
        throw Failure("cannot copy " + from.string() + " to " + path.string() + ": " +
                      error.message());
    }
}

std::string readFile(const std::filesystem::path &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string md5Of(const std::filesystem::path &path) {
    std::ifstream file = openForReading(path);
    const std::unique_ptr<EVP_MD_CTX, DigestFree> context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr);
    std::array<char, kChunk> chunk{};
    while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
        EVP_DigestUpdate(context.get(), chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", digest[i]);
        text += digits.data();
    }
    return text;
}

bool beginsWith(const std::filesystem::path &bank, const std::filesystem::path &image,
                std::uint64_t size) {
    std::ifstream first = openForReading(bank);
    std::ifstream second = openForReading(image);
    std::array<char, kChunk> left{};
    std::array<char, kChunk> right{};
    while (size > 0) {
        const auto wanted = static_cast<std::streamsize>(std::min<std::uint64_t>(size, kChunk));
        first.read(left.data(), wanted);
        second.read(right.data(), wanted);
        if (first.gcount() != wanted || second.gcount() != wanted ||
            !std::equal(left.begin(), left.begin() + wanted, right.begin())) {
            return false;
        }
        size -= static_cast<std::uint64_t>(wanted);
    }
    return true;
}

} // namespace desk
