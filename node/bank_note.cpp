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
        base::add(note.get(), kFailed, state.error().text);
        return note;
    }
    base::Json variables = base::newObject();
    for (const auto &[name, value] : formatBootState(*state)) {
        base::add(variables.get(), name.c_str(), value);
    }
    base::add(note.get(), kState, std::move(variables));
    return note;
}

base::Result<BootState> takeBankNote(const cJSON *note) {
    const cJSON *const variables = base::itemOf(note, kState);
    if (variables == nullptr) {
        return base::Error{base::textOf(note, kFailed)};
    }
    node::BootVariables given;
    for (const cJSON *const one : base::membersOf(variables)) {
        if (std::string value = base::textOf(one); !value.empty()) {
            given[one->string] = std::move(value);
        }
    }
    return parseBootState("the host's note of the banks", given);
}

} // namespace node
