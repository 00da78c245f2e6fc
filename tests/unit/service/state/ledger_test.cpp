// SPDX-License-Identifier: MIT
// The ledger as text: what was printed comes back, anything else is refused.
#include "service/state/ledger.h"

#include "tests/unit/service/state/kept_requests.h"

#include <gtest/gtest.h>

namespace {

using service::Ledger;

constexpr std::uint64_t kLargest = 9'007'199'254'740'992; // 2^53

Ledger fullLedger() {
    Ledger ledger = emptyLedger();
    ledger.nextTicket = kLargest;
    ledger.queue = {offer(7, 3), trigger(8), activationTime(9), expiryOf("rebootTimer")};
    ledger.running = service::Running{offer(5, 1), 2, 1, "a", true, 99, true};
    ledger.waiting = service::WaitingOffer{offer(kLargest - 1, 0), "b", true, true, 1};
    ledger.timers = {armed("rebootTimer", 1800), {"downloadRetryTimer", -5, -1, -2, -3}};
    ledger.memory = memoryWith({{"reboot_flag", 1}}, "01:00", "02:00");
    ledger.failedDownloads = 7;
    ledger.rebootDue = true;
    ledger.lastWord = "OTA_SW_COMMIT_COMPLETE";
    ledger.lastRecord = "{\"status\":\"\\\"quoted\\\"\\n\"}";
    return ledger;
}

std::string withReplaced(const std::string &what, const std::string &by) {
    std::string text = service::printLedger(fullLedger());
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what << " is not in " << text;
    return text.replace(at, what.size(), by);
}

std::string complaintOf(const std::string &text) {
    const auto read = service::parseLedger(text);
    EXPECT_FALSE(read) << text;
    EXPECT_EQ(read.error().text.find('\n'), std::string::npos);
    return read.error().text;
}

void expectComesBack(const Ledger &ledger) {
    const auto back = service::parseLedger(service::printLedger(ledger));
    ASSERT_TRUE(back) << back.error().text;
    EXPECT_EQ(*back, ledger);
}

// As earlier releases read it.
constexpr const char *kPrinted = R"({
	"bootId":	"boot-1",
	"nextTicket":	9007199254740992,
	"queue":	[{
			"ticket":	0,
			"kind":	"timer",
			"event":	"{\"event\":\"timer\",\"name\":\"rebootTimer\"}",
			"version":	"",
			"policy":	0
		}],
	"running":	{
		"request":	{
			"ticket":	5,
			"kind":	"new-image",
			"event":	"{\"event\":\"new-image\",\"descriptor\":\"{}\",\"config\":{}}",
			"version":	"4QZ-2.0.0",
			"policy":	1
		},
		"starts":	2,
		"crashes":	1,
		"bank":	"a",
		"activated":	true,
		"failedTrials":	99,
		"held":	true
	},
	"standing":	{
		"offer":	{
			"ticket":	9007199254740991,
			"kind":	"new-image",
			"event":	"{\"event\":\"new-image\",\"descriptor\":\"{}\",\"config\":{}}",
			"version":	"4QZ-2.0.0",
			"policy":	0
		},
		"bank":	"b",
		"activated":	true,
		"deferred":	true,
		"failedTrials":	1
	},
	"timers":	[{
			"name":	"rebootTimer",
			"seconds":	1800,
			"endBootMs":	2200000,
			"armedAt":	1700000000,
			"endsAt":	1700001800
		}, {
			"name":	"downloadRetryTimer",
			"seconds":	-5,
			"endBootMs":	-1,
			"armedAt":	-2,
			"endsAt":	-3
		}],
	"memory":	"{}",
	"failedDownloads":	7,
	"rebootDue":	true,
	"lastWord":	"OTA_SW_COMMIT_COMPLETE",
	"lastRecord":	"{\"status\":\"\\\"quoted\\\"\\n\"}"
}
)";

TEST(TheLedger, IsPrintedAsEarlierReleasesReadIt) {
    Ledger ledger = fullLedger();
    ledger.queue = {expiryOf("rebootTimer")};
    ledger.memory = "{}";
    EXPECT_EQ(service::printLedger(ledger), kPrinted);
}

TEST(TheLedger, ComesBackAsItWasPrinted) {
    expectComesBack(Ledger{});
    expectComesBack(emptyLedger());
    expectComesBack(fullLedger());
}

