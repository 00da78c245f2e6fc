// SPDX-License-Identifier: MIT
#include "service/state/disk_writer.h"

#include <algorithm>
#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace service {
namespace {

base::UniqueFd newEvent() {
    base::UniqueFd event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event) {
        throw std::system_error(errno, std::generic_category(),
                                "the disk writer got no event descriptor");
    }
    return event;
}

} // namespace

DiskWriter::DiskWriter() : event_(newEvent()), thread_([this] { work(); }) {}

DiskWriter::~DiskWriter() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void DiskWriter::replace(std::string path, std::string text, Done done) {
    {
        const std::lock_guard lock(mutex_);
        Text next{std::move(path), std::move(text), {}, notOvertaken_};
        const auto older = std::find_if(texts_.begin(), texts_.end(), [&next](const Text &waiting) {
            return waiting.path == next.path;
        });
        if (older != texts_.end()) {
            next.dones = std::move(older->dones);
            texts_.erase(older);
        }
        next.dones.push_back(std::move(done));
        texts_.push_back(std::move(next));
    }
    wake_.notify_one();
}

void DiskWriter::append(std::shared_ptr<const LineFile> file, std::string line,
                        Overtaking overtaking, Done done) {
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back({std::move(file), std::move(line), std::move(done)});
        ++linesQueued_;
        if (overtaking == Overtaking::forbidden) {
            notOvertaken_ = linesQueued_;
        }
    }
    wake_.notify_one();
}

std::size_t DiskWriter::waitingLines() const {
    const std::lock_guard lock(mutex_);
    return lines_.size();
}

void DiskWriter::dispatch() {
    std::uint64_t count = 0;
    static_cast<void>(read(event_.get(), &count, sizeof count)); // no completion: nothing to take
    std::vector<Completion> taken;
    {
        const std::lock_guard lock(mutex_);
        taken.swap(completions_);
    }
    for (const Completion &completion : taken) {
        if (completion.done) {
            completion.done(completion.stored);
        }
    }
}

void DiskWriter::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return ending_ || !texts_.empty() || !lines_.empty(); });
        if (!texts_.empty() && texts_.front().behind <= linesDone_) {
            writeText(lock);
        } else if (!lines_.empty()) {
            writeLines(lock);
        } else {
            return;
        }
    }
}

void DiskWriter::writeText(std::unique_lock<std::mutex> &lock) {
    const Text next = std::move(texts_.front());
    texts_.pop_front();
    lock.unlock();
    const auto stored = base::replaceFile(next.path, next.text);
    std::vector<Completion> completions;
    for (const Done &done : next.dones) {
        completions.push_back({done, stored});
    }
    complete(completions);
    lock.lock();
}

// As many as wait for the same file: a flood of them costs one sync at a time.
void DiskWriter::writeLines(std::unique_lock<std::mutex> &lock) {
    std::vector<Line> taken;
    do {
        taken.push_back(std::move(lines_.front()));
        lines_.pop_front();
    } while (!lines_.empty() && lines_.front().file == taken.front().file);
    lock.unlock();
    std::vector<std::string_view> texts;
    texts.reserve(taken.size());
    for (const Line &line : taken) {
        texts.emplace_back(line.text);
    }
    const auto stored = appendLines(*taken.front().file, texts);
    std::vector<Completion> completions;
    completions.reserve(taken.size());
    for (Line &line : taken) {
        completions.push_back({std::move(line.done), stored});
    }
    complete(completions);
    lock.lock();
    linesDone_ += taken.size();
}

void DiskWriter::complete(const std::vector<Completion> &completions) {
    {
        const std::lock_guard lock(mutex_);
        completions_.insert(completions_.end(), completions.begin(), completions.end());
    }
    const std::uint64_t one = 1;
    static_cast<void>(write(event_.get(), &one, sizeof one)); // full: it is readable already
}

} // namespace service
