// SPDX-License-Identifier: MIT
// Whose doing a line of the history is, and which lines stay when there is not room for all.
#ifndef SERVICE_STATE_LINE_SOURCE_H
#define SERVICE_STATE_LINE_SOURCE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace service {

/* What callers of the bus are as a source: whoever may call may cause any number of lines. */
inline constexpr const char *kFromTheBus = "bus";
/* Senders whose topic names no MAC address, all of them. */
inline constexpr const char *kNoAddress = "no address";

/*
 * Empty: the node's own, of its requests, its boots and itself. Else others can cause as many as
 * they like: the MAC address of an extender, kNoAddress or
 * kFromTheBus. `line` is one of the history.
 */
std::string sourceOf(std::string_view line);

/*
 * Of a text of such lines: all the node's own, and of the others' the newest, `room` bytes in all.
 * Each source has the same share; what one does not need is for the rest. The order stays.
 */
std::string thinnedOut(std::string_view text, std::size_t room);

} // namespace service

#endif
