// SPDX-License-Identifier: MIT
// How a transfer is set up: which options, in which order, with which values.
#include "download_fixture.h"

#include <algorithm>
#include <memory>

using namespace ota::test;

namespace {

constexpr char kHttpsUrl[] = "https://files.example/gate.img";

class CurlOptions : public DownloadTest {
  protected:
    void SetUp() override {
        DownloadTest::SetUp();
        writeFile("cfg/ca.pem", "");
    }

    // What was set between the two, and what was logged there.
    Entries optionsBehind(const char *option) const {
        Entries set = behind(journal().of({kDownload}), option);
        set.erase(std::find(set.begin(), set.end(), "curl_easy_perform"), set.end());
        return set;
    }

    static Entries tls(const std::string &certificate) {
        return {"curl_easy_setopt CURLOPT_SSL_VERIFYPEER 1",
                "curl_easy_setopt CURLOPT_SSL_VERIFYHOST 2",
                "curl_easy_setopt CURLOPT_CAINFO " + certificate};
    }

    static Entries socketOptions() {
        return {"curl_easy_setopt CURLOPT_SOCKOPTFUNCTION curlSockOptCallback",
                "curl_easy_setopt CURLOPT_SOCKOPTDATA g_httpInfo",
                "curl_easy_setopt CURLOPT_LOCALPORT 47791",
                "curl_easy_setopt CURLOPT_LOCALPORTRANGE 16"};
    }

    static Entries certificatePaths() {
        return entries(said("httpInfo->certPath = cfg/ca.pem"),
                       said("After copy - httpInfo->certPath = cfg/ca.pem"));
    }

