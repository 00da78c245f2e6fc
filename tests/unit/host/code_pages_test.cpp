// SPDX-License-Identifier: MIT
// What the code of the libraries takes of the memory, before and after it was given back.
#include "host/code_pages.h"

#include <fstream>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <string>

namespace {

// kB, of the code of this library.
int residentCodeOf(const std::string &library) {
    std::ifstream maps("/proc/self/smaps");
    int sum = 0;
    bool isMeant = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find('-') < line.find(' ')) { // its addresses begin the part of a file
            isMeant = line.find(" r-xp ") != std::string::npos &&
                      line.find('/' + library) != std::string::npos;
        } else if (isMeant && line.starts_with("Rss:")) {
            sum += std::stoi(line.substr(4));
        }
    }
    return sum;
}

std::string sumOf(const EVP_MD *kind) {
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest("abc", 3, sum, &size, kind, nullptr), 1);
    return {reinterpret_cast<const char *>(sum), size};
}

TEST(CodePages, AreNotThisProcesssOnceTheyAreGivenBackAndComeBackWithTheirUse) {
    const std::string sum = sumOf(EVP_sha256());
    const std::string other = sumOf(EVP_md5());
    const int before = residentCodeOf("libcrypto");
    ASSERT_GT(before, 500);
    host::giveBackCode();
    EXPECT_LT(residentCodeOf("libcrypto"), before / 4);
    EXPECT_EQ(sumOf(EVP_sha256()), sum);
    EXPECT_EQ(sumOf(EVP_md5()), other);
    EXPECT_GT(residentCodeOf("libcrypto"), 0);
}

} // namespace
