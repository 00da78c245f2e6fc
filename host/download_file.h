// SPDX-License-Identifier: MIT
// The file of a download, written in large pieces: the agent's stream has the C library's 4 KiB,
// and costs the kernel several times the work for each byte, here and wherever the file is used.
#ifndef HOST_DOWNLOAD_FILE_H
#define HOST_DOWNLOAD_FILE_H

#include <cstdio>

namespace host {

/* Before anything is written to it, and not closed before its transfer is over. Of one download at
 * a time. */
void writeInLargePieces(std::FILE *file);

/* The transfer is over: what waits is written, and its memory given back. False: it could not be
 * written, errno is set. */
bool writeWhatWaits();

} // namespace host

#endif
