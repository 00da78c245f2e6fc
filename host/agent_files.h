// SPDX-License-Identifier: MIT
// What the agent writes into the logs directory: its log, which holds URLs and is not for
// everybody, and its mark of an activation, from which its commit check reads the version.
#ifndef HOST_AGENT_FILES_H
#define HOST_AGENT_FILES_H

#include <string>
#include <vector>

namespace host {

/*
 * The agent's debug log is there, and neither it nor the activation mark is open to others than
 * this user and its group. The agent itself would leave that to the umask, which its files for the
 * mobile app need as it is. Call it before the agent; what cannot be closed is told in one line.
 */
void closeLogFiles();

/* What the supervisor knows of an activation: the bank that ran before it, and the version. */
struct Activation {
    int from = 0; // the number of a bank
    std::string version;
};

/* "a:VERSION". False: the text is none. */
bool readActivation(const std::string &text, Activation &activation);

/*
 * Where the mark is, as the agent names it; call it once the agent knows its paths. Nothing is done
 * about the mark before.
 */
void setMarkPath(const std::string &path);

/*
 * The agent's shell wrote the mark and synced nothing: behind this it is there after a power cut.
 * A failure is told; the mark is made anew after the boot.
 */
void keepMark();

/*
 * Before the commit check: where the running bank is on trial and was activated by one of these,
 * the mark holds its version, whatever a power cut left of it. A failure is told.
 */
void restoreMark(const std::vector<Activation> &activations);

} // namespace host

#endif
