// SPDX-License-Identifier: MIT
// What the suites of the installation share: a downloaded image whose sum is the offered one.
#pragma once

#include "agent_test.h"

namespace ota::test {

inline constexpr char kUpgrade[] = "upgrade";
inline constexpr char kSum[] = "5d41402abc4b2a76b9719d911017c592"; // of "hello"
inline constexpr int kNothingFollows = 3;                          // a policy that ends here

// A notice or an error of the installation itself, in both logs.
Entries said(std::string_view body);
Entries erred(std::string_view body);

// A started gateway in whose folder the image "4QZ-2.0" lies.
class InstallTest : public StartedAgentTest {
  protected:
    void SetUp() override;

    void install() { AGENT(upgrade)(); }
    void offerChecksum(const std::string &sum) { setText(AGENT_VAR(swInfo).checksum, sum); }

    // The installation's log lines and every action, from the one behind this text on.
    Entries installedBehind(const std::string &text) const;
    // Only the platform's notices and errors of the installation that begin so.
    Entries lines(const std::string &beginning) const;
    bool wasWritten() const;
    // The path that was written to the passive bank.
    std::string writtenPath() const;
};

} // namespace ota::test
