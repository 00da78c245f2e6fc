// SPDX-License-Identifier: MIT
// otactl watch on a service that is there.
#ifndef TESTS_CLI_WATCH_FIXTURE_H
#define TESTS_CLI_WATCH_FIXTURE_H

#include "otactl_test.h"

#include "base/outcome.h"

#include <regex>

inline constexpr const char *kRunning = R"({"event":"service","running":true})";

class Watch : public OtactlTest {
  protected:
    Watch() { EXPECT_TRUE(service_.start()); }

    /* Where the watcher has told the snapshot, it hears everything that follows. */
    static void expectBeginning(Program &program) {
        ASSERT_EQ(program.line(), kRunning);
        const std::string snapshot = program.line();
        ASSERT_EQ(snapshot.find(R"({"event":"snapshot","status_word":"OTA_SW_COMMIT_COMPLETE",)"),
                  0U)
            << snapshot;
        ASSERT_NE(snapshot.find(R"("daemon_version":)"), std::string::npos);
    }
    void finish(std::uint64_t ticket, base::Outcome outcome, const std::string &reason) {
        service_.raise([&](service::BusService &service) {
            service.raiseFinished(base::endOf(ticket, outcome, {reason}));
        });
    }
};

// A line without the time of day at its beginning.
inline std::string untimed(const std::string &line) {
    return std::regex_replace(line, std::regex("^\\d\\d:\\d\\d:\\d\\d  "), "");
}

#endif
