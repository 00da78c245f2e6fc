// SPDX-License-Identifier: MIT
// The guard behind C, where no exception may pass.
#include "guard/guard.h"

#include "base/agent_mark.h"
#include "base/text.h"
#include "guard/offer.h"
#include "guard/version.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace {

std::string textOf(const char *text) { return text == nullptr ? "" : text; }

int refuse(const guard::Refusal &why, OtaGuardRefusal *refusal) {
    const base::OutcomeRow &row = base::rowOf(why.outcome);
    if (refusal != nullptr) {
        *refusal = OtaGuardRefusal{};
        refusal->code = row.code;
        base::copyText(row.name, refusal->name, sizeof refusal->name);
        base::copyText(base::plain(why.field), refusal->key, sizeof refusal->key);
        base::copyText(why.text(), refusal->sentence, sizeof refusal->sentence);
    }
    return row.code;
}

// Without a word that would need memory.
int failed(const char *sentence, OtaGuardRefusal *refusal) {
    if (refusal != nullptr) {
        *refusal = OtaGuardRefusal{};
        refusal->code = OTA_GUARD_FAILED;
        std::strncpy(refusal->name, "failed", sizeof refusal->name - 1);
        std::strncpy(refusal->sentence, sentence, sizeof refusal->sentence - 1);
    }
    return OTA_GUARD_FAILED;
}

guard::Rules rulesOf(const OtaGuardRules &given) {
    guard::Rules rules{given.allowPlainHttp != 0, textOf(given.lowestVersion), {}};
    for (std::size_t i = 0; i < given.refusedCount; ++i) {
        rules.refusedVersions.push_back(
            {textOf(given.refusedVersions[i]), "failed its trial on this node"});
    }
    return rules;
}

int judge(std::string_view text, const OtaGuardNode &given, const OtaGuardRules &rules,
          char **canonical, OtaGuardRefusal *refusal) {
    const guard::NodeIdentity node{.model = textOf(given.model),
                                   .serial = {},
                                   .mac = textOf(given.mac),
                                   .longestVersion = guard::longestVersion(
                                       textOf(given.logsDirectory) + base::kActivationMark)};
    guard::Offer offer;
    if (const auto why = guard::checkOffer(text, node, rulesOf(rules), offer)) {
        return refuse(*why, refusal);
    }
    *canonical = strdup(offer.descriptor.c_str());
    return *canonical == nullptr ? failed("memory ran out", refusal) : OTA_GUARD_ADMITTED;
}

} // namespace

int otaGuardOffer(const char *text, size_t length, const OtaGuardNode *node,
                  const OtaGuardRules *rules, char **canonical, OtaGuardRefusal *refusal) {
    if (canonical == nullptr || node == nullptr || rules == nullptr) {
        return failed("node, rules and canonical are needed", refusal);
    }
    *canonical = nullptr;
    if (node->size < sizeof *node || rules->size < sizeof *rules ||
        (rules->refusedCount > 0 && rules->refusedVersions == nullptr)) {
        return failed("node or rules are no records: set size to their sizeof", refusal);
    }
    try {
        return judge({text == nullptr ? "" : text, text == nullptr ? 0 : length}, *node, *rules,
                     canonical, refusal);
    } catch (const std::exception &) {
        return failed("memory ran out", refusal);
    }
}

void otaGuardRelease(char *canonical) { std::free(canonical); }
