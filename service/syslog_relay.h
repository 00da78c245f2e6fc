// SPDX-License-Identifier: MIT
// Standard error of this process and of all that it starts becomes the node's syslog.
#ifndef SERVICE_SYSLOG_RELAY_H
#define SERVICE_SYSLOG_RELAY_H

#include "base/file_io.h"
#include "base/result.h"
#include "service/loop.h"

#include <optional>

namespace service {

/*
 * A process of its own sends the lines: a syslog that hangs then holds up nobody, and the last
 * words of a process that dies still arrive. Where it lags behind, lines are left out.
 */
class SyslogRelay {
  public:
    SyslogRelay() = default;
    SyslogRelay(const SyslogRelay &) = delete;
    SyslogRelay &operator=(const SyslogRelay &) = delete;

    /* An error: standard error is what it was before. */
    base::Result<void> start();
    /* From now on a process that ended is replaced, if one was started; SIGCHLD must be blocked. */
    void watch(sd_event *loop);

  private:
    bool startProcess();

    base::UniqueFd lines_;
    pid_t process_ = 0;
    std::optional<Collected> ended_;
    std::optional<Alarm> again_;
};

} // namespace service

#endif
