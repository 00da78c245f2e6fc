// SPDX-License-Identifier: MIT
// How a transfer is set up, and the callbacks that libcurl makes into it.
#include "swmgmtitf/download/curl_options.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "support/log.h"
#include "support/text.h"
#include "swmgmtitf/download/ca_certificate.h"
#include "swmgmtitf/download/progress.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

namespace {

constexpr long kTransferLimit = 600;    // seconds for the whole transfer
constexpr long kFirstLocalPort = 47791; // and the 15 that follow
constexpr long kLocalPorts = 16;

// libcurl takes a long, an object pointer or a function pointer and no other width. The results
// are not looked at: an option that is refused shows in the transfer.
void setOption(const TransferHandle &handle, CURLoption option, long value) {
    curl_easy_setopt(handle.get(), option, value);
}
void setOption(const TransferHandle &handle, CURLoption option, const void *value) {
    curl_easy_setopt(handle.get(), option, value);
}
template <typename Result, typename... Arguments>
void setOption(const TransferHandle &handle, CURLoption option, Result (*function)(Arguments...)) {
    curl_easy_setopt(handle.get(), option, function);
}

void setTransferOptions(Transfer &transfer) {
    setOption(transfer.handle, CURLOPT_TIMEOUT, kTransferLimit);
    setOption(transfer.handle, CURLOPT_URL, transfer.url);
    setOption(transfer.handle, CURLOPT_PROGRESSFUNCTION, dlFile_progressFunc);
    setOption(transfer.handle, CURLOPT_PROGRESSDATA, &transfer.progress);
    setOption(transfer.handle, CURLOPT_NOPROGRESS, 0L);
    setOption(transfer.handle, CURLOPT_WRITEFUNCTION, dlFile_writeFunc);
    setOption(transfer.handle, CURLOPT_WRITEDATA, transfer.image.get());
}

// Kept: the global's path is refreshed, whatever context the download was given.
void refreshCertificatePath(const HttpInfo &info) {
    OTA_NOTICE_OF(kDownload, "httpInfo->certPath = %s", info.certPath);
    copyText(g_httpInfo.certPath, getHieCertPath());
    OTA_NOTICE_OF(kDownload, "After copy - httpInfo->certPath = %s", info.certPath);
}

void setTlsOptions(Transfer &transfer, const HttpInfo &info) {
    setOption(transfer.handle, CURLOPT_SSL_VERIFYPEER, 1L);
    setOption(transfer.handle, CURLOPT_SSL_VERIFYHOST, 2L);
    setOption(transfer.handle, CURLOPT_CAINFO, info.certPath);
}

// Kept: credentials are given together with "no scheme".
void setCredentials(Transfer &transfer, const HttpInfo &info) {
    setOption(transfer.handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
    setOption(transfer.handle, CURLOPT_PASSWORD, info.password);
    setOption(transfer.handle, CURLOPT_USERNAME, info.userName);
}

void setSocketOptions(Transfer &transfer, HttpInfo &info) {
    setOption(transfer.handle, CURLOPT_SOCKOPTFUNCTION, curlSockOptCallback);
    setOption(transfer.handle, CURLOPT_SOCKOPTDATA, &info);
    setOption(transfer.handle, CURLOPT_LOCALPORT, kFirstLocalPort);
    setOption(transfer.handle, CURLOPT_LOCALPORTRANGE, kLocalPorts);
}

int setSegmentSize(const char *operation, const void *client, curl_socket_t socket,
                   curlsocktype purpose) {
    const auto *info = static_cast<const HttpInfo *>(client);
    if (purpose == CURLSOCKTYPE_IPCXN && info->mss > 0 &&
        setsockopt(socket, IPPROTO_TCP, TCP_MAXSEG, &info->mss, sizeof info->mss) < 0) {
        OTA_ERROR_OF(operation, "Error While Set MSS");
    }
    return CURL_SOCKOPT_OK;
}

} // namespace

bool configure(Transfer &transfer, HttpInfo &info) {
    setOption(transfer.handle, CURLOPT_VERBOSE, 1L);
    // Anywhere in the URL: a path or a query that says "https" asks for the certificate too.
    const bool isHttps = strstr(info.url, "https") != nullptr;
    setTransferOptions(transfer);
    refreshCertificatePath(info);
    if (isHttps) {
        if (get_https_cacert_file_status(info.certPath) == 0) {
            return false;
        }
        setTlsOptions(transfer, info);
    }
    if (info.authEnabled != 0) {
        setCredentials(transfer, info);
    }
    setSocketOptions(transfer, info);
    return true;
}

} // namespace ota::download

size_t dlFile_writeFunc(void *buffer, size_t size, size_t count, void *stream) {
    return fwrite(buffer, size, count, static_cast<FILE *>(stream));
}

int curlSockOptCallback(void *client, curl_socket_t socket, curlsocktype purpose) {
    return ota::download::setSegmentSize(__func__, client, socket, purpose);
}

// For transfers driven from a poll loop; no transfer of the agent's own uses it.
int curlPollSockOptCallback(void *client, curl_socket_t socket, curlsocktype purpose) {
    return ota::download::setSegmentSize(__func__, client, socket, purpose);
}
