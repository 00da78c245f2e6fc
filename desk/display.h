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

    void title(const std::string &text);
    void step(const std::string &name, const std::string &text);
    // A further line of the step above.
    void more(const std::string &text);
    void progress(const Progress &progress);
    void verdict(bool asExpected, const std::string &text);

  private:
    void line(const std::string &name, const std::string &text);
    void leaveBar();

    bool terminal_;
    bool barOpen_ = false;
    int lastPercent_ = 0;
};

} // namespace desk

#endif
