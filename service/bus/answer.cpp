// SPDX-License-Identifier: MIT
// Replies, each exactly once.
#include "service/bus/answer.h"

#include <memory>
#include <utility>

namespace service {

namespace {

class PendingCall {
  public:
    PendingCall(sd_bus_message *call, AnswerText content)
        : call_(sd_bus_message_ref(call)), content_(content) {}
    ~PendingCall() {
        if (call_ != nullptr) {
            sd_bus_reply_method_errorf(call_.get(), base::rowOf(base::Outcome::failed).busError,
                                       "call: the service gave no answer; see its journal");
        }
    }
    PendingCall(const PendingCall &) = delete;
    PendingCall &operator=(const PendingCall &) = delete;

    // The caller or the bus may be gone by now: then there is nobody to tell.
    void answer(const guard::Refusal *refusal, std::uint64_t ticket) {
        const BusMessage call = std::move(call_);
        if (call == nullptr) {
            return;
        }
        if (refusal != nullptr) {
            replyRefusal(call.get(), *refusal);
        } else if (content_ == AnswerText::ticket) {
            sd_bus_reply_method_return(call.get(), "t", ticket);
        } else {
            sd_bus_reply_method_return(call.get(), nullptr);
        }
    }

  private:
    BusMessage call_;
    AnswerText content_;
};

} // namespace

BusCalls::Answer answerTo(sd_bus_message *call, AnswerText content) {
    return [pending = std::make_shared<PendingCall>(call, content)](const guard::Refusal *refusal,
                                                                    std::uint64_t ticket) {
        pending->answer(refusal, ticket);
    };
}

int replyRefusal(sd_bus_message *call, const guard::Refusal &refusal) {
    const base::OutcomeRow &row = base::rowOf(refusal.outcome);
    const bool isError = row.busError[0] != '\0';
    const char *name = isError ? row.busError : base::rowOf(base::Outcome::failed).busError;
    return sd_bus_reply_method_errorf(call, name, "%s", refusal.text().c_str());
}

} // namespace service
