// SPDX-License-Identifier: MIT
// What standard output can show, as the environment and the person want it.
#ifndef BASE_TERMINAL_H
#define BASE_TERMINAL_H

#include <cstddef>
#include <ctime>
#include <string>

namespace base {

/* A terminal, TERM is not "dumb", and NO_COLOR is empty. */
bool showsColour();
/* A terminal that can draw a line again. */
bool redrawsLines();
/* Of the terminal, or what COLUMNS says, or 80; 0 where it is neither a terminal nor in COLUMNS: a
 * line is as long as it needs to be. */
std::size_t columnsShown();

/* HH:MM:SS of the local time. */
std::string timeOfDay(std::time_t at);
std::string timeOfDay();

} // namespace base

#endif
