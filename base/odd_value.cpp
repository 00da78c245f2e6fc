// SPDX-License-Identifier: MIT
#include "base/odd_value.h"

#include "base/text.h"

#include <array>

namespace base {
namespace {

std::string is(const std::string &value) { return "is \"" + value + "\": "; }

std::string oddMode(const std::string &value) {
    const std::array<std::string, 2> known{"RGW", "AP_Bridge"};
    if (value == known[0] || value == known[1]) {
        return "";
    }
    return is(value) +
           "the agent knows RGW and AP_Bridge and takes another word for neither: what waits for "
           "its time is never activated" +
           didYouMean(value, known);
}

// Any other role is as good as the next, unless it looks like this one.
std::string oddRole(const std::string &value) {
    const std::array<std::string, 1> known{"Controller"};
    const std::string meant = value == known[0] ? "" : didYouMean(value, known);
    return meant.empty() ? "" : is(value) + "the agent knows Controller alone" + meant;
}

} // namespace

std::string oddValue(std::string_view key, const std::string &value) {
    if (key == "health_command") {
        return ""; // the shell knows quotes and comments
    }
    const char end = value.empty() ? '\0' : value.back();
    if (value.size() > 1 && value.front() == end && (end == '"' || end == '\'')) {
        return "is " + value + ", and the quotes are part of the value; leave them out";
    }
    if (value.find(" #") != std::string::npos || value.find("\t#") != std::string::npos) {
        return is(value) + "what looks like a comment is part of the value; give it a line of its "
                           "own, or begin it with \" ;\"";
    }
    return key == "work_mode" ? oddMode(value) : key == "work_role" ? oddRole(value) : "";
}

} // namespace base
