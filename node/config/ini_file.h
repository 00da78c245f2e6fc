// SPDX-License-Identifier: MIT
// The sections and keys of an INI text, each with its line.
#ifndef NODE_CONFIG_INI_FILE_H
#define NODE_CONFIG_INI_FILE_H

#include "base/result.h"

#include <string>
#include <string_view>
#include <vector>

namespace node {

struct IniEntry {
    std::string section;
    std::string key;
    std::string value;
    int line;
};

/*
 * Splits the text as far as that goes. A line that is no section, no "key = value" and no comment,
 * that is too long, no UTF-8, begins with a blank, stands before any section, or gives a key for
 * the second time is a mistake: a line that begins with "<name>:<line>: ". After twenty the others
 * are counted.
 */
std::vector<IniEntry> parseIni(const std::string &name, std::string_view text,
                               std::vector<std::string> &mistakes);

/* The same for who needs a text without mistakes; the error is the first. */
base::Result<std::vector<IniEntry>> parseIni(const std::string &name, std::string_view text);

/* The entry, or null. */
const IniEntry *findEntry(const std::vector<IniEntry> &entries, std::string_view section,
                          std::string_view key);

/* "<name>:<line>: ". */
std::string atLine(const std::string &name, int line);

} // namespace node

#endif
