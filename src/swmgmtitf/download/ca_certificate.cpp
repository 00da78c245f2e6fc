// SPDX-License-Identifier: MIT
// Is there a CA certificate to check an https server with?
#include "swmgmtitf/download/ca_certificate.h"

#include <errno.h>
#include <unistd.h>

#include "support/log.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

int get_https_cacert_file_status(const char *path) {
    OTA_NOTICE("path = %s", path);
    if (access(path, F_OK) == 0) {
        return 1;
    }
    switch (errno) {
    case ENOENT:
        OTA_ERROR("OTASwAgent Verifed Certificate not exist");
        break;
    case EACCES:
        OTA_ERROR("OTASwAgent Verifed Certificate not accessible");
        break;
    default:
        OTA_ERROR("OTASwAgent verified Certificate accessible error");
        break;
    }
    return 0;
}

} // namespace ota::download
