// SPDX-License-Identifier: MIT
// The ledger of requests and its file.
#ifndef SERVICE_REQUEST_BOOK_H
#define SERVICE_REQUEST_BOOK_H

#include "service/state/disk_writer.h"
#include "service/state/ledger.h"

#include <string>

namespace service {

class RequestBook {
  public:
    RequestBook(DiskWriter &disk, std::string path) : disk_(disk), path_(std::move(path)) {}

    /*
     * Reads the file; no file is an empty ledger. An error: the file cannot be used, was moved
     * aside where that was possible, and the ledger is empty.
     */
    base::Result<void> load();
    /* Writes the ledger as it is now; `done` follows from the loop. */
    void save(DiskWriter::Done done = {});

    const std::string &path() const { return path_; }
    Ledger &ledger() { return ledger_; }
    const Ledger &ledger() const { return ledger_; }

  private:
    DiskWriter &disk_;
    std::string path_;
    Ledger ledger_;
};

} // namespace service

#endif
