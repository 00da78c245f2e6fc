// SPDX-License-Identifier: MIT
// Texts and bytes that are put into every field.
#include "hostile_offers.h"

namespace guard::test {
namespace {

constexpr const char *kHostileTexts[] = {
    "",
    "$(touch x)",
    "`touch x`",
    "`id`",
    "$(reboot)",
    "${IFS}",
    "$IFS",
    "';touch x;'",
    "\";touch x;\"",
    "\"",
    "'",
    "\\",
    "\\\"",
    ";reboot",
    "; reboot",
    "|sh",
    "&reboot",
    "&& reboot",
    "||reboot",
    "\nreboot\n",
    "\r\n",
    "\n",
    "\t",
    " ",
    "a b",
    "../",
    "../../etc/passwd",
    "/etc/passwd",
    "/",
    "~/x",
    "*",
    "?",
    "[a-z]",
    "{a,b}",
    "<(x)",
    ">x",
    "<x",
    "#x",
    "!x",
    "%s%s%n",
    "%00",
    "^",
    "=",
    "@",
    ",",
    ":",
    "()",
    "\x01",
    "\x1b[2J",
    "\x7f",
    "\xC3\xA9",
    "\xE2\x80\xAE",
    "\xF0\x9F\x92\xA3",
    "\xC2\xA0",
    "\xEF\xBB\xBF",
    "\xEF\xBC\x84(x)",
    "\xE2\x88\x95usr",
    "x=$(id)",
    "$((1))",
    "\n4QZ1.0",
};

constexpr const char *kBadUtf8[] = {
    "\x80",
    "\xBF",
    "\xC0\x80",
    "\xC0\xAF",
    "\xC1\xBF",
    "\xC2",
    "\xC2\x41",
    "\xE0\x80\x80",
    "\xE0\x9F\xBF",
    "\xE2\x82",
    "\xED\xA0\x80",
    "\xED\xBF\xBF",
    "\xEF\xBF",
    "\xF0\x80\x80\x80",
    "\xF0\x8F\xBF\xBF",
    "\xF4\x90\x80\x80",
    "\xF5\x80\x80\x80",
    "\xF8\x88\x80\x80\x80",
    "\xFE",
    "\xFF",
};

} // namespace

const std::vector<std::string> &hostileTexts() {
    static const std::vector<std::string> texts(std::begin(kHostileTexts), std::end(kHostileTexts));
    return texts;
}

const std::vector<std::string> &badUtf8() {
    static const std::vector<std::string> bytes(std::begin(kBadUtf8), std::end(kBadUtf8));
    return bytes;
}

} // namespace guard::test
