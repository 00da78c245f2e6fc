// SPDX-License-Identifier: MIT
// How much others may make this node tell: each sender has a budget that fills up again.
#ifndef SERVICE_SENDER_LIMIT_H
#define SERVICE_SENDER_LIMIT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace service {

class SenderLimit {
  public:
    using Clock = std::chrono::steady_clock;

    explicit SenderLimit(std::chrono::seconds refill = kRefill) : refill_(refill) {}

    /* What a sender may have told at once; an upgrade takes a dozen. */
    static constexpr int kBudget = 40;
    /* In which one more is there again. */
    static constexpr std::chrono::seconds kRefill{3};
    /* Senders with a budget of their own; the others share one. */
    static constexpr std::size_t kSenders = 64;
    /* What was left out is told after this time, or when the sender was quiet for this time. */
    static constexpr std::chrono::seconds kTellAfter{10}, kQuiet{2};
    static constexpr const char *kOthers = "other senders";

    enum class Verdict {
        tell,
        repeat, // the same as before, too often: left out
        over    // over the budget: left out
    };
    /* `what` is what the sender says; for repeats there is only half of the budget. */
    Verdict judge(const std::string &name, std::string_view what, Clock::time_point now);
    /* What was over the budget is kept, to be told once there is room: so it is not left out.
     * False: this sender has no budget of its own. */
    bool keepsForLater(const std::string &name);
    /* For what was kept. False: there is no room yet. */
    bool admitsNow(const std::string &name, std::string_view what, Clock::time_point now);
    /* How long until something is admitted, in whole seconds. */
    std::chrono::seconds waitOf(const std::string &name, Clock::time_point now);

    struct LeftOut {
        std::string sender;
        std::uint64_t count;
    };
    /* What is to be told now of what was left out; it is not counted again. */
    std::vector<LeftOut> takeLeftOut(Clock::time_point now);
    bool hasLeftOut() const;
    /* It has a budget of its own. */
    bool knows(const std::string &sender) const { return senders_.contains(sender); }

  private:
    struct Sender {
        double budget = kBudget;
        Clock::time_point filledAt, lastAt, leftOutSince;
        std::size_t lastTold = 0; // hash of what was told last
        std::uint64_t leftOut = 0;
        bool keepsOne = false; // of those left out

        std::uint64_t toBeTold() const { return leftOut - (keepsOne ? 1 : 0); }

        void fill(Clock::time_point now, std::chrono::seconds refill);
    };
    Sender &senderOf(const std::string &name, Clock::time_point now);

    std::chrono::seconds refill_; // in which one more is there again
    std::map<std::string, Sender> senders_;
};

} // namespace service

#endif
