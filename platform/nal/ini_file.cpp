// SPDX-License-Identifier: MIT
// The sections and keys of an INI text, each with its line.
#include "platform/nal/ini_file.h"

#include <algorithm>
#include <ini.h>

namespace nal {
namespace {

// The parser hands out no line numbers, so the reader that feeds it counts them.
struct Parse {
    std::string_view rest;
    int line = 0;
    int tooLongLine = 0;
    std::vector<IniEntry> entries;
    IniEntry second; // the first key that was given again; an empty key means none
};

char *readLine(char *buffer, int size, void *stream) {
    Parse &parse = *static_cast<Parse *>(stream);
    if (parse.rest.empty() || parse.tooLongLine != 0) {
        return nullptr;
    }
    ++parse.line;
    const std::size_t end = parse.rest.find('\n');
    const std::string_view line = parse.rest.substr(0, end);
    parse.rest.remove_prefix(end == std::string_view::npos ? parse.rest.size() : end + 1);
    if (line.size() >= static_cast<std::size_t>(size)) {
        parse.tooLongLine = parse.line;
        return nullptr;
    }
    line.copy(buffer, line.size());
    buffer[line.size()] = '\0';
    return buffer;
}

int takeEntry(void *user, const char *section, const char *key, const char *value) {
    Parse &parse = *static_cast<Parse *>(user);
    if (findEntry(parse.entries, section, key) != nullptr) {
        parse.second = {section, key, value, parse.line};
        return 0;
    }
    parse.entries.push_back({section, key, value, parse.line});
    return 1;
}

} // namespace

bool parseIni(const std::string &name, std::string_view text, std::vector<IniEntry> &entries,
              std::string &whatIsWrong) {
    Parse parse;
    parse.rest = text;
    const int wrongLine = ini_parse_stream(readLine, &parse, takeEntry, &parse);
    if (parse.tooLongLine != 0) {
        whatIsWrong = atLine(name, parse.tooLongLine) + "the line is too long; shorten it";
        return false;
    }
    if (!parse.second.key.empty()) {
        whatIsWrong = atLine(name, parse.second.line) + "[" + parse.second.section + "] " +
                      parse.second.key + " is given a second time; remove one";
        return false;
    }
    if (wrongLine != 0) {
        whatIsWrong = atLine(name, wrongLine) +
                      "expected \"[section]\", \"key = value\" or a comment that begins with \"#\"";
        return false;
    }
    entries = std::move(parse.entries);
    return true;
}

const IniEntry *findEntry(const std::vector<IniEntry> &entries, std::string_view section,
                          std::string_view key) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const IniEntry &entry) {
        return entry.section == section && entry.key == key;
    });
    return found == entries.end() ? nullptr : &*found;
}

std::string atLine(const std::string &name, int line) {
    return name + ":" + std::to_string(line) + ": ";
}

} // namespace nal
