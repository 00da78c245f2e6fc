// SPDX-License-Identifier: MIT
// Is there a CA certificate to check an https server with?
#pragma once

namespace ota::download {

// 1 where the file exists, else 0 with the reason logged.
int get_https_cacert_file_status(const char *path);

} // namespace ota::download
