// SPDX-License-Identifier: MIT
// What the steps of one download share.
#pragma once

#include "otaSwAgent/agent.h"
#include "support/handle.h"

namespace ota::download {

// The operation that all steps log under.
inline constexpr char kDownload[] = "ota_httpDownLoadFile";

// Handed to the progress callback, which does not read it.
struct ProgressData {
    int64_t lastRunTime{};
    CURL *handle{};
};

// The working storage of one attempt.
struct Transfer {
    char url[OTA_URL_WIDTH]{};
    char imageName[15]{}; // the first 14 characters of the version
    ProgressData progress{};
    TransferHandle handle{};
    File image{};
};

} // namespace ota::download
