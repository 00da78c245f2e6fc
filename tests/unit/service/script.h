// SPDX-License-Identifier: MIT
// What the scripted host is to do, and what it was asked.
#ifndef TESTS_SERVICE_SCRIPT_H
#define TESTS_SERVICE_SCRIPT_H

#include "base/json.h"

#include <string>
#include <vector>

namespace service::test {

/* One thing that the host does, as JSON text. Behind the last one it answers with "done". */
using Action = std::string;

Action stage(const std::string &name);
/* Sends this message and waits for nothing. */
Action say(const std::string &message);
/* Sends this call and waits for its acknowledgement. */
Action ask(const std::string &call);
/* A status record with this word. */
Action report(const std::string &word);
Action notifyRoot();
Action handOver();
Action startTimer(const std::string &name, int seconds);
Action stopTimer(const std::string &name);
/* Goes on once the test lets it, see Script::release. */
Action waitFor(const std::string &what);
/* Copies a file within the test's folder. */
Action copy(const std::string &from, const std::string &to);
/* Ends the call with these members in place of the usual ones. */
Action doneWith(const std::string &members);
Action exitWith(int code);
Action dieOf(int signal);
/* Nothing more is heard of it. */
Action hang();

/* The script lies in the folder, and so does the log of every host process that was started. */
class Script {
  public:
    explicit Script(std::string folder);

    /* What to do when this event ("start-up" too) comes for the first time, the second, ... */
    void on(const std::string &event, const std::vector<Action> &actions);
    void release(const std::string &what) const;

    /* Every event that came, and every acknowledgement, as JSON text. */
    std::vector<std::string> log() const;
    /* The names of all events, in order; acknowledgements as "ack 0". */
    std::vector<std::string> heard() const;
    /* Every event of this name, as JSON text. */
    std::vector<std::string> events(const std::string &name) const;
    std::size_t count(const std::string &event) const { return events(event).size(); }

  private:
    std::string folder_;
    base::Json turns_;
};

} // namespace service::test

#endif
