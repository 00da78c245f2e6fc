// SPDX-License-Identifier: MIT
// The answer to one method call, which may come long after the call.
#ifndef SERVICE_BUS_ANSWER_H
#define SERVICE_BUS_ANSWER_H

#include "service/bus/bus_calls.h"
#include "service/bus/handles.h"

namespace service {

enum class AnswerText { ticket, nothing };

// Answers the call on its first use; keeps the message, and with it the connection it came on,
// alive until then. `content`: what an accepted call is answered with.
BusCalls::Answer answerTo(sd_bus_message *call, AnswerText content);

// The error of a refusal: its bus name, its text.
int replyRefusal(sd_bus_message *call, const guard::Refusal &refusal);

} // namespace service

#endif
