// SPDX-License-Identifier: MIT
// What is to be said of banks on trial and of versions that failed, for operators.
#ifndef SERVICE_STATE_TRIAL_WORDS_H
#define SERVICE_STATE_TRIAL_WORDS_H

#include "service/bus/node_status.h"
#include "service/state/explain.h"

#include <string>
#include <utility>
#include <vector>

namespace service {

/* "once", "2 times". */
std::string times(int count);

/* What "boot" and "health" stand for, as half a sentence. */
std::string failureWords(const std::string &reason);

/* "bank b (4QZ2.1.0)". */
std::string namedBank(const BankView &bank);

const BankView *runningBank(const NodeStatus &status);
const BankTrial *trialOf(const NodeStatus &status, const std::string &bank);
/* Null where it never failed, as far as the node remembers. */
const FailedTrial *failedTrial(const NodeStatus &status, const std::string &version);

/* Adds sentences on the topic "trial". */
void addTrial(const NodeStatus &status, const ExplainFacts &facts,
              std::vector<std::pair<std::string, std::string>> &sentences);

/* Why there is nothing to commit, one line; empty: the running bank is on trial. */
std::string whyNothingToCommit(const NodeStatus &status);

} // namespace service

#endif
