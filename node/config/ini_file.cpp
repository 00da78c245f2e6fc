// SPDX-License-Identifier: MIT
#include "node/config/ini_file.h"

#include "base/text.h"

#include <algorithm>
#include <ini.h>
#include <map>
#include <set>
#include <utility>

namespace node {
namespace {

constexpr std::size_t kMostMistakes = 20;

// The parser hands out no line numbers but that of the first wrong line, so the reader that feeds
// it counts them, and leaves out the ones that are known to be wrong.
struct Parse {
    std::string_view rest;
    std::set<int> leftOut;
    int line = 0;
    std::string_view current{};          // the line that was fed last
    std::map<int, std::string> spoilt{}; // lines that are not fed, and why
    std::vector<IniEntry> entries;
    std::vector<IniEntry> repeated;                        // keys that were given again
    std::set<std::pair<std::string, std::string>> given{}; // sections and keys
};

// The parser takes such a line for more of the value above it.
bool continues(const Parse &parse, std::string_view value) {
    const std::size_t begin = parse.current.find_first_not_of(" \t\v\f\r");
    return begin != 0 && begin != std::string_view::npos &&
           parse.current.substr(begin).starts_with(value);
}

char *readLine(char *buffer, int size, void *stream) {
    Parse &parse = *static_cast<Parse *>(stream);
    if (parse.rest.empty()) {
        return nullptr;
    }
    ++parse.line;
    const std::size_t end = parse.rest.find('\n');
    const std::string_view line = parse.rest.substr(0, end);
    parse.rest.remove_prefix(end == std::string_view::npos ? parse.rest.size() : end + 1);
    const std::size_t longest = static_cast<std::size_t>(size) - 1;
    if (base::validUtf8(line) != line.size() || line.find('\0') != std::string_view::npos) {
        parse.spoilt[parse.line] = "holds bytes that are no text in UTF-8; write the line anew";
    } else if (line.size() > longest) {
        parse.spoilt[parse.line] = "the line is too long: it has " + std::to_string(line.size()) +
                                   " characters, at most " + std::to_string(longest) +
                                   " are read; shorten it";
    }
    parse.current = line;
    const bool isFed = !parse.leftOut.contains(parse.line) && !parse.spoilt.contains(parse.line);
    const std::size_t fed = isFed ? line.size() : 0;
    line.copy(buffer, fed);
    buffer[fed] = '\0';
    return buffer;
}

int takeEntry(void *user, const char *section, const char *key, const char *value) {
    Parse &parse = *static_cast<Parse *>(user);
    const IniEntry entry{section, key, value, parse.line};
    const bool first = parse.given.emplace(section, key).second;
    if (!first && continues(parse, value)) {
        parse.spoilt[parse.line] =
            "the line begins with a blank, so it continues the one above; begin it with its key";
    } else if (entry.section.empty()) {
        parse.spoilt[parse.line] =
            entry.key + " stands before any section; put its section above it, like [node]";
    } else {
        (first ? parse.entries : parse.repeated).push_back(entry);
    }
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
    byLine.merge(parse.spoilt);
    std::size_t told = 0;
    for (const auto &[line, what] : byLine) {
        if (++told <= kMostMistakes) {
            mistakes.push_back(atLine(name, line) + what);
        }
    }
    if (told > kMostMistakes) {
        mistakes.push_back(name + ": and " + std::to_string(told - kMostMistakes) +
                           " more lines that are wrong");
    }
    return std::move(parse.entries);
}

base::Result<std::vector<IniEntry>> parseIni(const std::string &name, std::string_view text) {
    std::vector<std::string> mistakes;
    std::vector<IniEntry> entries = parseIni(name, text, mistakes);
    if (!mistakes.empty()) {
        return base::Error{mistakes.front()};
    }
    return entries;
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

} // namespace node
