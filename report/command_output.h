// SPDX-License-Identifier: MIT
// What another program prints.
#ifndef REPORT_COMMAND_OUTPUT_H
#define REPORT_COMMAND_OUTPUT_H

#include "base/result.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace report {

/*
 * Runs the program, without a shell, and waits for its end. It is found in the system's own folders
 * alone, reads nothing, speaks English and is killed with all that it started where it takes too
 * long or prints more than `most` bytes. The text is its standard output and standard error; an
 * error names the program: it is not there, was killed, or failed and printed nothing.
 */
base::Result<std::string> outputOf(const std::vector<std::string> &command, std::size_t most,
                                   std::chrono::seconds patience);

} // namespace report

#endif
