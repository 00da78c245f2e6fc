// SPDX-License-Identifier: MIT
#include "service/sender_limit.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace service {

void SenderLimit::Sender::fill(Clock::time_point now, std::chrono::seconds refill) {
    const std::chrono::duration<double> passed = now - filledAt;
    filledAt = now;
    budget = std::min(budget + passed / refill, static_cast<double>(kBudget));
}

SenderLimit::Verdict SenderLimit::judge(const std::string &name, std::string_view what,
                                        Clock::time_point now) {
    Sender &sender = senderOf(name, now);
    sender.lastAt = now;
    const std::size_t hash = std::hash<std::string_view>()(what);
    const bool isRepeat = hash == sender.lastTold;
    if (sender.budget >= (isRepeat ? kBudget / 2 : 1)) {
        sender.budget -= 1;
        sender.lastTold = hash;
        sender.keepsOne = false; // this one is newer
        return Verdict::tell;
    }
    if (sender.leftOut++ == 0) {
        sender.leftOutSince = now;
    }
    return isRepeat ? Verdict::repeat : Verdict::over;
}

bool SenderLimit::keepsForLater(const std::string &name) {
    const auto sender = senders_.find(name);
    if (sender == senders_.end()) {
        return false;
    }
    sender->second.keepsOne = true;
    return true;
}

bool SenderLimit::admitsNow(const std::string &name, std::string_view what, Clock::time_point now) {
    Sender &sender = senderOf(name, now);
    if (sender.budget < 1) {
        return false;
    }
    sender.budget -= 1;
    sender.lastTold = std::hash<std::string_view>()(what);
    sender.leftOut -= std::exchange(sender.keepsOne, false) ? 1 : 0;
    return true;
}

std::chrono::seconds SenderLimit::waitOf(const std::string &name, Clock::time_point now) {
    const double missing = std::max(0.0, 1 - senderOf(name, now).budget);
    const auto wait = missing * std::chrono::duration<double>(refill_);
    // A budget is a sum of fractions: what is over by less than a millisecond is no second more.
    return std::chrono::ceil<std::chrono::seconds>(
        std::chrono::round<std::chrono::milliseconds>(wait));
}

std::vector<SenderLimit::LeftOut> SenderLimit::takeLeftOut(Clock::time_point now) {
    std::vector<LeftOut> taken;
    for (auto &[name, sender] : senders_) {
        const bool isDue = now - sender.lastAt >= kQuiet || now - sender.leftOutSince >= kTellAfter;
        if (sender.toBeTold() > 0 && isDue) {
            taken.push_back({name, sender.toBeTold()});
            sender.leftOut -= sender.toBeTold();
        }
    }
    return taken;
}

bool SenderLimit::hasLeftOut() const {
    return std::any_of(senders_.begin(), senders_.end(),
                       [](const auto &one) { return one.second.toBeTold() > 0; });
}

// Who has its whole budget again may be forgotten: it would come back with the same.
SenderLimit::Sender &SenderLimit::senderOf(const std::string &name, Clock::time_point now) {
    for (auto &[known, sender] : senders_) {
        sender.fill(now, refill_);
    }
    if (!senders_.contains(name) && senders_.size() >= kSenders) {
        std::erase_if(senders_, [](const auto &one) {
            return one.second.budget >= kBudget && one.second.leftOut == 0;
        });
    }
    const bool hasRoom = senders_.contains(name) || senders_.size() < kSenders;
    Sender &sender = senders_[hasRoom ? name : kOthers];
    if (sender.filledAt == Clock::time_point()) {
        sender.filledAt = now;
    }
    return sender;
}

} // namespace service
