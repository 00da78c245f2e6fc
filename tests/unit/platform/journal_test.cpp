// SPDX-License-Identifier: MIT
// The journal gets each entry as fields; where it is not there, standard error gets the line.
#include "fixture.h"
#include "platform/nal.h"

#include <cstdlib>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace {

using Fields = std::vector<std::string>;

std::vector<Fields> sent;
int answer = 0;

class Journal : public OnANode {
  protected:
    Journal() {
        sent.clear();
        answer = 0;
    }
    ~Journal() override { unsetenv("JOURNAL_STREAM"); }

    // Standard error as a service manager connects it, its inode off by so much.
    static void connect(std::uint64_t off = 0) {
        struct stat status {};
        ASSERT_EQ(fstat(STDERR_FILENO, &status), 0);
        const std::string stream =
            std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino + off);
        setenv("JOURNAL_STREAM", stream.c_str(), 1);
    }
};

TEST_F(Journal, TakesAnEntryOfTheAgentWithItsUnitFunctionAndLine) {
    EXPECT_EQ(errorsOf([] {
                  connect();
                  nalLogError("otherName", 9, "ota: [swmgmtitf ota_recv_config:%d] policy %d\n", 17,
                              3);
              }),
              "");
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0], (Fields{"MESSAGE=policy 3", "PRIORITY=3", "SYSLOG_IDENTIFIER=otaSwAgent",
                               "OTA_UNIT=swmgmtitf", "OTA_FUNCTION=ota_recv_config", "OTA_LINE=17",
                               "CODE_FUNC=ota_recv_config", "CODE_LINE=17"}));
}

TEST_F(Journal, TakesAnEntryOfThePlatformUnderItsOwnUnit) {
    errorsOf([] {
        connect();
        nalLogNotice("nal_f", 9, "nal: %s", "words");
    });
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0], (Fields{"MESSAGE=nal: words", "PRIORITY=5", "SYSLOG_IDENTIFIER=otaSwAgent",
                               "OTA_UNIT=nal", "OTA_FUNCTION=nal_f", "OTA_LINE=9",
                               "CODE_FUNC=nal_f", "CODE_LINE=9"}));
}

TEST_F(Journal, GetsControlCharactersSpelledOut) {
    errorsOf([] {
        connect();
        nalLogNotice("f", 1, "%s", "a\nMESSAGE=b\x1b[2J\n");
    });
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0][0], "MESSAGE=a\\x0AMESSAGE=b\\x1B[2J");
}

TEST_F(Journal, TakesATextThatOnlyLooksLikeAPrefixAsItIs) {
    for (const char *text :
         {"ota: [main f:1]", "ota: [main f] x", "ota: [main f:x] x", "ota: [f:1] x",
          "ota: [a:1 b] x", "ota: [] x", "ota: [ f:1] x", "ota: [main :1] x", "ota: main f:1] x"}) {
        errorsOf([&] {
            connect();
            nalLogNotice("g", 2, "%s", text);
        });
        ASSERT_EQ(sent.size(), 1U) << text;
        EXPECT_EQ(sent[0][0], std::string("MESSAGE=") + text);
        EXPECT_EQ(sent[0][3], "OTA_UNIT=nal");
        sent.clear();
    }
}

TEST_F(Journal, IsNotUsedWhereStandardErrorIsSomethingElse) {
    const char *const elsewhere[] = {"", "1", "1:2:3", "x:y", ":", "99999999999999999999:1"};
    for (const char *stream : elsewhere) {
        EXPECT_EQ(errorsOf([&] {
                      setenv("JOURNAL_STREAM", stream, 1);
                      nalLogNotice("f", 1, "words");
                  }),
                  "notice: words\n")
            << stream;
    }
    EXPECT_EQ(errorsOf([] {
                  connect(1);
                  nalLogNotice("f", 1, "words");
              }),
              "notice: words\n");
    EXPECT_TRUE(sent.empty());
}

TEST_F(Journal, ThatDoesNotTakeAnEntryLosesNone) {
    answer = -1;
    EXPECT_EQ(errorsOf([] {
                  connect();
                  nalLogError("f", 1, "ota: [main f:1] words\n");
              }),
              "error: ota: [main f:1] words\n");
}

} // namespace

// Stands in for the one of libsystemd.
extern "C" int sd_journal_sendv(const struct iovec *parts, int count) {
    Fields fields;
    for (int i = 0; i < count; ++i) {
        fields.emplace_back(static_cast<const char *>(parts[i].iov_base), parts[i].iov_len);
    }
    sent.push_back(fields);
    return answer;
}
