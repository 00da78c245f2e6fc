// SPDX-License-Identifier: MIT
// Which URLs are let through, and how.
#include "checked_offers.h"

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

TEST(UrlsOfOffers, MayBeAsLongAsTheirWidth) {
    const std::string url = "https://h/" + std::string(8191 - 10, 'a');
    EXPECT_EQ(accepted(Descriptor().withText("fileServerURL", url).text()).url, url);
    EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url + "a")),
              "keyTooLong fileServerURL");
}

TEST(UrlsOfOffers, HaveTheirQuotesAndDollarsEncoded) {
    EXPECT_EQ(
        accepted(Descriptor().withText("fileServerURL", "https://h/a'b$c?d='$'#$").text()).url,
        "https://h/a%27b%24c?d=%27%24%27#%24");
    for (const char *url : {"https://h'/i", "https://$h/i", "https://$(x)/i"}) {
        EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url)),
                  "urlNotHttp fileServerURL")
            << url;
    }
    const std::string url = "https://h/" + std::string(8191 - 10 - 3, 'a');
    EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url + "$")), "");
    EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url + "a$")),
              "keyTooLong fileServerURL");
}

TEST(UrlsOfOffers, AreOfPlainHttpOnlyWhereTheConfigurationAllowsIt) {
    const Descriptor plain = Descriptor().withText("fileServerURL", "http://h:8080/i?a=b&c#d");
    EXPECT_EQ(refusalOf(plain), "plainHttpForbidden fileServerURL");
    EXPECT_EQ(refusalOf(plain, thisNode(), kHttpAllowed), "");
}

TEST(UrlsOfOffers, MayNotHideHttpsEvenWherePlainOnesAreAllowed) {
    for (const char *url : {"http://h/https", "http://https/", "HTTPS://h/", "HTTP://h/"}) {
        EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url), thisNode(), kHttpAllowed),
                  "urlAmbiguous fileServerURL")
            << url;
    }
}

TEST(UrlsOfOffers, AreThoseThatFileServersUse) {
    for (const char *url :
         {"https://h", "https://h/", "https://h:8443/a/b%20c.img", "https://192.0.2.1/i",
          "https://[2001:db8::1]:443/i", "https://h/i?a=1&b=(2)*~!,;=@#f", "https://h/a@b",
          "https://h?u@i", "https://h/http://x", "https://h/../i", "https://h/HTTP"}) {
        EXPECT_EQ(refusalOf(Descriptor().withText("fileServerURL", url)), "") << url;
    }
}

// What is refused for its password must not carry that into the history.
TEST(UrlsOfOffers, DoNotShowTheirPassword) {
    for (const char *url : {"https://user:word@h/i", "HTTP://user:word@h/i", "x://user:word@h/i",
                            "user:word@h/i", "https://user:wo\trd@h/i"}) {
        Offer offer;
        const auto refusal =
            checkOffer(Descriptor().withText("fileServerURL", url).text(), thisNode(), {}, offer);
        ASSERT_TRUE(refusal) << url;
        EXPECT_EQ(refusal->outcome, Outcome::urlHoldsSecret) << url;
        EXPECT_EQ(refusal->text().find("word@"), std::string::npos) << refusal->text();
        EXPECT_EQ(refusal->text().find("user:"), std::string::npos) << refusal->text();
    }
}

} // namespace