    // Whether a download of this URL is set up for TLS.
    bool usesTls(const std::string &url) {
        offer(url, kVersion);
        journal().clear();
        EXPECT_EQ(download(), 0) << url;
        return !only(journal().actions(), {"curl_easy_setopt CURLOPT_CAINFO"}).empty();
    }
};

constexpr char kLastGeneral[] = "curl_easy_setopt CURLOPT_WRITEDATA stream of ./4QZ-2.0";

TEST_F(CurlOptions, ForHttpsVerifyPeerHostAndCertificateFile) {
    offer(kHttpsUrl, kVersion);
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(optionsBehind(kLastGeneral),
                   entries(certificatePaths(), tls("cfg/ca.pem"), socketOptions()));
}

TEST_F(CurlOptions, CarryCredentialsWithoutASchemeWhereTheHostAsksForThem) {
    AGENT_VAR(g_httpInfo).authEnabled = 1;
    setText(AGENT_VAR(g_httpInfo).userName, "node");
    setText(AGENT_VAR(g_httpInfo).password, "secret");
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(optionsBehind(kLastGeneral),
                   entries(certificatePaths(), "curl_easy_setopt CURLOPT_HTTPAUTH 0",
                           "curl_easy_setopt CURLOPT_PASSWORD secret",
                           "curl_easy_setopt CURLOPT_USERNAME node", socketOptions()));
}

TEST_F(CurlOptions, PutCredentialsBehindTls) {
    offer(kHttpsUrl, kVersion);
    AGENT_VAR(g_httpInfo).authEnabled = 0x80000000U;
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(optionsBehind(kLastGeneral),
                   entries(certificatePaths(), tls("cfg/ca.pem"),
                           "curl_easy_setopt CURLOPT_HTTPAUTH 0",
                           "curl_easy_setopt CURLOPT_PASSWORD None",
                           "curl_easy_setopt CURLOPT_USERNAME None", socketOptions()));
}

TEST_F(CurlOptions, CarryLongCredentialsWhole) {
    AGENT_VAR(g_httpInfo).authEnabled = 1;
    setText(AGENT_VAR(g_httpInfo).userName, std::string(255, 'u'));
    setText(AGENT_VAR(g_httpInfo).password, std::string(255, 'p'));
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(only(journal().actions(),
                        {"curl_easy_setopt CURLOPT_PASSWORD", "curl_easy_setopt CURLOPT_USERNAME"}),
                   entries("curl_easy_setopt CURLOPT_PASSWORD " + std::string(255, 'p'),
                           "curl_easy_setopt CURLOPT_USERNAME " + std::string(255, 'u')));
}

TEST_F(CurlOptions, CarryAUrlOf8191CharactersWhole) {
    const std::string url = "http://files.example/" + std::string(8170, 'a');
    ASSERT_EQ(url.size(), 8191U);
    offer(url, kVersion);
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(only(journal().actions(), {"curl_easy_setopt CURLOPT_URL"}),
                   entries("curl_easy_setopt CURLOPT_URL " + url));
    EXPECT_EQ(AGENT_VAR(g_httpInfo).url, url);
}

TEST_F(CurlOptions, TakeHttpsAnywhereInTheUrlForTls) {
    EXPECT_TRUE(usesTls(kHttpsUrl));
    EXPECT_TRUE(usesTls("http://files.example/https/gate.img"));
    EXPECT_TRUE(usesTls("http://files.example/gate.img?from=https"));
    EXPECT_TRUE(usesTls("http://https.example/gate.img"));
}

TEST_F(CurlOptions, TakeNoOtherSpellingForTls) {
    EXPECT_FALSE(usesTls(kUrl));
    EXPECT_FALSE(usesTls("HTTPS://files.example/gate.img"));
    EXPECT_FALSE(usesTls("http://files.example/http/s/gate.img"));
}

TEST_F(CurlOptions, TakeNoTimeoutFromTheContext) {
    AGENT_VAR(g_httpInfo).timeout = 5;
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(only(journal().actions(), {"curl_easy_setopt CURLOPT_TIMEOUT"}),
                   entries("curl_easy_setopt CURLOPT_TIMEOUT 600"));
}

TEST_F(CurlOptions, RefreshTheCertificatePathBeforeItIsChecked) {
    setText(AGENT_VAR(g_httpInfo).certPath, "cfg/stale.pem");
    offer(kHttpsUrl, kVersion);
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(optionsBehind(kLastGeneral),
                   entries(said("httpInfo->certPath = cfg/stale.pem"),
                           said("After copy - httpInfo->certPath = cfg/ca.pem"), tls("cfg/ca.pem"),
                           socketOptions()));
}

TEST_F(CurlOptions, RefreshTheGlobalsPathButUseThePassedContexts) {
    const auto context = std::make_unique<HttpInfo>();
    setText(context->certPath, "cfg/own.pem");
    writeFile("cfg/own.pem", "");
    setText(AGENT_VAR(g_httpInfo).certPath, "cfg/stale.pem");
    offer(kHttpsUrl, kVersion);

    EXPECT_EQ(AGENT(ota_httpDownLoadFile)(context.get()), 0);

    EXPECT_STREQ(AGENT_VAR(g_httpInfo).certPath, "cfg/ca.pem");
    EXPECT_STREQ(context->certPath, "cfg/own.pem");
    EXPECT_ENTRIES(only(journal().withoutLogs(), {"access", "curl_easy_setopt CURLOPT_CAINFO",
                                                  "curl_easy_setopt CURLOPT_SOCKOPTDATA"}),
                   entries("access cfg/own.pem F_OK", "curl_easy_setopt CURLOPT_CAINFO cfg/own.pem",
                           "curl_easy_setopt CURLOPT_SOCKOPTDATA pointer"));
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf ota_httpDownLoadFile: httpInfo",
                                       "notice swmgmtitf ota_httpDownLoadFile: After"}),
        entries(notice("swmgmtitf", kDownload, "httpInfo->certPath = cfg/own.pem"),
                notice("swmgmtitf", kDownload, "After copy - httpInfo->certPath = cfg/own.pem")));
}

TEST_F(CurlOptions, FillThePassedContextAndNotTheGlobal) {
    const auto context = std::make_unique<HttpInfo>();
    setText(AGENT_VAR(g_httpInfo).url, "untouched");
    EXPECT_EQ(AGENT(ota_httpDownLoadFile)(context.get()), 0);
    EXPECT_STREQ(context->url, kUrl);
    EXPECT_STREQ(context->downloadPath, "./4QZ-2.0");
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).url, "untouched");
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).downloadPath, "");
}

