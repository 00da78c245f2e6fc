// SPDX-License-Identifier: MIT
// What the person at the terminal sees: named steps, a progress bar, a last line.
#ifndef DESK_DISPLAY_H
#define DESK_DISPLAY_H

#include <cstdint>
#include <string>

namespace desk {

struct Progress {
    int percent = 0;
    std::uint64_t bytesPerSecond = 0; // 0: not known yet
    std::int64_t secondsLeft = 0;
};

class Display {
  public:
    // Colour and the redrawn bar only where standard output is a terminal.
    Display();
    // With a mark, every line begins with it, and a bar, which several could not share, is lines.
    explicit Display(bool terminal, std::string mark = "");
    // The same place, for the lines of one node among several.
    [[nodiscard]] Display marked(const std::string &mark) const { return Display(terminal_, mark); }

    void title(const std::string &text);
    void step(const std::string &name, const std::string &text);
    // A further line of the step above.
    void more(const std::string &text);
    void progress(const Progress &progress);
    void verdict(bool asExpected, const std::string &text);
    // Ends the line of a bar, before others write to the terminal.
    void leaveBar();
    // The step that was shown last, on one line.
    [[nodiscard]] const std::string &lastStep() const { return lastStep_; }

  private:
    void line(const std::string &name, const std::string &text);

    bool terminal_;
    std::string mark_;
    bool barOpen_ = false;
    int lastPercent_ = 0;
    std::string lastStep_;
};

} // namespace desk

#endif
