// SPDX-License-Identifier: MIT
// A start as a story: what was kept, what the node is like now, and the plan in one line.
#ifndef TESTS_SERVICE_STATE_RESUME_STORIES_H
#define TESTS_SERVICE_STATE_RESUME_STORIES_H

#include "service/state/resume.h"

#include "tests/unit/service/state/kept_requests.h"

#include <gtest/gtest.h>
#include <string>

/* What the plan does, without its words; "nothing" where it does nothing. */
std::string told(const service::ResumePlan &plan);

/* A call that broke off in bank a, with nothing else kept. */
service::Ledger running(const service::Request &request, bool activated = false, int starts = 1,
                        int crashes = 0);
/* An offer that waits since bank a ran, with its timers. */
service::Ledger waiting(const service::Request &offered, std::vector<service::ArmedTimer> timers,
                        bool activated = false, bool deferred = false);
/* The same with a call that broke off, or with a queue. */
service::Ledger runningOver(const service::Request &request, service::Ledger ledger,
                            bool activated = false, int crashes = 0);
service::Ledger queued(std::list<service::Request> queue, service::Ledger ledger);
service::Ledger withMemory(service::Ledger ledger);

/* The node remembers that this version failed so many trials, the last one by this reason. */
service::BootFacts failed(service::BootFacts facts, std::uint32_t trials, const std::string &reason,
                          const std::string &version = kNew);
/* What is kept began when the version had failed so many trials already. */
service::Ledger failedBefore(service::Ledger ledger, int trials);

service::BootFacts at1970(service::BootFacts facts);
service::BootFacts later(service::BootFacts facts, std::int64_t seconds);
service::BootFacts withoutBootState(service::BootFacts facts);

struct Story {
    const char *name;
    service::Ledger ledger;
    service::BootFacts facts;
    const char *plan;
};

inline void PrintTo(const Story &story, std::ostream *out) { *out << story.name; }

inline std::string storyName(const testing::TestParamInfo<Story> &suite) {
    return suite.param.name;
}

#endif
