// SPDX-License-Identifier: MIT
// A start as a story: what was kept, what the node is like now, and the plan in one line.
#ifndef TESTS_DAEMON_KEEP_RESUME_STORIES_H
#define TESTS_DAEMON_KEEP_RESUME_STORIES_H

#include "host/daemon/keep/resume.h"

#include "tests/unit/daemon/keep/kept_requests.h"

#include <gtest/gtest.h>
#include <string>

/* What the plan does, without its words; "nothing" where it does nothing. */
std::string told(const otad::TakeUp &plan);

/* A call that broke off in bank a, with nothing else kept. */
otad::Ledger running(const otad::Request &request, bool activated = false, int starts = 1,
                     int crashes = 0);
/* An offer that stands since bank a ran, with its timers. */
otad::Ledger standing(const otad::Request &offered, std::vector<otad::ArmedTimer> timers,
                      bool activated = false, bool deferred = false);
/* The same with a call that broke off, or with a queue. */
otad::Ledger runningOver(const otad::Request &request, otad::Ledger ledger, bool activated = false,
                         int crashes = 0);
otad::Ledger queued(std::deque<otad::Request> queue, otad::Ledger ledger);
otad::Ledger withMemory(otad::Ledger ledger);

/* The node remembers that this version failed so many trials, the last one by this reason. */
otad::Facts failed(otad::Facts facts, std::uint32_t trials, const std::string &reason,
                   const std::string &version = kNew);
/* What is kept began when the version had failed so many trials already. */
otad::Ledger failedBefore(otad::Ledger ledger, int trials);

otad::Facts at1970(otad::Facts facts);
otad::Facts later(otad::Facts facts, std::int64_t seconds);
otad::Facts withoutBootState(otad::Facts facts);

struct Story {
    const char *name;
    otad::Ledger ledger;
    otad::Facts facts;
    const char *plan;
};

inline void PrintTo(const Story &story, std::ostream *out) { *out << story.name; }

inline std::string storyName(const testing::TestParamInfo<Story> &suite) {
    return suite.param.name;
}

#endif
