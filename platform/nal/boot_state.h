// SPDX-License-Identifier: MIT
// Which bank runs, which one boots next, and what each bank holds.
#ifndef PLATFORM_NAL_BOOT_STATE_H
#define PLATFORM_NAL_BOOT_STATE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace nal {

enum class Bank { a, b };

Bank otherBank(Bank bank);
/* "a" or "b". */
const char *bankName(Bank bank);

struct BankRecord {
    bool whole = false;     // every byte is there and was read back
    std::string version;    // of the image in the bank, empty where none was ever whole
    std::uint64_t size = 0; // bytes of the image, from the bank's first byte on
    std::string sha256;     // of these bytes, 64 hexadecimal digits
};

struct BootState {
    Bank active = Bank::a; // the running bank
    Bank next = Bank::a;   // the bank that was chosen to boot next
    std::array<BankRecord, 2> banks;

    BankRecord &of(Bank bank) { return banks.at(static_cast<std::size_t>(bank)); }
    const BankRecord &of(Bank bank) const { return banks.at(static_cast<std::size_t>(bank)); }
};

/* The bank that boots by its record: the chosen one, or the running one where that is not whole. */
Bank bankToBoot(const BootState &state);

/*
 * Each call: true, or false with one line in whatIsWrong that says what, where and what to do.
 * Writing replaces the file as a whole: after a failure the old state stands.
 */
bool readBootState(const std::string &path, BootState &state, std::string &whatIsWrong);
bool writeBootState(const std::string &path, const BootState &state, std::string &whatIsWrong);

} // namespace nal

#endif
