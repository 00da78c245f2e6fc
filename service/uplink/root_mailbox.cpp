// SPDX-License-Identifier: MIT
#include "service/uplink/root_mailbox.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace service {
namespace {

// A flood of messages is held up at its sender.
constexpr std::size_t kMostWaitingEvents = 64;
constexpr std::size_t kMostWaitingBytes = 4 * kLongestRootMessage;

std::size_t sizeOf(const RootEvent &event) {
    const auto *const message = std::get_if<Unchecked>(&event);
    return message == nullptr ? 0 : message->text.size() + message->sender.size();
}

} // namespace

Flag::Flag() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!fd_) {
        // Without it the two threads could not wake each other, and nothing would ever be told.
        std::fprintf(stderr, "%s\n",
                     base::systemReason("no eventfd for the root's broker").c_str());
        std::abort();
    }
}

void Flag::set() const {
    const std::uint64_t one = 1;
    // Fails only where the counter is at its end, and then the flag is set.
    [[maybe_unused]] const ssize_t ignored = write(fd_.get(), &one, sizeof one);
}

void Flag::clear() const {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = read(fd_.get(), &count, sizeof count);
}

void RootMailbox::send(Outgoing message) {
    const std::lock_guard lock(mutex_);
    outgoing_.push_back(std::move(message));
    wake_.set();
}

bool RootMailbox::withdraw(std::uint64_t id) {
    const std::lock_guard lock(mutex_);
    return std::erase_if(outgoing_, [id](const Outgoing &one) { return one.id == id; }) > 0;
}

void RootMailbox::askToEnd() {
    const std::lock_guard lock(mutex_);
    shouldEnd_ = true;
    outgoing_.clear();
    wake_.set();
}

bool RootMailbox::waitForEnd(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    return endChanged_.wait_for(lock, patience, [this] { return ended_; });
}

void RootMailbox::tell(RootEvent event) {
    const std::lock_guard lock(mutex_);
    waitingBytes_ += sizeOf(event);
    waitingEvents_.push_back(std::move(event));
    events_.set();
}

std::vector<RootEvent> RootMailbox::takeEvents() {
    const std::lock_guard lock(mutex_);
    events_.clear();
    wake_.set(); // who waited for room may go on
    waitingBytes_ = 0;
    return std::exchange(waitingEvents_, {});
}

void RootMailbox::setProblem(std::string line) {
    const std::lock_guard lock(mutex_);
    problem_ = std::move(line);
}

std::string RootMailbox::problem() const {
    const std::lock_guard lock(mutex_);
    return problem_;
}

bool RootMailbox::shouldEnd() const {
    const std::lock_guard lock(mutex_);
    return shouldEnd_;
}

void RootMailbox::ended() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    endChanged_.notify_all();
}

bool RootMailbox::hasOutgoing() const {
    const std::lock_guard lock(mutex_);
    return !outgoing_.empty();
}

std::optional<Outgoing> RootMailbox::takeOutgoing() {
    const std::lock_guard lock(mutex_);
    const auto now = RootClock::now();
    const auto next = std::find_if(outgoing_.begin(), outgoing_.end(),
                                   [now](const Outgoing &one) { return now < one.deadline; });
    if (next == outgoing_.end()) {
        return std::nullopt;
    }
    Outgoing message = std::move(*next);
    outgoing_.erase(next);
    return message;
}

void RootMailbox::giveBack(Outgoing message) {
    const std::lock_guard lock(mutex_);
    if (!shouldEnd_) {
        outgoing_.push_front(std::move(message));
    }
}

bool RootMailbox::isFull() const {
    const std::lock_guard lock(mutex_);
    return waitingEvents_.size() >= kMostWaitingEvents || waitingBytes_ >= kMostWaitingBytes;
}

} // namespace service