TEST(TheLedger, ComesBackWithLargeEventsAndEveryByte) {
    Ledger ledger = fullLedger();
    std::string text;
    for (int byte = 1; byte < 128; ++byte) {
        text += static_cast<char>(byte);
    }
    ledger.lastRecord = text;
    ledger.queue.front().event = "{\"descriptor\":\"" + std::string(64 * 1024, 'x') + "\"}";
    expectComesBack(ledger);
}

// An image of before reads it, and so does this one what that one wrote.
TEST(TheLedger, NamesFailedTrialsOnlyWhereThereWereAny) {
    Ledger ledger = fullLedger();
    ledger.running->failedTrials = 0;
    ledger.waiting->failedTrials = 0;
    EXPECT_EQ(service::printLedger(ledger).find("failedTrials"), std::string::npos);
    expectComesBack(ledger);
}

TEST(TheLedger, NamesFailedDownloadsOnlyWhereThereWereAny) {
    Ledger ledger = fullLedger();
    ledger.failedDownloads = 0;
    EXPECT_EQ(service::printLedger(ledger).find("failedDownloads"), std::string::npos);
    expectComesBack(ledger);
}

TEST(TheLedger, NamesARebootOnlyWhereOneIsDue) {
    Ledger ledger = fullLedger();
    ledger.rebootDue = false;
    EXPECT_EQ(service::printLedger(ledger).find("rebootDue"), std::string::npos);
    expectComesBack(ledger);
}

TEST(TheLedger, NamesAnImageThatWasThereOnlyWhereOneWas) {
    Ledger ledger = fullLedger();
    ledger.running->held = false;
    EXPECT_EQ(service::printLedger(ledger).find("held"), std::string::npos);
    expectComesBack(ledger);
}

TEST(TheLedger, EndsWithALineEnd) { EXPECT_EQ(service::printLedger(emptyLedger()).back(), '\n'); }

TEST(TheLedger, HoldsAFullQueueWithItsSpareRoomAndNoMore) {
    Ledger ledger = emptyLedger();
    for (std::size_t number = 0; number < Ledger::kMaxQueue + Ledger::kSpare; ++number) {
        ledger.queue.push_back(offer(number + 1, 1));
    }
    expectComesBack(ledger);
    ledger.queue.push_back(offer(99, 1));
    EXPECT_EQ(complaintOf(service::printLedger(ledger)),
              "\"queue\": expected a list of at most 80");
}

TEST(TheLedger, IsRefusedWhereItIsCutAnywhere) {
    const std::string text = service::printLedger(fullLedger());
    for (std::size_t size = 0; size + 1 < text.size(); size += 13) {
        EXPECT_NE(complaintOf(text.substr(0, size)), "");
    }
}

TEST(TheLedger, IsRefusedWithAnythingBehindIt) {
    EXPECT_EQ(complaintOf(service::printLedger(emptyLedger()) + "x"),
              "the ledger: expected one JSON object and nothing behind it");
    EXPECT_NE(complaintOf(service::printLedger(emptyLedger()) + std::string(1, '\0')), "");
}

struct Damage {
    const char *name;
    const char *what;
    const char *by;
    const char *complaint;
};

void PrintTo(const Damage &damage, std::ostream *out) { *out << damage.name; }

class ADamagedLedger : public testing::TestWithParam<Damage> {};

TEST_P(ADamagedLedger, IsRefusedWithTheKeyAndWhatWasExpected) {
    const Damage &damage = GetParam();
    EXPECT_EQ(complaintOf(withReplaced(damage.what, damage.by)), damage.complaint);
}

