// SPDX-License-Identifier: MIT
// A bank as a device: its size, its bytes, and what was really stored.
#ifndef PLATFORM_NAL_BANK_DEVICE_H
#define PLATFORM_NAL_BANK_DEVICE_H

#include "platform/nal/config.h"
#include "platform/nal/file_io.h"

#include <cstdint>
#include <string>

namespace nal {

/* Both banks are there, of the configured size, and not the same. False: whatIsWrong is a line. */
bool banksAreUsable(const std::string &configPath, const Config &config, std::string &whatIsWrong);

/* Opens a bank with these access flags and tells its size. Not open: whatIsWrong is one line. */
UniqueFd openBank(const std::string &path, int access, std::uint64_t &size,
                  std::string &whatIsWrong);

/* The digest over the bank's first `size` bytes, read from the device and not from the cache. */
bool readBackDigest(const std::string &path, std::uint64_t size, std::string &sha256,
                    std::string &whatIsWrong);

} // namespace nal

#endif
