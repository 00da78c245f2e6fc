// SPDX-License-Identifier: MIT
// Every key of the configuration: its limits, what is expected of its value, where that goes.
#ifndef NODE_CONFIG_CONFIG_ROWS_H
#define NODE_CONFIG_CONFIG_ROWS_H

#include "node/config/config.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace node {

struct ConfigRow {
    const char *section;
    const char *key;
    const char *expected;
    bool required;
    std::size_t limit; // characters; 0: none
    const char *whyLimit;
    /* Takes the value over, or returns false where it is not what the row expects. */
    bool (*take)(const std::string &value, Config &config);
};

std::span<const ConfigRow> configRows();

/* The row, or null. */
const ConfigRow *findConfigRow(std::string_view section, std::string_view key);

/* "[section] key". */
std::string nameOf(std::string_view section, std::string_view key);

/* Takes the value over. The error is "[section] key is …: expected …". */
base::Result<void> takeValue(const ConfigRow &row, const std::string &value, Config &config);

} // namespace node

#endif