INSTANTIATE_TEST_SUITE_P(
    All, ADamagedLedger,
    testing::Values(
        Damage{"KeyMissing", "\"lastWord\"", "\"lostWord\"",
               "\"lastWord\": expected this key exactly once"},
        Damage{"KeyRepeated", "\"bootId\":", "\"bootId\":\"x\",\"bootId\":",
               "\"bootId\": expected this key exactly once"},
        Damage{"KeyUnknown", "\"bootId\":", "\"more\":1,\"bootId\":",
               "it holds a key that this release does not know"},
        Damage{"KeyOfAnotherCase", "\"bootId\"", "\"BootId\"",
               "\"bootId\": expected this key exactly once"},
        Damage{"KeyMissingInside", "\"policy\":\t3", "\"polite\":\t3",
               "\"queue[0].policy\": expected this key exactly once"},
        Damage{"KeyUnknownInside", "\"policy\":\t3", "\"policy\":\t3,\"x\":1",
               "\"queue[0]\" holds a key that this release does not know"},
        Damage{"TextForANumber", "\"policy\":\t3", "\"policy\":\"3\"",
               "\"queue[0].policy\": expected a whole number within its bounds"},
        Damage{"PolicyOutOfBounds", "\"policy\":\t3", "\"policy\":4",
               "\"queue[0].policy\": expected a whole number within its bounds"},
        Damage{"PolicyWithAFraction", "\"policy\":\t3", "\"policy\":2.5",
               "\"queue[0].policy\": expected a whole number within its bounds"},
        Damage{"TicketNegative", "\"ticket\":\t7", "\"ticket\":-7",
               "\"queue[0].ticket\": expected a whole number within its bounds"},
        Damage{"TicketBeyondADouble", "\"ticket\":\t7", "\"ticket\":9007199254740994",
               "\"queue[0].ticket\": expected a whole number within its bounds"},
        Damage{"TicketNotGivenOut", "\"nextTicket\":\t9007199254740992", "\"nextTicket\":9",
               "\"nextTicket\": expected a number above every ticket"},
        Damage{"KindUnknown", "\"kind\":\t\"mobile-trigger\"", "\"kind\":\"reboot\"",
               "\"queue[1].kind\": expected one of the known words"},
        Damage{"EventNoJson", R"("event":	"{\"event\":\"mobile-trigger)",
               R"("event":"[\"event\":\"mobile-trigger)",
               "\"queue[1].event\": expected the text of a JSON object"},
        Damage{"BankUnknown", "\"bank\":\t\"a\"", "\"bank\":\"c\"",
               "\"running.bank\": expected one of the known words"},
        Damage{"FlagAsNumber", "\"activated\":\ttrue", "\"activated\":1",
               "\"running.activated\": expected true or false"},
        Damage{"StartsNegative", "\"starts\":\t2", "\"starts\":-1",
               "\"running.starts\": expected a whole number within its bounds"},
        Damage{"FailedTrialsOutOfBounds", "\"failedTrials\":\t99", "\"failedTrials\":100",
               "\"running.failedTrials\": expected a whole number within its bounds"},
        Damage{"FailedTrialsRepeated", "\"failedTrials\":\t1",
               "\"failedTrials\":1,\"failedTrials\":1",
               "\"standing.failedTrials\": expected this key once"},
        Damage{"FailedDownloadsOutOfBounds", "\"failedDownloads\":\t7", "\"failedDownloads\":8",
               "\"failedDownloads\": expected a whole number within its bounds"},
        Damage{"HeldNoFlag", "\"held\":\ttrue", "\"held\":1",
               "\"running.held\": expected true or false"},
        Damage{"HeldRepeated", "\"held\":\ttrue", "\"held\":true,\"held\":true",
               "\"running.held\": expected this key once"},
        Damage{"FailedTrialsNoNumber", "\"failedTrials\":\t1", "\"failedTrials\":true",
               "\"standing.failedTrials\": expected a whole number within its bounds"},
        Damage{"RunningNoObject", "\"running\":\t{", "\"running\":7,\"was\":{",
               "it holds a key that this release does not know"},
        Damage{"SecondsBeyondAnInt", "\"seconds\":\t1800", "\"seconds\":2147483648",
               "\"timers[0].seconds\": expected a whole number within its bounds"},
        Damage{"TimerNameTooLong", "\"name\":\t\"rebootTimer\"",
               "\"name\":\"rebootTimerrebootTimerrebootTime\"",
               "\"timers[0].name\": expected a text of at most 31 bytes"},
        Damage{"MemoryNoObject", "\"memory\":\t\"{", "\"memory\":\"",
               "\"memory\": expected the text of a JSON object"}),
    [](const auto &suite) { return std::string(suite.param.name); });

TEST(TheLedger, IsRefusedWhereAnOptionalPartIsOfAnotherType) {
    std::string text = service::printLedger(emptyLedger());
    text.replace(text.find("null"), 4, "7");
    EXPECT_EQ(complaintOf(text), "\"running\": expected an object");
}

TEST(TheLedger, IsRefusedWithMoreTimersThanTheAgentCouldHave) {
    Ledger ledger = emptyLedger();
    ledger.timers.resize(Ledger::kMaxTimers + 1, armed("rebootTimer", 1));
    EXPECT_EQ(complaintOf(service::printLedger(ledger)),
              "\"timers\": expected a list of at most 16");
}

} // namespace
