// SPDX-License-Identifier: MIT
// A bank as a device: its size, its bytes, and what was really stored.
#ifndef PLATFORM_NAL_BANK_DEVICE_H
#define PLATFORM_NAL_BANK_DEVICE_H

#include "platform/nal/config.h"
#include "platform/nal/file_io.h"

#include <cstdint>
#include <string>
#include <vector>

namespace nal {

struct BankMistake {
    const char *key;  // of [banks]
    std::string text; // what follows the key in a line about it
};

/* Why the banks cannot be used: one is not there, of another size than configured, or the other. */
std::vector<BankMistake> bankMistakes(const Config &config);

/* Opens a bank with these access flags and tells its size. Not open: whatIsWrong is one line. */
UniqueFd openBank(const std::string &path, int access, std::uint64_t &size,
                  std::string &whatIsWrong);

/*
 * The digest over the bank's first `size` bytes. The kernel is asked to drop its cached pages
 * first; where it keeps them, this is what the kernel holds for the bank.
 */
bool readBackDigest(const std::string &path, std::uint64_t size, std::string &sha256,
                    std::string &whatIsWrong);

enum class BankBytes {
    recorded,  // they are what the record says
    different, // they were read, and are not
    unreadable // nobody knows: reading failed, perhaps only now
};

/* Compares the bank with its record. Other than recorded: whatIsWrong is one line. */
BankBytes compareBank(const BankRecord &record, const std::string &path, std::string &whatIsWrong);

} // namespace nal

#endif
