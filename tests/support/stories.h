// SPDX-License-Identifier: MIT
// Stories: many events in a row, written as rows of a table.
#pragma once

#include "agent_test.h"

#include <functional>
#include <string>
#include <vector>

namespace ota::test {

// A row: the node it plays on, faults to set, events as calls, and what must be in the journal.
struct Story {
    std::string name; // letters and digits only, it becomes part of the test's name
    Node node;
    std::function<void()> faults;
    std::vector<std::function<void()>> events;
    Entries expected; // what journal().actions() must give
};

inline std::string storyName(const testing::TestParamInfo<Story> &info) { return info.param.name; }

inline void PrintTo(const Story &story, std::ostream *out) { *out << story.name; }

// A suite of stories: `using Retries = StoryTest;`, then TEST_P(Retries, Holds) { play(); } and
// INSTANTIATE_TEST_SUITE_P(Rows, Retries, testing::ValuesIn(kStories), storyName).
class StoryTest : public AgentTest, public testing::WithParamInterface<Story> {
  protected:
    void play() {
        const Story &story = GetParam();
        node() = story.node;
        startUp();
        if (story.faults) {
            story.faults();
        }
        for (const auto &event : story.events) {
            event();
        }
        EXPECT_ENTRIES(journal().actions(), story.expected);
    }
};

} // namespace ota::test
