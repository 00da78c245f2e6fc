// SPDX-License-Identifier: MIT
// The two copies of the boot environment as bytes: where they are, whether they are whole.
#ifndef NODE_BOOT_COPIES_H
#define NODE_BOOT_COPIES_H

#include "base/file_io.h"
#include "base/result.h"
#include "node/boot_environment.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace node {

struct BootCopy {
    std::string path;
    std::uint64_t offset = 0;
    std::size_t size = 0; // bytes, checksum and counter included
};

/* Both copies. After an error those that are named all the same. */
base::Result<void> bootCopies(const BootPlace &place, std::vector<BootCopy> &copies);

struct CopiesView {
    BootFindings findings;
    std::optional<BootVariables> variables; // of the newer whole copy; none where none is whole
    std::string whyNotOpened;               // of a copy, one line; empty: both were
};

/*
 * Looks at the bytes of each copy, under no lock: a writer that hangs must not hold up who only
 * reads. Character devices are left to the library that knows them.
 */
CopiesView lookAtCopies(const std::vector<BootCopy> &copies);

/*
 * The copies, opened before they are written: what fails while they are written back is told to
 * whoever had them open by then.
 */
class OpenCopies {
  public:
    base::Result<void> open(const std::vector<BootCopy> &copies);
    /* Everything written to them since is on the disk. */
    base::Result<void> sync() const;

  private:
    std::vector<std::pair<std::string, base::UniqueFd>> files_;
};

} // namespace node

#endif
