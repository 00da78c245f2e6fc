// SPDX-License-Identifier: MIT
// What was found, for a person and for a program.
#ifndef TOOLS_PLATFORM_CHECK_REPORT_H
#define TOOLS_PLATFORM_CHECK_REPORT_H

#include "tools/platform_check/runner.h"

namespace check {

/* One check on standard output. */
void printResult(const Result &result);
/* The last line. */
void printSum(const std::vector<Result> &results);
/* One object. */
void printAsJson(const std::string &platform, const std::vector<Result> &results);
/* Throws a Failure where the file cannot be written. */
void writeJunit(const std::string &file, const std::vector<Result> &results);

/* What would be done, and with what. */
void printPlan(const Options &options);
void printList();

bool isAllRight(const std::vector<Result> &results);

} // namespace check

#endif
