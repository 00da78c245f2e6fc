// SPDX-License-Identifier: MIT
// Requests are made of what the guard let through, and nothing that was kept is sent unjudged.
#ifndef SERVICE_STATE_REQUEST_CHECK_H
#define SERVICE_STATE_REQUEST_CHECK_H

#include "guard/node_identity.h"
#include "guard/offer.h"
#include "guard/refusal.h"
#include "node/config/config.h"
#include "service/bus/node_status.h"
#include "service/state/ledger.h"

#include <optional>
#include <string>
#include <string_view>

namespace service {

/* What requests are judged by at this moment. */
struct Judge {
    guard::NodeIdentity node;
    guard::Rules rules;
};
/* By what requests are judged on this node, now. */
Judge judgeNow(const node::Config &config, const NodeStatus &status);

/* From outside. A refusal leaves the request untouched; tickets are given later. */
std::optional<guard::Refusal> newImageRequest(std::string_view descriptor,
                                              const guard::OfferFlags &flags, const Judge &judge,
                                              Request &request);
std::optional<guard::Refusal>
activationTimeRequest(std::string_view record, const guard::NodeIdentity &node, Request &request);
Request mobileTriggerRequest(int newswavailflag);
Request timerRequest(const std::string &name);

/* The agent compares an address in it with the node's own, and passes it over where they differ. */
bool namesTheNode(const Request &request);

/* The agent asks for this timer, and has a call for its end. */
bool isTimerOfTheAgent(std::string_view name);

/*
 * What was kept, judged once more: its file may be of an earlier release or configuration, or
 * somebody else's. Nothing: `anew` is the request as the guard writes it now, of the same ticket.
 * While the node's own address is not known, addresses are only looked at for their form.
 */
std::optional<guard::Refusal> checkAgain(const Request &kept, const Judge &judge, Request &anew);

/* Likewise of the agent's memory: its image, and its activation times. An empty one passes. */
std::optional<guard::Refusal> checkRememberedImage(const std::string &memory, const Judge &judge);
std::optional<guard::Refusal> checkRememberedTimes(const std::string &memory, const Judge &judge);

} // namespace service

#endif
