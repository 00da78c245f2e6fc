// SPDX-License-Identifier: MIT
// Standard output: lines that stay, and below them lines that are drawn again.
#ifndef DESK_SCREEN_H
#define DESK_SCREEN_H

#include "desk/display.h"

#include <string>
#include <utility>
#include <vector>

namespace desk {

class Screen {
  public:
    explicit Screen(const Surface &surface) : surface_(surface) {}
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    [[nodiscard]] const Surface &surface() const { return surface_; }

    // A line that stays; longer than the screen is wide, it goes on in further ones.
    void line(const std::string &head, const std::string &text);
    // Whole, as it is.
    void plain(const std::string &text);
    // The bar of this owner, drawn again in its place.
    void bar(const void *owner, const std::string &text);
    // Its bar becomes a line that stays.
    void leaveBar(const void *owner);
    void leaveBars();

    // The text in the colours of the terminal, where it takes them.
    [[nodiscard]] std::string painted(const char *colour, const std::string &text) const;

  private:
    void clear() const;
    void draw() const;

    Surface surface_;
    std::vector<std::pair<const void *, std::string>> bars_;
};

// Pieces of at most `room` columns, broken at blanks where there are any; 0: one piece.
std::vector<std::string> wrapped(const std::string &text, std::size_t room);
// Columns that the text takes: without the colours.
std::size_t width(const std::string &text);

} // namespace desk

#endif
