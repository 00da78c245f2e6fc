// SPDX-License-Identifier: MIT
// One attempt to fetch the offered image into the temporary directory.
#include "swmgmtitf/download/download.h"

#include "support/log.h"
#include "support/shell.h"
#include "support/text.h"
#include "swmgmtitf/download/clean_up.h"
#include "swmgmtitf/download/curl_options.h"
#include "swmgmtitf/download/retry.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

namespace {

constexpr int kImageComplete = 0;
constexpr int kRetryPending = 1;
constexpr int kNothingFetched = -1;
constexpr int kCaCertificateMissing = 5003;

constexpr int kNoResponseCode = -1; // a transfer result beside libcurl's own

enum class Series { goesOn, exhausted };

void takeUrl(Transfer &transfer, HttpInfo &info) {
    copyText(info.url, swInfo.fileServerURL);
    copyText(transfer.url, info.url);
    OTA_TRACE_OF(kDownload, "Image download path=File Server URL = %s--%s", transfer.url, info.url);
    OTA_TRACE_OF(kDownload, "Required Image Name is \"%s\"", swInfo.nxtMSVersion);
    OTA_NOTICE_OF(kDownload, "path %s fileServerURL -%s, Image Name %s", transfer.url, info.url,
                  swInfo.nxtMSVersion);
}

void takeImageName(Transfer &transfer) {
    copyText(transfer.imageName, swInfo.nxtMSVersion);
    OTA_NOTICE_OF(kDownload, "imgName is derived is \"%s\"", transfer.imageName);
}

void closeTransfer(Transfer &transfer) {
    transfer.handle.reset();
    curl_global_cleanup();
}

// Kept: only 110 to 503 is judged; a code outside leaves the series as it was.
bool countsAsFailure(long code) { return code >= 110 && code <= 503 && code != 200; }

Series onTransferError(Transfer &transfer, CURLcode result) {
    long osError = 0;
    curl_easy_getinfo(transfer.handle.get(), CURLINFO_OS_ERRNO, &osError);
    OTA_ERROR_OF(kDownload, "curl_easy_perform() failed: %s errno : %ld",
                 curl_easy_strerror(result), osError);
    if (armRetry(Failure::ofTransfer, 0, transfer.image)) {
        return Series::goesOn;
    }
    closeTransfer(transfer);
    return Series::exhausted;
}

Series onResponse(Transfer &transfer, int &transferResult) {
    long code = 0;
    if (curl_easy_getinfo(transfer.handle.get(), CURLINFO_RESPONSE_CODE, &code) != CURLE_OK) {
        OTA_ERROR_OF(kDownload, "curl_easy_getinfo() error in receiving response code %ld", code);
        transferResult = kNoResponseCode;
        return Series::goesOn;
    }
    OTA_NOTICE_OF(kDownload, "receiving response code %ld", code);
    if (code == 200) {
        endSeries();
    } else if (countsAsFailure(code) && !armRetry(Failure::ofResponseCode, code, transfer.image)) {
        // Kept: on this road the handle and libcurl's global state are left as they are.
        transfer.handle.release();
        return Series::exhausted;
    }
    return Series::goesOn;
}

// The result depends on the series, not on this attempt alone.
int resultOfSeries() {
    if (!isRetryPending()) {
        return kImageComplete;
    }
    runShell<64>("echo OTA_SW_DOWNLOAD_FAILED >> %s", getOtaDownloadProgPath());
    return kRetryPending;
}

int perform(Transfer &transfer) {
    const CURLcode result = curl_easy_perform(transfer.handle.get());
    OTA_NOTICE_OF(kDownload, "Completed Image Download - curl_easy_perform");
    int transferResult = result;
    const Series series = result != CURLE_OK ? onTransferError(transfer, result)
                                             : onResponse(transfer, transferResult);
    if (series == Series::exhausted) {
        return kNothingFetched;
    }
    if (transferResult != CURLE_OK) {
        OTA_ERROR_OF(kDownload, "CURL Failed during download operation");
    }
    closeTransfer(transfer);
    transfer.image.reset();
    return resultOfSeries();
}

} // namespace

} // namespace ota::download

int ota_getFileDownloadPath(char *destination, const char *imageName) {
    // Kept: the path has no limit; a cut one would name another file.
    ota::joinPath(destination, nal_getTmpDirectory(), imageName);
    OTA_NOTICE("download path = %s", destination);
    return 0;
}

int ota_httpDownLoadFile(HttpInfo *info) {
    using namespace ota::download;
    Transfer transfer;
    removeLeftovers();
    takeUrl(transfer, *info);
    if (ota::isEmpty(info->url)) {
        OTA_NOTICE("Received URL is Empty... Do Nothing!!!");
        return kNothingFetched;
    }
    takeImageName(transfer);
    curl_global_init(CURL_GLOBAL_ALL);
    transfer.handle.reset(curl_easy_init());
    ota_getFileDownloadPath(info->downloadPath, transfer.imageName);
    if (!transfer.handle) {
        OTA_NOTICE("swUpgStat.status=%s", swUpgStat.status);
        return kNothingFetched;
    }
    transfer.image.reset(fopen(info->downloadPath, "wb"));
    if (!transfer.image) {
        closeTransfer(transfer);
        return kNothingFetched;
    }
    transfer.progress.handle = transfer.handle.get();
    if (!configure(transfer, *info)) {
        transfer.image.reset();
        closeTransfer(transfer);
        return kCaCertificateMissing;
    }
    return perform(transfer);
}
