// SPDX-License-Identifier: MIT
// What the host tells of the banks is what its supervisor reads.
#include "base/bank_note.h"
#include "base/text.h"

#include <gtest/gtest.h>

namespace {

base::BankNews someNews() {
    base::BankNews news;
    news.facts.active = 1;
    news.facts.trial = OTA_NO_BANK;
    news.facts.healthy = 1;
    base::copyText("4QZ-2.0", news.facts.banks[0].version, OTA_BANK_VERSION_WIDTH);
    news.facts.banks[0].whole = 1;
    news.facts.banks[1].attempts = 3;
    news.facts.failedCount = 1;
    base::copyText("4QZ-1.9", news.facts.failed[0].version, OTA_BANK_VERSION_WIDTH);
    news.facts.failed[0].trials = 2;
    news.facts.failed[0].last = OTA_FAILED_HEALTH;
    return news;
}

TEST(BankNote, CarriesTheFacts) {
    const base::Json note = base::bankNote(someNews());
    const auto news = base::takeBankNote(note.get());
    ASSERT_TRUE(news) << news.error().text;
    EXPECT_TRUE(news->hasTrial);
    EXPECT_EQ(news->facts.active, 1);
    EXPECT_EQ(news->facts.trial, OTA_NO_BANK);
    EXPECT_EQ(news->facts.healthy, 1);
    EXPECT_STREQ(news->facts.banks[0].version, "4QZ-2.0");
    EXPECT_EQ(news->facts.banks[1].attempts, 3);
    EXPECT_EQ(base::namedBank(news->facts, 0), "bank a (4QZ-2.0)");
    EXPECT_EQ(base::namedBank(news->facts, 1), "bank b");
    const OtaFailedVersion *const failed = base::failedVersion(news->facts, "4QZ-1.9");
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(failed->trials, 2);
    EXPECT_STREQ(base::failureName(failed->last), "health");
    EXPECT_EQ(base::failedVersion(news->facts, "4QZ-1"), nullptr);
}

TEST(BankNote, CarriesThatThereAreNoTrials) {
    base::BankNews without = someNews();
    without.hasTrial = false;
    const base::Json note = base::bankNote(without);
    const auto news = base::takeBankNote(note.get());
    ASSERT_TRUE(news) << news.error().text;
    EXPECT_FALSE(news->hasTrial);
}

TEST(BankNote, CarriesWhyThereIsNone) {
    const base::Json note = base::bankNote(base::Error{"the boot state is gone"});
    const auto news = base::takeBankNote(note.get());
    ASSERT_FALSE(news);
    EXPECT_EQ(news.error().text, "the boot state is gone");
}

TEST(BankNote, ThatIsNoneIsToldAsSuch) {
    base::BankNews wrong = someNews();
    wrong.facts.active = 2;
    for (const base::Json &note : {base::bankNote(wrong), base::newObject()}) {
        const auto news = base::takeBankNote(note.get());
        ASSERT_FALSE(news);
        EXPECT_NE(news.error().text.find("the host's note of the banks cannot be read"),
                  std::string::npos);
    }
}

TEST(BankNote, CutsATextThatIsTooLong) {
    char text[4];
    base::copyText("abcdef", text, sizeof text);
    EXPECT_STREQ(text, "abc");
}

} // namespace
