// SPDX-License-Identifier: MIT
// What the person at the terminal sees: timed and named steps, progress bars, a last line.
#ifndef DESK_DISPLAY_H
#define DESK_DISPLAY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace desk {

struct Progress {
    int percent = 0;
    std::uint64_t bytesPerSecond = 0; // 0: not known yet
    std::int64_t secondsLeft = 0;
};

// What standard output can show.
struct Surface {
    bool colour;
    bool redraws;
    std::size_t (*columns)(); // 0: a line is as long as it needs to be
    std::string (*now)();     // the time of day
};

// The lines that stay, and below them a bar for each node that downloads.
class Screen;

class Display {
  public:
    // Of standard output, as it is.
    Display();
    explicit Display(const Surface &surface);
    // The same place, for the lines of one node among several: each begins with its mark.
    [[nodiscard]] Display marked(const std::string &mark) const { return {screen_, mark}; }

    void title(const std::string &text);
    void step(const std::string &name, const std::string &text);
    // A further line of the step above.
    void more(const std::string &text);
    // A line to paste into a shell, further in; where it is broken, the shell joins it again.
    void command(const std::vector<std::string> &words);
    void progress(const Progress &progress);
    void verdict(bool asExpected, const std::string &text);
    // Ends the lines of all bars, before others write to the terminal.
    void leaveBars();
    // The step that was shown last, on one line.
    [[nodiscard]] const std::string &lastStep() const { return lastStep_; }

  private:
    Display(std::shared_ptr<Screen> screen, std::string mark);
    void line(const std::string &time, const std::string &name, const std::string &text);
    [[nodiscard]] std::string head(const std::string &time, const std::string &name) const;
    [[nodiscard]] std::string bar(const Progress &progress) const;

    std::shared_ptr<Screen> screen_;
    std::string mark_;
    int lastPercent_ = 0;
    std::string lastStep_;
};

} // namespace desk

#endif
