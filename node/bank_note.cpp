// SPDX-License-Identifier: MIT
#include "node/bank_note.h"

#include "base/json.h"
#include "node/boot_state_text.h"

namespace node {
namespace {

constexpr const char *kState = "state";
constexpr const char *kFailed = "failed";

} // namespace

// As variables of the boot loader, which have a strict reader already.
base::Json bankNote(const node::BootPlace &place) {
    base::Json note = base::message({{"note", "banks"}});
    const auto state = readBootState(place);
    if (!state) {
        cJSON_AddStringToObject(note.get(), kFailed, state.error().text.c_str());
        return note;
    }
    cJSON *const variables = cJSON_AddObjectToObject(note.get(), kState);
    for (const auto &[name, value] : formatBootState(*state)) {
        cJSON_AddStringToObject(variables, name.c_str(), value.c_str());
    }
    return note;
}

base::Result<BootState> takeBankNote(const cJSON *note) {
    const cJSON *const variables = cJSON_GetObjectItemCaseSensitive(note, kState);
    if (variables == nullptr) {
        return base::Error{base::textOf(note, kFailed)};
    }
    node::BootVariables given;
    for (const cJSON *one = variables->child; one != nullptr; one = one->next) {
        if (cJSON_IsString(one) != 0 && *one->valuestring != '\0') {
            given[one->string] = one->valuestring;
        }
    }
    return parseBootState("the host's note of the banks", given);
}

} // namespace node
