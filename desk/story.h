// SPDX-License-Identifier: MIT
// What the stages, words and timers of a node tell of the image's way.
#ifndef DESK_STORY_H
#define DESK_STORY_H

#include <optional>
#include <string>

namespace desk {

struct Tale {
    std::string step;
    std::string text;
    bool failed; // the node knows why
};

class Story {
  public:
    // Each takes what happened next, and gives what is known from it; none: nothing new.
    std::optional<Tale> stageBegan(const std::string &stage);
    std::optional<Tale> wordCame(const std::string &word);
    std::optional<Tale> timerStarted(const std::string &name);

  private:
    std::string stage_; // that runs; empty where its end was told
};

} // namespace desk

#endif
