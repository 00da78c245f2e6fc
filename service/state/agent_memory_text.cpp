// SPDX-License-Identifier: MIT
#include "service/state/agent_memory_text.h"

#include "base/json.h"

#include <new>

namespace service {
namespace {

void emptyRecord(cJSON *record) {
    cJSON *member = nullptr;
    cJSON_ArrayForEach(member, record) {
        if (cJSON_IsString(member)) {
            if (cJSON_SetValuestring(member, "") == nullptr) {
                throw std::bad_alloc();
            }
        } else if (cJSON_IsNumber(member)) {
            cJSON_SetNumberValue(member, 0);
        }
    }
}

} // namespace

AgentMemoryText::AgentMemoryText(std::string_view text) : object_(base::parseObject(text)) {}

int AgentMemoryText::number(const char *key, int otherwise) const {
    return base::numberOf(object_.get(), key, otherwise);
}

bool AgentMemoryText::setNumber(const char *key, int value) {
    cJSON *const item = base::itemOf(object_.get(), key);
    if (!base::numberIn(item)) {
        return false;
    }
    cJSON_SetNumberValue(item, value);
    return true;
}

void AgentMemoryText::forgetTheOffer() {
    for (const char *const record : {"swInfo", "otaLibConfig"}) {
        emptyRecord(base::itemOf(object_.get(), record));
    }
    for (const char *const flag :
         {kWindowOpen, kRetryPending, kTriggerTooLate, kDeferred, kRebootScheduled}) {
        setNumber(flag, 0);
    }
    setNumber(kNoWindowBeforeSwap, 1);
}

std::string AgentMemoryText::namedTime() const {
    const cJSON *const record = base::itemOf(object_.get(), "swActTime");
    return number(kTimeBySignal, 0) == 0 ? "" : base::textOf(record, "actTime");
}

std::string AgentMemoryText::print() const { return base::printed(object_.get()); }

} // namespace service
