// SPDX-License-Identifier: MIT
#include "service/request_book.h"

#include "base/file_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace service {
namespace {

// Sixty-four requests of 64 KiB each, every byte escaped.
constexpr std::size_t kLargestBook = 32U * 1024 * 1024;

// What was put aside by an earlier start stays there, as long as anybody may count.
std::string freePath(const std::string &path) {
    constexpr int kMostOfThem = 9;
    std::string free = path;
    for (int i = 2; access(free.c_str(), F_OK) == 0 && i <= kMostOfThem; ++i) {
        free = path + "." + std::to_string(i);
    }
    return free;
}

} // namespace

base::Result<void> RequestBook::load() {
    if (access(path_.c_str(), F_OK) != 0 && errno == ENOENT) {
        return {};
    }
    const auto text = base::readWholeFile(path_, kLargestBook);
    if (!text) {
        return base::Error{text.error().text +
                               "; the node starts without the requests that it held",
                           base::Reason::stateDamaged};
    }
    auto ledger = parseLedger(*text);
    if (!ledger) {
        const bool isNewer = ledger.error().reason == base::Reason::stateNewer;
        const std::string aside = isNewer ? freePath(path_ + ".newer") : path_ + ".damaged";
        const bool moved = std::rename(path_.c_str(), aside.c_str()) == 0;
        return ledger.error().within(
            path_ + ": the kept requests " +
                (isNewer ? "are of a newer release of this service: " : "cannot be used: "),
            (moved ? "; moved to " + aside : "; remove it") +
                "; the node starts without them, offer again");
    }
    ledger_ = std::move(*ledger);
    return {};
}

void RequestBook::save(DiskWriter::Done done) {
    disk_.replace(path_, printLedger(ledger_), std::move(done));
}

} // namespace service
