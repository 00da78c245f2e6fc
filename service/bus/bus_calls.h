// SPDX-License-Identifier: MIT
// What the bus asks of the daemon.
#ifndef SERVICE_BUS_BUS_CALLS_H
#define SERVICE_BUS_BUS_CALLS_H

#include "guard/offer.h"
#include "guard/refusal.h"
#include "service/bus/node_status.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace service {

inline constexpr uid_t kNobodyKnown = static_cast<uid_t>(-1);

// Called on the loop's thread; none of them may block. An Answer may come at once or later, on the
// same thread: a refusal, or null and the ticket. Only the first call of an Answer counts; one that
// is dropped uncalled answers with the error Failed. It stays valid when its caller or the bus is
// gone.
class BusCalls {
  public:
    using Answer = std::function<void(const guard::Refusal *, std::uint64_t ticket)>;

    virtual ~BusCalls() = default;
    // Before each of the calls below: the user who makes it; kNobodyKnown where that is not known.
    virtual void calledBy(uid_t user) = 0;
    // Texts come as the caller gave them: valid UTF-8 without NUL, of any length.
    virtual void offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) = 0;
    virtual void triggerMobileApp(int newswavailflag, Answer answer) = 0;
    virtual void setActivationTime(std::string record, Answer answer) = 0;
    // 0: whatever runs or waits.
    virtual void cancel(std::uint64_t ticket, Answer answer) = 0;
    // The tickets of these answers are not used.
    virtual void commit(Answer answer) = 0;
    virtual void forget(std::string version, Answer answer) = 0;
    virtual void changeSetting(std::string name, std::string value, Answer answer) = 0;
    // The newest lines, oldest first; at most `count` of them.
    virtual std::vector<std::string> history(std::uint32_t count) = 0;
    // Topics and sentences.
    virtual std::vector<std::pair<std::string, std::string>> explain() = 0;
    // How often what happened; the names are those of Counters.
    virtual const std::map<std::string, std::uint64_t> &counters() = 0;
    // Asked once for each property that is read, so it only looks at what is known. The reference
    // holds until the next call.
    virtual const NodeStatus &status() = 0;
};

} // namespace service

#endif
