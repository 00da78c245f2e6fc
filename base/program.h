// SPDX-License-Identifier: MIT
// main() of the programs that print for a person or another program.
#ifndef BASE_PROGRAM_H
#define BASE_PROGRAM_H

#include "base/command_line.h"

namespace base {

/*
 * Reads the command line and runs what it names; the exit code. A Failure, a wrong command line and
 * a standard output that cannot be written are told in one line, where `json` was given also as an
 * object. The program ends without a word where nobody reads its output any more.
 */
int runProgram(const Command &program, int argc, char **argv, const bool &json);

} // namespace base

#endif
