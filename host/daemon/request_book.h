// SPDX-License-Identifier: MIT
// The ledger of requests and its file.
#ifndef HOST_DAEMON_REQUEST_BOOK_H
#define HOST_DAEMON_REQUEST_BOOK_H

#include "host/daemon/keep/disk_writer.h"
#include "host/daemon/keep/ledger.h"
#include "host/reason.h"

#include <string>

namespace otad {

class RequestBook {
  public:
    RequestBook(DiskWriter &disk, std::string path) : disk_(disk), path_(std::move(path)) {}

    /*
     * Reads the file; no file is an empty ledger. False: the file cannot be used, was moved aside
     * where that was possible, and the ledger is empty.
     */
    bool load(host::Cause &whatIsWrong);
    /* Writes the ledger as it is now; `done` follows from the loop, empty once it is on the disk.
     */
    void save(DiskWriter::Done done = {});

    const std::string &path() const { return path_; }
    Ledger &ledger() { return ledger_; }
    const Ledger &ledger() const { return ledger_; }

  private:
    DiskWriter &disk_;
    std::string path_;
    Ledger ledger_;
};

} // namespace otad

#endif
