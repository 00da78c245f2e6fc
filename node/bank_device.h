// SPDX-License-Identifier: MIT
// A bank as a device: its size, its bytes, and what was really stored.
#ifndef NODE_BANK_DEVICE_H
#define NODE_BANK_DEVICE_H

#include "base/file_io.h"
#include "base/result.h"
#include "node/boot_state.h"
#include "node/config/config.h"

#include <cstdint>
#include <string>
#include <vector>

namespace node {

struct BankMistake {
    const char *key;  // of [banks]
    std::string text; // what follows the key in a line about it
};

/* Why the banks cannot be used: one is not there, of another size than configured, or the other. */
std::vector<BankMistake> bankMistakes(const Config &config);

struct OpenBank {
    base::UniqueFd device;
    std::uint64_t size = 0; // bytes
};

/* Opens a bank with these access flags. */
base::Result<OpenBank> openBank(const std::string &path, int access);

/*
 * The digest over the bank's first `size` bytes, read past the kernel's cache; where the bank does
 * not let that happen, this is what the kernel holds for it. Blocks until all is read.
 */
base::Result<std::string> readBackDigest(const std::string &path, std::uint64_t size);

/*
 * Compares the bank with its record. Reads all that the record speaks of, unless this process has
 * done so just now, see readBackStillHolds. Error: the bytes were read and are others, with the
 * reason bankReadsOther; or reading failed, perhaps only now, with bankNotWritten.
 */
base::Result<void> compareBank(const BankRecord &record, const std::string &path);

/* True where it was the bytes that are others. */
bool readsOther(const base::Result<void> &comparison);

/* From here on nobody knows what the bank holds: it is about to change. */
void forgetReadBack();

/* This process has just read back all of what the record says, and it was equal. */
void rememberReadBack(const BankRecord &record, const std::string &path);

/*
 * True where that was said of this record and bank, and the bank has not changed since: reading it
 * once more would tell nothing new. A file: neither size nor times differ. A block device, which
 * tells of no change: within a few seconds, as in one call of the agent. Where in doubt: false.
 */
bool readBackStillHolds(const BankRecord &record, const std::string &path);

} // namespace node

#endif
