// SPDX-License-Identifier: MIT
#include "guard/json_text.h"

#include "base/text.h"

#include <algorithm>

namespace guard {
namespace {

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

// -1: not a hexadecimal digit.
int hexValue(char byte) {
    if (isDigit(byte)) {
        return byte - '0';
    }
    const char lower = static_cast<char>(byte | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// One pass over the grammar. Every function stands at its first character when it begins, behind
// its last one when it returns true, and leaves a fault when it returns false.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool wholeText(std::vector<std::string_view> &values);
    const std::string &fault() const { return fault_; }

  private:
    bool value(int depth);
    bool object(int depth, std::vector<std::string_view> *values);
    bool array(int depth);
    bool member(int depth, std::vector<std::string_view> *values);
    bool string();
    bool escape();
    bool codeUnit(unsigned &unit);
    bool unicodeEscape();
    bool number();
    bool digits();
    bool word(std::string_view word);

    char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool take(char byte);
    bool expect(char byte);
    void skipBlanks();
    bool goDeeper(int depth);
    bool fail(const std::string &what);

    std::string_view text_;
    std::size_t at_ = 0;
    std::string fault_;
};

bool Scanner::fail(const std::string &what) {
    fault_ = what + " at byte " + std::to_string(at_);
    return false;
}

bool Scanner::take(char byte) {
    if (next() != byte) {
        return false;
    }
    ++at_;
    return true;
}

bool Scanner::expect(char byte) {
    return take(byte) || fail(std::string("is not JSON: expected ") + byte);
}

void Scanner::skipBlanks() {
    constexpr std::string_view kBlanks = " \t\r\n";
    at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size());
}

bool Scanner::goDeeper(int depth) {
    return depth <= kMaxNesting || fail("nests deeper than " + std::to_string(kMaxNesting));
}

bool Scanner::wholeText(std::vector<std::string_view> &values) {
    skipBlanks();
    if (next() != '{') {
        return fail("is not a JSON object: expected {");
    }
    if (!object(1, &values)) {
        return false;
    }
    skipBlanks();
    return at_ == text_.size() || fail("has something behind the object");
}

bool Scanner::value(int depth) {
    switch (next()) {
    case '{':
        return object(depth + 1, nullptr);
    case '[':
        return array(depth + 1);
    case '"':
        return string();
    case 't':
        return word("true");
    case 'f':
        return word("false");
    case 'n':
        return word("null");
    default:
        return next() == '-' || isDigit(next()) ? number() : fail("is not JSON: expected a value");
    }
}

bool Scanner::object(int depth, std::vector<std::string_view> *values) {
    if (!goDeeper(depth) || !expect('{')) {
        return false;
    }
    skipBlanks();
    if (take('}')) {
        return true;
    }
    do {
        skipBlanks();
        if (!member(depth, values)) {
            return false;
        }
    } while (take(','));
    return expect('}');
}

bool Scanner::member(int depth, std::vector<std::string_view> *values) {
    if (!string()) {
        return false;
    }
    skipBlanks();
    if (!expect(':')) {
        return false;
    }
    skipBlanks();
    const std::size_t begin = at_;
    if (!value(depth)) {
        return false;
    }
    if (values != nullptr) {
        values->push_back(text_.substr(begin, at_ - begin));
    }
    skipBlanks();
    return true;
}

bool Scanner::array(int depth) {
    if (!goDeeper(depth) || !expect('[')) {
        return false;
    }
    skipBlanks();
    if (take(']')) {
        return true;
    }
    do {
        skipBlanks();
        if (!value(depth)) {
            return false;
        }
        skipBlanks();
    } while (take(','));
    return expect(']');
}

bool Scanner::string() {
    if (!expect('"')) {
        return false;
    }
    while (at_ < text_.size()) {
        const char byte = text_[at_];
        if (take('"')) {
            return true;
        }
        if (static_cast<unsigned char>(byte) < ' ') {
            return fail("is not JSON: control character in a text");
        }
        if (byte != '\\') {
            ++at_;
        } else if (!escape()) {
            return false;
        }
    }
    return fail("is not JSON: a text without end");
}

bool Scanner::escape() {
    constexpr std::string_view kEscapes = "\"\\/bfnrt";
    ++at_;
    if (take('u')) {
        return unicodeEscape();
    }
    if (at_ == text_.size() || kEscapes.find(next()) == std::string_view::npos) {
        return fail("is not JSON: unknown escape");
    }
    ++at_;
    return true;
}

bool Scanner::codeUnit(unsigned &unit) {
    unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexValue(next());
        if (digit < 0) {
            return fail("is not JSON: expected four hexadecimal digits");
        }
        unit = unit * 16 + static_cast<unsigned>(digit);
        ++at_;
    }
    return true;
}

bool Scanner::unicodeEscape() {
    unsigned unit = 0;
    if (!codeUnit(unit)) {
        return false;
    }
    if (unit == 0) {
        return fail("holds an escaped NUL");
    }
    const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
    const bool isLow = unit >= 0xDC00 && unit < 0xE000;
    if (!isHigh) {
        return !isLow || fail("is not JSON: half a surrogate pair");
    }
    unsigned low = 0;
    if (!take('\\') || !take('u') || !codeUnit(low) || low < 0xDC00 || low >= 0xE000) {
        return fail("is not JSON: half a surrogate pair");
    }
    return true;
}

bool Scanner::digits() {
    if (!isDigit(next())) {
        return fail("is not JSON: expected a number");
    }
    while (isDigit(next())) {
        ++at_;
    }
    return true;
}

bool Scanner::number() {
    static_cast<void>(take('-'));
    // No digit may stand behind a leading zero.
    if (!take('0') && !digits()) {
        return false;
    }
    if (take('.') && !digits()) {
        return false;
    }
    if (take('e') || take('E')) {
        static_cast<void>(take('+') || take('-'));
        return digits();
    }
    return true;
}

bool Scanner::word(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) {
        return fail("is not JSON: expected a value");
    }
    at_ += word.size();
    return true;
}

} // namespace

bool scanObject(std::string_view text, std::vector<std::string_view> &values, std::string &fault) {
    values.clear();
    const std::size_t valid = base::validUtf8(text);
    if (valid < text.size()) {
        fault = "is not UTF-8 at byte " + std::to_string(valid);
        return false;
    }
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
        fault = "holds a NUL at byte " + std::to_string(nul);
        return false;
    }
    Scanner scanner(text);
    if (!scanner.wholeText(values)) {
        fault = scanner.fault();
        return false;
    }
    return true;
}

} // namespace guard
