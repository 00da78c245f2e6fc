// SPDX-License-Identifier: MIT
// Whole downloads from a web server as it runs in the field.
#include "transfer_fixture.h"

using namespace ota::test;

namespace {

using ImageServer = RealTransferTest;

TEST_F(ImageServer, DeliversTheWholeImageOverHttp) {
    startNginx();
    EXPECT_EQ(downloadPath("/gate.img"), 0);
    EXPECT_EQ(fetched(), image());
    EXPECT_EQ(progressFile(), "100\n");
    EXPECT_ENTRIES(outcome(), Entries{});
}

TEST_F(ImageServer, DeliversTheWholeImageOverHttps) {
    makeCertificate("cfg/ca", "IP:127.0.0.1");
    startNginx("cfg/ca");
    EXPECT_EQ(downloadPath("/gate.img", "https"), 0);
    EXPECT_EQ(fetched(), image());
    EXPECT_EQ(progressFile(), "100\n");
    EXPECT_ENTRIES(outcome(), Entries{});
}

TEST_F(ImageServer, DoesNotHaveTheImageAtFirst) {
    startNginx();
    EXPECT_EQ(downloadPath("/not-yet.img"), 1);
    EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
    EXPECT_NE(fetched().find("404 Not Found"), std::string::npos) << "the error page is kept";

    EXPECT_EQ(downloadPath("/gate.img"), 0);
    EXPECT_EQ(fetched(), image());
    EXPECT_ENTRIES(outcome(), Entries{});
}

} // namespace
