// SPDX-License-Identifier: MIT
// The channel as the platform's calls use it: one question, one answer.
#ifndef HOST_SUPERVISOR_LINK_H
#define HOST_SUPERVISOR_LINK_H

#include "base/channel.h"
#include "base/result.h"

#include <string>

namespace host {

/* The channel that askSupervisor uses; set once, before the agent is called. */
void setSupervisor(base::Channel *channel);

/* A new message {"call": name} or {"note": name}. */
base::Json newCall(const char *name);
base::Json newNote(const char *name);

/*
 * Sends the call and waits for its {"ack": n}. The agent's frames are below, through which nothing
 * may be thrown: where no answer can come any more, one line is written and the host ends.
 */
int askSupervisor(const base::Json &call);

/* Sends a note, which has no answer. Ends the host where it cannot be sent. */
void tellSupervisor(const base::Json &note);

/* Writes "error: ota-host: " and the line on standard error. */
void complain(const std::string &whatIsWrong);

/* Tells the supervisor why the host is about to end; where that cannot be told, nothing. */
void tellLastWords(const base::Error &cause);

/* Complains, tells the supervisor, where one is set, and ends the host with 1. */
[[noreturn]] void endHost(const std::string &whatIsWrong, base::Reason reason = base::Reason::none);

} // namespace host

#endif
