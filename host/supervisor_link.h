// SPDX-License-Identifier: MIT
// The channel as the platform's calls use it: one question, one answer.
#ifndef HOST_SUPERVISOR_LINK_H
#define HOST_SUPERVISOR_LINK_H

#include "host/channel.h"
#include "host/reason.h"

#include <string>

namespace host {

/* The channel that askSupervisor uses; set once, before the agent is called. */
void setSupervisor(Channel *channel);

/* A new message {"call": name} or {"note": name}. Ends the host where memory ran out. */
Json newCall(const char *name);
Json newNote(const char *name);

/*
 * Sends the call and waits for its {"ack": n}. The agent's frames are below, through which nothing
 * may be thrown: where no answer can come any more, one line is written and the host ends.
 */
int askSupervisor(const Json &call);

/* Sends a note, which has no answer. Ends the host where it cannot be sent. */
void tellSupervisor(const Json &note);

/* Writes "error: ota-host: " and the line on standard error. */
void complain(const std::string &whatIsWrong);

/* Tells the supervisor why the host is about to end; where that cannot be told, nothing. */
void tellLastWords(const Cause &cause);

/* Complains, tells the supervisor, where one is set, and ends the host with 1. */
[[noreturn]] void endHost(const std::string &whatIsWrong, Reason reason = Reason::none);

} // namespace host

#endif
