// SPDX-License-Identifier: MIT
// What the history tells of its own gaps.
#include "daemon_fixture.h"

#include "base/json.h"
#include "service/event_log.h"

#include <fstream>
#include <future>

namespace service::test {
namespace {

constexpr int kFlood = 3000;

class AChronicle : public DaemonTest {};

TEST_F(AChronicle, tells_of_the_lines_that_a_slow_disk_did_not_take_and_why) {
    std::promise<void> letGo;
    std::ofstream(in("slow")) << "x";
    DiskWriter disk;
    const auto slow =
        std::make_shared<const LineFile>(LineFile{in("slow"), 1, 1, [&letGo](std::string_view) {
                                                      letGo.get_future().wait();
                                                      return "";
                                                  }});
    disk.append(slow, "", DiskWriter::Overtaking::allowed, {});
    daemon_.emplace(loop_.get(), options_, config_);
    History history(disk, in("history.jsonl"), 1024 * 1024, 1);
    const RequestBook book(disk, in("book"));
    const NodeTimers timers(loop_.get(), [](const std::string &) {});
    const StatusBoard board(loop_.get(), config_, book, timers, [] {});
    Counters counters(disk, in("counters.json"));
    BusService bus(loop_.get(), options_.bus, calls());
    EventLog eventLog(loop_.get(), history, board, bus, counters);
    HistoryLine line;
    line.event = "stage"; // which is not logged
    for (int i = 0; i < kFlood; ++i) {
        eventLog.record(line);
    }
    letGo.set_value();
    while (history.isBehind()) {
        disk.dispatch();
    }
    eventLog.record(line);
    const base::Json gap = base::parsed(history.newest(2).front());
    EXPECT_EQ(base::textOf(gap.get(), "event"), "history-gap");
    EXPECT_EQ(base::textOf(gap.get(), "reason_code"), "history-gap");
    EXPECT_EQ(base::textOf(gap.get(), "result"), "failed");
}

} // namespace
} // namespace service::test
