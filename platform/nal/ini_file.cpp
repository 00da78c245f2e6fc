// SPDX-License-Identifier: MIT
// The sections and keys of an INI text, each with its line.
#include "platform/nal/ini_file.h"

#include <algorithm>
#include <ini.h>
#include <map>
#include <set>
#include <utility>

namespace nal {
namespace {

constexpr std::size_t kMostMistakes = 20;

// The parser hands out no line numbers but that of the first wrong line, so the reader that feeds
// it counts them, and leaves out the ones that are known to be wrong.
struct Parse {
    std::string_view rest;
    std::set<int> leftOut;
    int line = 0;
    int tooLongLine = 0;
    std::vector<IniEntry> entries;
    std::vector<IniEntry> repeated;                        // keys that were given again
    std::set<std::pair<std::string, std::string>> given{}; // sections and keys
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
    const std::size_t fed = parse.leftOut.contains(parse.line) ? 0 : line.size();
    line.copy(buffer, fed);
    buffer[fed] = '\0';
    return buffer;
}

int takeEntry(void *user, const char *section, const char *key, const char *value) {
    Parse &parse = *static_cast<Parse *>(user);
    const IniEntry entry{section, key, value, parse.line};
    const bool first = parse.given.emplace(section, key).second;
    (first ? parse.entries : parse.repeated).push_back(entry);
    return 1;
}

// Parses until no further wrong line turns up.
Parse parseAround(std::string_view text) {
    std::set<int> wrong;
    for (;;) {
        Parse parse;
        parse.rest = text;
        parse.leftOut = wrong;
        const int wrongLine = ini_parse_stream(readLine, &parse, takeEntry, &parse);
        if (wrongLine <= 0 || wrong.size() == kMostMistakes || !wrong.insert(wrongLine).second) {
            return parse;
        }
    }
}

} // namespace

std::vector<IniEntry> parseIni(const std::string &name, std::string_view text,
                               std::vector<std::string> &mistakes) {
    Parse parse = parseAround(text);
    std::map<int, std::string> byLine;
    for (const int line : parse.leftOut) {
        byLine[line] =
            "expected \"[section]\", \"key = value\" or a comment that begins with \"#\"";
    }
    for (const IniEntry &entry : parse.repeated) {
        byLine[entry.line] =
            "[" + entry.section + "] " + entry.key + " is given a second time; remove one";
    }
    if (parse.tooLongLine != 0) {
        byLine[parse.tooLongLine] = "the line is too long; shorten it";
    }
    for (const auto &[line, what] : byLine) {
        mistakes.push_back(atLine(name, line) + what);
    }
    return std::move(parse.entries);
}

bool parseIni(const std::string &name, std::string_view text, std::vector<IniEntry> &entries,
              std::string &whatIsWrong) {
    std::vector<std::string> mistakes;
    std::vector<IniEntry> read = parseIni(name, text, mistakes);
    if (!mistakes.empty()) {
        whatIsWrong = mistakes.front();
        return false;
    }
    entries = std::move(read);
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
