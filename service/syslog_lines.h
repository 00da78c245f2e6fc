// SPDX-License-Identifier: MIT
// What a process writes to standard error, cut into entries for syslog.
#ifndef SERVICE_SYSLOG_LINES_H
#define SERVICE_SYSLOG_LINES_H

#include <functional>
#include <string>
#include <string_view>

namespace service {

class SyslogLines {
  public:
    /* `priority` is one of syslog.h, by the word that the line begins with. */
    using Send = std::function<void(int priority, const std::string &text)>;

    explicit SyslogLines(Send send) : send_(std::move(send)) {}

    /* An entry for each line that ends in it; what is too long for one comes in several. */
    void take(std::string_view text);
    /* What has no line end, as nothing follows. */
    void end();

  private:
    void tell();

    Send send_;
    std::string entry_;
    int priority_ = 0;
    bool begun_ = false; // the line has entries already
};

} // namespace service

#endif