TEST_F(CurlOptions, RefreshTheCertificatePathOnPlainHttpToo) {
    setText(AGENT_VAR(g_httpInfo).certPath, "cfg/stale.pem");
    EXPECT_EQ(download(), 0);
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).certPath, "cfg/ca.pem");
}

// The socket callbacks, called as libcurl calls them.
class SocketOptions : public DownloadTest {
  protected:
    using Callback = int(void *, curl_socket_t, curlsocktype);

    Entries setWith(Callback *callback, int32_t mss, curlsocktype purpose) {
        journal().clear();
        AGENT_VAR(g_httpInfo).mss = mss;
        const AgentCall call{callback};
        EXPECT_EQ(call(&AGENT_VAR(g_httpInfo), 77, purpose), CURL_SOCKOPT_OK);
        return journal().all();
    }

    Callback *installed() const { return AGENT(curlSockOptCallback).function; }
    Callback *forPolling() const { return AGENT(curlPollSockOptCallback).function; }
};

constexpr char kSet1400[] = "setsockopt 77 IPPROTO_TCP TCP_MAXSEG 1400 4";

TEST_F(SocketOptions, SetTheSegmentSizeOfAConnection) {
    EXPECT_ENTRIES(setWith(installed(), 1400, CURLSOCKTYPE_IPCXN), entries(kSet1400));
    EXPECT_ENTRIES(setWith(forPolling(), 1400, CURLSOCKTYPE_IPCXN), entries(kSet1400));
}

TEST_F(SocketOptions, LeaveTheSystemsDefaultForZeroOrLess) {
    EXPECT_ENTRIES(setWith(installed(), 0, CURLSOCKTYPE_IPCXN), Entries{});
    EXPECT_ENTRIES(setWith(installed(), -1, CURLSOCKTYPE_IPCXN), Entries{});
    EXPECT_ENTRIES(setWith(forPolling(), 0, CURLSOCKTYPE_IPCXN), Entries{});
    EXPECT_ENTRIES(setWith(forPolling(), -1400, CURLSOCKTYPE_IPCXN), Entries{});
}

TEST_F(SocketOptions, LeaveSocketsOfAnotherPurposeAlone) {
    EXPECT_ENTRIES(setWith(installed(), 1400, CURLSOCKTYPE_ACCEPT), Entries{});
    EXPECT_ENTRIES(setWith(forPolling(), 1400, CURLSOCKTYPE_ACCEPT), Entries{});
}

TEST_F(SocketOptions, GoOnAfterAFailureAndLogItUnderTheirOwnName) {
    node().always["setsockopt"] = -1;
    EXPECT_ENTRIES(
        setWith(installed(), 1400, CURLSOCKTYPE_IPCXN),
        entries(kSet1400, bothErrors("swmgmtitf", "curlSockOptCallback", "Error While Set MSS")));
    EXPECT_ENTRIES(setWith(forPolling(), 1400, CURLSOCKTYPE_IPCXN),
                   entries(kSet1400, bothErrors("swmgmtitf", "curlPollSockOptCallback",
                                                "Error While Set MSS")));
}

TEST_F(SocketOptions, TakeAPositiveResultForSuccess) {
    node().always["setsockopt"] = 1;
    EXPECT_ENTRIES(setWith(installed(), 1400, CURLSOCKTYPE_IPCXN), entries(kSet1400));
}

TEST_F(SocketOptions, ReachTheConnectionOfADownload) {
    AGENT_VAR(g_httpInfo).mss = 536;
    curl().perform = [](Transfer &transfer) {
        EXPECT_EQ(transfer.openSocket(5, CURLSOCKTYPE_IPCXN), CURL_SOCKOPT_OK);
        return CURLE_OK;
    };
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(only(journal().actions(), {"setsockopt"}),
                   entries("setsockopt 5 IPPROTO_TCP TCP_MAXSEG 536 4"));
}

} // namespace
