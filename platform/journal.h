// SPDX-License-Identifier: MIT
// The systemd journal as the place of the log's entries.
#ifndef PLATFORM_JOURNAL_H
#define PLATFORM_JOURNAL_H

#include "base/log_entry.h"

#include <string>

namespace platform {

/* True where standard error is the journal: $JOURNAL_STREAM names its device and inode. */
bool standardErrorIsTheJournal();

/*
 * Sends one entry with its fields; `priority` is one of syslog.h. False: the journal did not take
 * it.
 */
bool sendToJournal(int priority, const base::LogOrigin &origin, const std::string &message);

} // namespace platform

#endif
