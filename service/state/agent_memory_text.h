// SPDX-License-Identifier: MIT
// The agent's memory as the host snapshots it: the few values that a start looks at or mends.
#ifndef SERVICE_STATE_AGENT_MEMORY_TEXT_H
#define SERVICE_STATE_AGENT_MEMORY_TEXT_H

#include "base/json.h"

#include <string>
#include <string_view>

namespace service {

class AgentMemoryText {
  public:
    static constexpr const char *kWindowOpen = "g_dwldStartTimer";
    static constexpr const char *kRetryPending = "g_dwldRetryTimer";
    static constexpr const char *kTriggerTooLate = "g_mobileTriggerExpire";
    static constexpr const char *kDeferred = "g_ISDeferedUpgrade";
    /* 0 while the half hour before a swap runs; else the reboot timer is for a time of day. */
    static constexpr const char *kNoWindowBeforeSwap =
        "g_firstTimeObardingWindowGivenPSNWBuildSame";
    static constexpr const char *kRebootScheduled = "reboot_flag";
    static constexpr const char *kTimeBySignal = "g_mAppRebootTrig";

    /* A text that is no JSON object counts as empty. */
    explicit AgentMemoryText(std::string_view text);

    /* The activation time that a request named last and that still governs; empty: none does. */
    std::string namedTime() const;

    bool empty() const { return !object_; }
    int number(const char *key, int otherwise) const;
    /* False where there is no such number to change. */
    bool setNumber(const char *key, int value);
    /* The image and every flag that is its: what is left is the activation time. */
    void forgetTheOffer();

    /* Empty where the memory is. */
    std::string print() const;

  private:
    base::Json object_;
};

} // namespace service

#endif
