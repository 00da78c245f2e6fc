// SPDX-License-Identifier: MIT
// What the suites of the installation share.
#include "install_fixture.h"

#include <algorithm>

namespace ota::test {

namespace {

constexpr char kWrite[] = "nal_writePassiveImage ";

} // namespace

Entries said(std::string_view body) { return both("upgrade", kUpgrade, body); }

Entries erred(std::string_view body) { return bothErrors("upgrade", kUpgrade, body); }

void InstallTest::SetUp() {
    StartedAgentTest::SetUp();
    setText(AGENT_VAR(swInfo).nxtMSVersion, "4QZ-2.0");
    AGENT_VAR(swInfo).policy = kNothingFollows;
    offerChecksum(kSum);
    writeFile("4QZ-2.0", "hello");
    shell().popenOutput = std::string(kSum) + "\n";
}

Entries InstallTest::installedBehind(const std::string &text) const {
    const Entries all = journal().of({kUpgrade});
    const auto found = std::find(all.begin(), all.end(), text);
    EXPECT_NE(found, all.end()) << "not in the journal: " << text;
    return found == all.end() ? Entries{} : Entries(found + 1, all.end());
}

Entries InstallTest::lines(const std::string &beginning) const {
    return only(journal().platformLog(),
                {notice("upgrade", kUpgrade, beginning), error("upgrade", kUpgrade, beginning)});
}

bool InstallTest::wasWritten() const { return !only(journal().actions(), {kWrite}).empty(); }

std::string InstallTest::writtenPath() const {
    const Entries written = only(journal().actions(), {kWrite});
    return written.empty() ? "nothing was written" : written.front().substr(sizeof kWrite - 1);
}

} // namespace ota::test
