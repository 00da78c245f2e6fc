// SPDX-License-Identifier: MIT
#include "base/config_findings.h"

#include <array>

namespace base {
namespace {

struct Kind {
    const char *key;
    std::vector<std::string> ConfigFindings::*lines;
};

constexpr std::array kKinds{Kind{"mistakes", &ConfigFindings::mistakes},
                            Kind{"obstacles", &ConfigFindings::obstacles},
                            Kind{"warnings", &ConfigFindings::warnings}};

} // namespace

Json findingsAsJson(const ConfigFindings &findings) {
    Json object = newObject();
    for (const Kind &kind : kKinds) {
        add(object.get(), kind.key, findings.*kind.lines);
    }
    return object;
}

ConfigFindings findingsIn(const cJSON *object) {
    ConfigFindings findings;
    for (const Kind &kind : kKinds) {
        for (const cJSON *const line : membersOf(itemOf(object, kind.key))) {
            (findings.*kind.lines).push_back(textOf(line));
        }
    }
    return findings;
}

} // namespace base
