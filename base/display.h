// SPDX-License-Identifier: MIT
// What a person sees: aligned names and texts, and on a terminal a last line that is redrawn.
#ifndef BASE_DISPLAY_H
#define BASE_DISPLAY_H

#include <string>
#include <vector>

namespace base {

enum class Tone { plain, good, bad };

class Display {
  public:
    /* Looks at standard output and the environment: colour only on a terminal and without NO_COLOR,
     * the redrawn line only on one that is not "dumb". */
    Display();
    ~Display();
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;

    /* One line, flushed. Texts may come from anywhere: they are shown without control characters.
     */
    void line(const std::string &name, const std::string &text, Tone tone = Tone::plain);
    /* The last line, redrawn in place; nothing where standard output is no terminal. Empty: none.
     */
    void foot(const std::string &text);
    [[nodiscard]] bool hasFoot() const { return redraws_; }

  private:
    void clearFoot() const;
    void drawFoot() const;

    bool colour_;
    bool redraws_;
    std::string foot_;
};

/* Rows with columns as wide as their widest cell; the first row is the head. */
void printTable(const std::vector<std::vector<std::string>> &rows);

} // namespace base

#endif
