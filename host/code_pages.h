// SPDX-License-Identifier: MIT
// The code that this process has in memory, which is a quarter of all that it has there.
#ifndef HOST_CODE_PAGES_H
#define HOST_CODE_PAGES_H

namespace host {

/*
 * The code and the constants of all libraries count as this process's memory no more. What is used
 * again comes back by itself, page by page, from the kernel's cache or from the disk. Call it where
 * a stage begins that needs memory, and none of what the stage before it ran.
 */
void giveBackCode();

} // namespace host

#endif
