// SPDX-License-Identifier: MIT
#include "node/config_obstacles.h"

#include "base/file_io.h"
#include "base/nearest.h"
#include "node/boot_state.h"
#include "node/openssl_objects.h"

#include <array>
#include <cerrno>
#include <sys/stat.h>

namespace node {
namespace {

constexpr mode_t kAnyoneRuns = S_IXUSR | S_IXGRP | S_IXOTH;

bool isDirectory(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string parentOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string is(const std::string &value) { return "is \"" + value + "\": "; }

std::string oddMode(const std::string &value) {
    const std::array<std::string, 2> known{"RGW", "AP_Bridge"};
    if (value == known[0] || value == known[1]) {
        return "";
    }
    return is(value) +
           "the agent knows RGW and AP_Bridge and takes another word for neither: what waits for "
           "its time is never activated" +
           base::didYouMean(value, known);
}

// Any other role is as good as the next, unless it looks like this one.
std::string oddRole(const std::string &value) {
    const std::array<std::string, 1> known{"Controller"};
    const std::string meant = value == known[0] ? "" : base::didYouMean(value, known);
    return meant.empty() ? "" : is(value) + "the agent knows Controller alone" + meant;
}

} // namespace

std::string whyNoBootState(const BootPlace &place) {
    BootState state;
    std::string why;
    if (readBootState(place, state, why)) {
        return "";
    }
    const bool isAdvised = why.find("ota-boot-state") != std::string::npos;
    return "names what the node cannot use: " + why +
           (isAdvised ? "" : "; ota-boot-state init makes a boot state");
}

std::string whyNoProgram(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        // Whoever checks may not see what the service sees.
        return errno == EACCES
                   ? ""
                   : base::systemReason("begins with a program that is not there, " + path) +
                         "; put it there or name another";
    }
    return S_ISREG(status.st_mode) && (status.st_mode & kAnyoneRuns) != 0
               ? ""
               : "begins with " + path + ", which is no program; make it one (chmod +x)";
}

std::string whyNoCertificates(const std::string &path) {
    std::string why;
    return readCertificates(path, why) ? ""
                                       : "names a file without a usable certificate: " + why +
                                             "; put a certificate in PEM there";
}

std::string whyNoStateDirectory(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        return S_ISDIR(status.st_mode)
                   ? ""
                   : "names no directory: " + path + " is a file; remove it or name another";
    }
    const std::string above = parentOf(path);
    return isDirectory(above)
               ? ""
               : "cannot be made: there is no directory " + above + "; make that or name another";
}

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

} // namespace node
