// SPDX-License-Identifier: MIT
// The progress file: one number, written when the percentage rises.
#pragma once

namespace ota::download {

// libcurl's progress callback; always 0, so it never stops a transfer.
int dlFile_progressFunc(void *client, double downloadTotal, double downloaded, double uploadTotal,
                        double uploaded);

} // namespace ota::download
