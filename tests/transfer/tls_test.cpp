// SPDX-License-Identifier: MIT
// Servers that cannot prove who they are.
#include "transfer_fixture.h"

using namespace ota::test;

namespace {

class Tls : public RealTransferTest {
  protected:
    // The server is refused: nothing was asked for, nothing came, a retry is pending.
    void expectRefusal() {
        EXPECT_EQ(downloadPath("/image", "https"), 1);
        EXPECT_TRUE(transferError().starts_with(curl_easy_strerror(CURLE_PEER_FAILED_VERIFICATION)))
            << transferError();
        EXPECT_EQ(fetched(), "");
        EXPECT_EQ(progressFile(), kFailed);
        EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
        EXPECT_TRUE(requests().empty());
    }
};

TEST_F(Tls, AcceptsTheServerThatTheCertificateFileNames) {
    makeCertificate("cfg/ca", "IP:127.0.0.1");
    startAnswering("cfg/ca");
    EXPECT_EQ(downloadPath("/image", "https"), 0);
    EXPECT_EQ(fetched(), image());
    EXPECT_EQ(progressFile(), "100\n");
    EXPECT_ENTRIES(outcome(), Entries{});
}

TEST_F(Tls, RefusesAServerOfAnotherAuthority) {
    makeCertificate("cfg/ca", "IP:127.0.0.1");
    makeCertificate("stranger", "IP:127.0.0.1");
    startAnswering("stranger");
    expectRefusal();
}

TEST_F(Tls, RefusesAServerOfAnotherName) {
    makeCertificate("cfg/ca", "DNS:other.example");
    startAnswering("cfg/ca");
    expectRefusal();
}

TEST_F(Tls, DoesNotEvenConnectWithoutACertificateFile) {
    startAnswering();
    EXPECT_EQ(downloadPath("/image?by=https"), 5003);
    EXPECT_TRUE(requests().empty());
    EXPECT_EQ(fetched(), "");
    EXPECT_FALSE(exists("ota_dwld_prog"));
    EXPECT_ENTRIES(outcome(), Entries{});
}

} // namespace
