// SPDX-License-Identifier: MIT
// The methods: what arrives, what is answered, and when.
#include "bus_test.h"

#include "guard/strict_json.h"

#include <unistd.h>

namespace {

using base::Outcome;
using guard::Refusal;
using Calls = std::vector<std::string>;

class BusMethods : public BusTest {
  protected:
    void SetUp() override { startService(); }
};

TEST_F(BusMethods, AnOfferArrivesWithItsThreeValuesAndIsAnsweredWithATicket) {
    daemon_.ticket = 7;
    EXPECT_EQ(resultOf(client_->call("OfferImage", "syii", "{\"a\":1}", 255, -3, 2)), "7");
    EXPECT_EQ(daemon_.calls, Calls{"offer {\"a\":1} 255 -3 2"});
}

TEST_F(BusMethods, ACallComesWithTheUserWhoMakesIt) {
    daemon_.ticket = 7;
    ASSERT_EQ(daemon_.caller, service::kNobodyKnown);
    EXPECT_EQ(resultOf(client_->call("TriggerMobileApp", "i", 1)), "7");
    EXPECT_EQ(daemon_.caller, geteuid());
}

TEST_F(BusMethods, EachOtherCallArrivesWithItsArguments) {
    daemon_.ticket = 18446744073709551615U;
    const std::string ticket = "18446744073709551615";
    EXPECT_EQ(resultOf(client_->call("TriggerMobileApp", "i", -1)), ticket);
    EXPECT_EQ(resultOf(client_->call("SetActivationTime", "s", "{\"actTime\":\"02:30\"}")), ticket);
    EXPECT_EQ(resultOf(client_->call("Cancel", "t", std::uint64_t{9})), ticket);
    EXPECT_EQ(resultOf(client_->call("Commit", "")), "");
    EXPECT_EQ(resultOf(client_->call("Forget", "s", "4QZ-2.0")), "");
    EXPECT_EQ(resultOf(client_->call("ChangeSetting", "ss", "work_mode", "Router")), "");
    EXPECT_EQ(daemon_.calls, (Calls{"trigger -1", "activate-at {\"actTime\":\"02:30\"}", "cancel 9",
                                    "commit", "forget 4QZ-2.0", "set work_mode Router"}));
}

TEST_F(BusMethods, HistoryAndExplanationComeInOrder) {
    EXPECT_EQ(resultOf(client_->call("History", "u", 4294967295U)),
              R"(["{"event":"boot"}" "{"event":"accepted"}"])");
    EXPECT_EQ(daemon_.calls, Calls{"history 4294967295"});
    EXPECT_EQ(resultOf(client_->call("Explain", "")),
              R"([("node" "Nothing was offered yet.") ("queue" "Nothing waits.")])");
}

TEST_F(BusMethods, CountersComeWithTheirNames) {
    EXPECT_EQ(resultOf(client_->call("Counters", "")), "[]");
    daemon_.counted = {{"event boot done none", 2}, {"bytes", 18446744073709551615U}};
    EXPECT_EQ(resultOf(client_->call("Counters", "")),
              R"([("bytes" 18446744073709551615) ("event boot done none" 2)])");
}

TEST_F(BusMethods, ARefusalIsAnErrorOfItsOwnNameWithFieldAndReason) {
    const Calls methods = {"OfferImage", "TriggerMobileApp", "SetActivationTime", "Cancel",
                           "Commit",     "Forget",           "ChangeSetting"};
    daemon_.refusal = Refusal{Outcome::wrongModel, "model", "\"X\" is not this node's"};
    const std::string expected = "velmo.otaSwAgent.Error.WrongModel: " + daemon_.refusal->text();
    EXPECT_EQ(resultOf(client_->call("OfferImage", "syii", "{}", 0, 0, 0)), expected);
    EXPECT_EQ(resultOf(client_->call("TriggerMobileApp", "i", 1)), expected);
    EXPECT_EQ(resultOf(client_->call("SetActivationTime", "s", "{}")), expected);
    EXPECT_EQ(resultOf(client_->call("Cancel", "t", std::uint64_t{1})), expected);
    EXPECT_EQ(resultOf(client_->call("Commit", "")), expected);
    EXPECT_EQ(resultOf(client_->call("Forget", "s", "4QZ-2.0")), expected);
    EXPECT_EQ(resultOf(client_->call("ChangeSetting", "ss", "a", "b")), expected);
    EXPECT_EQ(daemon_.calls.size(), methods.size());
}

TEST_F(BusMethods, EveryOutcomeThatIsAnErrorTravelsUnderItsName) {
    for (const base::OutcomeRow &row : base::outcomes()) {
        daemon_.refusal = Refusal{row.outcome, "field", "reason %s %n"};
        const ReplyRef reply = client_->call("Cancel", "t", std::uint64_t{0});
        ASSERT_TRUE(arrives(reply));
        const std::string name = row.busError;
        EXPECT_EQ(reply->error, name.empty() ? "velmo.otaSwAgent.Error.Failed" : name) << row.name;
        EXPECT_EQ(reply->content, "field: reason %s %n");
    }
}

TEST_F(BusMethods, AnAnswerMayComeLateAndOutOfOrder) {
    const ReplyRef first = client_->call("TriggerMobileApp", "i", 1);
    const ReplyRef second = client_->call("TriggerMobileApp", "i", 2);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 2; }));
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"idle\"");
    EXPECT_FALSE(first->arrived);
    EXPECT_FALSE(second->arrived);
    daemon_.pending[1](nullptr, 22);
    EXPECT_EQ(resultOf(second), "22");
    EXPECT_FALSE(first->arrived);
    const Refusal refusal{Outcome::queueFull, "queue", "64 requests wait"};
    daemon_.pending[0](&refusal, 0);
    EXPECT_EQ(resultOf(first), "velmo.otaSwAgent.Error.QueueFull: queue: 64 requests wait");
}

