// SPDX-License-Identifier: MIT
// Files as the agent sees them: real ones in the test's folder, with faults on demand.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace ota::test {

struct Files {
    // Paths that cannot be opened, and those that access finds fault with, by error number.
    std::map<std::string, int> failOpen;
    std::map<std::string, int> failAccess;
    // Where not empty: the names that readdir gives, in this order.
    std::vector<std::string> listing;

    // What the agent has open, by the path or command that it gave.
    std::map<std::FILE *, std::string> open;
};

Files &files();

bool exists(const std::string &path);
std::string contentOf(const std::string &path);
void writeFile(const std::string &path, const std::string &content);

} // namespace ota::test
