// SPDX-License-Identifier: MIT
// Why the agent put an offer off, and when that is over. It tells neither: it has one mark for
// both.
#ifndef SERVICE_STATE_DEFERRAL_H
#define SERVICE_STATE_DEFERRAL_H

#include "service/bus/node_status.h"

#include <string>

namespace service {

/* As the agent classifies modes and roles. */
bool isGateway(const NodeStatus &status);

/* Of the whole image in the bank that does not run; empty: there is none. */
std::string passiveVersion(const NodeStatus &status);

/*
 * The agent put the status' version off: it downloads as a gateway only, and neither downloads nor
 * activates while the node is being onboarded. Whether it would go on now.
 */
bool wouldGoOn(const NodeStatus &status);

/* It is put off because only a gateway downloads; else because of an onboarding. */
bool isPutOffByMode(const NodeStatus &status);

/* "because " and why, in the middle of a sentence. */
std::string whyPutOff(const NodeStatus &status);

/* What it is taken up with, likewise. */
std::string whenTakenUp(const NodeStatus &status);

} // namespace service

#endif
