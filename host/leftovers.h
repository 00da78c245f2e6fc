// SPDX-License-Identifier: MIT
// What the agent leaves in its directories and nobody else takes away.
#ifndef HOST_LEFTOVERS_H
#define HOST_LEFTOVERS_H

#include "base/result.h"

#include <string>

namespace host {

/*
 * Call each between two calls of the agent, with the directories that the platform names. After an
 * error the rest was done as far as it could be.
 */

/* Whether the agent activated the other bank, by its mark. */
bool isActivated(const std::string &logs);

/* Of an upgrade that was cancelled: activation mark, downloaded images, progress, the mobile app's
 * file. Everything else stays. */
base::Result<void> dropUpgrade(const std::string &tmp, const std::string &logs);

/* The downloaded images: the agent needs one within the call that fetched it and no longer. */
base::Result<void> dropImages(const std::string &tmp);

/* The file that tells the mobile app of an offer, where it is. */
base::Result<void> dropAgentData(const std::string &tmp);

} // namespace host

#endif
