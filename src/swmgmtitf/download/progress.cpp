// SPDX-License-Identifier: MIT
// The progress file: one number, written when the percentage rises.
#include "swmgmtitf/download/progress.h"

#include <stdint.h>

#include "support/log.h"
#include "support/shell.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

namespace {

// Kept: outlives a download, so the next one writes nothing until it rises above what it first
// reports.
constinit int64_t lastPercentage = 0;

// Truncates toward zero; a server may claim more than 64 bits hold.
int64_t wholeBytes(double amount) {
    constexpr double kLimit = 9223372036854775808.0; // 2^63
    if (amount >= kLimit) {
        return INT64_MAX;
    }
    return amount > -kLimit ? static_cast<int64_t>(amount) : INT64_MIN;
}

// Amounts that no image has wrap around instead of being undefined.
int64_t percentageOf(int64_t downloaded, int64_t total) {
    const uint64_t hundredfold = static_cast<uint64_t>(downloaded) * 100U;
    if (total == -1) { // the one divisor whose quotient may not fit
        return static_cast<int64_t>(-hundredfold);
    }
    return static_cast<int64_t>(hundredfold) / total;
}

int xferinfo(void * /*client*/, int64_t downloadTotal, int64_t downloaded, int64_t /*uploadTotal*/,
             int64_t /*uploaded*/) {
    if (downloaded == 0 || downloadTotal == 0) {
        return 0;
    }
    const int64_t percentage = percentageOf(downloaded, downloadTotal);
    if (percentage > lastPercentage) {
        const long long number = percentage;
        runShell<32>("echo %lld > %s", number, getOtaDownloadProgPath());
        OTA_TRACE("Download Percentage: %lld", number);
    }
    lastPercentage = percentage;
    return 0;
}

} // namespace

int dlFile_progressFunc(void *client, double downloadTotal, double downloaded, double uploadTotal,
                        double uploaded) {
    return xferinfo(client, wholeBytes(downloadTotal), wholeBytes(downloaded),
                    wholeBytes(uploadTotal), wholeBytes(uploaded));
}

} // namespace ota::download