TEST_F(BusMethods, OnlyTheFirstAnswerCounts) {
    const ReplyRef reply = client_->call("TriggerMobileApp", "i", 1);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 1; }));
    const int before = client_->repliesOnTheWire;
    const service::BusCalls::Answer copy = daemon_.pending[0];
    daemon_.pending[0](nullptr, 5);
    copy(nullptr, 6);
    daemon_.pending.clear();
    EXPECT_EQ(resultOf(reply), "5");
    heard();
    EXPECT_EQ(client_->repliesOnTheWire, before + 1);
}

TEST_F(BusMethods, AnAnswerThatIsDroppedIsAnErrorAndNotSilence) {
    const ReplyRef reply = client_->call("TriggerMobileApp", "i", 1);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 1; }));
    daemon_.pending.clear();
    ASSERT_TRUE(arrives(reply));
    EXPECT_EQ(reply->error, "velmo.otaSwAgent.Error.Failed");
}

TEST_F(BusMethods, ACallerThatVanishedIsAnsweredIntoTheVoid) {
    auto brief = std::make_unique<Client>(loop_.get(), bus_.address());
    brief->call("TriggerMobileApp", "i", 1);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 1; }));
    brief.reset();
    daemon_.pending[0](nullptr, 5);
    daemon_.pending.clear();
    EXPECT_EQ(resultOf(client_->property("Stage")), "\"idle\"");
}

TEST_F(BusMethods, AnAnswerOutlivesTheService) {
    client_->call("TriggerMobileApp", "i", 1);
    ASSERT_TRUE(comesTrue([this] { return daemon_.pending.size() == 1; }));
    service_.reset();
    daemon_.pending[0](nullptr, 5);
    daemon_.pending.clear();
    // The bus sees the closed connection in its own time.
    EXPECT_TRUE(comesTrue([this] {
        const ReplyRef owner = client_->ownerOf(service::kBusName);
        return arrives(owner) && owner->error == "org.freedesktop.DBus.Error.NameHasNoOwner";
    }));
}

TEST_F(BusMethods, WrongArgumentsNeverReachTheDaemon) {
    const std::string wrong = "org.freedesktop.DBus.Error.InvalidArgs";
    for (const ReplyRef &reply :
         {client_->call("OfferImage", "s", "{}"), client_->call("TriggerMobileApp", "s", "1"),
          client_->call("Cancel", "i", 1), client_->call("ChangeSetting", "s", "a")}) {
        ASSERT_TRUE(arrives(reply));
        EXPECT_EQ(reply->error, wrong);
    }
    EXPECT_TRUE(daemon_.calls.empty());
}

TEST_F(BusMethods, ATextArrivesWholeUpToWhatTheGuardTakes) {
    daemon_.ticket = 1;
    const std::string text(guard::StrictObject::kMaxText, 'x');
    EXPECT_EQ(resultOf(client_->call("SetActivationTime", "s", text.c_str())), "1");
    EXPECT_EQ(daemon_.calls, Calls{"activate-at " + text});
}

TEST_F(BusMethods, OfALongerTextAsMuchArrivesAsShowsThatItIsTooLong) {
    daemon_.ticket = 1;
    const std::string text(20'000'000, 'x');
    const std::string tooLong(guard::StrictObject::kMaxText + 1, 'x');
    EXPECT_EQ(resultOf(client_->call("SetActivationTime", "s", text.c_str())), "1");
    EXPECT_EQ(resultOf(client_->call("OfferImage", "syii", text.c_str(), 0, 0, 0)), "1");
    EXPECT_EQ(daemon_.calls, (Calls{"activate-at " + tooLong, "offer " + tooLong + " 0 0 0"}));
}

} // namespace
