// SPDX-License-Identifier: MIT
// How large an image can be at all.
#ifndef PLATFORM_BANK_CAPACITY_H
#define PLATFORM_BANK_CAPACITY_H

#include <cstdint>

/* Bytes of the larger bank; 0: neither of them tells. Call it after nalOpen. */
std::uint64_t nalBankCapacity();

#endif
