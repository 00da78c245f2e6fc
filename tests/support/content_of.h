// SPDX-License-Identifier: MIT
// What a file holds.
#ifndef TESTS_SUPPORT_CONTENT_OF_H
#define TESTS_SUPPORT_CONTENT_OF_H

#include <fstream>
#include <iterator>
#include <string>

/* Empty where there is none. */
inline std::string contentOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

#endif
