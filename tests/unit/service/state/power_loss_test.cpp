// SPDX-License-Identifier: MIT
// A process that dies between its tasks: what it was told to be stored is there.
#include "service/state/disk_writer.h"
#include "service/state/ledger.h"

#include "tests/unit/service/state/files.h"

#include <csignal>
#include <memory>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using service::DiskWriter;
using service::Ledger;

constexpr int kTasks = 60;

/*
 * Accepts one request after the other, each kept before the next, a history line beside it, and
 * writes one byte to the pipe for each that was reported as kept. All tasks are queued at once:
 * wherever the process is killed, later ones are under way.
 */
[[noreturn]] void acceptRequests(const std::string &ledgerPath, const std::string &linesPath,
                                 int pipe) {
    DiskWriter disk;
    const auto lines =
        std::make_shared<const service::LineFile>(service::LineFile{linesPath, 100, 20});
    Ledger ledger;
    int kept = 0;
    for (int number = 0; number < kTasks; ++number) {
        ledger.nextTicket = static_cast<std::uint64_t>(number) + 2;
        disk.append(lines, std::to_string(number), DiskWriter::Overtaking::forbidden, {});
        disk.replace(ledgerPath, service::printLedger(ledger),
                     [&](const base::Result<void> &stored) {
                         if (!stored || write(pipe, "k", 1) != 1) {
                             _exit(2);
                         }
                         ++kept;
                     });
    }
    while (kept < kTasks) {
        pollfd waiting{disk.fd(), POLLIN, 0};
        poll(&waiting, 1, kPatience);
        disk.dispatch();
    }
    _exit(0);
}

/* Starts the process, kills it after so many reports; how many came in all. */
int reportsUntilKilled(const std::string &ledgerPath, const std::string &linesPath, int killAfter) {
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        acceptRequests(ledgerPath, linesPath, ends[1]);
    }
    close(ends[1]);
    int reports = 0;
    char byte = 0;
    while (reports < killAfter && read(ends[0], &byte, 1) == 1) {
        ++reports;
    }
    kill(child, SIGKILL);
    while (read(ends[0], &byte, 1) == 1) {
        ++reports; // reported before the kill took effect
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return reports;
}

int linesIn(const std::string &path) {
    int lines = 0;
    for (int number = 0; number <= 20; ++number) {
        const std::string name = number == 0 ? path : path + "." + std::to_string(number);
        const std::string text = textOf(name);
        for (const char byte : text) {
            lines += byte == '\n' ? 1 : 0;
        }
    }
    return lines;
}

class KilledWhileItKeeps : public InAFolder, public testing::WithParamInterface<int> {};

TEST_P(KilledWhileItKeeps, WhatWasReportedAsStoredIsThere) {
    const int reports = reportsUntilKilled(in("requests.json"), in("lines"), GetParam());
    ASSERT_GE(reports, GetParam());

    const auto ledger = service::parseLedger(textOf(in("requests.json")));
    ASSERT_TRUE(ledger) << ledger.error().text;
    EXPECT_GE(ledger->nextTicket, static_cast<std::uint64_t>(reports) + 1);
    EXPECT_GE(linesIn(in("lines")), reports);
}

INSTANTIATE_TEST_SUITE_P(After, KilledWhileItKeeps, testing::Values(1, 2, 3, 7, 20, 45, kTasks));

} // namespace
