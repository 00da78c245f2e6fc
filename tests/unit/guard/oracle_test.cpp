// SPDX-License-Identifier: MIT
// The agent itself as the judge: it reads what was let through exactly as it was checked.
#include "agent_test.h"
#include "descriptor.h"

#include "guard/activation_record.h"
#include "guard/version.h"
#include "otaSwAgent/codec.h"

#include <filesystem>

using namespace guard;
using namespace guard::test;

namespace {

// Spellings that are let through and that a reader could take for something else.
std::vector<Descriptor> goodOffers() {
    const Descriptor good;
    std::vector<Descriptor> offers = {
        good,
        good.adding("\"Model\"", "\"other\"").adding("\"MAC\"", "\"other\""),
        good.adding("\"mode\"", "\"x\"").adding("\"policy \"", "9"),
        good.adding("\"x\"", R"({"model":"other","policy":3})"),
        good.with("mac", R"("\u00302:00:5e:10:00:01")"),
        good.without("model").adding(R"("\u006d\u006F\u0064el")", R"("\u0047W-1000")"),
        good.with("fileServerURL", R"("https:\/\/h\/\u0068ttp:\/\/x")"),
        good.withText("fileServerURL", "https://h/" + std::string(8181, 'u')),
        good.withText("fileServerURL", "http://h/HTTPS?" + std::string(3000, '%')),
        good.withText("nxtMSVersion", "4QZ" + std::string(27, '+')),
        good.withText("nxtMSVersion", "4QZ"),
        good.withText("nxtMSVersion", "4QZ_-.+aZ09"),
        good.with("policy", "-0"),
    };
    for (const char *policy : {"0", "1", "2", "3"}) {
        offers.push_back(good.with("policy", policy));
    }
    return offers;
}

class AgentAsJudge : public ota::test::AgentTest {};

TEST_F(AgentAsJudge, ReadsTheFieldsThatWereChecked) {
    for (const Descriptor &descriptor : goodOffers()) {
        Offer offer;
        const auto refusal = checkOffer(descriptor.text(), thisNode(), {true, ""}, offer);
        ASSERT_FALSE(refusal) << refusal->text();
        OtaMatrixItem item;
        std::memset(&item, 0, sizeof item);
        ASSERT_EQ(AGENT(parse_OtaMatrixItem_from_json)(offer.descriptor.c_str(), &item), 0);
        EXPECT_EQ(item.model, offer.model);
        EXPECT_EQ(item.nxtMSVersion, offer.version);
        EXPECT_EQ(item.fileServerURL, offer.url);
        EXPECT_EQ(item.checksum, offer.checksum);
        EXPECT_EQ(item.mac, offer.mac);
        EXPECT_EQ(item.policy, offer.policy);
    }
}

TEST_F(AgentAsJudge, FindsNothingOfAnEarlierRecordInAnActivationTime) {
    ActivationTime time;
    std::memset(&time, 'z', sizeof time);
    ActivationRecord activation;
    ASSERT_FALSE(checkActivationTime(R"({"actTime":"3:05"})", thisNode(), activation));
    ASSERT_EQ(AGENT(parse_ActivationTime_from_json)(activation.record.c_str(), &time), 0);
    EXPECT_STREQ(time.model, "");
    EXPECT_STREQ(time.mac, "");
    EXPECT_STREQ(time.sn, "");
    EXPECT_EQ(time.actTime, activation.time);
}

// The marker goes through the agent's own command and its own check after the reboot.
class Marker : public ota::test::StartedAgentTest {
  protected:
    void useLogs(const std::string &directory) {
        using namespace ota::test;
        std::filesystem::create_directory(directory);
        node().logsDirectory = directory;
        readPaths();
        shell().runsCommands = true;
    }

    static std::size_t limit() { return longestVersion(AGENT(getOtaActSuccessPath)()); }

    // True where exactly one report follows, that of a commit.
    static bool isReportedAsCommitted(std::size_t length) {
        using namespace ota::test;
        const std::string version = "4QZ" + std::string(length - 3, '7');
        node().currentVersion = version;
        setText(AGENT_VAR(swInfo).nxtMSVersion, version);
        AGENT(otaSwAgentProcessRebootTimer)();
        journal().clear();
        AGENT(otaSwAgentSWCommitStatus)();
        return journal().actions() ==
               entries(signal("OTA_SW_COMMIT_COMPLETE"),
                       std::string("system rm -rf ") + AGENT(getOtaActSuccessPath)());
    }
};

TEST_F(Marker, ReportsTheLongestVersionAsCommittedAndNoLongerOne) {
    for (const char *directory : {"l", "log-folder", "log-folder-14c"}) {
        useLogs(directory);
        EXPECT_TRUE(isReportedAsCommitted(4)) << directory;
        EXPECT_TRUE(isReportedAsCommitted(limit())) << directory << ", " << limit();
        EXPECT_FALSE(isReportedAsCommitted(limit() + 1)) << directory << ", " << limit();
    }
}

TEST_F(Marker, HasRoomForFewerCharactersBehindALongerPath) {
    useLogs("l");
    EXPECT_EQ(limit(), 30U);
    useLogs("log-folder-14c");
    EXPECT_EQ(limit(), 25U);
}

} // namespace
