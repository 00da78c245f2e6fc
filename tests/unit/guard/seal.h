// SPDX-License-Identifier: MIT
// A process that can neither touch a file nor start another one.
#ifndef TESTS_GUARD_SEAL_H
#define TESTS_GUARD_SEAL_H

namespace guard::test {

/*
 * From here on a call into the kernel that opens, makes, renames or removes a file, starts a
 * process or makes a socket ends this process with SIGSYS. For the child of a death test.
 */
void sealProcess();

} // namespace guard::test

#endif
