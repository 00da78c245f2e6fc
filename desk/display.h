// SPDX-License-Identifier: MIT
// What the person at the terminal sees: named steps, a progress bar, a last line.
#ifndef DESK_DISPLAY_H
#define DESK_DISPLAY_H

#include "desk/progress.h"

#include <string>

namespace desk {

class Display {
  public:
    // Colour and the redrawn bar only where standard output is a terminal.
    Display();
    explicit Display(bool terminal) : terminal_(terminal) {}

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
    bool barOpen_ = false;
    int lastPercent_ = 0;
    std::string lastStep_;
};

} // namespace desk

#endif
